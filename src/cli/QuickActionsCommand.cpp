#include "cli/QuickActionsCommand.h"

#include "foundation/ByteCountFormatter.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "quickactions/QuickActionBackupStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <optional>

namespace {

using QuickActionBackupStore::Backup;
using QuickActionBackupStore::BackupError;

const QString backupsUsage =
    QStringLiteral("Usage: vantrel quick-actions backups (list|save BUNDLE|restore NAME|delete NAME) [--json]");

struct Subcommand {
    const char *name;
    int (*run)(const QStringList &, QTextStream &, QTextStream &);
};

// A second subcommand is one more row here.
const Subcommand subcommands[] = {
    {"backups", &QuickActionsCommand::backups},
};

QString usage()
{
    QStringList names;
    for (const Subcommand &subcommand : subcommands)
        names.append(QString::fromLatin1(subcommand.name));
    return QStringLiteral("Usage: vantrel quick-actions (") + names.join(QLatin1Char('|')) + QStringLiteral(") …");
}

QString fileNameOf(const Backup &backup)
{
    return backup.url.mid(backup.url.lastIndexOf(QLatin1Char('/')) + 1);
}

std::optional<Backup> findBackup(const QString &name)
{
    const QString wanted = name.endsWith(QLatin1String(".workflow")) ? name : name + QStringLiteral(".workflow");
    for (const Backup &backup : QuickActionBackupStore::list()) {
        if (fileNameOf(backup) == wanted)
            return backup;
    }
    return std::nullopt;
}

QJsonObject backupJson(const Backup &backup)
{
    return QJsonObject{
        {QStringLiteral("url"), NativeNames::display(backup.url)},
        {QStringLiteral("workflowName"), NativeNames::display(backup.workflowName)},
        {QStringLiteral("createdAt"), backup.createdAt.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("sizeBytes"), double(backup.sizeBytes)},
    };
}

QString backupLine(const Backup &backup)
{
    return NativeNames::display(fileNameOf(backup)) + QLatin1Char('\t') + backup.createdAt.toString(Qt::ISODate) +
           QLatin1Char('\t') + ByteCountFormatter::format(quint64(backup.sizeBytes));
}

} // namespace

int QuickActionsCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const QString name = arguments.value(0);
    for (const Subcommand &subcommand : subcommands) {
        if (name == QLatin1String(subcommand.name))
            return subcommand.run(arguments.mid(1), out, err);
    }
    err << usage() << Qt::endl;
    return 2;
}

int QuickActionsCommand::backups(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    bool json = false;
    QStringList words;
    for (const QString &word : arguments) {
        if (word == QLatin1String("--json"))
            json = true;
        else
            words.append(word);
    }
    const QString action = words.value(0);
    const bool takesName =
        action == QLatin1String("save") || action == QLatin1String("restore") || action == QLatin1String("delete");
    const bool known = takesName || action == QLatin1String("list");
    if (!known || words.size() != (takesName ? 2 : 1) || (takesName && words[1].isEmpty())) {
        err << backupsUsage << Qt::endl;
        return 2;
    }

    std::optional<QString> message;
    bool failed = false;
    try {
        if (action == QLatin1String("save")) {
            const QString saved = QuickActionBackupStore::save(NativeNames::absolutePath(words[1]));
            message = QStringLiteral("Saved ") + Paths::displayPath(saved) + QLatin1Char('.');
        } else if (action != QLatin1String("list")) {
            const auto backup = findBackup(words[1]);
            if (!backup)
                throw BackupError(QStringLiteral("No backup is named “") + NativeNames::display(words[1]) +
                                  QStringLiteral("”."));
            if (action == QLatin1String("restore")) {
                QuickActionBackupStore::restore(*backup);
                message = QuickActionBackupStore::restoredMessage(NativeNames::display(backup->workflowName));
            } else {
                QuickActionBackupStore::remove(*backup);
                message = QStringLiteral("Moved “") + NativeNames::display(fileNameOf(*backup)) +
                          QStringLiteral("” to the Trash.");
            }
        }
    } catch (const BackupError &error) {
        message = error.message();
        failed = true;
    }

    const QList<Backup> backups = QuickActionBackupStore::list();
    if (json) {
        QJsonArray rows;
        for (const Backup &backup : backups)
            rows.append(backupJson(backup));
        out << QJsonDocument(QJsonObject{{QStringLiteral("backups"), rows},
                                         {QStringLiteral("message"), message ? QJsonValue(*message) : QJsonValue()}})
                   .toJson(QJsonDocument::Indented);
    } else if (failed) {
        err << *message << Qt::endl;
    } else if (message) {
        out << *message << Qt::endl;
    } else {
        out << QuickActionBackupStore::cardTitle(backups.size()) << Qt::endl;
        for (const Backup &backup : backups)
            out << backupLine(backup) << Qt::endl;
    }
    out.flush();
    return failed ? 1 : 0;
}
