// Archives one generated tree with `vantrel run archive-handler` and with the tools it drives, `zip -r -q`
// and `tar czf`, checks that both archives list the same entries, and prints each one's best wall time,
// Vantrel's as a multiple of the tool's (until the archive is on the disk, and until the exit), and how far the sheet's
// size estimate was from the real archive.
//
//   bench_archive [SCALE] [--dir FOLDER] [--keep]
//
// SCALE (default 1) multiplies the corpus: 20,000 small text files in nested folders, 500 incompressible
// files of 1 MB, and two files of 500 MB that are half text, half noise. Both programs read the tree from a
// warm page cache: it is read once before the first run, and each runs twice, the second round in the
// opposite order, its better time counting.
#include "Launcher.h"
#include "Peers.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>

namespace {

constexpr const char *bench = "bench_archive";
constexpr qint64 MB = qint64(1000) * 1000;

QByteArray randomBytes(std::mt19937_64 &random, qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qint64 i = 0; i + 8 <= size; i += 8) {
        const quint64 value = random();
        std::memcpy(bytes.data() + i, &value, 8);
    }
    return bytes;
}

QByteArray textBytes(std::mt19937_64 &random, qint64 size)
{
    static const char *words[] = {"archive", "folder", "the", "quarterly", "report",  "of",   "lorem",  "ipsum",
                                  "delta",   "42",     "and", "notes",     "vantrel", "file", "budget", "draft"};
    QByteArray text;
    text.reserve(size + 16);
    while (text.size() < size) {
        text += words[random() % 16];
        text += (random() % 12 == 0) ? '\n' : ' ';
    }
    text.truncate(size);
    return text;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The corpus; false when it couldn't be written.
bool buildCorpus(const QString &root, double scale, QTextStream &out)
{
    std::mt19937_64 random(2026);
    const int small = std::max(1, int(std::lround(20000 * scale)));
    const int noisy = std::max(1, int(std::lround(500 * scale)));
    const qint64 large = std::max<qint64>(MB, std::llround(500.0 * double(MB) * scale));
    for (int i = 0; i < small; ++i) {
        const QString path =
            QStringLiteral("%1/text/%2/%3/note-%4.txt").arg(root).arg(i / 2000).arg((i / 100) % 20).arg(i);
        if (!writeFile(path, textBytes(random, qint64(200 + random() % 8000))))
            return false;
    }
    for (int i = 0; i < noisy; ++i) {
        if (!writeFile(QStringLiteral("%1/photos/IMG_%2.jpg").arg(root).arg(i, 4, 10, QLatin1Char('0')),
                       randomBytes(random, MB)))
            return false;
    }
    for (int i = 0; i < 2; ++i) {
        QFile file(QStringLiteral("%1/large/disk-%2.bin").arg(root).arg(i));
        QDir().mkpath(QFileInfo(file).absolutePath());
        if (!file.open(QIODevice::WriteOnly))
            return false;
        for (qint64 written = 0; written < large; written += 4 * MB) {
            const qint64 chunk = std::min<qint64>(4 * MB, large - written);
            const QByteArray bytes = (written / (4 * MB)) % 2 ? randomBytes(random, chunk) : textBytes(random, chunk);
            if (file.write(bytes) != bytes.size())
                return false;
        }
    }
    out << "corpus: " << small << " text files, " << noisy << " noise files of 1 MB, 2 files of "
        << QString::number(double(large) / double(MB), 'f', 0) << " MB\n";
    return true;
}

// Reads every byte once, so that both programs find the tree in the page cache.
void warm(const QString &root)
{
    QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        if (file.open(QIODevice::ReadOnly)) {
            while (!file.read(4 * MB).isEmpty()) {
            }
        }
    }
}

QString readText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The archive's entries as the other side's tools list them; empty with `ok` false when they can't.
QStringList entriesOf(const Launcher &launcher, bool zip, const QString &archive, const QString &scratch, bool *ok)
{
    const QString listing = scratch + QStringLiteral("/listing");
    const Measure listed = launcher.run(zip ? QStringList{QStringLiteral("unzip"), QStringLiteral("-Z1"), archive}
                                            : QStringList{QStringLiteral("tar"), QStringLiteral("-tzf"), archive},
                                        {}, listing, scratch + QStringLiteral("/listing.err"), scratch);
    *ok = listed.status == 0;
    QStringList lines = readText(listing).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

QString ratioText(double ratio)
{
    return QString::number(ratio, 'f', 3) + (ratio > 1.05 ? QStringLiteral("  MISSED") : QString());
}

} // namespace

int main(int argc, char *argv[])
{
    const Launcher launcher;
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    double scale = 1;
    QString base = QStringLiteral("/var/tmp");
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
            out << "Usage: bench_archive [SCALE] [--dir FOLDER] [--keep]\n";
            return 2;
        }
    }
    const QString vantrel = QCoreApplication::applicationDirPath() + QStringLiteral("/vantrel");
    if (!QFileInfo(vantrel).isExecutable()) {
        std::fprintf(stderr, "%s: %s isn't built; the bench compares it with zip and tar.\n", bench,
                     qPrintable(vantrel));
        return 2;
    }
    if (!Peers::installed(bench, {QStringLiteral("zip"), QStringLiteral("tar"), QStringLiteral("unzip")}))
        return Peers::peerFailed;

    QTemporaryDir temporary(base + QStringLiteral("/bench-archive-XXXXXX"));
    if (!temporary.isValid()) {
        std::fprintf(stderr, "%s: can't make a folder in %s.\n", bench, qPrintable(base));
        return 2;
    }
    temporary.setAutoRemove(!keep);
    const QString root = temporary.path();
    const QString sourceParent = root + QStringLiteral("/source");
    const QString corpus = sourceParent + QStringLiteral("/corpus");
    const QString scratch = root + QStringLiteral("/scratch");
    const QString outputs = root + QStringLiteral("/out");
    for (const QString &folder : {corpus, scratch, outputs})
        QDir().mkpath(folder);
    out << "Working in " << root << (keep ? ", kept when done" : "") << "\n";
    if (!buildCorpus(corpus, scale, out)) {
        std::fprintf(stderr, "%s: couldn't write the corpus in %s.\n", bench, qPrintable(corpus));
        return 2;
    }
    // Whatever of the corpus writing is still cached goes, then the whole tree is read in once: every
    // run after that finds all of it in memory alike.
    const bool dropped = dropCaches();
    warm(corpus);
    out << "page cache: " << (dropped ? "dropped, then" : "not droppable;") << " the tree read once; runs read warm\n";

    // A home of its own: Vantrel writes its defaults there, and the user's settings stay out of the measure.
    const QString home = root + QStringLiteral("/home");
    for (const char *sub : {"/.config", "/.local/share", "/.cache", "/runtime"})
        QDir().mkpath(home + QLatin1String(sub));
    QFile::setPermissions(home + QStringLiteral("/runtime"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QStringList environment{QStringLiteral("HOME=") + home,
                                  QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/.config"),
                                  QStringLiteral("XDG_DATA_HOME=") + home + QStringLiteral("/.local/share"),
                                  QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/.cache"),
                                  QStringLiteral("XDG_RUNTIME_DIR=") + home + QStringLiteral("/runtime")};

    int status = 0;
    for (const bool zip : {true, false}) {
        const QString format = zip ? QStringLiteral("zip") : QStringLiteral("tarGz");
        const QString extension = zip ? QStringLiteral("zip") : QStringLiteral("tar.gz");
        const QString peer = zip ? QStringLiteral("zip -r -q") : QStringLiteral("tar czf");
        out << "\n" << format << " (against " << peer << ")\n";

        // What the sheet expects, from a dry run.
        const QString dryOut = scratch + QStringLiteral("/dry.json");
        launcher.run({vantrel, QStringLiteral("run"), QStringLiteral("archive-handler"), corpus,
                      QStringLiteral("--set"), QStringLiteral("format=") + format, QStringLiteral("--set"),
                      QStringLiteral("destinationURL=") + outputs, QStringLiteral("--dry-run"),
                      QStringLiteral("--json")},
                     environment, dryOut, scratch + QStringLiteral("/dry.err"), scratch);
        const qint64 estimate = qint64(QJsonDocument::fromJson(readText(dryOut).toUtf8())
                                           .object()
                                           .value(QStringLiteral("session"))
                                           .toObject()
                                           .value(QStringLiteral("estimatedArchiveBytes"))
                                           .toDouble());

        std::map<QString, Measure> best;
        std::map<QString, QStringList> entries;
        qint64 realSize = 0;
        for (const QString &who :
             {QStringLiteral("vantrel"), QStringLiteral("peer"), QStringLiteral("peer"), QStringLiteral("vantrel")}) {
            const bool ours = who == QLatin1String("vantrel");
            const QString archive = outputs + QLatin1Char('/') + who + QLatin1Char('.') + extension;
            QFile::remove(archive);
            QStringList command;
            QStringList env;
            if (ours) {
                command = {vantrel,
                           QStringLiteral("run"),
                           QStringLiteral("archive-handler"),
                           corpus,
                           QStringLiteral("--dest"),
                           outputs,
                           QStringLiteral("--set"),
                           QStringLiteral("format=") + format,
                           QStringLiteral("--set"),
                           QStringLiteral("archiveBaseName=vantrel"),
                           QStringLiteral("--set"),
                           QStringLiteral("annotateArchiveComment=false")};
                env = environment;
            } else if (zip) {
                command = {QStringLiteral("zip"), QStringLiteral("-r"), QStringLiteral("-q"), archive,
                           QStringLiteral("corpus")};
            } else {
                command = {QStringLiteral("tar"), QStringLiteral("czf"), archive,
                           QStringLiteral("-C"),  sourceParent,          QStringLiteral("corpus")};
            }
            ::sync();
            const QString errors = scratch + QStringLiteral("/run.err");
            const Measure run = launcher.run(command, env, scratch + QStringLiteral("/run.out"), errors, sourceParent);
            if (run.status != 0) {
                const QString why = QStringLiteral("%1 failed (exit %2): %3")
                                        .arg(command.join(QLatin1Char(' ')))
                                        .arg(run.status)
                                        .arg(readText(errors).trimmed());
                if (ours) {
                    std::fprintf(stderr, "%s: %s\n", bench, qPrintable(why));
                    return 1;
                }
                return Peers::failed(bench, why);
            }
            bool listed = false;
            entries[who] = entriesOf(launcher, zip, archive, scratch, &listed);
            if (!listed || entries[who].isEmpty())
                return ours ? (std::fprintf(stderr, "%s: vantrel's archive doesn't list\n", bench), 1)
                            : Peers::failed(bench, peer + QStringLiteral("'s archive doesn't list"));
            if (ours)
                realSize = QFileInfo(archive).size();
            out << QStringLiteral("  %1 %2 s  %3 s with sync  %4 MB\n")
                       .arg(ours ? QStringLiteral("vantrel") : peer, -10)
                       .arg(run.seconds, 8, 'f', 2)
                       .arg(run.synced, 8, 'f', 2)
                       .arg(double(QFileInfo(archive).size()) / double(MB), 8, 'f', 1);
            out.flush();
            if (const auto seen = best.find(who); seen == best.end() || run.synced < seen->second.synced)
                best[who] = run;
            QFile::remove(archive);
        }
        if (entries[QStringLiteral("vantrel")] != entries[QStringLiteral("peer")])
            return Peers::failed(bench, QStringLiteral("%1 and vantrel list different entries (%2 against %3)")
                                            .arg(peer)
                                            .arg(entries[QStringLiteral("peer")].size())
                                            .arg(entries[QStringLiteral("vantrel")].size()));
        const Measure &ours = best[QStringLiteral("vantrel")];
        const Measure &theirs = best[QStringLiteral("peer")];
        const double ratio = ours.synced / theirs.synced;
        out << "  same " << entries[QStringLiteral("peer")].size() << " entries\n";
        // Vantrel syncs the archive before naming it, the bare tool doesn't: the archive is only safe once
        // on the disk, so the goal counts each run until then. Until the exit is shown beside it.
        out << "  vantrel / " << peer << ", to the disk: " << ratioText(ratio)
            << "  (until exit: " << QString::number(ours.seconds / theirs.seconds, 'f', 3) << ")  goal ≤ 1.05\n";
        out << "  estimate " << QString::number(double(estimate) / double(MB), 'f', 1) << " MB against "
            << QString::number(double(realSize) / double(MB), 'f', 1)
            << " MB real: " << QString::number((double(estimate) - double(realSize)) / double(realSize) * 100, 'f', 1)
            << "%\n";
        out.flush();
        if (ratio > 1.05)
            status = 1;
    }
    return status;
}
