#include "AppTestEnvironment.h"
#include "FaultSupport.h"

#include "metadata/FinderMetadata.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

// Files the kernel refuses to change, written to through `vantrel run` as a user's script would: the
// banner names the cause, the JSON names every file and its reason, and the run exits 1.

namespace {

const QString notPermitted = QStringLiteral("Operation not permitted");

struct HeadlessResult {
    int exitCode = -1;
    QJsonObject json;
    QString out;
};

HeadlessResult vantrel(const QStringList &arguments)
{
    const Faults::ProcessResult result =
        Faults::run(AppTestEnvironment::executable(QStringLiteral("vantrel")), QStringList{"run"} + arguments);
    return {result.exitCode, QJsonDocument::fromJson(result.out).object(), QString::fromUtf8(result.out)};
}

QJsonObject bannerOf(const HeadlessResult &run)
{
    return run.json.value(QStringLiteral("banner")).toObject();
}

QJsonArray failure(const QString &path, const QString &reason)
{
    return {QJsonObject{{QStringLiteral("path"), path}, {QStringLiteral("reason"), reason}}};
}

void makeOld(const QString &path)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addDays(-40), QFileDevice::FileModificationTime));
}

struct WriteCase {
    const char *label;
    QStringList settings; // after the workflow id and the files
    bool withWritableFile;
    const char *message;
};

void PrintTo(const WriteCase &c, std::ostream *os)
{
    *os << c.label;
}

class CommentWriteFailures : public ::testing::TestWithParam<WriteCase> {};

} // namespace

TEST_P(CommentWriteFailures, GiveTheSystemsReasonAndExitOne)
{
    const WriteCase &c = GetParam();
    AppTestEnvironment env;
    const QString locked = env.makeFile(QStringLiteral("locked.txt"));
    const QString open = env.makeFile(QStringLiteral("open.txt"));
    const Faults::Immutable immutable(locked);
    if (!immutable.applied())
        GTEST_SKIP() << "chattr +i is refused on this file system";

    QStringList arguments = c.settings.mid(0, 1) + QStringList{locked};
    if (c.withWritableFile)
        arguments.append(open);
    const HeadlessResult run = vantrel(arguments + c.settings.mid(1) + QStringList{"--json"});

    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString();
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("tone")).toString(), QStringLiteral("failure"));
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("message")).toString(), QString::fromUtf8(c.message));
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("failures")).toArray(), failure(locked, notPermitted));
    EXPECT_FALSE(FinderMetadata::readComment(locked).has_value());
    if (c.withWritableFile) {
        EXPECT_TRUE(FinderMetadata::readComment(open).has_value());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Workflows, CommentWriteFailures,
    ::testing::Values(WriteCase{"TagsOnEveryFileFailed",
                                {"single-tag-selector", "--set", "selected=Done"},
                                false,
                                "All 1 writes failed: Operation not permitted."},
                      WriteCase{"TagsOnOneOfTwoFiles",
                                {"tag-category-selector", "--set", "selectedCategoryID=Projects"},
                                true,
                                "Applied to 1 · 1 failed: Operation not permitted."},
                      WriteCase{"TemplateOnOneOfTwoFiles",
                                {"comment-templates", "--set", "customBody=Paid", "--set", "mode=replace"},
                                true,
                                "Applied to 1 · 1 failed: Operation not permitted."},
                      WriteCase{"CommentToolOnEveryFile",
                                {"text-comment-tools", "--set", "action=addToComment", "--set", "primary=Seen"},
                                false,
                                "All 1 updates failed: Operation not permitted."},
                      WriteCase{"CommentToolOnOneOfTwoFiles",
                                {"text-comment-tools", "--set", "action=addToComment", "--set", "primary=Seen"},
                                true,
                                "Updated 1 · 1 failed: Operation not permitted."}),
    [](const auto &info) { return std::string(info.param.label); });

TEST(TidyFailures, AMoveOntoAnImmutableFolderFailsTheRunWithItsReason)
{
    AppTestEnvironment env;
    const QString pdf = env.makeFile(QStringLiteral("Downloads/manual.pdf"), "pdf");
    const QString zip = env.makeFile(QStringLiteral("Downloads/photos.zip"), "zip");
    makeOld(pdf);
    makeOld(zip);
    const QString pdfFolder = env.path(QStringLiteral("Documents/Vantrel Tidy/Old PDFs"));
    ASSERT_TRUE(QDir().mkpath(pdfFolder));
    const Faults::Immutable immutable(pdfFolder);
    if (!immutable.applied())
        GTEST_SKIP() << "chattr +i is refused on this file system";

    const HeadlessResult run = vantrel({"downloads-tidy", "--threshold", "14", "--yes", "--json"});

    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString();
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("tone")).toString(), QStringLiteral("failure"));
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("message")).toString(),
              QStringLiteral("Moved 1 file · 1 failed: Operation not permitted."));
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("failures")).toArray(), failure(pdf, notPermitted));
    // The file that couldn't move stays where it was, and its row says why.
    EXPECT_TRUE(QFile::exists(pdf));
    EXPECT_FALSE(QFile::exists(zip));
    const QJsonArray items =
        run.json.value(QStringLiteral("report")).toObject().value(QStringLiteral("items")).toArray();
    ASSERT_EQ(items.size(), 1);
    EXPECT_EQ(items.first().toObject().value(QStringLiteral("url")).toString(), pdf);
    EXPECT_EQ(items.first().toObject().value(QStringLiteral("badge")).toString(),
              QStringLiteral("failed: Operation not permitted"));

    // Without --json the reason stands beside the file too.
    const HeadlessResult text = vantrel({"downloads-tidy", "--threshold", "14", "--yes"});
    EXPECT_EQ(text.exitCode, 1);
    EXPECT_TRUE(text.out.contains(QStringLiteral("Failed: All 1 moves failed: Operation not permitted.")))
        << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("manual.pdf  Operation not permitted"))) << text.out.toStdString();
}

TEST(TidyFailures, EveryMoveDoneIsStillASuccess)
{
    AppTestEnvironment env;
    const QString pdf = env.makeFile(QStringLiteral("Downloads/manual.pdf"), "pdf");
    makeOld(pdf);
    const HeadlessResult run = vantrel({"downloads-tidy", "--threshold", "14", "--yes", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString();
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("tone")).toString(), QStringLiteral("success"));
    EXPECT_EQ(bannerOf(run).value(QStringLiteral("failures")).toArray(), QJsonArray());
}

TEST(ScanFailures, ACleanupThatCouldntWriteIsAFailedRun)
{
    AppTestEnvironment env;
    const QString locked = env.makeFile(QStringLiteral("locked.txt"));
    const QString fine = env.makeFile(QStringLiteral("fine.txt"));
    FinderMetadata::writeComment(QStringLiteral("a, a"), locked);
    FinderMetadata::writeComment(QStringLiteral("b; B"), fine);
    const Faults::Immutable immutable(locked);
    if (!immutable.applied())
        GTEST_SKIP() << "chattr +i is refused on this file system";

    const HeadlessResult run = vantrel({"clean-duplicate-comments", locked, fine, "--json"});

    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString();
    const QJsonObject report = run.json.value(QStringLiteral("report")).toObject();
    const QString error = QStringLiteral("Finder rejected the change (exit 1): Operation not permitted");
    EXPECT_EQ(report.value(QStringLiteral("summary")).toString(),
              QStringLiteral("Cleaned 1 · 1 failed: ") + error + QLatin1Char('.'));
    EXPECT_EQ(report.value(QStringLiteral("failures")).toArray(), failure(locked, error));
    EXPECT_EQ(FinderMetadata::readComment(fine), QStringLiteral("b"));

    // The same cleanup with nothing in its way is a success.
    const HeadlessResult clean = vantrel({"clean-duplicate-comments", fine, "--json"});
    EXPECT_EQ(clean.exitCode, 0);
    EXPECT_EQ(clean.json.value(QStringLiteral("report")).toObject().value(QStringLiteral("failures")).toArray(),
              QJsonArray());
}
