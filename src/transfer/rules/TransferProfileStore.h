#pragma once

#include "transfer/rules/TransferProfile.h"

#include <QList>
#include <QObject>
#include <QString>

#include <optional>

class DiagnosticLog;

// The transfer profiles on this machine, one .vantreltransfer file each, newest first. The files are the
// truth: the list is read from them at start and kept in step by each save and delete. A file that
// doesn't decode is passed over and left where it is.
class TransferProfileStore : public QObject {
    Q_OBJECT
public:
    // An import is foreign input: a file this large is refused unread.
    static constexpr qint64 importLimitBytes = 5'000'000;

    explicit TransferProfileStore(DiagnosticLog *log = nullptr, QString folder = {}, QObject *parent = nullptr);

    static QString defaultFolder();
    const QString &folder() const { return directory; }
    const QList<TransferProfile> &profiles() const { return list; }

    // The one profile `word` names: by id (any case, braces or none) or by a name no other profile has.
    // Nothing, with the reason in `refusal`, when none or several do.
    std::optional<TransferProfile> find(const QString &word, QString *refusal = nullptr) const;

    void reload();
    // Stamps `updatedAt` and writes the profile; the system's reason when it couldn't.
    std::optional<QString> save(const TransferProfile &profile);
    std::optional<QString> remove(const TransferProfile &profile);
    // A copy of the file's profile under a new id, saved; nothing, with the reason, when it can't be read.
    std::optional<TransferProfile> importProfile(const QString &path, QString *error = nullptr);
    std::optional<QString> exportProfile(const TransferProfile &profile, const QString &path);

    // "New profile", with its seed rule; both dates now. Not yet saved.
    static TransferProfile newProfile();
    // The same rules and defaults under "{name} (copy)", with new ids and both dates now. Not yet saved.
    static TransferProfile duplicate(const TransferProfile &profile);

signals:
    void profilesChanged();

private:
    QString fileOf(const TransferProfile &profile) const;
    void sortAndPublish();
    void record(const QString &operation, const QString &name, const std::optional<QString> &error);

    DiagnosticLog *log;
    QString directory;
    QList<TransferProfile> list;
};
