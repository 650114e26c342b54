#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QFileSystemWatcher;

// The disk side of one JSON store in the Application Support folder, shared by every process that
// runs Vantrel: a change is made under a lock on the freshly read file, written atomically and checked
// to the end; a file that doesn't decode is kept under a new name, never overwritten; and a change made
// by another process reaches this one.
class StoreFile : public QObject {
    Q_OBJECT
public:
    // Decodes the file's bytes into the store's state; false when they don't decode.
    using Decode = std::function<bool(const QByteArray &)>;

    StoreFile(QString folder, QString name, Decode decode, QObject *parent = nullptr);

    enum class Loaded { decoded, missing, movedAside };
    // Reads and decodes the file. One that can't be read or doesn't decode is moved aside; should that
    // fail, every later write is refused, so the file is never replaced by what a store starts afresh with.
    Loaded load();

    // Loads the file; when there is none that decodes, `start` sets the store's first state, saved at
    // once unless another Vantrel starting at the same moment saved its own first. Should that save
    // fail, the state lives in memory and the next change says why it can't be saved; the reason is
    // returned for the log.
    [[nodiscard]] std::optional<QString> loadOrStart(const std::function<void()> &start,
                                                     const std::function<QByteArray()> &encode);

    // Under the lock: reads the file again, so a change another process made is kept; lets `edit`
    // change the decoded state, told how the read went (false: nothing to write); and writes what
    // `encode` gives. The
    // system's reason when anything failed, and then the file on disk is as it was.
    [[nodiscard]] std::optional<QString> update(const std::function<bool(Loaded)> &edit,
                                                const std::function<QByteArray()> &encode);

    QString path() const;
    // Watches the file for changes by other processes; `changedElsewhere` follows each one that decodes.
    void watch();

    // Renames `path` to `path.unreadable-{time}`, with " 2", " 3"… behind the time when that is taken,
    // never over anything. The system's reason when it couldn't be renamed.
    static std::optional<QString> moveAside(const QString &path);

signals:
    void changedElsewhere();

private:
    struct Signature {
        quint64 device = 0;
        quint64 inode = 0;
        qint64 modifiedNs = 0;
        qint64 size = -1;
        bool operator==(const Signature &) const = default;
    };
    Signature currentSignature() const;
    void fileMayHaveChanged();

    QString folder;
    QString name;
    Decode decode;
    // Why the file can be neither read nor moved aside: every write is refused while it lasts.
    std::optional<QString> blocked;
    Signature known;
    QFileSystemWatcher *watcher = nullptr;
};
