#include "ui/MainWindow.h"
#include "TestEnvironment.h"
#include "app/WorkflowCatalog.h"
#include "ui/BannerView.h"
#include "ui/QuickActionsPage.h"
#include "ui/TrayController.h"

#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QToolButton>

class MainWindowTest : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        // The offscreen platform's own notice about size hints is no fault of ours.
        QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*")));
    }

    void sidebarListsTheSixDestinationsInOrder()
    {
        TestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        QStringList labels;
        for (int i = 0; i < window.sidebar()->count(); ++i)
            labels.append(window.sidebar()->item(i)->text());
        QCOMPARE(labels, (QStringList{"Dashboard", "Quick Actions", "Categories", "Automation Packs",
                                      "Transfer Profiles", "Settings"}));
        QCOMPARE(window.sidebar()->currentRow(), 0);

        state->setSelection(AppState::Destination::quickActions);
        QCOMPARE(window.sidebar()->currentRow(), 1);
        QVERIFY(qobject_cast<QuickActionsPage *>(window.currentScreen()));

        window.sidebar()->setCurrentRow(5);
        QCOMPARE(state->selection(), AppState::Destination::settings);
    }

    void bannerShowsBothTonesAndDismisses()
    {
        TestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        window.show();
        BannerView *banner = window.banner();
        QVERIFY(!banner->isVisible());

        state->showFailure(QStringLiteral("Tag Audit isn't available yet."));
        QVERIFY(banner->isVisible());
        QCOMPARE(banner->message(), QStringLiteral("Tag Audit isn't available yet."));
        QCOMPARE(banner->property("tone").toString(), QStringLiteral("failure"));

        state->showSuccess(QStringLiteral("Done."));
        QCOMPARE(banner->property("tone").toString(), QStringLiteral("success"));

        QTest::mouseClick(banner->dismissButton(), Qt::LeftButton);
        QVERIFY(!state->packBanner().has_value());
        QVERIFY(!banner->isVisible());
    }

    void quickActionsTableListsWorkflowsInUseWithRunControls()
    {
        TestEnvironment env;
        env.defaults().setValue(DefaultsKeys::installedPackWorkflowIDs, {"archive-handler", "tag-audit"});
        auto state = env.makeAppState();
        QuickActionsPage page(*state);
        QTableWidget *table = page.table();
        QCOMPARE(table->rowCount(), 9);
        QCOMPARE(table->item(7, 0)->text(), QStringLiteral("Archive Handler"));
        QCOMPARE(table->item(7, 2)->text(), QStringLiteral("0.1"));
        // Only rows with an input kind get a Run control: stitch and the archive handler.
        QStringList runnable;
        for (int row = 0; row < table->rowCount(); ++row) {
            if (qobject_cast<QPushButton *>(table->cellWidget(row, 3)))
                runnable.append(table->item(row, 0)->text());
        }
        QCOMPARE(runnable, (QStringList{"Stitch to PDF or Image", "Archive Handler"}));

        // The Run control asks through the panel and hands the choice to the runner.
        env.interaction().addAnswer(QStringLiteral("Run Archive Handler"), env.makeFile(QStringLiteral("a.txt")));
        QTest::mouseClick(qobject_cast<QPushButton *>(table->cellWidget(7, 3)), Qt::LeftButton);
        QCOMPARE(env.interaction().askedPanels().size(), 1);
        const PanelRequest asked = env.interaction().askedPanels().first();
        QCOMPARE(asked.message, QStringLiteral("Pick the files you want to compress into an archive."));
        QCOMPARE(asked.prompt, QStringLiteral("Run"));
        QVERIFY(asked.canChooseFiles && !asked.canChooseDirectories && asked.allowsMultipleSelection);
        QCOMPARE(state->packBanner()->message, QStringLiteral("Archive Handler isn't available yet."));

        state->refreshStatuses();
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("missing"));
        QVERIFY(!qobject_cast<QPushButton *>(table->cellWidget(6, 3)));
    }

    void trayOffersOpenAndQuit()
    {
        TrayController tray;
        QStringList items;
        for (QAction *action : tray.menu()->actions()) {
            if (!action->isSeparator())
                items.append(action->text());
        }
        QCOMPARE(items, (QStringList{"Open Vantrel", "Quit Vantrel"}));
    }
};

QTEST_MAIN(MainWindowTest)
#include "MainWindowTest.moc"
