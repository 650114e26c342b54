#include "steward/ProjectOrganizing.h"

#include "platform/FileMoves.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "steward/StageRouting.h"
#include "steward/UniqueDestination.h"

#include <QDir>

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>

#include <sys/stat.h>

namespace ProjectOrganizing {

namespace {

constexpr std::array<const char *, 9> rawValues{"screenshots", "code", "docs",  "archives", "video",
                                                "design",      "data", "audio", "other"};

// The paths here are absolute and clean: a name is what follows the last slash.
QString lastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString parentOf(const QString &path)
{
    return QDir::cleanPath(path + QStringLiteral("/.."));
}

bool exists(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

// The folders people drop everything into: a project's files there get a folder of their own.
bool isSharedFolder(const QString &folder)
{
    const std::array<QString, 4> shared{Paths::home(), Paths::downloads(), Paths::desktop(), Paths::documents()};
    return std::any_of(shared.cbegin(), shared.cend(),
                       [&folder](const QString &path) { return folder == QDir::cleanPath(path); });
}

// Copies or moves one file into its typed folder, counting what happened in `result`.
void place(const PlannedFile &file, const QString &container, bool moveMode, Result &result)
{
    if (!exists(file.source)) {
        ++result.skippedCount;
        return;
    }
    const QString folder = container + QLatin1Char('/') + toString(file.category);
    if (const auto error = FileMoves::makeFolders(folder)) {
        result.failedItems.append({file.source, *error});
        return;
    }
    const QString intended = folder + QLatin1Char('/') + lastComponent(file.source);
    // Another program may take the free name between the look and the write; the write never replaces,
    // so the file then takes the next free name.
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const QString destination = Steward::uniqueDestination(intended);
        const FileMoves::Result written = moveMode ? FileMoves::moveNoReplace(file.source, destination)
                                                   : FileMoves::copyNoReplace(file.source, destination);
        if (written.outcome == FileMoves::Outcome::moved) {
            ++(moveMode ? result.movedCount : result.copiedCount);
            if (destination != intended)
                ++result.renamedCount;
            return;
        }
        if (written.outcome == FileMoves::Outcome::destinationExists)
            continue;
        // Gone while it was being written: the same as gone before.
        if (!exists(file.source)) {
            ++result.skippedCount;
            return;
        }
        result.failedItems.append({file.source, written.error});
        return;
    }
    result.failedItems.append(
        {file.source, QStringLiteral("Every free name in %1 was taken while it was being written.")
                          .arg(Paths::displayPath(folder))});
}

} // namespace

QList<Category> allCategories()
{
    return {Category::screenshots, Category::code, Category::docs,  Category::archives, Category::video,
            Category::design,      Category::data, Category::audio, Category::other};
}

QString toString(Category category)
{
    return QString::fromLatin1(rawValues.at(std::size_t(category)));
}

std::optional<Category> categoryFromString(const QString &raw)
{
    for (const Category category : allCategories()) {
        if (toString(category) == raw)
            return category;
    }
    return std::nullopt;
}

QString displayName(Category category)
{
    const QString raw = toString(category);
    return raw.left(1).toUpper() + raw.mid(1);
}

Category category(const QString &url)
{
    using StageRouting::FileCategory;
    const FileCategory byExtension = StageRouting::category(url);
    const QString name = lastComponent(url).toLower();
    if (byExtension == FileCategory::image &&
        (name.contains(QLatin1String("screenshot")) || name.contains(QLatin1String("screen-shot"))))
        return Category::screenshots;
    switch (byExtension) {
    case FileCategory::code:
        return Category::code;
    case FileCategory::doc:
        return Category::docs;
    case FileCategory::archive:
        return Category::archives;
    case FileCategory::video:
        return Category::video;
    case FileCategory::design:
        return Category::design;
    case FileCategory::data:
        return Category::data;
    case FileCategory::audio:
        return Category::audio;
    case FileCategory::image:
    case FileCategory::model3d:
    case FileCategory::prefab:
    case FileCategory::other:
        break;
    }
    return Category::other;
}

QString containerFor(const ProjectStructure &project, const std::optional<QString> &firstLooseFile, bool *wasCreated)
{
    QString base = parentOf(firstLooseFile ? *firstLooseFile : project.projectRoot);
    const bool shared = isSharedFolder(base);
    if (wasCreated)
        *wasCreated = shared;
    if (!shared)
        return base;
    return base + QLatin1Char('/') + ProjectKinds::toString(project.kind) + QStringLiteral(" - ") +
           lastComponent(QDir::cleanPath(project.projectRoot));
}

Plan plan(const ProjectStructure &project, const QList<ProjectDetection::LooseFile> &looseFiles)
{
    Plan planned;
    planned.projectRoot = project.projectRoot;
    planned.projectKind = project.kind;
    for (const ProjectDetection::LooseFile &file : looseFiles) {
        if (file.relatedTo == project.projectRoot)
            planned.files.append({file.url, file.sizeBytes, category(file.url)});
    }
    const std::optional<QString> first =
        planned.files.isEmpty() ? std::nullopt : std::optional<QString>(planned.files.first().source);
    planned.containerURL = containerFor(project, first, &planned.containerWasCreated);
    return planned;
}

QList<Group> whatGoesWhere(const Plan &plan, const QSet<QString> &selected)
{
    QList<Group> groups;
    for (const Category category : allCategories()) {
        const auto count = std::count_if(plan.files.cbegin(), plan.files.cend(), [&](const PlannedFile &file) {
            return file.category == category && selected.contains(file.source);
        });
        if (count > 0)
            groups.append(
                {category, plan.containerURL + QLatin1Char('/') + toString(category) + QLatin1Char('/'), int(count)});
    }
    return groups;
}

QString containerFailure(const QString &error)
{
    return QStringLiteral("Couldn't create destination folder: %1").arg(error);
}

std::variant<Result, QString> run(const Plan &plan, const QSet<QString> &selected, bool moveMode,
                                  const std::function<void(const Progress &)> &publish, std::stop_token stop)
{
    const auto started = std::chrono::steady_clock::now();
    if (plan.containerWasCreated) {
        if (const auto error = FileMoves::makeFolders(plan.containerURL))
            return containerFailure(*error);
    }
    QList<PlannedFile> ticked;
    std::copy_if(plan.files.cbegin(), plan.files.cend(), std::back_inserter(ticked),
                 [&selected](const PlannedFile &file) { return selected.contains(file.source); });
    Result result;
    result.containerURL = plan.containerURL;
    Progress progress{0, int(ticked.size()), std::nullopt};
    for (const PlannedFile &file : ticked) {
        // Asked to stop, the run ends between files: the one under way is finished, never cut in half.
        if (stop.stop_requested())
            break;
        progress.currentFile = lastComponent(file.source);
        place(file, plan.containerURL, moveMode, result);
        ++progress.processed;
        publish(progress);
    }
    result.elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    return result;
}

} // namespace ProjectOrganizing
