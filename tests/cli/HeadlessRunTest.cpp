#include "cli/HeadlessRun.h"

#include "AppTestEnvironment.h"
#include "foundation/Defaults.h"
#include "metadata/FinderMetadata.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct ProcessRun {
    int exitCode = -1;
    QJsonObject json;
    QString out;
    QString err;
};

// The real executable, as a user runs it.
ProcessRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(30000));
    ProcessRun run;
    run.exitCode = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.json = QJsonDocument::fromJson(run.out.toUtf8()).object();
    return run;
}

} // namespace

TEST(HeadlessRun, ParsesIdsPathsAndOptions)
{
    QString error;
    const auto options = HeadlessRun::parse({"smart-mover", "a", "--json", "--dest", "/tmp/d", "--", "--b"}, &error);
    ASSERT_TRUE(options.has_value()) << error.toStdString();
    EXPECT_EQ(options->target, QStringLiteral("smart-mover"));
    EXPECT_EQ(options->paths.size(), 2);
    EXPECT_TRUE(options->paths[1].endsWith(QStringLiteral("/--b")));
    EXPECT_EQ(options->destination, QStringLiteral("/tmp/d"));
    EXPECT_TRUE(options->json);
    EXPECT_TRUE(HeadlessRun::urlFor(*options).startsWith(QStringLiteral("vantrel://run/smart-mover?files=")));

    for (const QStringList &bad : {QStringList{}, QStringList{"--json"}, QStringList{"x", "--answers"},
                                   QStringList{"x", "--frobnicate"}, QStringList{"vantrel://run/x", "/tmp/a"}}) {
        error.clear();
        EXPECT_FALSE(HeadlessRun::parse(bad, &error).has_value()) << bad.join(' ').toStdString();
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST(HeadlessRun, ReportsRanWithNoFilesForAnUpperCaseScheme)
{
    AppTestEnvironment env;
    const ProcessRun run = vantrel({"run", "VANTREL://run/tag-audit", "--json"});
    const QJsonObject outcome = run.json.value(QStringLiteral("outcome")).toObject();
    EXPECT_EQ(outcome.value(QStringLiteral("case")).toString(), QStringLiteral("ran"));
    EXPECT_EQ(outcome.value(QStringLiteral("workflowID")).toString(), QStringLiteral("tag-audit"));
    EXPECT_EQ(outcome.value(QStringLiteral("fileCount")).toInt(-1), 0);
    EXPECT_EQ(run.json.value(QStringLiteral("selection")).toString(), QStringLiteral("dashboard"));
    // Nothing selected is nothing walked: an empty report, no banner.
    EXPECT_EQ(run.json.value(QStringLiteral("report")).toObject().value(QStringLiteral("summary")).toString(),
              QStringLiteral("No Finder tags found across 0 files."));
    EXPECT_TRUE(run.json.value(QStringLiteral("banner")).isNull());
}

TEST(HeadlessRun, PrintsRefusalsAndTheirBanner)
{
    AppTestEnvironment env;
    const ProcessRun refused = vantrel({"run", "single-tag-selector", "--json"});
    EXPECT_EQ(refused.exitCode, 1);
    const QJsonObject banner = refused.json.value(QStringLiteral("banner")).toObject();
    EXPECT_EQ(banner.value(QStringLiteral("tone")).toString(), QStringLiteral("failure"));
    EXPECT_EQ(banner.value(QStringLiteral("message")).toString(),
              QStringLiteral("Select one or more files in Finder before running Single Tag Selector."));

    const ProcessRun malformed = vantrel({"run", "vantrel://RUN/tag-audit", "--json"});
    EXPECT_EQ(malformed.exitCode, 2);
    const QJsonObject outcome = malformed.json.value(QStringLiteral("outcome")).toObject();
    EXPECT_EQ(outcome.value(QStringLiteral("case")).toString(), QStringLiteral("malformed"));
    EXPECT_EQ(outcome.value(QStringLiteral("reason")).toString(), QStringLiteral("expected host 'run', got RUN"));
    EXPECT_TRUE(malformed.json.value(QStringLiteral("banner")).isNull());

    const ProcessRun unknown = vantrel({"run", "no-such-workflow"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.out.contains(QStringLiteral("unknown workflow no-such-workflow")));

    const ProcessRun badAnswers =
        vantrel({"run", "tag-audit", "--answers", env.makeFile(QStringLiteral("a.json"), "{}")});
    EXPECT_EQ(badAnswers.exitCode, 2);
    EXPECT_TRUE(badAnswers.err.contains(QStringLiteral("answers file")));
}

TEST(HeadlessRun, CategoriesExportAndImportThroughTheSameFlows)
{
    AppTestEnvironment env;
    const QString file = env.path(QStringLiteral("library"));
    const ProcessRun exported = vantrel({"categories", "export", file});
    EXPECT_EQ(exported.exitCode, 0);
    EXPECT_EQ(
        exported.out.trimmed(),
        QStringLiteral("Exported 4 categories to %1/library.vantrelcategories.").arg(QFileInfo(env.home()).fileName()));

    // Unanswered, the Merge/Replace question is cancelled.
    const ProcessRun cancelled = vantrel({"categories", "import", file + QStringLiteral(".vantrelcategories")});
    EXPECT_EQ(cancelled.exitCode, 1);
    EXPECT_EQ(cancelled.out.trimmed(), QStringLiteral("Cancelled."));

    // An answer matching "Import" is for the question; the file on the command line answers the panel.
    const ProcessRun merged = vantrel(
        {"categories", "import", file + QStringLiteral(".vantrelcategories"), "--answers",
         env.makeFile(QStringLiteral("answers.json"), R"([{"match": "Import", "answer": "Merge"}])"), "--json"});
    EXPECT_EQ(merged.exitCode, 0);
    EXPECT_EQ(merged.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Merged 0 categories, 4 skipped (already exists)."));

    const ProcessRun refused =
        vantrel({"categories", "import", env.makeFile(QStringLiteral("x.vantrelcategories"), "{\"formatVersion\": 1")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.out.startsWith(QStringLiteral("That doesn't look like a Vantrel categories file (")));
    EXPECT_EQ(vantrel({"categories", "frobnicate", file}).exitCode, 2);
}

TEST(HeadlessRun, SheetsTakeTheirFieldsFromSetAndApply)
{
    AppTestEnvironment env;
    const QString a = env.makeFile(QStringLiteral("a.txt"));
    const QString b = env.makeFile(QStringLiteral("b.txt"));

    const ProcessRun picked =
        vantrel({"run", "single-tag-selector", a, b, "--set", "selected=Done, Blocked", "--json"});
    EXPECT_EQ(picked.exitCode, 0) << picked.err.toStdString();
    EXPECT_EQ(picked.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Applied 2 tags to 2 files."));
    EXPECT_EQ(FinderMetadata::readComment(b), QStringLiteral("Blocked, Done"));

    const ProcessRun byName = vantrel({"run", "tag-category-selector", a, "--set", "selectedCategoryID=projects"});
    EXPECT_EQ(byName.exitCode, 0) << byName.err.toStdString();
    EXPECT_TRUE(byName.out.contains(QStringLiteral("Done: Applied 3 tags to 1 file.")));
    EXPECT_EQ(FinderMetadata::readComment(a), QStringLiteral("Blocked, Done, Active, Archive, Reference"));

    const ProcessRun appended = vantrel(
        {"run", "comment-templates", b, "--set", "selectedTemplateIDs=Receipt", "--set", "mode=append", "--json"});
    EXPECT_EQ(appended.exitCode, 0) << appended.err.toStdString();
    EXPECT_EQ(FinderMetadata::readComment(b), QStringLiteral("Blocked, Done\nReceipt — keep for tax records."));

    const ProcessRun replaced =
        vantrel({"run", "comment-templates", b, "--set", "customBody=Checked", "--set", "mode=replace"});
    EXPECT_EQ(replaced.exitCode, 0) << replaced.err.toStdString();
    EXPECT_EQ(FinderMetadata::readComment(b), QStringLiteral("Checked"));

    const QString report = env.makeFile(QStringLiteral("report.pdf"));
    env.makeFile(QStringLiteral("2026_report.pdf"), "taken");
    const ProcessRun renamed = vantrel({"run", "text-comment-tools", report, "--set", "action=prependFilename", "--set",
                                        "primary=2026", "--set", "separator=_", "--json"});
    EXPECT_EQ(renamed.exitCode, 0) << renamed.err.toStdString();
    EXPECT_EQ(renamed.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Updated 1 file."));
    EXPECT_TRUE(QFileInfo::exists(env.path(QStringLiteral("2026_report (1).pdf"))));
}

TEST(HeadlessRun, ASettingTheSheetDoesntKnowWritesNothing)
{
    AppTestEnvironment env;
    const QString a = env.makeFile(QStringLiteral("a.txt"));
    const struct {
        QStringList arguments;
        const char *message;
    } cases[] = {
        {{"tag-category-selector", a, "--set", "selectedCategoryID=Nope"}, "No category “Nope” in the library."},
        {{"tag-category-selector", a, "--set", "draftName= "},
         "Choose a category with --set selectedCategoryID=ID-or-name."},
        {{"single-tag-selector", a, "--set", "selected=Done,Zebra"}, "No tag “Zebra” in the library."},
        {{"single-tag-selector", a, "--set", "colour=red"},
         "Single Tag Selector has no field “colour”; it takes selected and query."},
        {{"comment-templates", a, "--set", "mode=prepend", "--set", "customBody=x"},
         "mode is replace or append, not “prepend”."},
        {{"tag-audit", "--set", "selected=Done"}, "--set fills a sheet, and this run opened none."},
        {{"text-comment-tools", a, "--set", "action=appendFilename"},
         "Add text after filename needs --set primary=TEXT."},
        // A new category the library couldn't export and import again is refused before any write.
        {{"tag-category-selector", a, "--set", QString("draftName=" + QString(81, QLatin1Char('n'))), "--set",
          "draftTags=x"},
         "a category name is too long (81 chars; max 80)"},
        {{"tag-category-selector", a, "--set", "draftName=Trips", "--set", "draftTags=Rome,Os\u202Elo"},
         "category \"Trips\" has a tag with unsupported characters"},
    };
    for (const auto &c : cases) {
        const ProcessRun run = vantrel(QStringList{"run"} + c.arguments);
        EXPECT_EQ(run.exitCode, 2) << c.message;
        EXPECT_EQ(run.err.trimmed(), QString::fromUtf8(c.message));
        EXPECT_FALSE(FinderMetadata::readComment(a).has_value()) << c.message;
    }
    QString error;
    EXPECT_FALSE(HeadlessRun::parse({"x", "--set", "=value"}, &error).has_value());
    EXPECT_EQ(error, QStringLiteral("--set takes NAME=VALUE, not “=value”."));
}

namespace {

struct Unwritten {
    const char *name;
    QStringList arguments; // after the workflow id and the file
    const char *message;
};

void PrintTo(const Unwritten &c, std::ostream *os)
{
    *os << c.name;
}

class HeadlessSheetRefuses : public testing::TestWithParam<Unwritten> {};

} // namespace

// Refused before anything is written: the file keeps its name and its comment.
TEST_P(HeadlessSheetRefuses, AndChangesNothing)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Deep/Work/a.txt"));
    ASSERT_NO_THROW(FinderMetadata::writeComment(QStringLiteral("Keep"), file));
    const ProcessRun run =
        vantrel(QStringList{"run", GetParam().arguments.first(), file} + GetParam().arguments.mid(1));
    EXPECT_EQ(run.exitCode, 2) << run.out.toStdString();
    EXPECT_EQ(run.err.trimmed(), QString::fromUtf8(GetParam().message));
    EXPECT_TRUE(QFileInfo::exists(file));
    EXPECT_EQ(FinderMetadata::readComment(file), QStringLiteral("Keep"));
    EXPECT_EQ(QDir(env.path(QStringLiteral("Deep/Work"))).entryList(QDir::Files), QStringList{"a.txt"});
    EXPECT_EQ(QDir(env.home()).entryList(QDir::Files), QStringList{});
}

INSTANTIATE_TEST_SUITE_P(
    HeadlessRun, HeadlessSheetRefuses,
    testing::Values(
        Unwritten{"SingleTagNothingSet",
                  {"single-tag-selector"},
                  "Single Tag Selector changes files, so it needs --set selected=TAG,…; nothing was changed."},
        Unwritten{"SingleTagOnlyAQuery",
                  {"single-tag-selector", "--set", "query=Do"},
                  "Single Tag Selector changes files, so it needs --set selected=TAG,…; nothing was changed."},
        Unwritten{"CategoryNothingSet",
                  {"tag-category-selector"},
                  "Tag Category Selector changes files, so it needs --set selectedCategoryID=ID-or-name or --set "
                  "draftName=NAME; nothing was changed."},
        Unwritten{"CategoryOnlyDraftTags",
                  {"tag-category-selector", "--set", "draftTags=x, y"},
                  "Tag Category Selector changes files, so it needs --set selectedCategoryID=ID-or-name or --set "
                  "draftName=NAME; nothing was changed."},
        Unwritten{"TemplatesNothingSet",
                  {"comment-templates"},
                  "Comment Templates changes files, so it needs --set selectedTemplateIDs=ID-or-name,… or --set "
                  "customBody=TEXT; nothing was changed."},
        Unwritten{"TemplatesOnlyAMode",
                  {"comment-templates", "--set", "mode=replace"},
                  "Comment Templates changes files, so it needs --set selectedTemplateIDs=ID-or-name,… or --set "
                  "customBody=TEXT; nothing was changed."},
        Unwritten{"TextToolsNothingSet", {"text-comment-tools"}, "Add text before filename needs --set primary=TEXT."},
        Unwritten{"TextToolsPathUpwards",
                  {"text-comment-tools", "--set", "primary=../../X"},
                  "A file name can't contain “/”."},
        Unwritten{
            "TextToolsSlashInTheSeparator",
            {"text-comment-tools", "--set", "action=appendFilename", "--set", "primary=v2", "--set", "separator=/"},
            "A file name can't contain “/”."},
        Unwritten{"TextToolsNothingBeforeTheExtension",
                  {"text-comment-tools", "--set", "action=replaceInFilename", "--set", "primary=a"},
                  "“a.txt” would be renamed to “.txt”, with nothing before its extension."}),
    [](const testing::TestParamInfo<Unwritten> &info) { return std::string(info.param.name); });

// Set to nothing on purpose, a field counts: an empty body replaces the comment, as Apply in the window does.
TEST(HeadlessRun, AnExplicitlyEmptyBodyStillClears)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    ASSERT_NO_THROW(FinderMetadata::writeComment(QStringLiteral("Old"), file));
    const ProcessRun run = vantrel({"run", "comment-templates", file, "--set", "customBody=", "--set", "mode=replace"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(FinderMetadata::readComment(file).value_or(QString()), QString());
}

TEST(HeadlessRun, ScansPrintTheirReport)
{
    AppTestEnvironment env;
    const QString a = env.makeFile(QStringLiteral("tree/a.bin"), QByteArray(2'000'000, 'x'));
    const QString b = env.makeFile(QStringLiteral("tree/sub/b.bin"), QByteArray(2'000'000, 'x'));
    const QString tree = env.path(QStringLiteral("tree"));

    const ProcessRun duplicates = vantrel({"run", "duplicate-reports", tree, "--json"});
    EXPECT_EQ(duplicates.exitCode, 0) << duplicates.err.toStdString();
    // Standard error isn't a terminal here: no progress lines.
    EXPECT_TRUE(duplicates.err.isEmpty());
    const QJsonObject report = duplicates.json.value(QStringLiteral("report")).toObject();
    EXPECT_EQ(report.value(QStringLiteral("kind")).toString(), QStringLiteral("duplicates"));
    EXPECT_EQ(report.value(QStringLiteral("summary")).toString(),
              QStringLiteral("1 duplicate group across 2 files. Removing extras could free 2 MB."));

    const ProcessRun large = vantrel({"run", "large-file-finder", tree, "--threshold", "1"});
    EXPECT_EQ(large.exitCode, 0);
    EXPECT_TRUE(large.out.contains(QStringLiteral("2 files larger than 1 MB.")));
    // The threshold was for that run only.
    EXPECT_FALSE(Defaults(env.defaults().filePath()).contains(DefaultsKeys::largeFileThresholdMB.name));

    const struct {
        QStringList arguments;
        const char *message;
    } refused[] = {
        {{"large-file-finder", tree, "--threshold", "0"}, "--threshold takes a whole number above 0, not “0”."},
        {{"large-file-finder", tree, "--threshold", "ten"}, "--threshold takes a whole number above 0, not “ten”."},
        {{"tag-audit", tree, "--threshold", "5"},
         "--threshold applies to old-stale-files, large-file-finder and downloads-tidy, not tag-audit."},
    };
    for (const auto &c : refused) {
        const ProcessRun run = vantrel(QStringList{"run"} + c.arguments);
        EXPECT_EQ(run.exitCode, 2) << c.message;
        EXPECT_EQ(run.err.trimmed(), QString::fromUtf8(c.message));
    }
}

TEST(HeadlessRun, DownloadsTidyMovesOnlyWithYes)
{
    AppTestEnvironment env;
    const QString old = env.makeFile(QStringLiteral("Downloads/manual.pdf"), "pdf");
    QFile file(old);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addDays(-20), QFileDevice::FileModificationTime));
    file.close();

    const ProcessRun tooRecent = vantrel({"run", "downloads-tidy", "--yes", "--json"});
    EXPECT_EQ(tooRecent.exitCode, 0);
    EXPECT_TRUE(QFile::exists(old));

    const ProcessRun asked = vantrel({"run", "downloads-tidy", "--threshold", "14", "--json"});
    EXPECT_EQ(asked.exitCode, 0);
    const QJsonObject plan = asked.json.value(QStringLiteral("report")).toObject();
    EXPECT_EQ(plan.value(QStringLiteral("plannedMoves")).toArray().size(), 1);
    EXPECT_TRUE(asked.json.value(QStringLiteral("banner")).isNull());
    EXPECT_TRUE(QFile::exists(old));

    const ProcessRun moved = vantrel({"run", "downloads-tidy", "--threshold", "14", "--yes", "--json"});
    EXPECT_EQ(moved.exitCode, 0);
    EXPECT_EQ(moved.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Moved 1 file into ~/Documents/Vantrel Tidy/."));
    EXPECT_TRUE(moved.json.value(QStringLiteral("report"))
                    .toObject()
                    .value(QStringLiteral("plannedMoves"))
                    .toArray()
                    .isEmpty());
    EXPECT_FALSE(QFile::exists(old));
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral("Documents/Vantrel Tidy/Old PDFs/manual.pdf"))));
}

TEST(HeadlessRun, AStreamedReportIsTheJsonQtWouldWriteForTheWholeResult)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("dups/ä one"), "same");
    env.makeFile(QStringLiteral("dups/\"two\"\\"), "same");
    env.makeFile(QStringLiteral("dups/three\t"), "same");
    env.makeFile(QStringLiteral("single/only"), "one");
    for (const char *folder : {"dups", "single"}) {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QTextStream out(&buffer);
        QString errors;
        QTextStream err(&errors);
        ASSERT_EQ(HeadlessRun::run({"duplicate-reports", env.path(QString::fromLatin1(folder)), "--json"}, out, err),
                  0);
        out.flush();
        const QByteArray written = buffer.data();
        QJsonParseError parsed{};
        const QJsonDocument document = QJsonDocument::fromJson(written, &parsed);
        ASSERT_EQ(parsed.error, QJsonParseError::NoError) << written.toStdString();
        EXPECT_EQ(document.toJson(QJsonDocument::Indented), written);
        const QJsonArray items = document.object()[QStringLiteral("report")][QStringLiteral("items")].toArray();
        EXPECT_EQ(items.size(), QByteArray(folder) == "dups" ? 3 : 0);
    }
}
