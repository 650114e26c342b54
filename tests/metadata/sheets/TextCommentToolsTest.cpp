#include "metadata/sheets/TextCommentActions.h"
#include "metadata/sheets/TextCommentToolsSheet.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"
#include "metadata/sheets/CommentWrites.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

using MetadataTestSupport::rawComment;
using Kind = TextCommentToolsSheet::ActionKind;
using Banner = RecordingSessionHost::Banner;

namespace {

QStringList namesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

struct RenameCase {
    const char *name;
    QString file;
    Kind kind;
    QString primary;
    QString replacement;
    QString separator;
    QString previewAfter;
    QString renamedTo;
};

void PrintTo(const RenameCase &c, std::ostream *os)
{
    *os << c.name;
}

class Rename : public testing::TestWithParam<RenameCase> {};

} // namespace

TEST_P(Rename, PreviewsAndRenamesTheStem)
{
    const RenameCase &c = GetParam();
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Work/") + c.file, "content");
    TextCommentToolsSheet sheet(env.host(), TextCommentToolsContext{{file}});
    sheet.setAction(c.kind);
    sheet.setPrimary(c.primary);
    sheet.setReplacement(c.replacement);
    sheet.setSeparator(c.separator);
    EXPECT_EQ(sheet.previewBefore(), c.file);
    EXPECT_EQ(sheet.previewAfter(), c.previewAfter);

    sheet.apply();
    EXPECT_EQ(namesIn(env.path(QStringLiteral("Work"))), QStringList{c.renamedTo});
    EXPECT_EQ(env.host().banner(), (Banner{false, QStringLiteral("Updated 1 file."), {}}));
    EXPECT_TRUE(sheet.isClosed());
}

INSTANTIATE_TEST_SUITE_P(Names, Rename,
                         testing::Values(RenameCase{"Prepend", "report.pdf", Kind::prependFilename, "2026", "", "-",
                                                    "2026-report.pdf", "2026-report.pdf"},
                                         RenameCase{"Append", "report.pdf", Kind::appendFilename, "v2", "", "-",
                                                    "report-v2.pdf", "report-v2.pdf"},
                                         RenameCase{"NoExtensionNoPoint", "README", Kind::appendFilename, "old", "",
                                                    " ", "README old", "README old"},
                                         RenameCase{"LastExtensionOnly", "archive.tar.gz", Kind::appendFilename, "-1",
                                                    "", "", "archive.tar-1.gz", "archive.tar-1.gz"},
                                         RenameCase{"HiddenFileIsAllStem", ".profile", Kind::appendFilename, ".bak", "",
                                                    "", ".profile.bak", ".profile.bak"},
                                         RenameCase{"ReplaceKeepsTheExtension", "pdf.pdf", Kind::replaceInFilename,
                                                    "pdf", "doc", "", "doc.doc", "doc.pdf"},
                                         RenameCase{"ReplaceIsCaseSensitive", "Draft draft.txt",
                                                    Kind::replaceInFilename, "draft", "final", "", "Draft final.txt",
                                                    "Draft final.txt"},
                                         RenameCase{"EmptyReplacementDeletes", "IMG_0001.jpg", Kind::replaceInFilename,
                                                    "IMG_", "", "", "0001.jpg", "0001.jpg"},
                                         RenameCase{"ReplaceThatChangesNothing", "notes.txt", Kind::replaceInFilename,
                                                    "zzz", "y", "", "notes.txt", "notes.txt"}),
                         [](const testing::TestParamInfo<RenameCase> &info) { return std::string(info.param.name); });

TEST(TextCommentTools, ATakenNameGetsACounterAndNothingIsOverwritten)
{
    TestEnvironment env;
    const QString a = env.makeFile(QStringLiteral("W/a.txt"), "a");
    const QString b = env.makeFile(QStringLiteral("W/b.txt"), "b");
    const QString c = env.makeFile(QStringLiteral("W/c.txt"), "c");
    env.makeFile(QStringLiteral("W/x.txt"), "taken");
    RecordingSessionHost &host = env.host();

    CommentWrites::applyTextCommentAction(
        host, TextCommentActions::replaceInFilename{QStringLiteral("a"), QStringLiteral("x")}, {a});
    CommentWrites::applyTextCommentAction(
        host, TextCommentActions::replaceInFilename{QStringLiteral("b"), QStringLiteral("x")}, {b});
    CommentWrites::applyTextCommentAction(
        host, TextCommentActions::replaceInFilename{QStringLiteral("c"), QStringLiteral("x")}, {c});
    EXPECT_EQ(namesIn(env.path(QStringLiteral("W"))), (QStringList{"x (1).txt", "x (2).txt", "x (3).txt", "x.txt"}));
    QFile taken(env.path(QStringLiteral("W/x.txt")));
    ASSERT_TRUE(taken.open(QIODevice::ReadOnly));
    EXPECT_EQ(taken.readAll(), QByteArray("taken"));
    QFile first(env.path(QStringLiteral("W/x (1).txt")));
    ASSERT_TRUE(first.open(QIODevice::ReadOnly));
    EXPECT_EQ(first.readAll(), QByteArray("a"));
}

TEST(TextCommentTools, CommentActionsAndTheirBanners)
{
    TestEnvironment env;
    const QString tagged = env.makeFile(QStringLiteral("tagged.txt"));
    const QString bare = env.makeFile(QStringLiteral("bare.txt"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(tagged, "user.xdg.comment", "Draft, draft"));
    TextCommentToolsSheet sheet(env.host(), TextCommentToolsContext{{tagged, bare}});
    QSignalSpy closed(&sheet, &Session::closed);

    sheet.setAction(Kind::removeFromComment);
    EXPECT_FALSE(sheet.canApply());
    sheet.setPrimary(QStringLiteral("draft"));
    EXPECT_EQ(sheet.previewBefore(), QStringLiteral("Draft, draft"));
    EXPECT_EQ(sheet.previewAfter(), QStringLiteral("Draft, "));
    sheet.apply();
    EXPECT_EQ(rawComment(tagged), QByteArray("Draft, "));
    // Written even when nothing changed: an empty comment is no attribute at all.
    EXPECT_EQ(rawComment(bare), QByteArray("(none)"));
    EXPECT_EQ(env.host().banner(), (Banner{false, QStringLiteral("Updated 2 files."), {}}));
    EXPECT_TRUE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 1);

    CommentWrites::applyTextCommentAction(
        env.host(), TextCommentActions::addToComment{QStringLiteral("status: in review")}, {tagged, bare});
    EXPECT_EQ(rawComment(tagged), QByteArray("Draft, \nstatus: in review"));
    EXPECT_EQ(rawComment(bare), QByteArray("status: in review"));

    sheet.setAction(Kind::clearComment);
    EXPECT_TRUE(sheet.canApply());
    EXPECT_EQ(sheet.warning(), QStringLiteral("This action can't be undone. Affected files: 2."));
    EXPECT_EQ(sheet.previewAfter(), QString());
    const QString missing = env.path(QStringLiteral("gone.txt"));
    CommentWrites::applyTextCommentAction(env.host(), TextCommentActions::clearComment{}, {tagged, missing});
    EXPECT_EQ(rawComment(tagged), QByteArray("(none)"));
    EXPECT_EQ(env.host().banner(), (Banner{true,
                                           QStringLiteral("Updated 1 · 1 failed: No such file or directory."),
                                           {{missing, QStringLiteral("No such file or directory")}}}));
    CommentWrites::applyTextCommentAction(env.host(), TextCommentActions::prependFilename{QStringLiteral("x")},
                                          {missing});
    ASSERT_EQ(env.host().banners().size(), 4);
    EXPECT_EQ(env.host().banner()->message, QStringLiteral("All 1 updates failed: No such file or directory."));
    EXPECT_TRUE(env.host().banner()->failure);
    // Writes made after the sheet closed never reopen it.
    EXPECT_EQ(closed.count(), 1);
}

TEST(TextCommentTools, FormTextsFollowTheAction)
{
    TestEnvironment env;
    TextCommentToolsSheet sheet(env.host(), TextCommentToolsContext{{env.makeFile(QStringLiteral("a.txt"))}});
    EXPECT_EQ(sheet.subtitle(), QStringLiteral("1 file selected"));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply to 1 file"));
    EXPECT_EQ(sheet.primaryField(), (TextCommentToolsSheet::FormField{"Text", "e.g. 2026-06-"}));
    EXPECT_EQ(sheet.separatorNote(), QStringLiteral("Text will sit directly against the filename."));
    sheet.setSeparator(QStringLiteral("_"));
    EXPECT_EQ(sheet.separatorNote(), QStringLiteral("Text and filename will be separated by \"_\"."));
    sheet.setPrimary(QStringLiteral("v"));
    EXPECT_EQ(sheet.makeAction(),
              TextCommentActions::TextCommentAction{TextCommentActions::prependFilename{QStringLiteral("v_")}});
    sheet.setAction(Kind::appendFilename);
    EXPECT_EQ(sheet.separatorNote(), QStringLiteral("Filename stem and text will be separated by \"_\"."));
    EXPECT_EQ(sheet.makeAction(),
              TextCommentActions::TextCommentAction{TextCommentActions::appendFilename{QStringLiteral("_v")}});
    sheet.setAction(Kind::replaceInFilename);
    EXPECT_FALSE(sheet.showsSeparators());
    EXPECT_EQ(sheet.replacementField(), (TextCommentToolsSheet::FormField{"Replace with", "Replacement text"}));
    EXPECT_EQ(TextCommentToolsSheet::separators().value(1).label, QStringLiteral("—"));
    EXPECT_EQ(TextCommentToolsSheet::separators().value(1).value, QStringLiteral("-"));
    EXPECT_EQ(TextCommentToolsSheet::toString(Kind::clearComment), QStringLiteral("Clear Finder comment"));

    TextCommentToolsSheet none(env.host(), TextCommentToolsContext{});
    EXPECT_FALSE(none.previewBefore().has_value());
    EXPECT_FALSE(none.previewAfter().has_value());
}

namespace {

struct RefusedRename {
    const char *name;
    QStringList files; // made in the folder Deep/Work, in this order
    Kind kind;
    QString primary;
    QString replacement;
    QString separator;
    QString problem;
};

void PrintTo(const RefusedRename &c, std::ostream *os)
{
    *os << c.name;
}

class RefusedRenames : public testing::TestWithParam<RefusedRename> {};

} // namespace

// Nothing is renamed, not even the files whose new name would have been fine, and nothing leaves the folder.
TEST_P(RefusedRenames, BeforeAnyFileIsRenamed)
{
    const RefusedRename &c = GetParam();
    TestEnvironment env;
    QStringList targets;
    for (const QString &file : c.files)
        targets.append(env.makeFile(QStringLiteral("Deep/Work/") + file, file.toUtf8()));
    TextCommentToolsSheet sheet(env.host(), TextCommentToolsContext{targets});
    QSignalSpy closed(&sheet, &Session::closed);
    sheet.setAction(c.kind);
    sheet.setPrimary(c.primary);
    sheet.setReplacement(c.replacement);
    sheet.setSeparator(c.separator);

    EXPECT_EQ(sheet.problem(), c.problem);
    EXPECT_FALSE(sheet.canApply());
    sheet.apply();
    QStringList expected = c.files;
    expected.sort();
    EXPECT_EQ(namesIn(env.path(QStringLiteral("Deep/Work"))), expected);
    EXPECT_EQ(namesIn(env.path(QStringLiteral("Deep"))), QStringList{});
    EXPECT_EQ(namesIn(env.home()), QStringList{});
    EXPECT_TRUE(env.host().banners().isEmpty());
    // The sheet stays open with its text, to be corrected.
    EXPECT_FALSE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 0);
    EXPECT_EQ(sheet.primary(), c.primary);
}

INSTANTIATE_TEST_SUITE_P(
    Names, RefusedRenames,
    testing::Values(
        RefusedRename{"PrependAPathUpwards",
                      {"report.pdf"},
                      Kind::prependFilename,
                      "../../X",
                      "",
                      "",
                      "A file name can't contain “/”."},
        RefusedRename{
            "AppendASlash", {"report.pdf"}, Kind::appendFilename, "a/b", "", "", "A file name can't contain “/”."},
        RefusedRename{"SeparatorWithASlash",
                      {"report.pdf"},
                      Kind::prependFilename,
                      "2026",
                      "",
                      "/",
                      "A file name can't contain “/”."},
        RefusedRename{"PrependNul",
                      {"report.pdf"},
                      Kind::prependFilename,
                      QStringLiteral("a") + QChar(u'\0'),
                      "",
                      "",
                      "A file name can't contain a NUL character."},
        RefusedRename{"ReplacementWithASlash",
                      {"report.pdf"},
                      Kind::replaceInFilename,
                      "report",
                      "../report",
                      "",
                      "A file name can't contain “/”."},
        RefusedRename{"ReplaceToAnEmptyName",
                      {"README"},
                      Kind::replaceInFilename,
                      "README",
                      "",
                      "",
                      "“README” would be renamed to “”. A file name can't be empty."},
        RefusedRename{"ReplaceToDotDot",
                      {"ab"},
                      Kind::replaceInFilename,
                      "ab",
                      "..",
                      "",
                      "“ab” would be renamed to “..”. A file name can't be “.” or “..”."},
        RefusedRename{"ReplaceToADot",
                      {"ab"},
                      Kind::replaceInFilename,
                      "ab",
                      ".",
                      "",
                      "“ab” would be renamed to “.”. A file name can't be “.” or “..”."},
        RefusedRename{"NothingLeftBeforeTheExtension",
                      {"report.pdf"},
                      Kind::replaceInFilename,
                      "report",
                      "",
                      "",
                      "“report.pdf” would be renamed to “.pdf”, with nothing before its extension."},
        RefusedRename{"LongerThanTheFileSystemTakes",
                      {"report.pdf"},
                      Kind::prependFilename,
                      QString(250, u'x'),
                      "",
                      "",
                      QStringLiteral("“report.pdf” would be renamed to “%1report.pdf”. A file name can't be "
                                     "longer than 255 bytes.")
                          .arg(QString(250, u'x'))},
        RefusedRename{"OnlyTheSecondFileIsBad",
                      {"xa.txt", "a"},
                      Kind::replaceInFilename,
                      "a",
                      "",
                      "",
                      "“a” would be renamed to “”. A file name can't be empty."}),
    [](const testing::TestParamInfo<RefusedRename> &info) { return std::string(info.param.name); });

TEST(TextCommentTools, TextWithADotOrFindingASlashIsFine)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("W/report.pdf"));
    TextCommentToolsSheet sheet(env.host(), TextCommentToolsContext{{file}});
    sheet.setAction(Kind::appendFilename);
    sheet.setPrimary(QStringLiteral(".."));
    EXPECT_EQ(sheet.problem(), std::nullopt);
    sheet.setAction(Kind::replaceInFilename);
    sheet.setPrimary(QStringLiteral("a/b"));
    EXPECT_EQ(sheet.problem(), std::nullopt);
    EXPECT_TRUE(sheet.canApply());
}

// Whoever calls it, the rename itself never takes a path for a name: the file fails and stays.
TEST(TextCommentTools, TheRenameRefusesAPathEvenWithoutTheSheet)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Deep/Work/report.pdf"), "r");
    CommentWrites::applyTextCommentAction(env.host(), TextCommentActions::prependFilename{QStringLiteral("../../")},
                                          {file});
    ASSERT_TRUE(env.host().banner().has_value());
    EXPECT_TRUE(env.host().banner()->failure);
    EXPECT_EQ(env.host().banner()->message, QStringLiteral("All 1 updates failed: “report.pdf” would be renamed to "
                                                           "“../../report.pdf”. A file name can't contain “/”."));
    EXPECT_EQ(namesIn(env.path(QStringLiteral("Deep/Work"))), QStringList{"report.pdf"});
    EXPECT_EQ(namesIn(env.home()), QStringList{});
}
