#include "transfer/rules/RuleEditing.h"

#include <gtest/gtest.h>

#include <limits>

using namespace RuleEditing;

namespace {

using M = RuleMatch;
constexpr qint64 MB = 1048576;

struct TextCase {
    const char *name;
    ConditionKind kind;
    QString text;
    RuleMatch expected;
};

void PrintTo(const TextCase &c, std::ostream *os)
{
    *os << c.name;
}

class FieldTextToModel : public testing::TestWithParam<TextCase> {};

} // namespace

TEST_P(FieldTextToModel, MakesTheCondition)
{
    const TextCase &c = GetParam();
    EXPECT_EQ(conditionFrom(c.kind, c.text), c.expected);
    EXPECT_EQ(kindOf(c.expected), c.kind);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FieldTextToModel,
    testing::Values(
        TextCase{
            "MegabytesAreTwoToTheTwentieth", ConditionKind::sizeGreaterThan, "100", {M::sizeGreaterThan{100 * MB}}},
        TextCase{"MegabytesWithBlanksAround", ConditionKind::sizeGreaterThan, " 3 ", {M::sizeGreaterThan{3 * MB}}},
        TextCase{"NoNumberIsZero", ConditionKind::sizeGreaterThan, "1.5", {M::sizeGreaterThan{0}}},
        TextCase{"ATooLargeSizeIsTheLargestThatFits",
                 ConditionKind::sizeGreaterThan,
                 "99999999999999999",
                 {M::sizeGreaterThan{std::numeric_limits<qint64>::max() / MB * MB}}},
        TextCase{"ExtensionsSplitTrimmedAndLowered",
                 ConditionKind::extensionEquals,
                 " PDF, ai,, Sketch ,",
                 {M::extensionEquals{{"pdf", "ai", "sketch"}}}},
        TextCase{"OnlyCommasAndBlanksIsNoExtension", ConditionKind::extensionEquals, " , ,", {M::extensionEquals{}}},
        TextCase{"DaysAsAWholeNumber", ConditionKind::modifiedOlderThanDays, "30", {M::modifiedOlderThanDays{30}}},
        TextCase{"ANameSearchMadeHereIgnoresCase",
                 ConditionKind::nameContains,
                 "Invoice",
                 {M::nameContains{"Invoice", true}}},
        TextCase{"APatternIsKeptAsTyped",
                 ConditionKind::nameMatchesRegex,
                 "^IMG_\\d{4} ",
                 {M::nameMatchesRegex{"^IMG_\\d{4} "}}},
        TextCase{"ATagAsTyped", ConditionKind::hasFinderTag, "Important", {M::hasFinderTag{"Important"}}},
        TextCase{"ACommentAsTyped", ConditionKind::commentContains, "review", {M::commentContains{"review"}}}),
    [](const testing::TestParamInfo<TextCase> &info) { return std::string(info.param.name); });

namespace {

struct ShownCase {
    const char *name;
    RuleMatch match;
    QString shown;
};

void PrintTo(const ShownCase &c, std::ostream *os)
{
    *os << c.name;
}

class ModelToFieldText : public testing::TestWithParam<ShownCase> {};

} // namespace

TEST_P(ModelToFieldText, ShowsTheText)
{
    EXPECT_EQ(textOf(GetParam().match), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ModelToFieldText,
    testing::Values(ShownCase{"WholeMegabytes", {M::sizeGreaterThan{3 * MB}}, "3"},
                    ShownCase{"TheRemainderIsDropped", {M::sizeGreaterThan{3 * MB + MB - 1}}, "3"},
                    ShownCase{"LessThanAMegabyteIsZero", {M::sizeGreaterThan{MB - 1}}, "0"},
                    ShownCase{"ExtensionsJoinedWithCommaBlank", {M::extensionEquals{{"pdf", "AI"}}}, "pdf, AI"},
                    ShownCase{"Days", {M::modifiedOlderThanDays{7}}, "7"},
                    ShownCase{"AGroupHasNoFieldText", {M::any{{{M::hasFinderTag{"x"}}}}}, ""}),
    [](const testing::TestParamInfo<ShownCase> &info) { return std::string(info.param.name); });

TEST(RuleEditing, AnEditedNameSearchKeepsTheFlagItHad)
{
    const RuleMatch exact{M::nameContains{"old", false}};
    EXPECT_EQ(conditionFrom(ConditionKind::nameContains, QStringLiteral("new"), &exact),
              (RuleMatch{M::nameContains{"new", false}}));
    // A condition that was of another kind has no flag to keep.
    const RuleMatch tag{M::hasFinderTag{"old"}};
    EXPECT_EQ(conditionFrom(ConditionKind::nameContains, QStringLiteral("new"), &tag),
              (RuleMatch{M::nameContains{"new", true}}));
}

TEST(RuleEditing, EveryPickerKindRoundTripsThroughItsFieldText)
{
    const QList<QString> texts{"pdf, ai", "invoice", "^IMG_\\d{4}", "100", "30", "Important", "review"};
    ASSERT_EQ(conditionKinds().size(), texts.size());
    for (const ConditionKindInfo &info : conditionKinds()) {
        const QString &text = texts[int(info.kind)];
        const RuleMatch made = conditionFrom(info.kind, text);
        EXPECT_EQ(kindOf(made), info.kind) << info.label.toStdString();
        EXPECT_EQ(textOf(made), text) << info.label.toStdString();
        EXPECT_EQ(&infoOf(info.kind), &info);
    }
    EXPECT_EQ(kindOf(RuleMatch{M::all{}}), std::nullopt);
}

namespace {

struct GroupCase {
    const char *name;
    Conditions conditions;
    RuleMatch held;
};

void PrintTo(const GroupCase &c, std::ostream *os)
{
    *os << c.name;
}

class ConditionGroups : public testing::TestWithParam<GroupCase> {};

const RuleMatch pdf{M::extensionEquals{{"pdf"}}};
const RuleMatch big{M::sizeGreaterThan{MB}};

} // namespace

TEST_P(ConditionGroups, HoldsTheConditionsInOneCase)
{
    const GroupCase &c = GetParam();
    const RuleMatch held = matchOf(c.conditions);
    EXPECT_EQ(held, c.held);
    // What the rule holds lists back as the same conditions (a single one under the default joining).
    if (c.conditions.list.size() > 1) {
        EXPECT_EQ(conditionsOf(held), c.conditions);
    } else if (c.conditions.list.size() == 1) {
        EXPECT_EQ(conditionsOf(held).list, c.conditions.list);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ConditionGroups,
    testing::Values(
        GroupCase{"OneConditionIsThePlainCase", {Joining::any, {pdf}}, pdf},
        GroupCase{"SeveralJoinedByAny", {Joining::any, {pdf, big}}, {M::any{{pdf, big}}}},
        GroupCase{"SeveralJoinedByAll", {Joining::all, {pdf, big}}, {M::all{{pdf, big}}}},
        // An empty `all` would match every file; a rule left without conditions matches none.
        GroupCase{"NoneMatchesNothing", {Joining::all, {}}, {M::any{}}},
        GroupCase{"AGroupInsideIsKept", {Joining::any, {pdf, {M::all{{big}}}}}, {M::any{{pdf, {M::all{{big}}}}}}}),
    [](const testing::TestParamInfo<GroupCase> &info) { return std::string(info.param.name); });

TEST(RuleEditing, APlainConditionListsAsOneUnderAll)
{
    EXPECT_EQ(conditionsOf(pdf), (Conditions{Joining::all, {pdf}}));
}

namespace {

struct FolderCase {
    const char *name;
    QString folder;
    QString home;
    QString stored;
};

void PrintTo(const FolderCase &c, std::ostream *os)
{
    *os << c.name;
}

class PickedFolders : public testing::TestWithParam<FolderCase> {};

} // namespace

TEST_P(PickedFolders, AreKeptWithTheHomeAsTilde)
{
    EXPECT_EQ(folderAsTyped(GetParam().folder, GetParam().home), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PickedFolders,
    testing::Values(FolderCase{"UnderTheHome", "/home/ann/Archive/2026", "/home/ann", "~/Archive/2026"},
                    FolderCase{"TheHomeItself", "/home/ann", "/home/ann", "~"},
                    FolderCase{"AHomeWrittenWithASlash", "/home/ann/Archive", "/home/ann/", "~/Archive"},
                    FolderCase{"ANeighbourWhoseNameStartsTheSame", "/home/anne/Archive", "/home/ann",
                               "/home/anne/Archive"},
                    FolderCase{"TheHomeFurtherInIsNotTheHome", "/mnt/home/ann/x", "/home/ann", "/mnt/home/ann/x"},
                    FolderCase{"ARootHomeChangesNothing", "/srv/files", "/", "/srv/files"}),
    [](const testing::TestParamInfo<FolderCase> &info) { return std::string(info.param.name); });

TEST(RuleEditing, ActionsKeepTheirPathAcrossMoveAndCopy)
{
    const RuleAction move = actionFrom(ActionKind::moveTo, QStringLiteral("~/Invoices"));
    const RuleAction copy = actionFrom(kindOf(RuleAction{RuleAction::copyTo{}}), pathOf(move));
    EXPECT_EQ(copy, (RuleAction{RuleAction::copyTo{"~/Invoices"}}));
    EXPECT_EQ(actionFrom(ActionKind::skip, pathOf(copy)), (RuleAction{RuleAction::skip{}}));
    EXPECT_EQ(pathOf(RuleAction{RuleAction::skip{}}), QString());
    // A new rule matches nothing until its extensions are filled in.
    EXPECT_EQ(newRule().match, (RuleMatch{M::extensionEquals{}}));
}
