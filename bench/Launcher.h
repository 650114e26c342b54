#pragma once

// Runs the measured programs for the benchmarks: forked early, timed to the exit and to the disk.
#include <QFile>
#include <QString>
#include <QStringList>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Measure {
    double seconds = 0; // until the program exited
    double synced = 0;  // until what it wrote was on the disk as well
    long peakKiB = 0;
    int status = -1;
};

// Starts every measured program. It is forked before the bench allocates anything, because a child starts
// with its parent's resident memory and the kernel counts that towards the child's peak. Environment
// variables travel with each request: the launcher's own environment is the bench's as it was at start.
class Launcher {
public:
    Launcher()
    {
        int requests[2];
        int replies[2];
        if (::pipe(requests) != 0 || ::pipe(replies) != 0)
            std::abort();
        child = fork();
        if (child == 0) {
            ::close(requests[1]);
            ::close(replies[0]);
            serve(requests[0], replies[1]);
            _exit(0);
        }
        ::close(requests[0]);
        ::close(replies[1]);
        toLauncher = requests[1];
        fromLauncher = replies[0];
    }

    ~Launcher()
    {
        ::close(toLauncher);
        ::close(fromLauncher);
        ::waitpid(child, nullptr, 0);
    }

    Launcher(const Launcher &) = delete;
    Launcher &operator=(const Launcher &) = delete;

    // Runs `command` in `workingFolder` with its standard output in `output` and its errors in `errors`,
    // `environment` ("NAME=value") added to the launcher's; reports wall time, with and without a sync.
    Measure run(const QStringList &command, const QStringList &environment, const QString &output,
                const QString &errors, const QString &workingFolder) const
    {
        QByteArray request;
        for (const QString &word : {workingFolder, output, errors})
            request += QFile::encodeName(word) + '\0';
        request += QByteArray::number(environment.size()) + '\0';
        for (const QString &word : environment + command)
            request += QFile::encodeName(word) + '\0';
        const quint32 size = quint32(request.size());
        Measure result;
        if (!writeAll(toLauncher, &size, sizeof size) || !writeAll(toLauncher, request.constData(), size) ||
            !readAll(fromLauncher, &result, sizeof result))
            std::abort();
        return result;
    }

private:
    static bool writeAll(int fd, const void *data, size_t size)
    {
        const auto *bytes = static_cast<const char *>(data);
        while (size > 0) {
            const ssize_t done = ::write(fd, bytes, size);
            if (done <= 0)
                return false;
            bytes += done;
            size -= size_t(done);
        }
        return true;
    }

    static bool readAll(int fd, void *data, size_t size)
    {
        auto *bytes = static_cast<char *>(data);
        while (size > 0) {
            const ssize_t done = ::read(fd, bytes, size);
            if (done <= 0)
                return false;
            bytes += done;
            size -= size_t(done);
        }
        return true;
    }

    static double since(const timespec &start)
    {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return double(now.tv_sec - start.tv_sec) + double(now.tv_nsec - start.tv_nsec) / 1e9;
    }

    // The launcher's loop: plain system calls and one fixed buffer, so that it stays a few pages.
    static void serve(int requests, int replies)
    {
        static char buffer[1 << 16];
        quint32 size = 0;
        while (readAll(requests, &size, sizeof size)) {
            if (size >= sizeof buffer || !readAll(requests, buffer, size))
                return;
            char *words[128];
            int count = 0;
            for (quint32 at = 0; at < size && count < 127; at += quint32(std::strlen(buffer + at)) + 1)
                words[count++] = buffer + at;
            words[count] = nullptr;
            const int variables = std::atoi(words[3]);
            char **program = words + 4 + variables;
            timespec start{};
            clock_gettime(CLOCK_MONOTONIC, &start);
            const pid_t pid = fork();
            if (pid == 0) {
                const int out = ::open(words[1], O_WRONLY | O_CREAT | O_TRUNC, 0644);
                const int err = ::open(words[2], O_WRONLY | O_CREAT | O_TRUNC, 0644);
                if (out < 0 || err < 0 || ::chdir(words[0]) != 0)
                    _exit(126);
                ::dup2(out, STDOUT_FILENO);
                ::dup2(err, STDERR_FILENO);
                for (int i = 0; i < variables; ++i)
                    ::putenv(words[4 + i]);
                execvp(program[0], program);
                _exit(127);
            }
            int status = 0;
            rusage usage{};
            wait4(pid, &status, 0, &usage);
            Measure result;
            result.seconds = since(start);
            // A copy isn't done while its data is only in the page cache; the second time says when it is.
            ::sync();
            result.synced = since(start);
            result.peakKiB = usage.ru_maxrss;
            result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            if (!writeAll(replies, &result, sizeof result))
                return;
        }
    }

    pid_t child = -1;
    int toLauncher = -1;
    int fromLauncher = -1;
};

// Cold reads for every tool alike when allowed; otherwise at least nothing of the previous run is still
// being written back while the next one is timed.
[[maybe_unused]] bool dropCaches()
{
    ::sync();
    QFile control(QStringLiteral("/proc/sys/vm/drop_caches"));
    return control.open(QIODevice::WriteOnly) && control.write("3\n") == 2;
}

} // namespace
