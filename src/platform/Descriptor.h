#pragma once

#include <unistd.h>

// Owns a file descriptor, so that every way out of a function closes it.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd(fd) {}
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor(Descriptor &&other) noexcept : fd(other.fd) { other.fd = -1; }
    Descriptor &operator=(Descriptor &&) = delete;

    int get() const { return fd; }
    bool isOpen() const { return fd >= 0; }
    // Closes now, so that a failing close (a full disk on some file systems) is seen.
    bool close()
    {
        const int result = ::close(fd);
        fd = -1;
        return result == 0;
    }

private:
    int fd;
};
