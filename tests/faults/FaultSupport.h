#pragma once

#include <QByteArray>
#include <QMap>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

// The faults a user's machine really has, made for a test: a disk that fills, a file the kernel won't
// let anyone change, a process killed in the middle. Each undoes itself when it goes out of scope.
namespace Faults {

// Why the kernel refused to set a fault up, for GTEST_SKIP; nothing when it can be set up.
std::optional<QString> tmpfsUnavailable();

// A tmpfs of `bytes` mounted on a fresh folder, unmounted (lazily, so a test that failed half-way
// can't leave it busy) when it goes.
class TinyDisk {
public:
    explicit TinyDisk(const QString &folder, qint64 bytes);
    ~TinyDisk();
    TinyDisk(const TinyDisk &) = delete;
    TinyDisk &operator=(const TinyDisk &) = delete;

    bool mounted() const { return ok; }
    const QString &path() const { return where; }
    // Writes one file that takes every block that is left.
    void fill() const;

private:
    QString where;
    bool ok = false;
};

// `chattr +i` on a file or folder while it lives: refused even to root.
class Immutable {
public:
    explicit Immutable(QString path);
    ~Immutable();
    Immutable(const Immutable &) = delete;
    Immutable &operator=(const Immutable &) = delete;
    bool applied() const { return ok; }

private:
    QString target;
    bool ok = false;
};

struct ProcessResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs a program to its end (at most `timeoutMs`) with `stdinBytes` on its standard input, in this
// process's environment or the one given.
ProcessResult run(const QString &program, const QStringList &arguments, const QByteArray &stdinBytes = {},
                  int timeoutMs = 60000,
                  const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment());

// Every byte of every file under `folder`, hidden ones included, by relative path: what "nothing lost"
// is compared on.
QMap<QString, QByteArray> snapshot(const QString &folder);

} // namespace Faults
