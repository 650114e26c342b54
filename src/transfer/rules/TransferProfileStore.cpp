#include "transfer/rules/TransferProfileStore.h"

#include "foundation/diagnostics/DiagnosticLog.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"
#include "platform/RegularFile.h"
#include "transfer/rules/TransferProfileCodec.h"

#include <QDir>

#include <algorithm>

namespace {

// Through AtomicFile: a full disk leaves the older file whole and no partial behind, and a path whose
// name isn't UTF-8 is written under its own bytes.
std::optional<QString> writeFile(const QString &path, const QByteArray &bytes)
{
    return AtomicFile::writeWhole(path, bytes);
}

QDateTime nowToTheSecond()
{
    // The file keeps seconds only, so the list orders the same before and after a reload.
    QDateTime now = QDateTime::currentDateTimeUtc();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    return now;
}

} // namespace

TransferProfileStore::TransferProfileStore(DiagnosticLog *log, QString folder, QObject *parent)
    : QObject(parent), log(log), directory(folder.isEmpty() ? defaultFolder() : std::move(folder))
{
    QDir().mkpath(directory);
    reload();
}

QString TransferProfileStore::defaultFolder()
{
    return Paths::applicationSupport() + QStringLiteral("/transfer-profiles");
}

QString TransferProfileStore::fileOf(const TransferProfile &profile) const
{
    return directory + QLatin1Char('/') + profile.id.toString(QUuid::WithoutBraces).toUpper() +
           QStringLiteral(".vantreltransfer");
}

void TransferProfileStore::reload()
{
    list.clear();
    const QStringList names = QDir(directory).entryList({QStringLiteral("*.vantreltransfer")}, QDir::Files);
    for (const QString &name : names) {
        const RegularFile::Read read = RegularFile::read(directory + QLatin1Char('/') + name, importLimitBytes - 1);
        if (!read.ok())
            continue;
        if (auto profile = TransferProfileCodec::decode(read.bytes))
            list.append(std::move(*profile));
    }
    sortAndPublish();
}

void TransferProfileStore::sortAndPublish()
{
    std::stable_sort(list.begin(), list.end(),
                     [](const TransferProfile &a, const TransferProfile &b) { return a.updatedAt > b.updatedAt; });
    emit profilesChanged();
}

void TransferProfileStore::record(const QString &operation, const QString &name, const std::optional<QString> &error)
{
    if (log)
        log->record(error ? ActionReceipt::Kind::errorSwallow : ActionReceipt::Kind::persist,
                    QStringLiteral("TransferProfileStore.") + operation, std::nullopt, name, error);
}

std::optional<QString> TransferProfileStore::save(const TransferProfile &profile)
{
    TransferProfile stamped = profile;
    stamped.updatedAt = nowToTheSecond();
    auto failure = writeFile(fileOf(stamped), TransferProfileCodec::encode(stamped));
    record(QStringLiteral("save"), stamped.name, failure);
    if (failure)
        return failure;
    const auto same =
        std::find_if(list.begin(), list.end(), [&stamped](const TransferProfile &p) { return p.id == stamped.id; });
    if (same != list.end())
        *same = stamped;
    else
        list.prepend(stamped);
    sortAndPublish();
    return std::nullopt;
}

std::optional<QString> TransferProfileStore::remove(const TransferProfile &profile)
{
    QFile file(fileOf(profile));
    std::optional<QString> failure;
    if (!file.remove())
        failure = file.errorString();
    record(QStringLiteral("delete"), profile.name, failure);
    if (failure)
        return failure;
    list.removeIf([&profile](const TransferProfile &p) { return p.id == profile.id; });
    emit profilesChanged();
    return std::nullopt;
}

std::optional<TransferProfile> TransferProfileStore::find(const QString &word, QString *refusal) const
{
    const QUuid id = QUuid::fromString(word.trimmed());
    QList<TransferProfile> named;
    for (const TransferProfile &profile : list) {
        if (!id.isNull() && profile.id == id)
            return profile;
        if (profile.name == word)
            named.append(profile);
    }
    if (named.size() == 1)
        return named.first();
    QString why;
    if (named.isEmpty()) {
        why = QStringLiteral("No transfer profile has the id or name “%1”.").arg(word);
    } else {
        QStringList ids;
        for (const TransferProfile &profile : named)
            ids.append(profile.id.toString(QUuid::WithoutBraces).toUpper());
        why = QStringLiteral("%1 profiles are named “%2”; name one by its id: %3.")
                  .arg(named.size())
                  .arg(word, ids.join(QStringLiteral(", ")));
    }
    if (refusal)
        *refusal = why;
    return std::nullopt;
}

std::optional<TransferProfile> TransferProfileStore::importProfile(const QString &path, QString *error)
{
    const auto refuse = [&](const QString &why) -> std::optional<TransferProfile> {
        record(QStringLiteral("import"), path, why);
        if (error)
            *error = why;
        return std::nullopt;
    };
    // Refused unread when too large; a pipe or /dev/zero, which never ends, is refused too.
    const RegularFile::Read read = RegularFile::read(path, importLimitBytes - 1);
    if (read.failure == RegularFile::Failure::tooLarge)
        return refuse(QStringLiteral("the file is larger than 5 MB"));
    if (!read.ok())
        return refuse(read.reason);
    QString reason;
    std::optional<TransferProfile> profile = TransferProfileCodec::decode(read.bytes, &reason);
    if (!profile)
        return refuse(reason);
    // A new id every time: an import never replaces a profile, even its own earlier import.
    profile->id = QUuid::createUuid();
    if (const auto failure = save(*profile))
        return refuse(*failure);
    const auto saved =
        std::find_if(list.cbegin(), list.cend(), [&profile](const TransferProfile &p) { return p.id == profile->id; });
    return saved != list.cend() ? *saved : *profile;
}

std::optional<QString> TransferProfileStore::exportProfile(const TransferProfile &profile, const QString &path)
{
    auto failure = writeFile(path, TransferProfileCodec::encode(profile));
    record(QStringLiteral("export"), profile.name, failure);
    return failure;
}

TransferProfile TransferProfileStore::newProfile()
{
    TransferProfile profile;
    profile.id = QUuid::createUuid();
    profile.name = QStringLiteral("New profile");
    profile.summary = QStringLiteral("Routing rules for one folder.");
    profile.createdAt = profile.updatedAt = nowToTheSecond();
    profile.rules = {{QUuid::createUuid(),
                      {RuleMatch::extensionEquals{{QStringLiteral("pdf")}}},
                      {RuleAction::moveTo{QStringLiteral("~/Documents")}}}};
    return profile;
}

TransferProfile TransferProfileStore::duplicate(const TransferProfile &profile)
{
    TransferProfile copy = profile;
    copy.id = QUuid::createUuid();
    copy.name = profile.name + QStringLiteral(" (copy)");
    copy.createdAt = copy.updatedAt = nowToTheSecond();
    for (TransferRule &rule : copy.rules)
        rule.id = QUuid::createUuid();
    return copy;
}
