#include "transfer/rules/TransferProfile.h"

QString ProfileDefaults::toString(ConflictPolicyName name)
{
    switch (name) {
    case ConflictPolicyName::skip:
        return QStringLiteral("skip");
    case ConflictPolicyName::overwrite:
        return QStringLiteral("overwrite");
    case ConflictPolicyName::renameWithSuffix:
        return QStringLiteral("renameWithSuffix");
    }
    return {};
}

std::optional<ProfileDefaults::ConflictPolicyName> ProfileDefaults::conflictPolicyFromString(const QString &raw)
{
    for (ConflictPolicyName name :
         {ConflictPolicyName::skip, ConflictPolicyName::overwrite, ConflictPolicyName::renameWithSuffix}) {
        if (toString(name) == raw)
            return name;
    }
    return std::nullopt;
}

TransferEngine::ConflictPolicy ProfileDefaults::policy() const
{
    switch (conflictPolicy) {
    case ConflictPolicyName::skip:
        return TransferEngine::skip{};
    case ConflictPolicyName::overwrite:
        return TransferEngine::overwrite{};
    case ConflictPolicyName::renameWithSuffix:
        break;
    }
    return TransferEngine::renameWithSuffix{renameSuffix};
}
