#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

class QIODevice;

// A file that appears under its name only once every byte of it is written and checked. Until then it
// has no name at all (an unnamed file in the destination folder) or, where the file system can't make
// one, a hidden name of the one pattern `PartialFiles` knows, locked while its writer lives. Every write
// and the final close are checked, so a full disk or a failing network share is an error here, never an
// empty or cut-short file under the final name; on any error the file that was there stays untouched.
class AtomicFile {
public:
    enum class Mode {
        // The new file takes the place of one already there (a store, or after the user said Replace).
        replace,
        // The name must still be free at the end; a file that appeared meanwhile is never replaced.
        noReplace,
    };

    explicit AtomicFile(QString path);
    ~AtomicFile(); // discards a file not committed
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    [[nodiscard]] bool open();
    // The open file, for writers that stream (an image encoder, a page-by-page PDF). Its writes are
    // unbuffered, so each one that fails says so at once.
    QIODevice *device();
    [[nodiscard]] bool write(const QByteArray &bytes);
    // Gives the open file these permission bits (0755 for a script), so it has them from the moment
    // it is named; without it a new file gets the usual ones and a replacing file those of the old.
    [[nodiscard]] bool setPermissions(unsigned int permissions);
    // Flushes the file to the disk, closes it checking the result, and gives it its name.
    [[nodiscard]] bool commit(Mode mode);
    // With noReplace, whether commit failed because the name was taken meanwhile.
    bool destinationExists() const { return taken; }
    // The system's reason for the failure ("No space left on device").
    QString errorString() const;
    // The system's error number behind it, or 0 when it has none. Asked before any commit, it
    // also tells of a write through `device()` that failed.
    int errorCode() const { return code != 0 ? code : deviceFailure(); }
    const QString &path() const { return finalPath; }

    // Writes `bytes` to `path` in one go; the error text (the system's reason) or nothing.
    [[nodiscard]] static std::optional<QString> writeWhole(const QString &path, const QByteArray &bytes,
                                                           Mode mode = Mode::replace);

private:
    bool fail(int errorNumber);
    bool failWith(const QString &text);
    // The system's error number of the device's first failed write, 0 while none failed.
    int deviceFailure() const;
    void discard();

    QString finalPath;
    QString partialName; // in the folder; empty while the file has no name
    int fd = -1;
    int lockFd = -1;
    int folderFd = -1;
    std::unique_ptr<QIODevice> file;
    QString error;
    int code = 0;
    bool taken = false;
};

// What killed runs leave behind: hidden partial files and holding folders. Each carries one name
// pattern and is locked (flock) by the process that writes it, so a partial whose lock can be taken
// has no live owner and can go.
namespace PartialFiles {

// The hidden name prefix every partial output and holding folder carries.
QString prefix();
// A new name for a partial in `folder`: the prefix and a random part.
QString newName(const QString &folder);
// Removes the partials in `folder` that no live process holds, once per folder per process run.
void sweep(const QString &folder);
// The same, every time it is called; the number of partials removed.
int sweepNow(const QString &folder);

// A hidden holding folder of the partial pattern in `folder`, locked while it lives, and removed with
// whatever it still holds when it goes: where a copy of a whole folder is built before it is named.
class Folder {
public:
    explicit Folder(const QString &folder);
    ~Folder();
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    bool isValid() const { return fd >= 0; }
    const QString &path() const { return where; }
    // The system's reason it couldn't be made.
    const QString &errorString() const { return error; }

private:
    QString where;
    QString error;
    int fd = -1;
};

} // namespace PartialFiles
