#pragma once

#include "transfer/rules/TransferProfile.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <vector>

// What the rule editor shows for a rule and how its text becomes the model again, without any widget:
// the condition picker's table, sizes in MB, the extension list, and the one `any` or `all` that holds a
// rule's several conditions.
namespace RuleEditing {

// The plain conditions the picker offers, in its order.
enum class ConditionKind {
    extensionEquals,
    nameContains,
    nameMatchesRegex,
    sizeGreaterThan,
    modifiedOlderThanDays,
    hasFinderTag,
    commentContains
};

struct ConditionKindInfo {
    ConditionKind kind;
    QString label;
    QString placeholder;
    // Empty when the field has no unit.
    QString unit;
};

const QList<ConditionKindInfo> &conditionKinds();
const ConditionKindInfo &infoOf(ConditionKind kind);
// The kind of a plain condition; nothing for `any` and `all`, which the picker doesn't offer.
std::optional<ConditionKind> kindOf(const RuleMatch &match);

// 1 MB is 2^20 bytes. Text that isn't a whole number counts as 0; the model's bytes show in whole MB,
// the remainder dropped.
qint64 bytesFromMegabytes(const QString &text);
QString megabytesFromBytes(qint64 bytes);

// "PDF, ai,, sketch " -> {"pdf", "ai", "sketch"}; shown again joined with ", ".
QStringList splitExtensions(const QString &text);
QString joinExtensions(const QStringList &extensions);

// The text a plain condition's field shows.
QString textOf(const RuleMatch &match);
// The condition of `kind` the field's text makes. A name search made here ignores case; one edited from
// `previous` keeps the flag it had, which only an imported file can have set otherwise.
RuleMatch conditionFrom(ConditionKind kind, const QString &text, const RuleMatch *previous = nullptr);

enum class Joining { any, all };
// "ANY (OR)", "ALL (AND)"
QString joiningLabel(Joining joining);
// "OR another condition", "AND another condition"
QString addConditionLabel(Joining joining);

// A rule's conditions as the editor lists them: the children of its `any` or `all`, or the one plain case.
struct Conditions {
    Joining joining = Joining::all;
    std::vector<RuleMatch> list;
    bool operator==(const Conditions &) const = default;
};
Conditions conditionsOf(const RuleMatch &match);
// One condition is held plainly; several in one `any` or `all`; none is an empty `any`, which matches
// nothing, so a rule emptied by mistake never moves every file.
RuleMatch matchOf(const Conditions &conditions);

// The action picker's cases, in its order.
enum class ActionKind { moveTo, copyTo, skip };
QString actionLabel(ActionKind kind);
ActionKind kindOf(const RuleAction &action);
QString pathOf(const RuleAction &action);
RuleAction actionFrom(ActionKind kind, const QString &path);

// A picked folder as the rule keeps it: under `home`, with "~" in place of the home path, so the rule
// still fits after the profile travels to another account.
QString folderAsTyped(const QString &folder, const QString &home);

// "1 rule · evaluated in order", "{n} rules · evaluated in order"
QString rulesHeader(qsizetype count);

// A fresh rule for "Add Rule": no extension yet, so it matches nothing until the user fills it in.
TransferRule newRule();

QString conflictPolicyLabel(ProfileDefaults::ConflictPolicyName name);

} // namespace RuleEditing
