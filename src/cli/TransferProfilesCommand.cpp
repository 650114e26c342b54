#include "cli/TransferProfilesCommand.h"

#include "app/AppState.h"
#include "foundation/Defaults.h"
#include "foundation/ScriptedInteraction.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

const QString usage =
    QStringLiteral("Usage: vantrel transfer-profiles (list | import FILE | export ID FILE | delete ID) [--json]");

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QJsonObject summaryJson(const TransferProfile &profile)
{
    return {{QStringLiteral("id"), idText(profile.id)},
            {QStringLiteral("name"), profile.name},
            {QStringLiteral("summary"), profile.summary},
            {QStringLiteral("ruleCount"), int(profile.rules.size())},
            {QStringLiteral("updatedAt"), profile.updatedAt.toUTC().toString(Qt::ISODate)}};
}

QJsonValue bannerJson(const AppState &state)
{
    const auto &banner = state.packBanner();
    if (!banner)
        return QJsonValue::Null;
    return QJsonObject{{QStringLiteral("tone"), AppState::PackBanner::toString(banner->tone)},
                       {QStringLiteral("message"), banner->message}};
}

std::optional<TransferProfile> find(AppState &state, const QString &word, QString *refusal)
{
    return state.transferProfileStore().find(word, refusal);
}

int finish(const AppState &state, bool json, QJsonObject result, const QString &text, QTextStream &out,
           QTextStream &err)
{
    const auto &banner = state.packBanner();
    const bool failed = banner && banner->tone == AppState::PackBanner::Tone::failure;
    if (json) {
        result.insert(QStringLiteral("banner"), bannerJson(state));
        out << QJsonDocument(result).toJson(QJsonDocument::Indented);
    } else if (failed) {
        err << banner->message << Qt::endl;
    } else {
        out << text << Qt::endl;
    }
    return failed ? 1 : 0;
}

} // namespace

int TransferProfilesCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QStringList words;
    bool json = false;
    for (const QString &word : arguments) {
        if (word == QLatin1String("--json"))
            json = true;
        else
            words.append(word);
    }
    const QString action = words.value(0);
    const qsizetype wanted = action == QLatin1String("list")                                          ? 1
                             : action == QLatin1String("import") || action == QLatin1String("delete") ? 2
                             : action == QLatin1String("export")                                      ? 3
                                                                                                      : -1;
    if (wanted < 0 || words.size() != wanted ||
        std::any_of(words.cbegin(), words.cend(), [](const QString &w) { return w.startsWith(QLatin1String("--")); })) {
        err << usage << Qt::endl;
        return 2;
    }

    // The command line names what to do, so the delete's question is answered by it; nothing else is asked.
    ScriptedInteraction interaction;
    interaction.setAssumeYes(action == QLatin1String("delete"));
    Defaults defaults(Paths::defaultsFile());
    AppState state(defaults, interaction);

    if (action == QLatin1String("list")) {
        const QList<TransferProfile> &profiles = state.transferProfileStore().profiles();
        if (json) {
            QJsonArray rows;
            for (const TransferProfile &profile : profiles)
                rows.append(summaryJson(profile));
            out << QJsonDocument(rows).toJson(QJsonDocument::Indented);
        } else if (profiles.isEmpty()) {
            out << QStringLiteral("No profiles yet.") << Qt::endl;
        } else {
            for (const TransferProfile &profile : profiles)
                out << idText(profile.id) << '\t' << profile.name << '\t' << profile.rules.size() << Qt::endl;
        }
        return 0;
    }
    if (action == QLatin1String("import")) {
        const std::optional<TransferProfile> imported =
            state.importTransferProfile(QFileInfo(words[1]).absoluteFilePath());
        QJsonObject result{{QStringLiteral("id"), imported ? QJsonValue(idText(imported->id)) : QJsonValue()}};
        return finish(state, json, result, imported ? idText(imported->id) : QString(), out, err);
    }

    QString refusal;
    const std::optional<TransferProfile> profile = find(state, words[1], &refusal);
    if (!profile) {
        err << refusal << Qt::endl;
        return 2;
    }
    if (action == QLatin1String("export")) {
        const QString path = QFileInfo(words[2]).absoluteFilePath();
        // Nothing is replaced unasked, and there is no one here to ask.
        if (QFileInfo::exists(path) || QFileInfo(path).isSymLink()) {
            err << QStringLiteral("“%1” already exists; nothing was written. Remove it or name another file.")
                       .arg(NativeNames::display(path))
                << Qt::endl;
            return 2;
        }
        state.exportTransferProfile(profile->id, path);
        const QString text = state.packBanner() ? state.packBanner()->message : QString();
        return finish(state, json, summaryJson(*profile), text, out, err);
    }
    if (!state.deleteTransferProfile(profile->id) && !state.packBanner())
        state.showFailure(QStringLiteral("Couldn't delete “%1”.").arg(profile->name));
    return finish(state, json, summaryJson(*profile), QStringLiteral("Deleted “%1”.").arg(profile->name), out, err);
}
