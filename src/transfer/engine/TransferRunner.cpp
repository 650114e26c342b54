#include "transfer/engine/TransferRunner.h"

#include "platform/NativeNames.h"

#include <sys/stat.h>

namespace {

constexpr int lastNumber = 999;

// lstat, not exists(): a dangling link still takes the name.
bool taken(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

} // namespace

QString TransferRunner::uniqueURL(const QString &intended, const QString &suffix)
{
    const qsizetype slash = intended.lastIndexOf(QLatin1Char('/'));
    const QString folder = intended.left(slash + 1);
    const QString name = intended.mid(slash + 1);
    // The extension is what follows the last point, unless the point leads the name (".profile") or
    // ends it ("notes."): "archive.tar.gz" keeps "archive.tar" as its stem.
    const qsizetype point = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = point > 0 && point < name.size() - 1;
    const QString stem = hasExtension ? name.left(point) : name;
    const QString extension = hasExtension ? name.mid(point) : QString();

    QString candidate;
    for (int n = 1; n <= lastNumber; ++n) {
        const QString number = n == 1 ? QString() : QLatin1Char(' ') + QString::number(n);
        candidate = folder + stem + suffix + number + extension;
        if (!taken(candidate))
            return candidate;
    }
    return candidate;
}
