#include "transfer/rules/RuleEditing.h"

#include <algorithm>
#include <limits>

namespace RuleEditing {

namespace {

constexpr qint64 bytesPerMegabyte = qint64(1) << 20;

} // namespace

const QList<ConditionKindInfo> &conditionKinds()
{
    static const QList<ConditionKindInfo> table{
        {ConditionKind::extensionEquals, QStringLiteral("File extension is"), QStringLiteral("pdf, ai, sketch"), {}},
        {ConditionKind::nameContains, QStringLiteral("Name contains"), QStringLiteral("invoice"), {}},
        {ConditionKind::nameMatchesRegex, QStringLiteral("Name matches regex"), QStringLiteral("^IMG_\\d{4}"), {}},
        {ConditionKind::sizeGreaterThan, QStringLiteral("Size larger than"), QStringLiteral("100"),
         QStringLiteral("MB")},
        {ConditionKind::modifiedOlderThanDays, QStringLiteral("Not modified in (days)"), QStringLiteral("30"),
         QStringLiteral("days")},
        {ConditionKind::hasFinderTag, QStringLiteral("Has Finder tag"), QStringLiteral("Important"), {}},
        {ConditionKind::commentContains, QStringLiteral("Comment contains"), QStringLiteral("review"), {}},
    };
    return table;
}

const ConditionKindInfo &infoOf(ConditionKind kind)
{
    return conditionKinds()[int(kind)];
}

std::optional<ConditionKind> kindOf(const RuleMatch &match)
{
    // The variant's first seven cases are the picker's, in the same order.
    if (std::holds_alternative<RuleMatch::any>(match.value) || std::holds_alternative<RuleMatch::all>(match.value))
        return std::nullopt;
    return ConditionKind(match.value.index());
}

qint64 bytesFromMegabytes(const QString &text)
{
    bool ok = false;
    const qint64 megabytes = text.trimmed().toLongLong(&ok);
    if (!ok)
        return 0;
    // A number too large to hold in bytes is held as the largest that fits.
    constexpr qint64 limit = std::numeric_limits<qint64>::max() / bytesPerMegabyte;
    return std::clamp(megabytes, -limit, limit) * bytesPerMegabyte;
}

QString megabytesFromBytes(qint64 bytes)
{
    return QString::number(bytes / bytesPerMegabyte);
}

QStringList splitExtensions(const QString &text)
{
    QStringList extensions;
    for (const QString &piece : text.split(QLatin1Char(','))) {
        const QString extension = piece.trimmed().toLower();
        if (!extension.isEmpty())
            extensions.append(extension);
    }
    return extensions;
}

QString joinExtensions(const QStringList &extensions)
{
    return extensions.join(QStringLiteral(", "));
}

QString textOf(const RuleMatch &match)
{
    if (const auto *c = std::get_if<RuleMatch::extensionEquals>(&match.value))
        return joinExtensions(c->extensions);
    if (const auto *c = std::get_if<RuleMatch::nameContains>(&match.value))
        return c->value;
    if (const auto *c = std::get_if<RuleMatch::nameMatchesRegex>(&match.value))
        return c->pattern;
    if (const auto *c = std::get_if<RuleMatch::sizeGreaterThan>(&match.value))
        return megabytesFromBytes(c->bytes);
    if (const auto *c = std::get_if<RuleMatch::modifiedOlderThanDays>(&match.value))
        return QString::number(c->days);
    if (const auto *c = std::get_if<RuleMatch::hasFinderTag>(&match.value))
        return c->tag;
    if (const auto *c = std::get_if<RuleMatch::commentContains>(&match.value))
        return c->value;
    return {};
}

RuleMatch conditionFrom(ConditionKind kind, const QString &text, const RuleMatch *previous)
{
    switch (kind) {
    case ConditionKind::extensionEquals:
        return {RuleMatch::extensionEquals{splitExtensions(text)}};
    case ConditionKind::nameContains: {
        const auto *before = previous ? std::get_if<RuleMatch::nameContains>(&previous->value) : nullptr;
        return {RuleMatch::nameContains{text, before ? before->caseInsensitive : true}};
    }
    case ConditionKind::nameMatchesRegex:
        return {RuleMatch::nameMatchesRegex{text}};
    case ConditionKind::sizeGreaterThan:
        return {RuleMatch::sizeGreaterThan{bytesFromMegabytes(text)}};
    case ConditionKind::modifiedOlderThanDays: {
        bool ok = false;
        const int days = text.trimmed().toInt(&ok);
        return {RuleMatch::modifiedOlderThanDays{ok ? days : 0}};
    }
    case ConditionKind::hasFinderTag:
        return {RuleMatch::hasFinderTag{text}};
    case ConditionKind::commentContains:
        return {RuleMatch::commentContains{text}};
    }
    return {};
}

QString joiningLabel(Joining joining)
{
    return joining == Joining::any ? QStringLiteral("ANY (OR)") : QStringLiteral("ALL (AND)");
}

QString addConditionLabel(Joining joining)
{
    return (joining == Joining::any ? QStringLiteral("OR") : QStringLiteral("AND")) +
           QStringLiteral(" another condition");
}

Conditions conditionsOf(const RuleMatch &match)
{
    if (const auto *group = std::get_if<RuleMatch::any>(&match.value))
        return {Joining::any, group->children};
    if (const auto *group = std::get_if<RuleMatch::all>(&match.value))
        return {Joining::all, group->children};
    return {Joining::all, {match}};
}

RuleMatch matchOf(const Conditions &conditions)
{
    if (conditions.list.size() == 1)
        return conditions.list.front();
    if (conditions.joining == Joining::all && !conditions.list.empty())
        return {RuleMatch::all{conditions.list}};
    return {RuleMatch::any{conditions.list}};
}

QString actionLabel(ActionKind kind)
{
    switch (kind) {
    case ActionKind::moveTo:
        return QStringLiteral("Move to");
    case ActionKind::copyTo:
        return QStringLiteral("Copy to");
    case ActionKind::skip:
        break;
    }
    return QStringLiteral("Skip (do nothing)");
}

ActionKind kindOf(const RuleAction &action)
{
    return ActionKind(action.value.index());
}

QString pathOf(const RuleAction &action)
{
    if (const auto *move = std::get_if<RuleAction::moveTo>(&action.value))
        return move->path;
    if (const auto *copy = std::get_if<RuleAction::copyTo>(&action.value))
        return copy->path;
    return {};
}

RuleAction actionFrom(ActionKind kind, const QString &path)
{
    switch (kind) {
    case ActionKind::moveTo:
        return {RuleAction::moveTo{path}};
    case ActionKind::copyTo:
        return {RuleAction::copyTo{path}};
    case ActionKind::skip:
        break;
    }
    return {RuleAction::skip{}};
}

QString folderAsTyped(const QString &folder, const QString &home)
{
    QString cleanHome = home;
    while (cleanHome.size() > 1 && cleanHome.endsWith(QLatin1Char('/')))
        cleanHome.chop(1);
    if (cleanHome.isEmpty() || cleanHome == QLatin1String("/"))
        return folder;
    if (folder == cleanHome)
        return QStringLiteral("~");
    // Only a whole leading folder is the home: "/home/ann" is not the start of "/home/anne/x".
    if (folder.startsWith(cleanHome + QLatin1Char('/')))
        return QLatin1Char('~') + folder.mid(cleanHome.size());
    return folder;
}

QString rulesHeader(qsizetype count)
{
    return count == 1 ? QStringLiteral("1 rule · evaluated in order")
                      : QStringLiteral("%1 rules · evaluated in order").arg(count);
}

TransferRule newRule()
{
    return {QUuid::createUuid(), {RuleMatch::extensionEquals{}}, {RuleAction::moveTo{QStringLiteral("~/Documents")}}};
}

QString conflictPolicyLabel(ProfileDefaults::ConflictPolicyName name)
{
    switch (name) {
    case ProfileDefaults::ConflictPolicyName::skip:
        return QStringLiteral("Skip the file");
    case ProfileDefaults::ConflictPolicyName::overwrite:
        return QStringLiteral("Overwrite");
    case ProfileDefaults::ConflictPolicyName::renameWithSuffix:
        break;
    }
    return QStringLiteral("Rename with suffix");
}

} // namespace RuleEditing
