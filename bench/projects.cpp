// Detects the projects in a generated tree with `vantrel run project-detector --json` and with `find`, then
// snapshots the largest project with `vantrel run project-snapshot` and with `zip -r -q` given the same
// excludes, and prints each one's best wall time and Vantrel's as a multiple of the tool's.
//
//   bench_projects [SCALE] [--dir FOLDER] [--keep]
//
// SCALE (default 1) multiplies the corpus: 2,000 projects of every kind, about 200,000 files, each project
// with the folders its tools fill (node_modules, target, Library, .git…), and decoys that must not be
// found: projects four levels down, and projects inside `vendor`. The reference is one `find` to depth 4
// that prunes what the detector never enters and prints the folder of every marker, then one `find` over
// the roots found that adds up each root's allocated blocks, hidden entries left out as the detector
// leaves them out. Both must list exactly the planted projects with equal sizes, or the bench fails.
// Goals: detection within 1.5× of find, warm and (as root) cold; the snapshot within 1.1× of zip.
#include "Launcher.h"
#include "Peers.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <random>
#include <unistd.h>

namespace {

constexpr const char *bench = "bench_projects";
constexpr int areas = 20;

// The tree's writer: every file through plain system calls, since there are a few hundred thousand.
class Corpus {
public:
    explicit Corpus(const QString &root) : root(root) {}

    bool file(const QString &relative, qint64 size)
    {
        const QString path = root + QLatin1Char('/') + relative;
        const QString folder = path.left(path.lastIndexOf(QLatin1Char('/')));
        if (!made.contains(folder)) {
            if (!QDir().mkpath(folder))
                return failed(folder);
            made.insert(folder);
        }
        static const QByteArray filler(16384, 'v');
        const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0 || ::write(fd, filler.constData(), size_t(size)) != size || ::close(fd) != 0)
            return failed(path);
        ++written;
        return true;
    }

    // `count` files of random sizes under `folder`, two levels of subfolders deep.
    bool files(const QString &folder, int count, const char *extension)
    {
        for (int i = 0; i < count; ++i) {
            const QString name = QStringLiteral("%1/d%2/e%3/f%4.%5")
                                     .arg(folder)
                                     .arg(i % 3)
                                     .arg(i % 2)
                                     .arg(i)
                                     .arg(QLatin1String(extension));
            if (!file(name, qint64(random() % 12000)))
                return false;
        }
        return true;
    }

    // `count` files of 64 KiB, half words and half noise, under `folder`.
    bool payloads(const QString &folder, int count)
    {
        static const QByteArray payload = [this] {
            static const char *words[] = {"pixel", "normal", "albedo", "mip", "the", "of", "42", "texture"};
            QByteArray bytes;
            while (bytes.size() < 32768)
                bytes += QByteArray(words[random() % 8]) + ' ';
            bytes.truncate(32768);
            while (bytes.size() < 65536)
                bytes += char(random() & 0xff);
            return bytes;
        }();
        for (int i = 0; i < count; ++i) {
            const QString path = root + QStringLiteral("/%1/t%2.png").arg(folder).arg(i);
            if (i == 0 && !QDir().mkpath(root + QLatin1Char('/') + folder))
                return failed(folder);
            const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0 || ::write(fd, payload.constData(), size_t(payload.size())) != payload.size() ||
                ::close(fd) != 0)
                return failed(path);
            ++written;
        }
        return true;
    }

    bool folder(const QString &relative)
    {
        return QDir().mkpath(root + QLatin1Char('/') + relative) || failed(relative);
    }

    const QString root;
    int written = 0;
    std::mt19937 random{2026};

private:
    bool failed(const QString &what)
    {
        std::fprintf(stderr, "%s: can't write %s\n", bench, qPrintable(what));
        return false;
    }

    QSet<QString> made;
};

// One project of kind `kind` (0–7, in the detector's order) at `at`, about a hundred files, with the folders its
// tools fill. A Unity project carries a Node package in its Assets, which must not be listed on its own;
// `alsoRust` makes a Node project that is a crate too, `underGit` puts a history in it.
bool plantProject(Corpus &corpus, const QString &at, int kind, bool alsoRust, bool underGit)
{
    const bool ok = [&] {
        switch (kind) {
        case 0: // unity
            return corpus.files(at + "/Assets/Scripts", 30, "cs") &&
                   corpus.files(at + "/ProjectSettings", 4, "asset") && corpus.files(at + "/Library", 40, "bin") &&
                   corpus.file(at + "/Packages/manifest.json", 300) &&
                   corpus.file(at + "/Assets/Plugin/package.json", 200);
        case 1: // xcode
            return corpus.file(at + "/App.xcodeproj/project.pbxproj", 9000) && corpus.files(at + "/App", 30, "swift") &&
                   corpus.files(at + "/.build", 30, "o");
        case 2: // swiftPackage
            return corpus.file(at + "/Package.swift", 700) && corpus.files(at + "/Sources/Lib", 40, "swift") &&
                   corpus.files(at + "/.build", 40, "o");
        case 3: // node
            return corpus.file(at + "/package.json", 900) && corpus.files(at + "/src", 30, "ts") &&
                   corpus.files(at + "/node_modules/left-pad", 30, "js") &&
                   corpus.file(at + "/node_modules/left-pad/package.json", 400) &&
                   (!alsoRust || corpus.file(at + "/Cargo.toml", 300));
        case 4: // rust
            return corpus.file(at + "/Cargo.toml", 300) && corpus.files(at + "/src", 30, "rs") &&
                   corpus.files(at + "/target/debug", 40, "rlib");
        case 5: // python
            return corpus.file(at + "/pyproject.toml", 500) && corpus.files(at + "/src/pkg", 30, "py") &&
                   corpus.files(at + "/.venv/lib", 40, "py") && corpus.files(at + "/__pycache__", 10, "pyc");
        case 6: // godot
            return corpus.file(at + "/project.godot", 600) && corpus.files(at + "/scenes", 40, "tscn") &&
                   corpus.files(at + "/.godot", 30, "res");
        default: // gitRepo
            return corpus.folder(at + "/.git") && corpus.files(at + "/docs", 40, "md");
        }
    }();
    return ok && corpus.files(at + "/notes", 24, "txt") &&
           (!underGit || corpus.files(at + "/.git/objects", 20, "pack"));
}

// Plants the corpus and returns the planted roots, sorted; empty when something couldn't be written.
QStringList plant(Corpus &corpus, double scale)
{
    const int projects = std::max(8, int(std::lround(2000 * scale)));
    QStringList roots;
    for (int i = 0; i < projects; ++i) {
        // A third each at depths 1, 2 and 3 below the root.
        const QString name = QStringLiteral("Proj%1Game").arg(i);
        const QString area = QStringLiteral("area%1").arg(i % areas);
        const QString at = i % 3 == 0   ? name
                           : i % 3 == 1 ? area + QLatin1Char('/') + name
                                        : QStringLiteral("%1/team%2/%3").arg(area).arg(i % 7).arg(name);
        if (!plantProject(corpus, at, i % 8, i % 16 == 3, i % 5 == 0))
            return {};
        // The first is the largest by far, the one snapshotted: textures that compress as real ones do.
        if (i == 0 && !corpus.payloads(at + "/Assets/Textures", std::max(20, int(std::lround(600 * scale)))))
            return {};
        roots.append(corpus.root + QLatin1Char('/') + at);
    }
    // Decoys: a project four levels down, one inside `vendor`, and plain folders of notes.
    for (int i = 0; i < std::max(2, projects / 40); ++i) {
        const QString area = QStringLiteral("area%1").arg(i % areas);
        if (!plantProject(corpus, QStringLiteral("%1/team%2/deep/Decoy%3").arg(area).arg(i % 7).arg(i), 3, false,
                          false) ||
            !plantProject(corpus, QStringLiteral("%1/vendor/Vendored%2").arg(area).arg(i), 4, false, false) ||
            !corpus.files(QStringLiteral("%1/notes%2").arg(area).arg(i), 60, "txt"))
            return {};
    }
    for (int i = 0; i < 20; ++i) {
        if (!corpus.file(QStringLiteral("Proj%1Game-export.unitypackage").arg(i * 8), 5000))
            return {};
    }
    roots.sort();
    return roots;
}

// What the detector never enters or takes as a marker, as find's tests.
QString referenceScript()
{
    const QStringList skipped{"node_modules", "Pods",        "DerivedData", "Library", "target",
                              "venv",         "__pycache__", "vendor",      "Temp",    "obj"};
    const QStringList markers{"ProjectSettings", "Package.swift", "package.json",     "Cargo.toml",
                              "pyproject.toml",  "setup.py",      "requirements.txt", "project.godot"};
    QStringList skipTests{QStringLiteral("-name '.*'")};
    for (const QString &name : skipped)
        skipTests.append(QStringLiteral("-name '%1'").arg(name));
    QStringList markerTests;
    for (const QString &name : markers)
        markerTests.append(QStringLiteral("-name '%1'").arg(name));
    // .git is both a marker and hidden; .xcodeproj both a marker and a package; neither is entered.
    return QStringLiteral(
               "set -e\n"
               "export LC_ALL=C\n"
               "find \"$1\" -maxdepth 4 \\( -name .git -o -name '*.xcodeproj' -o -name '*.xcworkspace' \\) "
               "-printf '%h\\n' -prune -o \\( %1 \\) -prune -o \\( %2 \\) -printf '%h\\n' |\n"
               // A project is never searched, so a root inside another root is no root.
               "  sort -u | awk '{ n = split($0, part, \"/\"); prefix = part[1]; inside = 0;\n"
               "    for (i = 2; i < n; i++) { prefix = prefix \"/\" part[i]; if (prefix in kept) { inside = 1; "
               "break } }\n"
               "    if (!inside) { kept[$0] = 1; print } }' > \"$2\"\n"
               "tr '\\n' '\\0' < \"$2\" | xargs -0 sh -c 'exec find \"$@\" -name \".*\" -prune -o -type f -printf "
               "\"%H\\t%b\\n\"' sh |\n"
               "  awk -F '\\t' '{ size[$1] += $2 } END { for (root in size) printf \"%s\\t%d\\n\", root, "
               "size[root] * 512 }' | sort\n")
        .arg(skipTests.join(QStringLiteral(" -o ")), markerTests.join(QStringLiteral(" -o ")));
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// "root<TAB>bytes" lines, sorted by root.
QStringList vantrelProjects(const QString &output)
{
    const QJsonArray projects = QJsonDocument::fromJson(readAll(output))
                                    .object()
                                    .value(QStringLiteral("session"))
                                    .toObject()
                                    .value(QStringLiteral("projects"))
                                    .toArray();
    QStringList lines;
    for (const auto &value : projects) {
        const QJsonObject project = value.toObject();
        lines.append(QStringLiteral("%1\t%2")
                         .arg(project.value(QStringLiteral("structure")).toObject().value("projectRoot").toString())
                         .arg(qint64(project.value(QStringLiteral("totalSizeBytes")).toDouble())));
    }
    lines.sort();
    return lines;
}

QString largestProject(const QString &output)
{
    return QJsonDocument::fromJson(readAll(output))
        .object()
        .value(QStringLiteral("session"))
        .toObject()
        .value(QStringLiteral("projects"))
        .toArray()
        .at(0)
        .toObject()
        .value(QStringLiteral("structure"))
        .toObject()
        .value(QStringLiteral("projectRoot"))
        .toString();
}

// The archive's entries as unzip lists them, sorted; empty with `ok` false when it can't.
QStringList zipEntries(const Launcher &launcher, const QString &archive, const QString &scratch, bool *ok)
{
    const QString listing = scratch + QStringLiteral("/listing");
    const Measure listed =
        launcher.run({QStringLiteral("unzip"), QStringLiteral("-Z1"), archive}, {}, listing, listing + ".err", scratch);
    *ok = listed.status == 0;
    QStringList lines = QString::fromUtf8(readAll(listing)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

QStringList findProjects(const QString &output)
{
    QStringList lines = QString::fromUtf8(readAll(output)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

QStringList rootsOf(const QStringList &lines)
{
    QStringList roots;
    for (const QString &line : lines)
        roots.append(line.section(QLatin1Char('\t'), 0, 0));
    return roots;
}

QString ratioText(double ratio, double goal)
{
    return QString::number(ratio, 'f', 2) + QStringLiteral("× (goal ≤ %1×)").arg(goal) +
           (ratio > goal ? QStringLiteral("  MISSED") : QString());
}

struct Best {
    double vantrel = 1e9;
    double reference = 1e9;
    long peakKiB = 0;
    double ratio() const { return vantrel / std::max(reference, 1e-6); }
};

} // namespace

int main(int argc, char *argv[])
{
    const Launcher launcher;
    QCoreApplication app(argc, argv);
    double scale = 1;
    QString base = QDir::tempPath();
    bool keep = false;
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        bool ok = true;
        if (arguments[i] == QLatin1String("--dir") && i + 1 < arguments.size())
            base = arguments[++i];
        else if (arguments[i] == QLatin1String("--keep"))
            keep = true;
        else
            scale = arguments[i].toDouble(&ok);
        if (!ok || scale <= 0) {
            std::fprintf(stderr, "Usage: %s [SCALE] [--dir FOLDER] [--keep]\n", bench);
            return 2;
        }
    }
    const QString vantrel = QCoreApplication::applicationDirPath() + QStringLiteral("/vantrel");
    if (!QFileInfo(vantrel).isExecutable()) {
        std::fprintf(stderr, "%s: %s isn't built\n", bench, qPrintable(vantrel));
        return 1;
    }
    if (!Peers::installed(bench, {"find", "xargs", "awk", "sort", "zip", "unzip"}))
        return Peers::peerFailed;

    QTemporaryDir scratch(base + QStringLiteral("/bench-projects-XXXXXX"));
    scratch.setAutoRemove(!keep);
    const QString tree = scratch.path() + QStringLiteral("/Projects");
    const QString home = scratch.path() + QStringLiteral("/home");
    QTextStream text(stdout);
    Corpus corpus(tree);
    const QStringList planted = plant(corpus, scale);
    if (planted.isEmpty() || !QDir().mkpath(home))
        return 1;
    text << QStringLiteral("%1 files, %2 projects planted\n").arg(corpus.written).arg(planted.size());
    text.flush();

    const QString script = scratch.path() + QStringLiteral("/reference.sh");
    QFile scriptFile(script);
    if (!scriptFile.open(QIODevice::WriteOnly) || scriptFile.write(referenceScript().toUtf8()) < 0 ||
        !scriptFile.flush())
        return 1;
    scriptFile.close();

    const QStringList environment{
        QStringLiteral("HOME=") + home, QStringLiteral("XDG_CONFIG_HOME=") + home + "/.config",
        QStringLiteral("XDG_DATA_HOME=") + home + "/.local/share", QStringLiteral("QT_QPA_PLATFORM=offscreen")};
    const QStringList detect{vantrel, "run", "project-detector", tree, "--json"};
    const QStringList reference{"sh", script, tree, scratch.path() + QStringLiteral("/roots")};
    const QString out = scratch.path() + QStringLiteral("/out");
    const QString err = scratch.path() + QStringLiteral("/err");

    // Once each untimed: the answers must agree with each other and with what was planted.
    const Measure ours = launcher.run(detect, environment, out, err, scratch.path());
    const QStringList vantrelList = vantrelProjects(out);
    const QString largest = largestProject(out);
    if (ours.status != 0) {
        std::fprintf(stderr, "%s: vantrel failed (%d): %s\n", bench, ours.status, readAll(err).constData());
        return 1;
    }
    const Measure theirs = launcher.run(reference, {}, out, err, scratch.path());
    const QStringList findList = findProjects(out);
    if (theirs.status != 0)
        return Peers::failed(
            bench, QStringLiteral("find failed (%1): %2").arg(theirs.status).arg(QString::fromUtf8(readAll(err))));
    if (rootsOf(findList) != planted)
        return Peers::failed(
            bench,
            QStringLiteral("find lists %1 projects, not the %2 planted").arg(findList.size()).arg(planted.size()));
    if (vantrelList != findList) {
        std::fprintf(stderr, "%s: vantrel lists %lld projects and find %lld; they differ\n", bench,
                     qint64(vantrelList.size()), qint64(findList.size()));
        for (qsizetype i = 0; i < std::min(vantrelList.size(), findList.size()); ++i) {
            if (vantrelList[i] != findList[i]) {
                std::fprintf(stderr, "  first difference: vantrel “%s”, find “%s”\n", qPrintable(vantrelList[i]),
                             qPrintable(findList[i]));
                break;
            }
        }
        return 1;
    }

    // Warm: two rounds, the second in the other order, each one's better time counting. Cold: one round with
    // the page cache dropped before each run, when the bench may drop it.
    Best warm;
    for (int round = 0; round < 2; ++round) {
        for (int turn = 0; turn < 2; ++turn) {
            const bool vantrelTurn = (round + turn) % 2 == 0;
            const Measure run = vantrelTurn ? launcher.run(detect, environment, out, err, scratch.path())
                                            : launcher.run(reference, {}, out, err, scratch.path());
            if (run.status != 0)
                return vantrelTurn ? 1 : Peers::failed(bench, QStringLiteral("find failed in a timed run"));
            (vantrelTurn ? warm.vantrel : warm.reference) =
                std::min(vantrelTurn ? warm.vantrel : warm.reference, run.seconds);
            if (vantrelTurn)
                warm.peakKiB = std::max(warm.peakKiB, run.peakKiB);
        }
    }
    std::optional<Best> cold;
    if (dropCaches()) {
        cold = Best{};
        const Measure a = launcher.run(detect, environment, out, err, scratch.path());
        dropCaches();
        const Measure b = launcher.run(reference, {}, out, err, scratch.path());
        if (a.status != 0)
            return 1;
        if (b.status != 0)
            return Peers::failed(bench, QStringLiteral("find failed in a cold run"));
        cold->vantrel = a.seconds;
        cold->reference = b.seconds;
    }

    text << QStringLiteral("detection: both list the %1 planted projects with equal sizes\n").arg(planted.size());
    text << QStringLiteral("  warm: vantrel %1 s (peak %2 MiB), find %3 s, %4\n")
                .arg(warm.vantrel, 0, 'f', 3)
                .arg(warm.peakKiB / 1024)
                .arg(warm.reference, 0, 'f', 3)
                .arg(ratioText(warm.ratio(), 1.5));
    if (cold)
        text << QStringLiteral("  cold: vantrel %1 s, find %2 s, %3\n")
                    .arg(cold->vantrel, 0, 'f', 3)
                    .arg(cold->reference, 0, 'f', 3)
                    .arg(ratioText(cold->ratio(), 1.5));
    else
        text << QStringLiteral("  cold: not measured (dropping the page cache needs root)\n");
    text.flush();
    const bool met = warm.ratio() <= 1.5 && (!cold || cold->ratio() <= 1.5);

    // The snapshot of the largest project, against zip given the excluded roots Vantrel names.
    const QString snapshots = scratch.path() + QStringLiteral("/snapshots");
    QDir().mkpath(snapshots);
    const QString ourArchive = snapshots + QStringLiteral("/vantrel-snapshot.zip");
    const QString zipArchive = snapshots + QStringLiteral("/zip-snapshot.zip");
    const QStringList snapshot{vantrel,   "run",   "project-snapshot",      largest, "--dest",
                               snapshots, "--set", "name=vantrel-snapshot", "--json"};
    QFile::remove(ourArchive);
    const Measure planned = launcher.run(snapshot, environment, out, err, scratch.path());
    if (planned.status != 0) {
        std::fprintf(stderr, "%s: vantrel's snapshot failed (%d): %s\n", bench, planned.status,
                     readAll(err).constData());
        return 1;
    }
    const QString parent = largest.left(largest.lastIndexOf(QLatin1Char('/')));
    const QString name = largest.mid(parent.size() + 1);
    QStringList excludes;
    for (const auto &root : QJsonDocument::fromJson(readAll(out))
                                .object()
                                .value(QStringLiteral("session"))
                                .toObject()
                                .value(QStringLiteral("excludedRoots"))
                                .toArray()) {
        const QString relative = name + root.toString().mid(largest.size());
        excludes += {relative, relative + QStringLiteral("/*")};
    }
    excludes += {QStringLiteral(".DS_Store"), QStringLiteral("*/.DS_Store")};
    const QStringList zip = QStringList{"zip", "-r", "-q", zipArchive, name, "-x"} + excludes;
    QFile::remove(zipArchive);
    const Measure zipped = launcher.run(zip, {}, out, err, parent);
    if (zipped.status != 0)
        return Peers::failed(bench, QStringLiteral("zip failed (%1)").arg(zipped.status));
    bool listedOurs = false;
    bool listedTheirs = false;
    const QStringList ourEntries = zipEntries(launcher, ourArchive, scratch.path(), &listedOurs);
    const QStringList zipEntriesList = zipEntries(launcher, zipArchive, scratch.path(), &listedTheirs);
    if (!listedTheirs || zipEntriesList.isEmpty())
        return Peers::failed(bench, QStringLiteral("unzip can't list zip's archive"));
    if (!listedOurs || ourEntries != zipEntriesList) {
        std::fprintf(stderr, "%s: Vantrel's snapshot holds %lld entries and zip's %lld; they differ\n", bench,
                     qint64(ourEntries.size()), qint64(zipEntriesList.size()));
        return 1;
    }
    for (const QString &entry : ourEntries) {
        if (entry.startsWith(name + QStringLiteral("/Library/")) || entry.contains(QStringLiteral("/.git/"))) {
            std::fprintf(stderr, "%s: the snapshot holds %s\n", bench, qPrintable(entry));
            return 1;
        }
    }
    Best archive;
    for (int round = 0; round < 2; ++round) {
        for (int turn = 0; turn < 2; ++turn) {
            const bool vantrelTurn = (round + turn) % 2 == 0;
            QFile::remove(vantrelTurn ? ourArchive : zipArchive);
            const Measure run = vantrelTurn ? launcher.run(snapshot, environment, out, err, scratch.path())
                                            : launcher.run(zip, {}, out, err, parent);
            if (run.status != 0)
                return vantrelTurn ? 1 : Peers::failed(bench, QStringLiteral("zip failed in a timed run"));
            // Until on the disk for both: Vantrel syncs the archive before it takes its name.
            (vantrelTurn ? archive.vantrel : archive.reference) =
                std::min(vantrelTurn ? archive.vantrel : archive.reference, run.synced);
        }
    }
    text << QStringLiteral("snapshot of %1: %2 entries, both archives alike\n").arg(name).arg(ourEntries.size());
    text << QStringLiteral("  vantrel %1 s, zip -r -q %2 s, %3\n")
                .arg(archive.vantrel, 0, 'f', 3)
                .arg(archive.reference, 0, 'f', 3)
                .arg(ratioText(archive.ratio(), 1.1));
    return met && archive.ratio() <= 1.1 ? 0 : 1;
}
