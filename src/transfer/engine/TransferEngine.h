#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <variant>

// The records every transfer shares: what a plan would write, and what a run did with each file.
namespace TransferEngine {

// The raw values are the case names. Only a nearly full volume warns; the others block.
enum class SafetyIssue { destinationUnwritable, sourceContainsDestination, destinationVolumeAlmostFull, empty };
QString toString(SafetyIssue issue);
// The user's words for the issue.
QString text(SafetyIssue issue);
bool blocks(SafetyIssue issue);

struct PlannedItem {
    QString source;
    QString intendedDestination;
    qint64 sizeBytes = 0;
    bool conflictsAtPlanTime = false;
    bool operator==(const PlannedItem &) const = default;
};

struct Plan {
    int topLevelItemCount = 0;
    int totalFileCount = 0;
    qint64 totalSizeBytes = 0;
    QString destinationRoot;
    // 0 when it can't be told.
    qint64 destinationFreeSpaceBytes = 0;
    QList<PlannedItem> items;
    QList<PlannedItem> conflicts;
    QList<SafetyIssue> safetyIssues;
    bool operator==(const Plan &) const = default;

    QList<SafetyIssue> blockingIssues() const;
};

// One policy answers every name conflict of a run.
struct renameWithSuffix {
    QString suffix;
    bool operator==(const renameWithSuffix &) const = default;
};
struct skip {
    bool operator==(const skip &) const = default;
};
struct overwrite {
    bool operator==(const overwrite &) const = default;
};
using ConflictPolicy = std::variant<renameWithSuffix, skip, overwrite>;
QString toString(const ConflictPolicy &policy);

// Where the file now is, or why it isn't there.
struct copied {
    QString url;
    bool operator==(const copied &) const = default;
};
struct overwrote {
    QString url;
    bool operator==(const overwrote &) const = default;
};
struct renamed {
    QString url;
    bool operator==(const renamed &) const = default;
};
struct skipped {
    QString reason;
    bool operator==(const skipped &) const = default;
};
struct failed {
    QString error;
    bool operator==(const failed &) const = default;
};
using ItemOutcome = std::variant<copied, overwrote, renamed, skipped, failed>;

struct ResolvedItem {
    QString source;
    ItemOutcome outcome;
    bool operator==(const ResolvedItem &) const = default;

    // The copy's place for the three written outcomes; nothing for skipped and failed.
    std::optional<QString> writtenURL() const;
};

struct Result {
    Plan plan;
    ConflictPolicy conflictPolicy = renameWithSuffix{};
    QList<ResolvedItem> items;
    bool wasCancelled = false;
    bool operator==(const Result &) const = default;

    // Copied, overwrote or renamed.
    int copiedCount() const;
    int skippedCount() const;
    int failedCount() const;
};

// Keys are the member names; an outcome is {"case", and its value}.
QJsonObject toJson(const Plan &plan);
QJsonObject toJson(const ResolvedItem &item);

} // namespace TransferEngine
