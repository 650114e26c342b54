#include "steward/UniqueDestination.h"

#include "transfer/engine/TransferRunner.h"

QString Steward::uniqueDestination(const QString &path)
{
    // The same rule, and the same " -copy" words, as every transfer's Keep Both.
    return TransferRunner::isTaken(path) ? TransferRunner::uniqueURL(path, QStringLiteral(" -copy")) : path;
}
