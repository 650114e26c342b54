#include "AppTestEnvironment.h"
#include "app/AppState.h"
#include "transfer/rules/TransferProfileStore.h"
#include "ui/sheets/RouteByConfigSheetView.h"
#include "ui/shell/MainWindow.h"

#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace {

template <typename T> T *part(QWidget *sheet, const char *name)
{
    auto *found = sheet->findChild<T *>(QString::fromLatin1(name));
    if (!found)
        qFatal("no %s in the sheet", name);
    return found;
}

QString text(QWidget *sheet, const char *name)
{
    return part<QLabel>(sheet, name)->text();
}

void click(QWidget *widget)
{
    QTest::mouseClick(widget, Qt::LeftButton);
}

} // namespace

class RouteSheetTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void picksAProfilePreviewsTheRoutesAndCopies()
    {
        AppTestEnvironment env;
        env.makeFile(QStringLiteral("Downloads/march.pdf"), "march");
        env.makeFile(QStringLiteral("Downloads/april.pdf"), "april");
        env.makeFile(QStringLiteral("Downloads/song.ogg"), "song");
        env.makeFile(QStringLiteral("Documents/Invoices/march.pdf"), "filed before");
        auto state = env.makeAppState();
        TransferProfile profile = TransferProfileStore::newProfile();
        profile.name = QStringLiteral("Invoices");
        profile.rules.first().action = {RuleAction::copyTo{"~/Documents/Invoices"}};
        QVERIFY(!state->transferProfileStore().save(profile));
        MainWindow window(*state);

        state->runWorkflow(QStringLiteral("route-by-config"), {env.path(QStringLiteral("Downloads"))});
        auto *sheet = window.sheet<RouteByConfigSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        auto *profiles = part<QListWidget>(sheet, "profileList");
        QCOMPARE(profiles->count(), 1);
        QVERIFY(profiles->item(0)->text().startsWith(QStringLiteral("Invoices\n")));
        QVERIFY(sheet->applyButton()->isEnabled());
        click(sheet->applyButton());

        QTRY_COMPARE(text(sheet, "matchedCount"), QStringLiteral("2"));
        auto *routes = part<QTreeWidget>(sheet, "routeList");
        QCOMPARE(routes->topLevelItemCount(), 1);
        QCOMPARE(routes->topLevelItem(0)->text(0), QStringLiteral("Copy to ~/Documents/Invoices"));
        QCOMPARE(routes->topLevelItem(0)->text(1), QStringLiteral("2 files"));
        QCOMPARE(text(sheet, "unmatchedLabel"),
                 QStringLiteral("1 file did not match any rule — they stay where they are."));
        QVERIFY(sheet->applyButton()->isHidden());

        click(part<QPushButton>(sheet, "copyButton"));
        QTRY_COMPARE(text(sheet, "doneCounts"), QStringLiteral("0 moved · 2 copied · 0 skipped · 0 failed"));
        QVERIFY(QFile::exists(env.path(QStringLiteral("Documents/Invoices/march -copy.pdf"))));
        QVERIFY(QFile::exists(env.path(QStringLiteral("Downloads/march.pdf"))));
        click(sheet->applyButton());
        QVERIFY(!state->routeByConfigSession());
        QTRY_VERIFY(!window.sheet<RouteByConfigSheetView>());
    }

    void saysWhyRoutingIsBlockedAndGoesBack()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->runWorkflow(QStringLiteral("route-by-config"), {env.makeFolder(QStringLiteral("empty"))});
        auto *sheet = window.sheet<RouteByConfigSheetView>();
        QVERIFY(sheet);
        QVERIFY(part<QLabel>(sheet, "noProfilesLabel")->isVisible());
        QVERIFY(!sheet->applyButton()->isEnabled());
        click(part<QPushButton>(sheet, "buildRulesButton"));
        QVERIFY(std::holds_alternative<RouteByConfigSession::editingAdHoc>(state->routeByConfigSession()->phase()));

        QVERIFY(!sheet->applyButton()->isEnabled());
        click(part<QPushButton>(sheet, "addRule"));
        QCOMPARE(state->routeByConfigSession()->workingProfile().rules.size(), 1);
        QCOMPARE(part<QLabel>(sheet, "rulesHeader")->text(), QStringLiteral("1 rule · evaluated in order"));
        QVERIFY(sheet->applyButton()->isEnabled());
        click(sheet->applyButton());
        QTRY_COMPARE(text(sheet, "blockedMessage"), QStringLiteral("No files in the selection."));
        click(part<QPushButton>(sheet, "blockedBackButton"));
        QVERIFY(std::holds_alternative<RouteByConfigSession::editingAdHoc>(state->routeByConfigSession()->phase()));
    }
};

QTEST_MAIN(RouteSheetTest)
#include "RouteSheetTest.moc"
