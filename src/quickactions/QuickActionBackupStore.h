#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <stdexcept>

// Verbatim copies of the user's Quick Actions, taken when one is converted, so that the original can be
// put back even after it is gone from the Services folder. The store holds no state: everything is the
// backup folder itself.
namespace QuickActionBackupStore {

struct Backup {
    QString url; // the copy's path
    QString workflowName;
    QDateTime createdAt;
    qint64 sizeBytes = 0;
    bool operator==(const Backup &) const = default;
};

// A save or restore that didn't happen; its message is what the user reads.
class BackupError : public std::runtime_error {
public:
    explicit BackupError(const QString &message);
    const QString &message() const { return text; }

private:
    QString text;
};

// Application Support's "Quick Action Backups".
QString folder();

// Copies the bundle at `source` into the backup folder as "{name} {yyyy-MM-dd-HHmmss}.workflow" and
// returns the copy's path. Throws BackupError; a copy cut short never shows under that name.
QString save(const QString &source);

// Every backup in the folder, the newest first; none when the folder is missing.
QList<Backup> list();

// Copies the backup back into the Services folder under its workflow's name; the backup stays. Throws
// BackupError, and refuses when a workflow of that name is still installed.
void restore(const Backup &backup);

// Sends the backup to the Trash, where it can still be taken back: it may be the only copy left.
// Throws BackupError with the reason when it stays.
void remove(const Backup &backup);

// The workflow's name in a backup's file name: the name without ".workflow", less its last blank and
// what follows it.
QString workflowNameOf(const QString &fileName);
// The time a backup's file name was stamped with; invalid when the name carries none.
QDateTime timestampOf(const QString &fileName);

// "Restored “{name}” to {Services folder}. It's back in Finder's Quick Actions menu."
QString restoredMessage(const QString &workflowName);
// The backups card's description and heading.
QString cardDescription();
QString cardTitle(qsizetype count);

} // namespace QuickActionBackupStore
