#include "transfer/engine/TransferEngine.h"

#include <QJsonArray>

#include <algorithm>

namespace TransferEngine {

QString toString(SafetyIssue issue)
{
    switch (issue) {
    case SafetyIssue::destinationUnwritable:
        return QStringLiteral("destinationUnwritable");
    case SafetyIssue::sourceContainsDestination:
        return QStringLiteral("sourceContainsDestination");
    case SafetyIssue::destinationVolumeAlmostFull:
        return QStringLiteral("destinationVolumeAlmostFull");
    case SafetyIssue::empty:
        return QStringLiteral("empty");
    }
    return {};
}

QString text(SafetyIssue issue)
{
    switch (issue) {
    case SafetyIssue::destinationUnwritable:
        return QStringLiteral("Destination is not writable.");
    case SafetyIssue::sourceContainsDestination:
        return QStringLiteral("Destination is inside the source tree — would create a loop.");
    case SafetyIssue::destinationVolumeAlmostFull:
        return QStringLiteral("Destination volume is nearly full.");
    case SafetyIssue::empty:
        return QStringLiteral("No files in the selection.");
    }
    return {};
}

bool blocks(SafetyIssue issue)
{
    return issue != SafetyIssue::destinationVolumeAlmostFull;
}

QList<SafetyIssue> Plan::blockingIssues() const
{
    QList<SafetyIssue> blocking;
    std::copy_if(safetyIssues.cbegin(), safetyIssues.cend(), std::back_inserter(blocking), blocks);
    return blocking;
}

QString toString(const ConflictPolicy &policy)
{
    if (const auto *rename = std::get_if<renameWithSuffix>(&policy))
        return QStringLiteral("renameWithSuffix(%1)").arg(rename->suffix);
    return std::holds_alternative<skip>(policy) ? QStringLiteral("skip") : QStringLiteral("overwrite");
}

std::optional<QString> ResolvedItem::writtenURL() const
{
    if (const auto *c = std::get_if<copied>(&outcome))
        return c->url;
    if (const auto *o = std::get_if<overwrote>(&outcome))
        return o->url;
    if (const auto *r = std::get_if<renamed>(&outcome))
        return r->url;
    return std::nullopt;
}

int Result::copiedCount() const
{
    return int(std::count_if(items.cbegin(), items.cend(),
                             [](const ResolvedItem &item) { return item.writtenURL().has_value(); }));
}

int Result::skippedCount() const
{
    return int(std::count_if(items.cbegin(), items.cend(),
                             [](const ResolvedItem &item) { return std::holds_alternative<skipped>(item.outcome); }));
}

int Result::failedCount() const
{
    return int(std::count_if(items.cbegin(), items.cend(),
                             [](const ResolvedItem &item) { return std::holds_alternative<failed>(item.outcome); }));
}

namespace {

QJsonObject toJson(const PlannedItem &item)
{
    return {{QStringLiteral("source"), item.source},
            {QStringLiteral("intendedDestination"), item.intendedDestination},
            {QStringLiteral("sizeBytes"), item.sizeBytes},
            {QStringLiteral("conflictsAtPlanTime"), item.conflictsAtPlanTime}};
}

QJsonArray toJson(const QList<PlannedItem> &items)
{
    QJsonArray array;
    for (const PlannedItem &item : items)
        array.append(toJson(item));
    return array;
}

} // namespace

QJsonObject toJson(const Plan &plan)
{
    QJsonArray issues;
    for (SafetyIssue issue : plan.safetyIssues)
        issues.append(toString(issue));
    return {{QStringLiteral("topLevelItemCount"), plan.topLevelItemCount},
            {QStringLiteral("totalFileCount"), plan.totalFileCount},
            {QStringLiteral("totalSizeBytes"), plan.totalSizeBytes},
            {QStringLiteral("destinationRoot"), plan.destinationRoot},
            {QStringLiteral("destinationFreeSpaceBytes"), plan.destinationFreeSpaceBytes},
            {QStringLiteral("items"), toJson(plan.items)},
            {QStringLiteral("conflicts"), toJson(plan.conflicts)},
            {QStringLiteral("safetyIssues"), issues}};
}

QJsonObject toJson(const ResolvedItem &item)
{
    QJsonObject outcome;
    if (const auto written = item.writtenURL()) {
        outcome.insert(QStringLiteral("case"), std::holds_alternative<copied>(item.outcome) ? QStringLiteral("copied")
                                               : std::holds_alternative<overwrote>(item.outcome)
                                                   ? QStringLiteral("overwrote")
                                                   : QStringLiteral("renamed"));
        outcome.insert(QStringLiteral("url"), *written);
    } else if (const auto *s = std::get_if<skipped>(&item.outcome)) {
        outcome = {{QStringLiteral("case"), QStringLiteral("skipped")}, {QStringLiteral("reason"), s->reason}};
    } else {
        outcome = {{QStringLiteral("case"), QStringLiteral("failed")},
                   {QStringLiteral("error"), std::get<failed>(item.outcome).error}};
    }
    return {{QStringLiteral("source"), item.source}, {QStringLiteral("outcome"), outcome}};
}

} // namespace TransferEngine
