#include "metadata/CommentTokenEditor.h"
#include "platform/macos/FinderScripts.h"

#include <gtest/gtest.h>

struct TokenCase {
    const char *name;
    std::optional<QString> comment;
    QStringList tokens;
    QStringList deduped;
};

void PrintTo(const TokenCase &c, std::ostream *os)
{
    *os << c.name;
}

class CommentTokens : public ::testing::TestWithParam<TokenCase> {};

TEST_P(CommentTokens, SplitTrimAndDedupe)
{
    const QStringList tokens = CommentTokenEditor::tokens(GetParam().comment);
    EXPECT_EQ(tokens, GetParam().tokens);
    EXPECT_EQ(CommentTokenEditor::dedupe(tokens), GetParam().deduped);
}

INSTANTIATE_TEST_SUITE_P(
    Comments, CommentTokens,
    ::testing::Values(
        TokenCase{"NoComment", std::nullopt, {}, {}}, TokenCase{"EmptyComment", "", {}, {}},
        TokenCase{"OnlyWhitespace", "  \t\n ", {}, {}},
        TokenCase{"RepeatDropped", "a, b; a", {"a", "b", "a"}, {"a", "b"}},
        TokenCase{"FirstSpellingWinsOverCase", "Tag, tag, TAG", {"Tag", "tag", "TAG"}, {"Tag"}},
        TokenCase{"SemicolonSeparates", "one; two", {"one", "two"}, {"one", "two"}},
        TokenCase{"EmptyPiecesAndLineBreaksDropped", "a,,b;;|c\r\n\nd", {"a", "b", "c", "d"}, {"a", "b", "c", "d"}},
        TokenCase{"PiecesTrimmed", "  Draft |draft| Final ", {"Draft", "draft", "Final"}, {"Draft", "Final"}},
        TokenCase{"SharpSStaysApartFromSS", "Größe, GRÖSSE, größe", {"Größe", "GRÖSSE", "größe"}, {"Größe", "GRÖSSE"}},
        TokenCase{
            "InnerSpacesKept", "two words, two  words", {"two words", "two  words"}, {"two words", "two  words"}}),
    [](const testing::TestParamInfo<TokenCase> &info) { return std::string(info.param.name); });

struct ScriptCase {
    const char *name;
    const char *path;
    const char *comment;
    const char *expected;
};

void PrintTo(const ScriptCase &c, std::ostream *os)
{
    *os << c.name;
}

class FinderCommentScript : public ::testing::TestWithParam<ScriptCase> {};

// The macOS writer hands Finder an AppleScript; its literals must carry exactly the text.
TEST_P(FinderCommentScript, EscapesBackslashesThenQuotes)
{
    EXPECT_EQ(
        FinderScripts::setCommentScript(QString::fromUtf8(GetParam().path), QString::fromUtf8(GetParam().comment)),
        QString::fromUtf8(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Literals, FinderCommentScript,
    ::testing::Values(
        ScriptCase{"Plain", "/Users/a/x.txt", "plain",
                   "tell application \"Finder\"\n    set theFile to POSIX file \"/Users/a/x.txt\" as alias\n    set "
                   "comment of theFile to \"plain\"\nend tell"},
        ScriptCase{
            "QuotesAndBackslashes", "/tmp/say \"hi\".txt", "a \\\"b\\\"",
            "tell application \"Finder\"\n    set theFile to POSIX file \"/tmp/say \\\"hi\\\".txt\" as alias\n    "
            "set comment of theFile to \"a \\\\\\\"b\\\\\\\"\"\nend tell"},
        ScriptCase{"LineBreakKept", "/tmp/x", "line one\nline two",
                   "tell application \"Finder\"\n    set theFile to POSIX file \"/tmp/x\" as alias\n    set comment of "
                   "theFile to \"line one\nline two\"\nend tell"},
        ScriptCase{"EmptyComment", "/tmp/x", "",
                   "tell application \"Finder\"\n    set theFile to POSIX file \"/tmp/x\" as alias\n    set comment of "
                   "theFile to \"\"\nend tell"}),
    [](const testing::TestParamInfo<ScriptCase> &info) { return std::string(info.param.name); });

TEST(FinderCommentScript, RunsOsascriptWithTheScriptAsOneArgument)
{
    EXPECT_EQ(FinderScripts::osascriptProgram(), QStringLiteral("/usr/bin/osascript"));
    EXPECT_EQ(FinderScripts::osascriptArguments(QStringLiteral("S")), (QStringList{"-e", "S"}));
}
