// Plans routing for a large tree with `vantrel run route-by-config --dry-run` and with `find` given the same
// twenty tests, each rule's first match printed, and prints how long each takes. The two must agree on
// every file's rule, or the bench fails. Goal: vantrel within 2× of find.
//
// Usage: bench_route [SCALE] [--dir DIR]   (SCALE 1 = 200,000 files)
#include "Launcher.h"
#include "transfer/rules/TransferProfileCodec.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextStream>

#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

const char *const bench = "bench_route";
const QStringList extensions{"pdf", "jpg", "png", "txt", "md",  "zip", "mp3",  "mov",
                             "csv", "doc", "xls", "psd", "tmp", "log", "json", "html"};
constexpr qint64 largeBytes = 1500;
constexpr int oldDays = 30;

// The twenty rules, as the profile holds them and as find's tests say them.
struct RuleSpec {
    RuleMatch match;
    QString findTest;
};

QList<RuleSpec> ruleSpecs(const QDateTime &now)
{
    QList<RuleSpec> rules{
        {{RuleMatch::nameMatchesRegex{"^IMG_[0-9]{4}"}}, "-regex '.*/IMG_[0-9]{4}[^/]*'"},
        {{RuleMatch::nameContains{"invoice", true}}, "-iname '*invoice*'"},
        {{RuleMatch::all{{{RuleMatch::extensionEquals{{"log"}}}, {RuleMatch::sizeGreaterThan{largeBytes}}}}},
         QStringLiteral("-iname '*.log' -size +%1c").arg(largeBytes)},
        {{RuleMatch::modifiedOlderThanDays{oldDays}},
         QStringLiteral("! -newermt '@%1'").arg(now.toSecsSinceEpoch() - qint64(oldDays) * 86400)},
    };
    for (const QString &extension : extensions) {
        if (rules.size() == 20)
            break;
        rules.append({{RuleMatch::extensionEquals{{extension}}}, QStringLiteral("-iname '*.%1'").arg(extension)});
    }
    return rules;
}

bool fail(const QString &why)
{
    std::fprintf(stderr, "%s: %s\n", bench, qPrintable(why));
    return false;
}

// Folders of 500 files whose names, sizes and dates fall under the rules in turn, and some under none.
bool makeTree(const QString &root, int files, const QDateTime &now)
{
    const QByteArray content(2000, 'x');
    for (int i = 0; i < files; ++i) {
        const QString folder = root + QStringLiteral("/f%1").arg(i / 500, 4, 10, QLatin1Char('0'));
        if (i % 500 == 0 && !QDir().mkpath(folder))
            return fail(QStringLiteral("can't make %1").arg(folder));
        QString name;
        switch (i % 10) {
        case 0:
            name = QStringLiteral("IMG_%1.heic").arg(i % 10000, 4, 10, QLatin1Char('0'));
            break;
        case 1:
            name = QStringLiteral("Invoice-%1.dat").arg(i);
            break;
        case 2:
            name = QStringLiteral("unmatched-%1.bin").arg(i);
            break;
        default:
            name = QStringLiteral("file-%1.%2").arg(i).arg(extensions[i % extensions.size()]);
        }
        const QByteArray path = QFile::encodeName(folder + QLatin1Char('/') + name);
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const qsizetype size = (qsizetype(i) * 7919) % content.size();
        if (fd < 0 || ::write(fd, content.constData(), size_t(size)) != size || ::close(fd) != 0)
            return fail(QStringLiteral("can't write %1").arg(QString::fromLocal8Bit(path)));
        // A fifth of the files were last changed long ago, a few seconds off any whole day.
        const qint64 age = i % 5 == 4 ? qint64(oldDays + 3) * 86400 + 17 : 3600;
        const timespec times[2] = {{now.toSecsSinceEpoch() - age, 0}, {now.toSecsSinceEpoch() - age, 0}};
        ::utimensat(AT_FDCWD, path.constData(), times, 0);
    }
    return true;
}

// "rule-index path" lines, sorted, from find's output or vantrel's plan.
QStringList findAnswer(const QString &file)
{
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(in.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

QStringList vantrelAnswer(const QString &file, const TransferProfile &profile)
{
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        return {};
    const QJsonObject plan = QJsonDocument::fromJson(in.readAll())
                                 .object()
                                 .value(QStringLiteral("session"))
                                 .toObject()
                                 .value(QStringLiteral("plan"))
                                 .toObject();
    QHash<QString, int> index;
    for (int i = 0; i < profile.rules.size(); ++i)
        index.insert(profile.rules[i].id.toString(QUuid::WithoutBraces).toUpper(), i);
    QStringList lines;
    for (const auto &match : plan.value(QStringLiteral("matches")).toArray()) {
        const QJsonObject object = match.toObject();
        lines.append(QStringLiteral("%1 %2")
                         .arg(index.value(object.value(QStringLiteral("rule")).toString(), -1))
                         .arg(object.value(QStringLiteral("source")).toString()));
    }
    lines.sort();
    return lines;
}

} // namespace

int main(int argc, char *argv[])
{
    const Launcher launcher;
    QCoreApplication app(argc, argv);
    double scale = 1;
    QString base = QDir::tempPath();
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        bool ok = true;
        if (arguments[i] == QLatin1String("--dir") && i + 1 < arguments.size())
            base = arguments[++i];
        else
            scale = arguments[i].toDouble(&ok);
        if (!ok || scale <= 0) {
            std::fprintf(stderr, "Usage: %s [SCALE] [--dir DIR]\n", bench);
            return 2;
        }
    }
    const QString vantrel = QCoreApplication::applicationDirPath() + QStringLiteral("/vantrel");
    if (!QFileInfo(vantrel).isExecutable())
        return fail(vantrel + QStringLiteral(" isn't built")) ? 0 : 1;
    if (QStandardPaths::findExecutable(QStringLiteral("find")).isEmpty())
        return fail(QStringLiteral("find isn't installed; the bench compares vantrel with it")) ? 0 : 3;

    QTemporaryDir scratch(base + QStringLiteral("/bench-route-XXXXXX"));
    const QString root = scratch.path() + QStringLiteral("/Downloads");
    const QString home = scratch.path() + QStringLiteral("/home");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const int files = std::max(1, int(std::lround(200'000 * scale)));
    std::printf("Writing %d files…\n", files);
    std::fflush(stdout);
    if (!QDir().mkpath(home) || !makeTree(root, files, now))
        return 1;

    TransferProfile profile;
    profile.id = QUuid::createUuid();
    profile.name = QStringLiteral("Bench");
    profile.createdAt = profile.updatedAt = now;
    QStringList findTests;
    const QList<RuleSpec> specs = ruleSpecs(now);
    for (int i = 0; i < specs.size(); ++i) {
        profile.rules.append(
            {QUuid::createUuid(), specs[i].match, {RuleAction::moveTo{QStringLiteral("~/Sorted/%1").arg(i)}}});
        findTests.append(QStringLiteral("\\( %1 -printf '%2 %p\\n' \\)").arg(specs[i].findTest).arg(i));
    }
    const QString rules = scratch.path() + QStringLiteral("/rules.vantreltransfer");
    QFile rulesFile(rules);
    if (!rulesFile.open(QIODevice::WriteOnly) || rulesFile.write(TransferProfileCodec::encode(profile)) < 0)
        return fail(QStringLiteral("can't write the rules")) ? 0 : 1;
    rulesFile.close();

    const QStringList environment{
        QStringLiteral("HOME=") + home, QStringLiteral("XDG_CONFIG_HOME=") + home + "/.config",
        QStringLiteral("XDG_DATA_HOME=") + home + "/.local/share", QStringLiteral("QT_QPA_PLATFORM=offscreen")};
    const QStringList vantrelPlan{vantrel, "run", "route-by-config", root, "--set", "rules=" + rules, "--dry-run"};
    const QStringList findPlan{"sh", "-c",
                               QStringLiteral("exec find '%1' -type f -regextype posix-extended \\( %2 \\)")
                                   .arg(root, findTests.join(QStringLiteral(" -o ")))};
    const QString out = scratch.path() + QStringLiteral("/out");
    const QString err = scratch.path() + QStringLiteral("/err");

    // Once each untimed, to warm the cache and to compare the answers.
    const Measure check = launcher.run(vantrelPlan + QStringList{"--json"}, environment, out, err, scratch.path());
    const QStringList ours = vantrelAnswer(out, profile);
    const Measure reference = launcher.run(findPlan, {}, out, err, scratch.path());
    const QStringList theirs = findAnswer(out);
    if (check.status != 0 || reference.status != 0)
        return fail(QStringLiteral("a run failed (vantrel %1, find %2)").arg(check.status).arg(reference.status)) ? 0
                                                                                                                  : 2;
    if (ours != theirs) {
        fail(QStringLiteral("vantrel routes %1 files and find %2; they differ").arg(ours.size()).arg(theirs.size()));
        for (qsizetype i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
            if (ours[i] != theirs[i]) {
                std::fprintf(stderr, "  first difference: vantrel “%s”, find “%s”\n", qPrintable(ours[i]),
                             qPrintable(theirs[i]));
                break;
            }
        }
        return 1;
    }

    // Two rounds in turn, the best of each.
    double vantrelBest = 1e9;
    double findBest = 1e9;
    long vantrelPeak = 0;
    for (int round = 0; round < 2; ++round) {
        const Measure a = launcher.run(vantrelPlan, environment, out, err, scratch.path());
        const Measure b = launcher.run(findPlan, {}, out, err, scratch.path());
        if (b.status != 0)
            return fail(QStringLiteral("find failed in a timed run")) ? 0 : 3;
        if (a.status != 0)
            return fail(QStringLiteral("vantrel failed in a timed run")) ? 0 : 1;
        vantrelBest = std::min(vantrelBest, a.seconds);
        findBest = std::min(findBest, b.seconds);
        vantrelPeak = std::max(vantrelPeak, a.peakKiB);
    }
    QTextStream text(stdout);
    text << QStringLiteral("%1 files, %2 rules, %3 routed\n").arg(files).arg(profile.rules.size()).arg(ours.size());
    text << QStringLiteral("vantrel --dry-run  %1 s  (peak %2 MiB)\n")
                .arg(vantrelBest, 0, 'f', 3)
                .arg(vantrelPeak / 1024);
    text << QStringLiteral("find               %1 s\n").arg(findBest, 0, 'f', 3);
    const double ratio = vantrelBest / std::max(findBest, 1e-6);
    text
        << QStringLiteral("vantrel / find %1× (goal ≤ 2×)%2\n").arg(ratio, 0, 'f', 2).arg(ratio <= 2 ? "" : "  MISSED");
    return ratio <= 2 ? 0 : 1;
}
