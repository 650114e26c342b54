#include "transfer/route/RoutePlanner.h"

#include "foundation/Plural.h"
#include "platform/NativeNames.h"
#include "platform/Packages.h"
#include "platform/Paths.h"
#include "transfer/engine/TransferPlanner.h"
#include "transfer/rules/RuleEvaluator.h"

#include <QDir>

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Route;

namespace {

QString lastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// A folder's regular files and packages, below it too, each folder's names in byte order.
void walk(const QByteArray &folder, QList<RoutePlanner::Leaf> &leaves, std::stop_token stop, int depth)
{
    // Deeper than any real tree; a loop of bind mounts must not exhaust descriptors.
    if (depth > 256)
        return;
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return;
    QList<QByteArray> names;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.append(QByteArray(entry->d_name));
    }
    std::sort(names.begin(), names.end());
    for (const QByteArray &name : names) {
        if (stop.stop_requested())
            break;
        struct stat status {};
        if (::fstatat(::dirfd(dir), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const QByteArray path = folder + '/' + name;
        if (S_ISREG(status.st_mode)) {
            leaves.append({NativeNames::decode(path), status.st_size});
        } else if (S_ISDIR(status.st_mode)) {
            if (Packages::isPackageName(NativeNames::decode(name)))
                leaves.append({NativeNames::decode(path), 0, true});
            else
                walk(path, leaves, stop, depth + 1);
        }
    }
    ::closedir(dir);
}

bool isFolder(const struct stat &status, const QString &path)
{
    return S_ISDIR(status.st_mode) && !Packages::isPackageName(lastComponent(path));
}

ResolvedAction resolve(const RuleAction &action)
{
    if (const auto *move = std::get_if<RuleAction::moveTo>(&action.value))
        return {ResolvedAction::moveTo{RoutePlanner::expandedFolder(move->path)}};
    if (const auto *copy = std::get_if<RuleAction::copyTo>(&action.value))
        return {ResolvedAction::copyTo{RoutePlanner::expandedFolder(copy->path)}};
    return {ResolvedAction::skip{}};
}

} // namespace

QList<RoutePlanner::Leaf> RoutePlanner::expand(const QStringList &sources, std::stop_token stop)
{
    QList<Leaf> leaves;
    for (const QString &source : sources) {
        if (stop.stop_requested())
            break;
        const QString path = QDir::cleanPath(NativeNames::absolutePath(source));
        const QByteArray bytes = NativeNames::encode(path);
        // A selected link stands for what it points at, as it does in the file manager.
        struct stat status {};
        if (::stat(bytes.constData(), &status) != 0)
            continue;
        if (isFolder(status, path))
            walk(bytes, leaves, stop, 0);
        else if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))
            leaves.append({path, S_ISREG(status.st_mode) ? qint64(status.st_size) : 0, S_ISDIR(status.st_mode)});
    }
    return leaves;
}

QString RoutePlanner::expandedFolder(const QString &path)
{
    QString home = Paths::home();
    if (path == QLatin1String("~"))
        return home;
    if (path.startsWith(QLatin1String("~/")))
        return QDir::cleanPath(home + path.mid(1));
    if (path.startsWith(QLatin1Char('/')))
        return QDir::cleanPath(path);
    return QDir::cleanPath(home + QLatin1Char('/') + path);
}

RoutePlan RoutePlanner::plan(const TransferProfile &profile, const QStringList &sources, const QDateTime &now,
                             std::stop_token stop)
{
    RoutePlan plan;
    plan.profile = profile;
    const QList<Leaf> leaves = expand(sources, stop);
    plan.totalFileCount = int(leaves.size());
    for (const Leaf &leaf : leaves) {
        if (stop.stop_requested())
            break;
        const std::optional<TransferRule> rule = RuleEvaluator::firstMatch(profile, leaf.url, now);
        if (!rule) {
            ++plan.unmatchedCount;
            continue;
        }
        RoutePlan::Match match{leaf.url, *rule, resolve(rule->action)};
        if (!std::holds_alternative<ResolvedAction::skip>(match.action.value))
            plan.totalMatchedBytes += leaf.package ? TransferPlanner::recursiveSize(leaf.url) : leaf.size;
        plan.matches.append(std::move(match));
    }
    return plan;
}

QList<RouteRow> RoutePlanner::routes(const RoutePlan &plan)
{
    QList<RouteRow> rows;
    RouteRow skipped{RouteRow::Verb::skip, {}, {}};
    for (const RoutePlan::Match &match : plan.matches) {
        RouteRow key{RouteRow::Verb::skip, {}, {}};
        if (const auto *move = std::get_if<ResolvedAction::moveTo>(&match.action.value))
            key = {RouteRow::Verb::move, move->url, {}};
        else if (const auto *copy = std::get_if<ResolvedAction::copyTo>(&match.action.value))
            key = {RouteRow::Verb::copy, copy->url, {}};
        if (key.verb == RouteRow::Verb::skip) {
            skipped.sources.append(match.source);
            continue;
        }
        auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const RouteRow &r) { return r.verb == key.verb && r.folder == key.folder; });
        if (row == rows.end()) {
            rows.append(key);
            row = rows.end() - 1;
        }
        row->sources.append(match.source);
    }
    if (!skipped.sources.isEmpty())
        rows.append(skipped);
    return rows;
}

QString RoutePlanner::rowTitle(const RouteRow &row)
{
    switch (row.verb) {
    case RouteRow::Verb::move:
        return QStringLiteral("Move to %1").arg(Paths::displayPath(row.folder));
    case RouteRow::Verb::copy:
        return QStringLiteral("Copy to %1").arg(Paths::displayPath(row.folder));
    case RouteRow::Verb::skip:
        break;
    }
    return QStringLiteral("Skipped (rule action)");
}

QString RoutePlanner::rowCount(const RouteRow &row)
{
    return counted(row.sources.size(), QStringLiteral("file"));
}

QString RoutePlanner::rowNames(const RouteRow &row, int shown)
{
    QStringList names;
    for (qsizetype i = 0; i < row.sources.size() && i < shown; ++i)
        names.append(NativeNames::display(lastComponent(row.sources[i])));
    QString text = names.join(QStringLiteral(", "));
    if (row.sources.size() > shown)
        text += QStringLiteral(" + %1 more").arg(row.sources.size() - shown);
    return text;
}

QString RoutePlanner::unmatchedLine(const RoutePlan &plan)
{
    if (plan.unmatchedCount <= 0)
        return {};
    return QStringLiteral("%1 file%2 did not match any rule — they stay where they are.")
        .arg(plan.unmatchedCount)
        .arg(pluralSuffix(plan.unmatchedCount));
}
