#pragma once

#include "transfer/engine/TransferEngine.h"
#include "transfer/rules/TransferProfile.h"

#include <QList>
#include <QString>

#include <optional>
#include <variant>

// What routing a selection by a profile's rules will do, and what it did.
namespace Route {

// A rule's action with its folder made absolute ("~" expanded).
struct ResolvedAction {
    struct moveTo {
        QString url;
        bool operator==(const moveTo &) const = default;
    };
    struct copyTo {
        QString url;
        bool operator==(const copyTo &) const = default;
    };
    struct skip {
        bool operator==(const skip &) const = default;
    };
    std::variant<moveTo, copyTo, skip> value;
    bool operator==(const ResolvedAction &) const = default;
};

struct RoutePlan {
    struct Match {
        QString source;
        TransferRule rule;
        ResolvedAction action;
        bool operator==(const Match &) const = default;
    };
    TransferProfile profile;
    QList<Match> matches;
    int unmatchedCount = 0;
    int totalFileCount = 0;
    qint64 totalMatchedBytes = 0;
    bool operator==(const RoutePlan &) const = default;
};

struct RouteResult {
    struct ItemResult {
        struct moved {
            QString url;
            bool operator==(const moved &) const = default;
        };
        struct copied {
            QString url;
            bool operator==(const copied &) const = default;
        };
        struct skipped {
            QString reason;
            bool operator==(const skipped &) const = default;
        };
        struct failed {
            QString message;
            bool operator==(const failed &) const = default;
        };
        std::variant<moved, copied, skipped, failed> value;
        bool operator==(const ItemResult &) const = default;
    };
    struct Outcome {
        QString source;
        ItemResult result;
        bool operator==(const Outcome &) const = default;
    };
    RoutePlan plan;
    QList<Outcome> outcomes;
    TransferEngine::ConflictPolicy conflictPolicy;
    bool operator==(const RouteResult &) const = default;
};

struct RunProgress {
    int processed = 0;
    int total = 0;
    std::optional<QString> currentFile;
    int moved = 0;
    int copied = 0;
    int skipped = 0;
    int failed = 0;
    bool operator==(const RunProgress &) const = default;
};

// One row of the preview: the files bound for one folder by one verb, or kept by a skip rule.
struct RouteRow {
    enum class Verb { move, copy, skip };
    Verb verb = Verb::skip;
    QString folder; // empty for skip
    QStringList sources;
    bool operator==(const RouteRow &) const = default;
};

} // namespace Route
