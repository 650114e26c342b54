#include "platform/ServicesRegistry.h"

#include "platform/PropertyList.h"

#include "TestHome.h"

#include <QFile>

#include <gtest/gtest.h>

#include <ostream>

TEST(ServicesRegistry, KeysAnEntryByItsMenuName)
{
    EXPECT_EQ(ServicesRegistry::key(QStringLiteral("Café – Tags")),
              QStringLiteral("(null) - Café – Tags - runWorkflowAsService"));
}

TEST(ServicesRegistry, ShowsAQuickActionEverywhereButTheTouchBar)
{
    const QVariantMap modes = ServicesRegistry::presentationModes();
    EXPECT_EQ(modes.keys(), (QStringList{"ContextMenu", "FinderPreview", "ServicesMenu", "TouchBar"}));
    for (const QString &key : QStringList{"ContextMenu", "FinderPreview", "ServicesMenu", "TouchBar"}) {
        EXPECT_EQ(modes.value(key).typeId(), QMetaType::Bool) << key.toStdString();
        EXPECT_EQ(modes.value(key).toBool(), key != QLatin1String("TouchBar")) << key.toStdString();
    }
}

TEST(ServicesRegistry, RefreshesPbsWithTwoCommandsInOrder)
{
    const QList<QStringList> commands = ServicesRegistry::refreshCommands();
    ASSERT_EQ(commands.size(), 2);
    EXPECT_EQ(commands.at(0), (QStringList{"/System/Library/CoreServices/pbs", "-update"}));
    EXPECT_EQ(commands.at(1), (QStringList{"/usr/bin/killall", "-HUP", "pbs"}));
}

namespace {

enum class InfoPlist { none, unreadable, garbage, contents };

struct MenuNameCase {
    const char *name;
    const char *bundle; // the bundle's file name
    InfoPlist info;
    QVariant contents;
    std::optional<QString> menuName;
};

void PrintTo(const MenuNameCase &c, std::ostream *os)
{
    *os << c.name;
}

QVariantMap servicesWith(const QVariant &first)
{
    return {{QStringLiteral("NSServices"), QVariantList{first}}};
}

QVariantMap menuItem(const QVariant &title)
{
    return {{QStringLiteral("NSMenuItem"), QVariantMap{{QStringLiteral("default"), title}}}};
}

} // namespace

class ServiceBundleMenuName : public ::testing::TestWithParam<MenuNameCase> {};

TEST_P(ServiceBundleMenuName, ReadsTheFirstServicesTitleOrFallsBackToTheFileName)
{
    TestHome env;
    const MenuNameCase &c = GetParam();
    const QString bundle = env.makeFolder(QStringLiteral("Services/") + QString::fromUtf8(c.bundle));
    const QString info = bundle + QStringLiteral("/Contents/Info.plist");
    switch (c.info) {
    case InfoPlist::none:
        env.makeFolder(QStringLiteral("Services/") + QString::fromUtf8(c.bundle) + QStringLiteral("/Contents"));
        break;
    case InfoPlist::unreadable:
        // A folder where the file should be can be opened by no one, root included.
        env.makeFolder(QStringLiteral("Services/") + QString::fromUtf8(c.bundle) +
                       QStringLiteral("/Contents/Info.plist"));
        break;
    case InfoPlist::garbage:
        env.makeFile(info.mid(env.home().size() + 1), "<?xml version=\"1.0\"?><plist><dict><key>NS");
        break;
    case InfoPlist::contents:
        env.makeFile(info.mid(env.home().size() + 1), PropertyList::toXml(c.contents));
        break;
    }
    EXPECT_EQ(ServiceBundles::menuName(bundle), c.menuName);
    // A trailing slash names the same bundle.
    EXPECT_EQ(ServiceBundles::menuName(bundle + QLatin1Char('/')), c.menuName);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ServiceBundleMenuName,
    ::testing::Values(
        MenuNameCase{"TitleOfTheFirstService", "Vantrel - Tags.workflow", InfoPlist::contents,
                     QVariantMap{{QStringLiteral("NSServices"), QVariantList{menuItem(QStringLiteral("Café – Tags")),
                                                                             menuItem(QStringLiteral("No"))}}},
                     QStringLiteral("Café – Tags")},
        MenuNameCase{"NoInfoPlistHasNone", "Vantrel - Gone.workflow", InfoPlist::none, {}, std::nullopt},
        MenuNameCase{
            "UnreadableInfoPlistHasNone", "Vantrel - Locked.workflow", InfoPlist::unreadable, {}, std::nullopt},
        MenuNameCase{"UnparsableGivesTheFileName",
                     "Vantrel - Text & Comment.workflow",
                     InfoPlist::garbage,
                     {},
                     QStringLiteral("Vantrel - Text & Comment")},
        MenuNameCase{"NoServicesGivesTheFileName", "Plain.workflow", InfoPlist::contents,
                     QVariantMap{{QStringLiteral("CFBundleName"), QStringLiteral("x")}}, QStringLiteral("Plain")},
        MenuNameCase{"EmptyServicesGivesTheFileName", "Empty.workflow", InfoPlist::contents,
                     QVariantMap{{QStringLiteral("NSServices"), QVariantList{}}}, QStringLiteral("Empty")},
        MenuNameCase{"ServicesOfAnotherTypeGivesTheFileName", "Typed.workflow", InfoPlist::contents,
                     QVariantMap{{QStringLiteral("NSServices"), QStringLiteral("x")}}, QStringLiteral("Typed")},
        MenuNameCase{"MissingMenuItemGivesTheFileName", "No Item.workflow", InfoPlist::contents,
                     servicesWith(QVariantMap{{QStringLiteral("NSMessage"), QStringLiteral("runWorkflowAsService")}}),
                     QStringLiteral("No Item")},
        MenuNameCase{"TitleOfAnotherTypeGivesTheFileName", "Number.workflow", InfoPlist::contents,
                     servicesWith(menuItem(42)), QStringLiteral("Number")},
        MenuNameCase{"DotsInTheFileNameStay", "v1.2 Tools.workflow", InfoPlist::contents, QVariantMap{},
                     QStringLiteral("v1.2 Tools")},
        MenuNameCase{"EmptyTitleHasNone", "Blank.workflow", InfoPlist::contents, servicesWith(menuItem(QString())),
                     std::nullopt},
        MenuNameCase{"RootOfAnotherTypeGivesTheFileName", "List.workflow", InfoPlist::contents,
                     QVariantList{QStringLiteral("a")}, QStringLiteral("List")}),
    [](const ::testing::TestParamInfo<MenuNameCase> &info) { return std::string(info.param.name); });
