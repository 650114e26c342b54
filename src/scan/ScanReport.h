#pragma once

#include "foundation/ItemFailure.h"
#include "scan/FileWalker.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// One row of a report.
struct ScanItem {
    QUuid id;
    QString url;
    quint64 size = 0;
    std::optional<QDateTime> modificationDate;
    std::optional<QString> badge; // shown on the row ("original", "duplicate", "failed", …)
    std::optional<QUuid> groupID; // the ScanGroup the row is listed under
    bool operator==(const ScanItem &) const = default;
};

struct ScanGroup {
    QUuid id;
    QString label;
    bool operator==(const ScanGroup &) const = default;
};

// A move that a report proposes and that runs only once the user confirms it.
struct PlannedMove {
    QUuid id;
    QString source;
    QString destination;
    QString reason;
    bool operator==(const PlannedMove &) const = default;
};

// A total of 0 means the amount isn't known yet.
struct ScanProgress {
    QString title;
    int processed = 0;
    int total = 0;
    // Work measured in bytes (a copy) also says how many of how many, and how long it has left.
    qint64 bytesProcessed = 0;
    qint64 bytesTotal = 0;
    // Nothing until the rate can be told.
    std::optional<qint64> secondsLeft = std::nullopt;
    bool operator==(const ScanProgress &) const = default;

    // "1.2 GB of 4.8 GB · about 3 min left"; empty when the work isn't counted in bytes.
    QString byteDetail() const;
};

// The last walk of a threshold scan, so that a changed threshold reworks the report without walking again.
struct ScanCache {
    QString workflowID;
    QList<FileWalker::WalkedFile> walked;
    bool operator==(const ScanCache &) const = default;
};

// What every scan produces and the results window shows. A report describes; it changes nothing on disk.
struct ScanReport {
    // The raw values are the case names.
    enum class Kind {
        duplicates,
        stale,
        large,
        tidy,
        metadataExport,
        metadataRestore,
        tagAudit,
        transferCopy,
        transferMove,
        projectSnapshot
    };

    QUuid id;
    QString workflowID;
    QString title;
    QString summary;
    QDateTime generatedAt;
    Kind kind = Kind::tidy;
    QList<ScanItem> items; // in display order
    std::optional<QList<ScanGroup>> groups;
    std::optional<QList<PlannedMove>> plannedMoves;
    // The files the run behind the report couldn't change, each with the system's reason; a report with
    // any is a run that failed.
    QList<ItemFailure> failures = {};
    bool operator==(const ScanReport &) const = default;

    static QString toString(Kind kind);
    static std::optional<Kind> kindFromString(const QString &raw);
    // The symbol name the results window shows at the head of a report of this kind.
    static QString symbol(Kind kind);

    // The sum of the items' sizes.
    quint64 totalSize() const;

    // Keys are the member names. Dates are ISO 8601 in UTC with milliseconds; an absent optional is null;
    // sizes are JSON integers; UUIDs are upper-case without braces.
    // Without items, the key "items" is left out: a writer of a very long report streams them itself.
    QJsonObject toJson(bool includeItems = true) const;
    static QJsonObject toJson(const ScanItem &item);
    // Nothing when the object isn't a report: no known kind, no valid date, or items that aren't objects.
    static std::optional<ScanReport> fromJson(const QJsonObject &object);

    // A new, empty report of `kind` with a fresh id, dated now.
    static ScanReport begin(const QString &workflowID, const QString &title, Kind kind);

    // A row for one path: the size and date of the first file a walk of the path gives, or 0 and no date.
    static ScanItem itemFor(const QString &url, std::optional<QString> badge);
};

// The thresholds of the three threshold scans, as the results window offers them.
namespace ScanThresholds {

struct Preset {
    int value = 0;
    QString label;
    bool operator==(const Preset &) const = default;
};

// Days: 30, 90, 180 as "{n} d", 365 and 730 as "1 yr", "2 yr".
QList<Preset> stalePresets();
// Megabytes: 10, 50, 100, 500 as "{n} MB", 1024 as "1 GB".
QList<Preset> largePresets();
// Days: 7, 14, 30, 90.
QList<Preset> tidyPresets();

// The threshold a scan starts with: the stored value, but never below the default. A smaller preset holds
// only until the program quits, and a value never stored (0) gives the default.
int atLaunch(int stored, int floor);

} // namespace ScanThresholds

// Decides which files of a long loop publish progress, so that a long scan publishes about 60 times: every
// step-th index and the last one. The step is 1 under 60 files, else the count divided by 60, rounded down.
class ProgressThrottle {
public:
    explicit ProgressThrottle(int total);
    // `index` counts from 0.
    bool shouldPublish(int index) const;
    int step() const { return every; }

private:
    int total;
    int every;
};
