#pragma once

#include "transfer/engine/TransferEngine.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <variant>
#include <vector>

// What a routing rule asks of a file. `any` and `all` hold conditions of their own, to any depth.
struct RuleMatch {
    struct extensionEquals {
        QStringList extensions;
        bool operator==(const extensionEquals &) const = default;
    };
    struct nameContains {
        QString value;
        bool caseInsensitive = true;
        bool operator==(const nameContains &) const = default;
    };
    struct nameMatchesRegex {
        QString pattern;
        bool operator==(const nameMatchesRegex &) const = default;
    };
    struct sizeGreaterThan {
        qint64 bytes = 0;
        bool operator==(const sizeGreaterThan &) const = default;
    };
    struct modifiedOlderThanDays {
        int days = 0;
        bool operator==(const modifiedOlderThanDays &) const = default;
    };
    struct hasFinderTag {
        QString tag;
        bool operator==(const hasFinderTag &) const = default;
    };
    struct commentContains {
        QString value;
        bool operator==(const commentContains &) const = default;
    };
    struct any {
        std::vector<RuleMatch> children;
        bool operator==(const any &) const = default;
    };
    struct all {
        std::vector<RuleMatch> children;
        bool operator==(const all &) const = default;
    };

    std::variant<extensionEquals, nameContains, nameMatchesRegex, sizeGreaterThan, modifiedOlderThanDays, hasFinderTag,
                 commentContains, any, all>
        value;
    bool operator==(const RuleMatch &) const = default;
};

// What becomes of a matching file. The path is as the user typed it ("~/Documents"), expanded when used.
struct RuleAction {
    struct moveTo {
        QString path;
        bool operator==(const moveTo &) const = default;
    };
    struct copyTo {
        QString path;
        bool operator==(const copyTo &) const = default;
    };
    struct skip {
        bool operator==(const skip &) const = default;
    };

    std::variant<moveTo, copyTo, skip> value;
    bool operator==(const RuleAction &) const = default;
};

struct ProfileDefaults {
    // The stored form is the case name.
    enum class ConflictPolicyName { skip, overwrite, renameWithSuffix };
    static QString toString(ConflictPolicyName name);
    static std::optional<ConflictPolicyName> conflictPolicyFromString(const QString &raw);

    ConflictPolicyName conflictPolicy = ConflictPolicyName::renameWithSuffix;
    QString renameSuffix = QStringLiteral(" -copy");
    bool annotateSourceComments = true;
    bool operator==(const ProfileDefaults &) const = default;

    // The engine's policy, with the suffix as a rename's payload.
    TransferEngine::ConflictPolicy policy() const;
};

struct TransferRule {
    QUuid id;
    RuleMatch match;
    RuleAction action;
    bool operator==(const TransferRule &) const = default;
};

// A named list of rules, tried in order: the first that matches a file decides what becomes of it.
struct TransferProfile {
    QUuid id;
    QString name;
    QString summary;
    QDateTime createdAt;
    QDateTime updatedAt;
    QList<TransferRule> rules;
    ProfileDefaults defaults;
    bool operator==(const TransferProfile &) const = default;
};
