#include "steward/ProjectDetection.h"

#include "platform/NativeNames.h"
#include "platform/Packages.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <algorithm>

#include <dirent.h>
#include <sys/stat.h>

namespace {

struct Entry {
    QByteArray raw;
    QString name;
    QString path;
    struct stat status {};
};

bool isHidden(const QString &name)
{
    return name.startsWith(QLatin1Char('.'));
}

// The entries of `folder` in name order, each lstat'ed so a link is never taken for what it points at.
// A folder that can't be read has none: that branch just ends.
QList<Entry> entries(const QString &folder)
{
    QList<Entry> found;
    const QByteArray base = NativeNames::encode(folder);
    DIR *dir = ::opendir(base.constData());
    if (!dir)
        return found;
    while (const dirent *item = ::readdir(dir)) {
        const QByteArrayView raw(item->d_name);
        if (raw == "." || raw == "..")
            continue;
        Entry entry;
        entry.raw = raw.toByteArray();
        entry.name = NativeNames::decode(raw);
        entry.path = folder.endsWith(QLatin1Char('/')) ? QString(folder + entry.name)
                                                       : QString(folder + QLatin1Char('/') + entry.name);
        const QByteArray full = base + (base.endsWith('/') ? QByteArray() : QByteArray("/")) + entry.raw;
        if (::lstat(full.constData(), &entry.status) != 0)
            continue; // gone since it was listed
        found.append(entry);
    }
    ::closedir(dir);
    // Byte order of the names, as every walk here: the same tree gives the same list on every run.
    std::sort(found.begin(), found.end(), [](const Entry &a, const Entry &b) { return a.raw < b.raw; });
    return found;
}

QDateTime modificationDate(const struct stat &status)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000,
                                          Qt::UTC);
}

quint64 allocated(const struct stat &status)
{
    return quint64(status.st_blocks) * 512;
}

using ProjectDetection::ScanProgress;

class Walk {
public:
    Walk(const std::function<void(const ScanProgress &)> &publish, std::stop_token stop)
        : publish(publish), stop(std::move(stop))
    {
    }

    void folder(const QString &path, int depth)
    {
        if (depth > ProjectDetection::maxDepth || stop.stop_requested())
            return;
        ++results.foldersWalked;
        publish(ScanProgress{results.foldersWalked, int(results.projects.size()), path});
        if (const auto structure = ProjectStructure::detect(path)) {
            struct stat status {};
            const bool readable = ::lstat(NativeNames::encode(path).constData(), &status) == 0;
            results.projects.append({*structure, ProjectDetection::allocatedSize(path, stop),
                                     readable ? modificationDate(status) : QDateTime::currentDateTimeUtc()});
            return;
        }
        for (const Entry &child : entries(path)) {
            if (stop.stop_requested())
                return;
            if (!S_ISDIR(child.status.st_mode) || isHidden(child.name) || Packages::isPackageName(child.name) ||
                ProjectDetection::isSkippedName(child.name))
                continue;
            folder(child.path, depth + 1);
        }
    }

    void looseFiles(const QString &root)
    {
        for (const Entry &child : entries(root)) {
            if (S_ISREG(child.status.st_mode) && !isHidden(child.name))
                results.looseFiles.append({child.path, allocated(child.status), modificationDate(child.status), {}});
        }
    }

    ProjectDetection::ScanResults results;

private:
    const std::function<void(const ScanProgress &)> &publish;
    std::stop_token stop;
};

} // namespace

bool ProjectDetection::isSkippedName(const QString &name)
{
    static const QSet<QString> skipped{
        QStringLiteral("node_modules"), QStringLiteral(".git"),    QStringLiteral(".svn"),
        QStringLiteral(".hg"),          QStringLiteral("Pods"),    QStringLiteral("DerivedData"),
        QStringLiteral("Library"),      QStringLiteral(".gradle"), QStringLiteral(".idea"),
        QStringLiteral("target"),       QStringLiteral("venv"),    QStringLiteral(".venv"),
        QStringLiteral("__pycache__"),  QStringLiteral("vendor"),  QStringLiteral("Temp"),
        QStringLiteral("obj")};
    return skipped.contains(name);
}

QSet<QString> ProjectDetection::tokens(const QString &name)
{
    QSet<QString> found;
    QString piece;
    const auto flush = [&] {
        if (piece.size() >= 4)
            found.insert(piece.toLower());
        piece.clear();
    };
    for (qsizetype i = 0; i < name.size(); ++i) {
        const QChar c = name.at(i);
        if (!c.isLetterOrNumber()) {
            flush();
            continue;
        }
        if (i > 0 && name.at(i - 1).isLower() && c.isUpper())
            flush();
        piece.append(c);
    }
    flush();
    return found;
}

int ProjectDetection::score(ProjectKind kind, const QString &extension)
{
    const auto in = [&extension](std::initializer_list<const char *> list) {
        return std::any_of(list.begin(), list.end(),
                           [&extension](const char *item) { return extension == QLatin1String(item); });
    };
    switch (kind) {
    case ProjectKind::unity:
        if (in({"unitypackage"}))
            return 100;
        return in({"unityasset", "prefab", "mat", "anim"}) ? 60 : 0;
    case ProjectKind::xcode:
        return in({"xcassets", "xcframework", "xib", "storyboard"}) ? 100 : 0;
    case ProjectKind::swiftPackage:
        return in({"swift"}) ? 30 : 0;
    case ProjectKind::node:
        return in({"ts", "tsx", "js", "jsx"}) ? 60 : 0;
    case ProjectKind::rust:
        return in({"rs", "toml"}) ? 60 : 0;
    case ProjectKind::python:
        return in({"py", "ipynb"}) ? 60 : 0;
    case ProjectKind::godot:
        return in({"tres", "tscn", "gd"}) ? 100 : 0;
    case ProjectKind::gitRepo:
        break;
    }
    return 0;
}

QList<ProjectDetection::Candidate> ProjectDetection::candidates(const QList<DetectedProject> &projects)
{
    QList<Candidate> list;
    for (qsizetype i = 0; i < projects.size(); ++i) {
        const QString root = projects[i].structure.projectRoot;
        const QFileInfo info(root);
        QSet<QString> words = tokens(info.fileName());
        words.unite(tokens(QFileInfo(info.path()).fileName()));
        list.append({root, projects[i].structure.kind, words, int(i)});
    }
    return list;
}

std::optional<QString> ProjectDetection::relatedProject(const QString &fileName, const QList<Candidate> &candidates)
{
    const QFileInfo info(fileName);
    const QSet<QString> words = tokens(info.completeBaseName());
    const QString extension = info.suffix().toLower();
    const Candidate *best = nullptr;
    int bestScore = -1;
    for (const Candidate &candidate : candidates) {
        if (!candidate.tokens.intersects(words))
            continue;
        const int points = score(candidate.kind, extension);
        if (points > bestScore || (points == bestScore && candidate.order < best->order)) {
            best = &candidate;
            bestScore = points;
        }
    }
    return best ? std::optional<QString>(best->project) : std::nullopt;
}

quint64 ProjectDetection::allocatedSize(const QString &folder, std::stop_token stop)
{
    quint64 total = 0;
    QStringList pending{folder};
    while (!pending.isEmpty() && !stop.stop_requested()) {
        for (const Entry &child : entries(pending.takeLast())) {
            if (isHidden(child.name))
                continue;
            if (S_ISREG(child.status.st_mode))
                total += allocated(child.status);
            else if (S_ISDIR(child.status.st_mode))
                pending.append(child.path);
        }
    }
    return total;
}

ProjectDetection::ScanResults ProjectDetection::scan(const QStringList &roots,
                                                     const std::function<void(const ScanProgress &)> &publish,
                                                     std::stop_token stop)
{
    QElapsedTimer clock;
    clock.start();
    Walk walk(publish, stop);
    for (const QString &root : roots) {
        walk.folder(root, 0);
        // A root that is a project keeps its own files; only a plain folder's files lie loose.
        if (!stop.stop_requested() && !ProjectStructure::detect(root))
            walk.looseFiles(root);
    }
    ScanResults results = std::move(walk.results);
    // Largest first; equal sizes by path, so a list is the same on every run.
    std::sort(results.projects.begin(), results.projects.end(), [](const DetectedProject &a, const DetectedProject &b) {
        if (a.totalSizeBytes != b.totalSizeBytes)
            return a.totalSizeBytes > b.totalSizeBytes;
        return a.structure.projectRoot < b.structure.projectRoot;
    });
    const QList<Candidate> list = candidates(results.projects);
    for (LooseFile &file : results.looseFiles)
        file.relatedTo = relatedProject(QFileInfo(file.url).fileName(), list);
    results.elapsed = double(clock.nsecsElapsed()) / 1e9;
    return results;
}
