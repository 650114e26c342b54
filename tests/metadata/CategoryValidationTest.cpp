#include "metadata/CategoryValidation.h"
#include "metadata/CategoryEditing.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

QString repeated(const QString &piece, int times)
{
    QString text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

// One letter written as two code points: "e" and a combining acute accent.
const QString accented = QStringLiteral("e\u0301");
// A family joined from three emoji by zero-width joiners: five code points, eight UTF-16 units, one character.
const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467");
// A flag: two regional indicators, one character.
const QString flag = QStringLiteral("\U0001F1F3\U0001F1F4");

Category with(QString name, QString color = QStringLiteral("#abcDEF"), QStringList tags = {QStringLiteral("t")},
              QString symbol = QStringLiteral("tag.fill"))
{
    return {QUuid::createUuid(), std::move(name), std::move(color), std::move(tags), std::move(symbol)};
}

QStringList numberedTags(int count)
{
    QStringList tags;
    for (int i = 0; i < count; ++i)
        tags.append(QStringLiteral("t%1").arg(i));
    return tags;
}

struct ValidationCase {
    const char *label;
    Category category;
    const char *problem;
};

void PrintTo(const ValidationCase &c, std::ostream *os)
{
    *os << c.label;
}

class CategoryRules : public ::testing::TestWithParam<ValidationCase> {};

} // namespace

TEST_P(CategoryRules, NameTheFirstProblem)
{
    EXPECT_EQ(CategoryValidation::check(GetParam().category), QString::fromUtf8(GetParam().problem));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, CategoryRules,
    ::testing::Values(
        ValidationCase{"Fine", with(QStringLiteral("Clients")), ""},
        ValidationCase{"EmptyAfterTrim", with(QStringLiteral("  \n\t")), "a category has an empty name"},
        ValidationCase{"Name80Trimmed", with(QString(80, QLatin1Char('n')) + QStringLiteral("   ")), ""},
        ValidationCase{"Name81", with(QString(81, QLatin1Char('n'))), "a category name is too long (81 chars; max 80)"},
        ValidationCase{"Name80CombiningMarks", with(repeated(accented, 80)), ""},
        ValidationCase{"Name81CombiningMarks", with(repeated(accented, 81)),
                       "a category name is too long (81 chars; max 80)"},
        ValidationCase{"Name80ZwjFamilies", with(repeated(family, 80)), ""},
        ValidationCase{"Name81ZwjFamilies", with(repeated(family, 81)),
                       "a category name is too long (81 chars; max 80)"},
        ValidationCase{"Name80Flags", with(repeated(flag, 80)), ""},
        ValidationCase{"NameWithTab", with(QStringLiteral("Work\tHome")), ""},
        ValidationCase{"NameControl", with(QStringLiteral("A\u0007B")),
                       "a category name contains unsupported characters"},
        ValidationCase{"NameBidiOverride", with(QStringLiteral("invoice\u202Efdp.exe")),
                       "a category name contains unsupported characters"},
        ValidationCase{"ShortColour", with(QStringLiteral("X"), QStringLiteral("#abcd")),
                       "invalid colour value \"#abcd\" on category \"X\""},
        ValidationCase{"ColourWithoutHash", with(QStringLiteral("X"), QStringLiteral("abcdef")),
                       "invalid colour value \"abcdef\" on category \"X\""},
        ValidationCase{"BadSymbol",
                       with(QStringLiteral("X"), QStringLiteral("#000000"), {}, QStringLiteral("tag fill")),
                       "invalid systemImage on category \"X\""},
        ValidationCase{"Tags200", with(QStringLiteral("X"), QStringLiteral("#000000"), numberedTags(200)), ""},
        ValidationCase{"Tags201", with(QStringLiteral(" X "), QStringLiteral("#000000"), numberedTags(201)),
                       "category \"X\" has too many tags (201; max 200)"},
        ValidationCase{"EmptyTag", with(QStringLiteral("X"), QStringLiteral("#000000"), {QStringLiteral(" ")}),
                       "category \"X\" has an empty tag"},
        ValidationCase{"LongTag", with(QStringLiteral("X"), QStringLiteral("#000000"), {QString(81, QLatin1Char('t'))}),
                       "a tag is too long (81 chars; max 80)"},
        ValidationCase{"Tag80CombiningMarks",
                       with(QStringLiteral("X"), QStringLiteral("#000000"), {repeated(accented, 80)}), ""},
        ValidationCase{"Tag81ZwjFamilies", with(QStringLiteral("X"), QStringLiteral("#000000"), {repeated(family, 81)}),
                       "a tag is too long (81 chars; max 80)"},
        ValidationCase{"TagWithTab", with(QStringLiteral("X"), QStringLiteral("#000000"), {QStringLiteral("a\tb")}),
                       ""},
        ValidationCase{"TagWithBidiOverride",
                       with(QStringLiteral("X"), QStringLiteral("#000000"), {QStringLiteral("a\u202Eb")}),
                       "category \"X\" has a tag with unsupported characters"}),
    [](const auto &info) { return std::string(info.param.label); });

namespace {

struct CountCase {
    const char *label;
    QString text;
    qsizetype characters;
};

void PrintTo(const CountCase &c, std::ostream *os)
{
    *os << c.label;
}

class CharacterCount : public ::testing::TestWithParam<CountCase> {};

} // namespace

TEST_P(CharacterCount, CountsWhatAReaderSees)
{
    EXPECT_EQ(CategoryValidation::characterCount(GetParam().text), GetParam().characters);
}

INSTANTIATE_TEST_SUITE_P(Texts, CharacterCount,
                         ::testing::Values(CountCase{"Empty", QString(), 0},
                                           CountCase{"Ascii", QStringLiteral("Clients"), 7},
                                           CountCase{"CombiningMark", accented, 1},
                                           CountCase{"Precomposed", QStringLiteral("\u00E9t\u00E9"), 3},
                                           CountCase{"ZwjFamily", family, 1}, CountCase{"Flag", flag, 1},
                                           CountCase{"SkinTone", QStringLiteral("\U0001F44D\U0001F3FD"), 1},
                                           CountCase{"CarriageReturnLineFeed", QStringLiteral("a\r\nb"), 3}),
                         [](const auto &info) { return std::string(info.param.label); });

namespace {

using CategoryEditing::Edit;

const Category existing{QUuid::createUuid(),
                        QStringLiteral("Clients"),
                        QStringLiteral("#38BDF8"),
                        {QStringLiteral("Acme")},
                        QStringLiteral("person.2.fill")};

struct EditCase {
    const char *label;
    std::function<Edit()> edit;
    // The name or last tag the edit gives; empty when it gives no category.
    QString result;
    const char *refusal;
};

void PrintTo(const EditCase &c, std::ostream *os)
{
    *os << c.label;
}

class EditorRules : public ::testing::TestWithParam<EditCase> {};

QString lastTagOrName(const Edit &edit, bool tags)
{
    if (!edit.category)
        return {};
    return tags ? edit.category->tags.last() : edit.category->name;
}

} // namespace

TEST_P(EditorRules, RefuseWithTheLibrarysText)
{
    const Edit edit = GetParam().edit();
    const bool isTag = QByteArray(GetParam().label).startsWith("Tag");
    EXPECT_EQ(lastTagOrName(edit, isTag), GetParam().result);
    EXPECT_EQ(edit.refusal, QString::fromUtf8(GetParam().refusal));
    EXPECT_FALSE(edit.category.has_value() && !edit.refusal.isEmpty());
    // Whatever an edit lets in, an import lets in too.
    if (edit.category) {
        EXPECT_EQ(CategoryValidation::check(*edit.category), QString());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Edits, EditorRules,
    ::testing::Values(
        EditCase{"NewTrimmed", [] { return CategoryEditing::newCategory(QStringLiteral("  Trips "), 3); },
                 QStringLiteral("Trips"), ""},
        EditCase{"NewEmptyDoesNothing", [] { return CategoryEditing::newCategory(QStringLiteral("   "), 3); },
                 QString(), ""},
        EditCase{"NewOfEightyAccentedLetters", [] { return CategoryEditing::newCategory(repeated(accented, 80), 0); },
                 repeated(accented, 80), ""},
        EditCase{"New200Characters", [] { return CategoryEditing::newCategory(QString(200, QLatin1Char('x')), 0); },
                 QString(), "a category name is too long (200 chars; max 80)"},
        EditCase{"NewWithBidiOverride", [] { return CategoryEditing::newCategory(QStringLiteral("a\u202Eb"), 0); },
                 QString(), "a category name contains unsupported characters"},
        EditCase{"RenameTo81Families", [] { return CategoryEditing::renamed(existing, repeated(family, 81)); },
                 QString(), "a category name is too long (81 chars; max 80)"},
        EditCase{"RenameToEmptyDoesNothing", [] { return CategoryEditing::renamed(existing, QStringLiteral(" ")); },
                 QString(), ""},
        EditCase{"RenameFine", [] { return CategoryEditing::renamed(existing, QStringLiteral(" Customers ")); },
                 QStringLiteral("Customers"), ""},
        EditCase{"TagFine", [] { return CategoryEditing::withTag(existing, QStringLiteral(" Initech ")); },
                 QStringLiteral("Initech"), ""},
        EditCase{"TagRepeatedDoesNothing", [] { return CategoryEditing::withTag(existing, QStringLiteral("ACME")); },
                 QString(), ""},
        EditCase{"TagWithTab", [] { return CategoryEditing::withTag(existing, QStringLiteral("a\tb")); },
                 QStringLiteral("a\tb"), ""},
        EditCase{"TagTooLong", [] { return CategoryEditing::withTag(existing, repeated(accented, 81)); }, QString(),
                 "a tag is too long (81 chars; max 80)"},
        EditCase{"TagWithBidiOverride", [] { return CategoryEditing::withTag(existing, QStringLiteral("x\u202Ey")); },
                 QString(), "category \"Clients\" has a tag with unsupported characters"},
        EditCase{"TagThe200th",
                 [] {
                     Category full = existing;
                     full.tags = numberedTags(199);
                     return CategoryEditing::withTag(full, QStringLiteral("last"));
                 },
                 QStringLiteral("last"), ""},
        EditCase{"TagThe201st",
                 [] {
                     Category full = existing;
                     full.tags = numberedTags(200);
                     return CategoryEditing::withTag(full, QStringLiteral("one more"));
                 },
                 QString(), "category \"Clients\" has too many tags (201; max 200)"},
        EditCase{"DuplicateFine", [] { return CategoryEditing::duplicate(existing); }, QStringLiteral("Clients Copy"),
                 ""},
        EditCase{"DuplicatePastTheLimit",
                 [] {
                     Category longName = existing;
                     longName.name = QString(78, QLatin1Char('n'));
                     return CategoryEditing::duplicate(longName);
                 },
                 QString(), "a category name is too long (83 chars; max 80)"}),
    [](const auto &info) { return std::string(info.param.label); });
