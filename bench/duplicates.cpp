// Finds duplicates in three generated corpora with `vantrel run duplicate-reports` and with jdupes, rdfind,
// fdupes and rmlint, checks that every tool finds the groups the corpus was built with, and prints wall
// time, peak memory and each peer's time as a multiple of Vantrel's.
//
//   bench_duplicates [SCALE] [--dir FOLDER] [--keep]
//
// SCALE (default 1) multiplies the file counts: 100,000 small files with 10% copies; 2,000 files of 1–20 MB
// with 20% copies; 50,000 files of one size that differ only at their end. The page cache is dropped
// before each run when the bench may do so (as root), so every tool reads from the disk alike.
#include "Launcher.h"
#include "Peers.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <vector>

#include <ctime>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Group = std::set<QString>;
using Groups = std::set<Group>;

class Corpus {
public:
    Corpus(QString root, quint64 seed) : root(std::move(root)), random(seed) {}

    // A new file of `size` random bytes in folder `folder`.
    QString unique(int folder, quint64 size)
    {
        QByteArray bytes(qsizetype(size), Qt::Uninitialized);
        fill(bytes);
        return write(folder, bytes);
    }

    // A copy of `original` in folder `folder`; the two are one group of the answer.
    void copy(const QString &original, int folder)
    {
        QFile source(original);
        if (!source.open(QIODevice::ReadOnly))
            qFatal("can't read %s", qPrintable(original));
        const QString path = write(folder, source.readAll());
        const auto found = groupOf.constFind(original);
        if (found != groupOf.constEnd()) {
            built[found.value()].insert(path);
            return;
        }
        groupOf.insert(original, built.size());
        built.push_back({original, path});
    }

    // Files of one size, alike but for their last two bytes, which hold the file's number.
    void nearTwins(int count, quint64 size)
    {
        QByteArray bytes(qsizetype(size), Qt::Uninitialized);
        fill(bytes);
        for (int i = 0; i < count; ++i) {
            bytes[bytes.size() - 2] = char(i >> 8);
            bytes[bytes.size() - 1] = char(i & 0xFF);
            write(i / 1000, bytes);
        }
    }

    std::mt19937_64 &generator() { return random; }
    Groups answer() const { return Groups(built.begin(), built.end()); }
    const QString &folder() const { return root; }
    int files() const { return written; }

private:
    void fill(QByteArray &bytes)
    {
        auto *words = reinterpret_cast<unsigned char *>(bytes.data());
        qsizetype i = 0;
        for (; i + 8 <= bytes.size(); i += 8) {
            const quint64 value = random();
            std::memcpy(words + i, &value, 8);
        }
        for (; i < bytes.size(); ++i)
            words[i] = static_cast<unsigned char>(random());
    }

    QString write(int folder, const QByteArray &bytes)
    {
        const QString dir = QStringLiteral("%1/d%2").arg(root).arg(folder, 4, 10, QLatin1Char('0'));
        QDir().mkpath(dir);
        const QString path = QStringLiteral("%1/f%2.bin").arg(dir).arg(written++, 7, 10, QLatin1Char('0'));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("can't write %s", qPrintable(path));
        return path;
    }

    QString root;
    std::mt19937_64 random;
    std::vector<Group> built;
    QHash<QString, size_t> groupOf;
    int written = 0;
};

// Blank-line separated groups of paths: jdupes, fdupes and rmlint's fdupes output.
Groups blankLineGroups(const QString &output)
{
    QFile file(output);
    file.open(QIODevice::ReadOnly);
    Groups groups;
    Group current;
    const auto close = [&] {
        if (current.size() >= 2)
            groups.insert(current);
        current.clear();
    };
    for (const QByteArray &raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty())
            close();
        else
            current.insert(line);
    }
    close();
    return groups;
}

// rdfind's results file: one group per |id|, the name from the eighth column on.
Groups rdfindGroups(const QString &results)
{
    QFile file(results);
    file.open(QIODevice::ReadOnly);
    std::map<long long, Group> byID;
    for (const QByteArray &raw : file.readAll().split('\n')) {
        if (raw.isEmpty() || raw.startsWith('#'))
            continue;
        const QList<QByteArray> words = raw.split(' ');
        if (words.size() < 8)
            continue;
        QByteArray name = raw;
        for (int skip = 0; skip < 7; ++skip)
            name = name.mid(name.indexOf(' ') + 1);
        byID[std::llabs(words[1].toLongLong())].insert(QString::fromUtf8(name));
    }
    Groups groups;
    for (const auto &[id, group] : byID) {
        if (group.size() >= 2)
            groups.insert(group);
    }
    return groups;
}

Groups vantrelGroups(const QString &output)
{
    QFile file(output);
    file.open(QIODevice::ReadOnly);
    const QJsonObject report =
        QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("report")).toObject();
    std::map<QString, Group> byGroup;
    for (const QJsonValue item : report.value(QStringLiteral("items")).toArray())
        byGroup[item[QStringLiteral("groupID")].toString()].insert(item[QStringLiteral("url")].toString());
    Groups groups;
    for (const auto &[id, group] : byGroup)
        groups.insert(group);
    return groups;
}

struct Tool {
    QString name;
    QStringList (*command)(const QString &vantrel, const QString &folder, const QString &scratch);
    Groups (*parse)(const QString &stdoutFile, const QString &scratch);
};

std::vector<Tool> tools()
{
    return {
        {QStringLiteral("vantrel"),
         [](const QString &vantrel, const QString &folder, const QString &) {
             return QStringList{vantrel, QStringLiteral("run"), QStringLiteral("duplicate-reports"), folder,
                                QStringLiteral("--json")};
         },
         [](const QString &out, const QString &) { return vantrelGroups(out); }},
        {QStringLiteral("jdupes -r"),
         [](const QString &, const QString &folder, const QString &) {
             return QStringList{QStringLiteral("jdupes"), QStringLiteral("-r"), QStringLiteral("-q"), folder};
         },
         [](const QString &out, const QString &) { return blankLineGroups(out); }},
        {QStringLiteral("rdfind"),
         [](const QString &, const QString &folder, const QString &scratch) {
             return QStringList{QStringLiteral("rdfind"),
                                QStringLiteral("-dryrun"),
                                QStringLiteral("true"),
                                QStringLiteral("-outputname"),
                                scratch + QStringLiteral("/rdfind.txt"),
                                folder};
         },
         [](const QString &, const QString &scratch) { return rdfindGroups(scratch + QStringLiteral("/rdfind.txt")); }},
        {QStringLiteral("fdupes -r"),
         [](const QString &, const QString &folder, const QString &) {
             return QStringList{QStringLiteral("fdupes"), QStringLiteral("-r"), QStringLiteral("-q"), folder};
         },
         [](const QString &out, const QString &) { return blankLineGroups(out); }},
        {QStringLiteral("rmlint"),
         [](const QString &, const QString &folder, const QString &scratch) {
             return QStringList{QStringLiteral("rmlint"),
                                QStringLiteral("-T"),
                                QStringLiteral("df"),
                                QStringLiteral("-o"),
                                QStringLiteral("fdupes:") + scratch + QStringLiteral("/rmlint.txt"),
                                folder};
         },
         [](const QString &, const QString &scratch) {
             return blankLineGroups(scratch + QStringLiteral("/rmlint.txt"));
         }},
    };
}

void buildSmall(Corpus &corpus, int count)
{
    // Sizes from 100 bytes to 16 KiB; a tenth of the files are copies of earlier ones in other folders.
    std::uniform_int_distribution<quint64> size(100, 16 * 1024);
    const int copies = count / 10;
    std::vector<QString> originals;
    for (int i = 0; i < count - copies; ++i)
        originals.push_back(corpus.unique(i / 1000, size(corpus.generator())));
    std::uniform_int_distribution<size_t> pick(0, originals.size() - 1);
    for (int i = 0; i < copies; ++i)
        corpus.copy(originals[pick(corpus.generator())], 1000 + i / 1000);
}

void buildMedium(Corpus &corpus, int count)
{
    std::uniform_int_distribution<quint64> size(1'000'000, 20'000'000);
    const int copies = count / 5;
    std::vector<QString> originals;
    for (int i = 0; i < count - copies; ++i)
        originals.push_back(corpus.unique(i / 100, size(corpus.generator())));
    std::uniform_int_distribution<size_t> pick(0, originals.size() - 1);
    for (int i = 0; i < copies; ++i)
        corpus.copy(originals[pick(corpus.generator())], 1000 + i / 100);
}

} // namespace

int main(int argc, char *argv[])
{
    const Launcher launcher;
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    double scale = 1;
    QString base;
    bool keep = false;
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--dir") && i + 1 < arguments.size())
            base = arguments[++i];
        else if (arguments[i] == QLatin1String("--keep"))
            keep = true;
        else
            scale = arguments[i].toDouble();
    }
    if (scale <= 0) {
        out << "Usage: bench_duplicates [SCALE] [--dir FOLDER] [--keep]\n";
        return 2;
    }
    const QString vantrel = QCoreApplication::applicationDirPath() + QStringLiteral("/vantrel");
    // Checked before a corpus of many gigabytes is built for nothing.
    if (!QFileInfo(vantrel).isExecutable()) {
        std::fprintf(stderr, "bench_duplicates: %s isn't built.\n", qPrintable(vantrel));
        return 2;
    }
    QStringList peers;
    for (const Tool &tool : tools()) {
        if (tool.name != QLatin1String("vantrel"))
            peers.append(tool.command(vantrel, {}, {}).first());
    }
    if (!Peers::installed("bench_duplicates", peers))
        return Peers::peerFailed;
    QTemporaryDir temporary(base.isEmpty() ? QDir::tempPath() + QStringLiteral("/bench-duplicates-XXXXXX")
                                           : base + QStringLiteral("/bench-duplicates-XXXXXX"));
    temporary.setAutoRemove(!keep);
    const QString root = temporary.path();
    // Vantrel runs with a home of its own, so the bench leaves the user's settings alone.
    // The launcher was forked before this, so the home goes with each request, not into our environment.
    QDir().mkpath(root + QStringLiteral("/home"));
    const QStringList vantrelEnvironment{QStringLiteral("HOME=") + root + QStringLiteral("/home"),
                                         QStringLiteral("XDG_CONFIG_HOME=") + root + QStringLiteral("/home/.config"),
                                         QStringLiteral("XDG_DATA_HOME=") + root +
                                             QStringLiteral("/home/.local/share")};
    const bool cold = dropCaches();
    out << "Page cache: " << (cold ? "dropped before each run (cold reads)" : "not droppable; runs read warm") << "\n";

    struct Spec {
        const char *name;
        int files;
        void (*build)(Corpus &, int);
    };
    const std::vector<Spec> specs{
        {"small: 100,000 files of 100 B-16 KiB, 10% copies", int(100'000 * scale), &buildSmall},
        {"medium: 2,000 files of 1-20 MB, 20% copies", int(2'000 * scale), &buildMedium},
        {"same size: 50,000 files of 64 KiB differing at the end", int(50'000 * scale),
         [](Corpus &corpus, int count) { corpus.nearTwins(count, 64 * 1024); }},
    };
    bool allFaster = true;
    for (size_t c = 0; c < specs.size(); ++c) {
        Corpus corpus(QStringLiteral("%1/corpus%2").arg(root).arg(c), 1000 + c);
        QElapsedTimer building;
        building.start();
        specs[c].build(corpus, std::max(specs[c].files, 2));
        const Groups answer = corpus.answer();
        out << "\n"
            << specs[c].name << " (" << corpus.files() << " files, " << answer.size() << " groups, built in "
            << QString::number(double(building.elapsed()) / 1000, 'f', 1) << " s)\n";
        out << QStringLiteral("  %1 %2 %3 %4  %5\n")
                   .arg(QStringLiteral("tool"), -12)
                   .arg(QStringLiteral("seconds"), 9)
                   .arg(QStringLiteral("peak MiB"), 9)
                   .arg(QStringLiteral("× vantrel"), 10)
                   .arg(QStringLiteral("groups"));
        out.flush();
        double ours = 0;
        double fastestPeer = 0;
        for (const Tool &tool : tools()) {
            const QString scratch = root + QStringLiteral("/scratch");
            QDir(scratch).removeRecursively();
            QDir().mkpath(scratch);
            if (cold)
                dropCaches();
            const QString output = scratch + QStringLiteral("/stdout");
            const Measure run = launcher.run(tool.command(vantrel, corpus.folder(), scratch),
                                             tool.name == QLatin1String("vantrel") ? vantrelEnvironment : QStringList(),
                                             output, QStringLiteral("/dev/null"), scratch);
            const Groups found = run.status == 0 ? tool.parse(output, scratch) : Groups{};
            const bool isOurs = tool.name == QLatin1String("vantrel");
            // A time is only worth comparing for a run that ended well and found what was built.
            QString wrong;
            if (run.status != 0)
                wrong = QStringLiteral("%1 failed (exit %2)").arg(tool.name).arg(run.status);
            else if (found != answer)
                wrong = QStringLiteral("%1 found %2 groups, not the %3 the corpus was built with")
                            .arg(tool.name)
                            .arg(found.size())
                            .arg(answer.size());
            if (!wrong.isEmpty()) {
                out << QStringLiteral("  %1 %2\n").arg(tool.name, -12).arg(wrong);
                out.flush();
                if (isOurs) {
                    std::fprintf(stderr, "bench_duplicates: %s.\n", qPrintable(wrong));
                    return 1;
                }
                return Peers::failed("bench_duplicates", wrong);
            }
            if (isOurs)
                ours = run.seconds;
            else if (fastestPeer == 0 || run.seconds < fastestPeer)
                fastestPeer = run.seconds;
            out << QStringLiteral("  %1 %2 %3 %4  %5\n")
                       .arg(tool.name, -12)
                       .arg(run.seconds, 9, 'f', 2)
                       .arg(double(run.peakKiB) / 1024, 9, 'f', 1)
                       .arg(ours > 0 ? run.seconds / ours : 0, 10, 'f', 2)
                       .arg(QStringLiteral("%1, same as built").arg(found.size()));
            out.flush();
        }
        const bool faster = ours > 0 && ours < fastestPeer;
        allFaster = allFaster && faster;
        out << "  fastest peer took " << QString::number(fastestPeer / ours, 'f', 2) << "× Vantrel's time"
            << (faster ? "" : "  (Vantrel is NOT the fastest)") << "\n";
        out.flush();
        QDir(corpus.folder()).removeRecursively();
    }
    out << "\nAll tools found the groups each corpus was built with.\n";
    return allFaster ? 0 : 1;
}
