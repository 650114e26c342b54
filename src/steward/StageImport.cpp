#include "steward/StageImport.h"

#include "metadata/FinderMetadata.h"
#include "platform/FileMoves.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/Trash.h"
#include "steward/UniqueDestination.h"

#include <QElapsedTimer>
#include <QLocale>

#include <algorithm>

#include <sys/stat.h>

using namespace StageImport;

namespace {

QString lastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString parentFolder(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

QString trimmed(const QString &subpath)
{
    QString text = subpath;
    while (text.startsWith(QLatin1Char('/')))
        text.remove(0, 1);
    while (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    return text;
}

quint64 sizeOf(const QString &path)
{
    struct stat info {};
    if (::lstat(NativeNames::encode(path).constData(), &info) != 0)
        return 0;
    return quint64(std::max<off_t>(info.st_size, 0));
}

// How many times a name taken between the look and the copy is looked for again before the entry
// fails: another program filling the folder as fast as names are picked is not one to race forever.
constexpr int attempts = 16;

} // namespace

Plan StageImport::plan(const QStringList &sources, const ProjectStructure &project)
{
    Plan made{project, {}};
    for (const QString &source : sources) {
        const StageRouting::FileCategory category = StageRouting::category(source);
        made.entries.append(
            {source, sizeOf(source), category, StageRouting::suggestion(category, project.kind), std::nullopt});
    }
    return made;
}

std::optional<QString> StageImport::refusal(const QString &subpath, const ProjectStructure &project)
{
    const QString folder = trimmed(subpath);
    if (StageRouting::unsafePrefix(folder, project))
        return QStringLiteral("Refusing to stage into '%1/' — that's a folder your editor manages or regenerates. "
                              "Pick a different subfolder.")
            .arg(folder);
    // ".." would lead the copy out of the project, where none of its rules apply.
    if (folder.split(QLatin1Char('/')).contains(QStringLiteral("..")))
        return QStringLiteral("Refusing to stage into '%1/' — that's outside the project. Pick a subfolder inside it.")
            .arg(folder);
    return std::nullopt;
}

std::optional<QString> StageImport::refusal(const Plan &plan)
{
    for (const Entry &entry : plan.entries) {
        if (auto refused = refusal(entry.effectiveSubpath(), plan.project))
            return refused;
    }
    return std::nullopt;
}

QString StageImport::noProjectMessage(const QString &folder)
{
    return QStringLiteral("Vantrel looked at %1\n"
                          "but couldn't find any project markers.\n"
                          "\n"
                          "Checked for:\n"
                          "• Unity     → needs Assets/ + ProjectSettings/\n"
                          "• Xcode     → needs *.xcodeproj or *.xcworkspace\n"
                          "• Swift Pkg → needs Package.swift\n"
                          "• Node      → needs package.json\n"
                          "• Rust      → needs Cargo.toml\n"
                          "• Python    → needs pyproject.toml / setup.py / requirements.txt\n"
                          "• Godot     → needs project.godot\n"
                          "• Generic   → needs .git/\n"
                          "\n"
                          "Tip: run **Project Detector** first to find your projects — they'll appear in the "
                          "Recent Projects list automatically.")
        .arg(Paths::displayPath(folder));
}

QString StageImport::importComment(const QString &sourceFolder, const QDate &day)
{
    // The date in fixed ASCII digits, whatever the user's locale.
    return QStringLiteral("[Imported from %1 on %2]")
        .arg(Paths::displayPath(sourceFolder), QLocale::c().toString(day, QStringLiteral("yyyy-MM-dd")));
}

Result StageImport::run(const Plan &plan, const Options &options, const Publish &publish, std::stop_token stop)
{
    QElapsedTimer clock;
    clock.start();
    Result result;
    result.projectRoot = plan.project.projectRoot;
    const int total = int(plan.entries.size());
    for (int i = 0; i < total; ++i) {
        if (stop.stop_requested())
            break;
        const Entry &entry = plan.entries[i];
        if (publish)
            publish({i, total, lastComponent(entry.source)});
        const QString subpath = trimmed(entry.effectiveSubpath());
        const QString folder =
            subpath.isEmpty() ? plan.project.projectRoot : plan.project.projectRoot + QLatin1Char('/') + subpath;
        if (const auto error = FileMoves::makeFolders(folder)) {
            result.failedItems.append({entry.source, QStringLiteral("Couldn't create %1/: %2").arg(subpath, *error)});
            continue;
        }
        const QString intended = folder + QLatin1Char('/') + lastComponent(entry.source);
        std::optional<QString> copied;
        QString failure = QStringLiteral("Every free name was taken while copying.");
        bool renamed = false;
        for (int attempt = 0; attempt < attempts && !copied; ++attempt) {
            const QString destination = Steward::uniqueDestination(intended);
            const FileMoves::Result copy = FileMoves::copyNoReplace(entry.source, destination);
            if (copy.outcome == FileMoves::Outcome::moved) {
                copied = destination;
                renamed = destination != intended;
            } else if (copy.outcome == FileMoves::Outcome::failed) {
                failure = copy.error;
                break;
            }
            // Taken between the look and the copy: look for the next free name.
        }
        if (!copied) {
            result.failedItems.append({entry.source, failure});
            continue;
        }
        if (renamed)
            ++result.renamedCount;
        if (options.addFinderComment) {
            // The copy keeps the original's comment; where it came from goes on a line of its own below.
            try {
                const QString note = importComment(parentFolder(entry.source), options.today);
                const QString existing = FinderMetadata::readComment(*copied).value_or(QString());
                FinderMetadata::writeComment(existing.isEmpty() ? note : existing + QLatin1Char('\n') + note, *copied);
            } catch (const std::exception &) {
                // A file system without comments still takes the file: the comment is a courtesy.
            }
        }
        // The original leaves only once its copy stands; should the Trash refuse it, both stay.
        if (options.moveMode && !Trash::trashItem(entry.source))
            ++result.trashedCount;
        ++result.stagedCount;
        if (!result.firstDestination)
            result.firstDestination = *copied;
    }
    result.elapsed = double(clock.elapsed()) / 1000.0;
    return result;
}
