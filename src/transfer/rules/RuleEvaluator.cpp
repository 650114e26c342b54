#include "transfer/rules/RuleEvaluator.h"

#include "metadata/FinderMetadata.h"
#include "platform/NativeNames.h"
#include "platform/Packages.h"

#include <QMutexLocker>

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString nameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

qint64 nanoseconds(const struct timespec &time)
{
    return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// What a package holds, as one document: the bytes of its files, and the newest change to anything in it.
struct PackageContents {
    qint64 bytes = 0;
    qint64 newest = 0;
};

void addContents(int parent, const char *name, PackageContents &contents, int depth)
{
    // A package is a folder like any other inside; the depth bound keeps a hostile tree from exhausting
    // descriptors or the stack.
    if (depth > 64)
        return;
    const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        struct stat status {};
        if (::fstatat(::dirfd(dir), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        contents.newest = std::max(contents.newest, nanoseconds(status.st_mtim));
        if (S_ISREG(status.st_mode))
            contents.bytes += status.st_size;
        else if (S_ISDIR(status.st_mode))
            addContents(::dirfd(dir), entry->d_name, contents, depth + 1);
    }
    ::closedir(dir);
}

// What the conditions read of one file, each read at most once and only when asked.
class FileFacts {
public:
    explicit FileFacts(QString path) : path(std::move(path)) {}

    // A folder has no size of its own: 0. A package is one document to its user, so it weighs what its
    // files weigh.
    qint64 size()
    {
        stat();
        if (isPackage())
            return package().bytes;
        return status && S_ISREG(status->st_mode) ? status->st_size : 0;
    }
    // Nanoseconds since the epoch, so that "exactly so many days ago" compares exactly. A package was last
    // modified when anything inside it was: its own folder's date moves only when a name in it changes.
    std::optional<qint64> modifiedNanoseconds()
    {
        stat();
        if (!status)
            return std::nullopt;
        const qint64 own = nanoseconds(status->st_mtim);
        return isPackage() ? std::max(own, package().newest) : own;
    }
    const QStringList &tags()
    {
        if (!tagList)
            tagList = FinderMetadata::readTags(path);
        return *tagList;
    }
    const std::optional<QString> &comment()
    {
        if (!commentRead) {
            commentText = FinderMetadata::readComment(path);
            commentRead = true;
        }
        return commentText;
    }
    const QString &name() const { return fileName; }

private:
    bool isPackage() const { return status && S_ISDIR(status->st_mode) && Packages::isPackageName(fileName); }
    const PackageContents &package()
    {
        if (!contents) {
            contents.emplace();
            addContents(AT_FDCWD, NativeNames::encode(path).constData(), *contents, 0);
        }
        return *contents;
    }
    void stat()
    {
        if (statted)
            return;
        statted = true;
        struct stat read {};
        if (::lstat(NativeNames::encode(path).constData(), &read) == 0)
            status = read;
    }

    QString path;
    QString fileName = nameOf(path);
    bool statted = false;
    std::optional<struct stat> status;
    std::optional<PackageContents> contents;
    std::optional<QStringList> tagList;
    bool commentRead = false;
    std::optional<QString> commentText;
};

bool evaluate(const RuleMatch &match, FileFacts &file, const QDateTime &now)
{
    using M = RuleMatch;
    if (const auto *m = std::get_if<M::extensionEquals>(&match.value)) {
        const QString extension = RuleEvaluator::extensionOf(file.name()).toLower();
        for (const QString &wanted : m->extensions) {
            if (wanted.toLower() == extension)
                return true;
        }
        return false;
    }
    if (const auto *m = std::get_if<M::nameContains>(&match.value))
        return file.name().contains(m->value, m->caseInsensitive ? Qt::CaseInsensitive : Qt::CaseSensitive);
    if (const auto *m = std::get_if<M::nameMatchesRegex>(&match.value))
        return RuleEvaluator::RegexCache::shared().matches(m->pattern, file.name());
    if (const auto *m = std::get_if<M::sizeGreaterThan>(&match.value))
        return file.size() > m->bytes;
    if (const auto *m = std::get_if<M::modifiedOlderThanDays>(&match.value)) {
        const auto modified = file.modifiedNanoseconds();
        const qint64 threshold = (now.toMSecsSinceEpoch() - qint64(m->days) * 86'400'000) * 1'000'000;
        return modified && *modified < threshold;
    }
    if (const auto *m = std::get_if<M::hasFinderTag>(&match.value)) {
        for (const QString &tag : file.tags()) {
            if (tag.compare(m->tag, Qt::CaseInsensitive) == 0)
                return true;
        }
        return false;
    }
    if (const auto *m = std::get_if<M::commentContains>(&match.value)) {
        const auto &comment = file.comment();
        return comment && comment->contains(m->value, Qt::CaseInsensitive);
    }
    if (const auto *m = std::get_if<M::any>(&match.value)) {
        for (const RuleMatch &child : m->children) {
            if (evaluate(child, file, now))
                return true;
        }
        return false;
    }
    for (const RuleMatch &child : std::get<M::all>(match.value).children) {
        if (!evaluate(child, file, now))
            return false;
    }
    return true;
}

} // namespace

QString RuleEvaluator::extensionOf(const QString &path)
{
    const QString name = nameOf(path);
    const qsizetype point = name.lastIndexOf(QLatin1Char('.'));
    return point > 0 && point < name.size() - 1 ? name.mid(point + 1) : QString();
}

std::optional<TransferRule> RuleEvaluator::firstMatch(const TransferProfile &profile, const QString &path,
                                                      const QDateTime &now)
{
    FileFacts file(path);
    for (const TransferRule &rule : profile.rules) {
        if (evaluate(rule.match, file, now))
            return rule;
    }
    return std::nullopt;
}

bool RuleEvaluator::matches(const RuleMatch &match, const QString &path, const QDateTime &now)
{
    FileFacts file(path);
    return evaluate(match, file, now);
}

RuleEvaluator::RegexCache &RuleEvaluator::RegexCache::shared()
{
    static RegexCache cache;
    return cache;
}

std::optional<QRegularExpression> RuleEvaluator::RegexCache::expression(const QString &pattern)
{
    const QMutexLocker locked(&lock);
    if (const auto found = cache.constFind(pattern); found != cache.cend())
        return *found;
    // \w takes "é" as a letter, as the Mac's expressions do.
    QRegularExpression compiled(pattern, QRegularExpression::UseUnicodePropertiesOption);
    if (!compiled.isValid())
        return std::nullopt;
    cache.insert(pattern, compiled);
    return compiled;
}

bool RuleEvaluator::RegexCache::matches(const QString &pattern, const QString &subject)
{
    // A copy shares the compiled pattern; matching happens outside the lock.
    const std::optional<QRegularExpression> compiled = expression(pattern);
    return compiled && compiled->match(subject).hasMatch();
}

qsizetype RuleEvaluator::RegexCache::size() const
{
    const QMutexLocker locked(&lock);
    return cache.size();
}
