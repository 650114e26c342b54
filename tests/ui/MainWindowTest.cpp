#include "ui/shell/MainWindow.h"
#include "AppTestEnvironment.h"
#include "foundation/WorkflowCatalog.h"
#include "platform/Paths.h"
#include "ui/pages/CategoriesPage.h"
#include "ui/pages/QuickActionsPage.h"
#include "ui/shell/TrayController.h"
#include "ui/widgets/BannerView.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QScopeGuard>
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
        AppTestEnvironment env;
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
        AppTestEnvironment env;
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
        AppTestEnvironment env;
        env.defaults().setValue(DefaultsKeys::installedPackWorkflowIDs, {"archive-handler", "tag-audit"});
        auto state = env.makeAppState();
        QuickActionsPage page(*state);
        QTableWidget *table = page.table();
        QCOMPARE(table->rowCount(), 9);
        QCOMPARE(table->item(7, 0)->text(), QStringLiteral("Archive Handler"));
        QCOMPARE(table->item(7, 2)->text(), QStringLiteral("0.1"));
        // A row's control of that label, or none.
        const auto control = [table](int row, const QString &label) -> QPushButton * {
            QWidget *cell = table->cellWidget(row, 3);
            for (QPushButton *button : cell ? cell->findChildren<QPushButton *>() : QList<QPushButton *>()) {
                if (button->text() == label)
                    return button;
            }
            return nullptr;
        };
        // Only rows with an input kind get a Run control: stitch and the archive handler.
        QStringList runnable;
        for (int row = 0; row < table->rowCount(); ++row) {
            if (control(row, QStringLiteral("Run…")))
                runnable.append(table->item(row, 0)->text());
        }
        QCOMPARE(runnable, (QStringList{"Stitch to PDF or Image", "Archive Handler"}));

        // The Run control asks through the panel and hands the choice to the runner.
        env.interaction().addAnswer(QStringLiteral("Run Archive Handler"), env.makeFile(QStringLiteral("a.txt")));
        QTest::mouseClick(control(7, QStringLiteral("Run…")), Qt::LeftButton);
        QCOMPARE(env.interaction().askedPanels().size(), 1);
        const PanelRequest asked = env.interaction().askedPanels().first();
        QCOMPARE(asked.message, QStringLiteral("Pick the files you want to compress into an archive."));
        QCOMPARE(asked.prompt, QStringLiteral("Run"));
        QVERIFY(asked.canChooseFiles && !asked.canChooseDirectories && asked.allowsMultipleSelection);
        QVERIFY(state->archiveSession());
        QCOMPARE(state->archiveSession()->sources(), QStringList{env.path(QStringLiteral("a.txt"))});
        state->archiveSession()->close();

        state->refreshStatuses();
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("missing"));
        QVERIFY(!control(6, QStringLiteral("Run…")));
        // A bundle the application carries can be put back; one that isn't there can't be removed.
        QVERIFY(control(0, QStringLiteral("Reinstall")));
        QVERIFY(!control(0, QStringLiteral("Remove")));

        // The row's Reinstall puts its bundle back alone, and its Remove takes it out again.
        QTest::mouseClick(control(0, QStringLiteral("Reinstall")), Qt::LeftButton);
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("installed"));
        QCOMPARE(state->packBanner()->message, QStringLiteral("Reinstalled Vantrel - Tag Category Selector."));
        QTest::mouseClick(control(0, QStringLiteral("Remove")), Qt::LeftButton);
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("missing"));
    }

    void trayOffersOpenAndQuit()
    {
        TrayController tray;
        QStringList items;
        for (QAction *action : tray.menu()->actions()) {
            if (!action->isSeparator())
                items.append(action->text());
        }
        QCOMPARE(items, (QStringList{"Open Vantrel", "Install / Update Quick Actions", "Quit Vantrel"}));
    }

    // A library the disk won't take a change to: the window says why, and shows the library as it is.
    void aCategoryTheDiskRefusesIsNotShownAsAdded()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        const QString folder = Paths::applicationSupport();
        if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), folder}) != 0)
            QSKIP("chattr +i isn't available here");
        const auto unlock = qScopeGuard([&] {
            QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), folder});
        });
        MainWindow window(*state);
        window.show();
        state->setSelection(AppState::Destination::categories);
        auto *page = qobject_cast<CategoriesPage *>(window.currentScreen());
        QVERIFY(page);

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^CategoryStore: save failed: ")));
        QTest::mouseClick(page->button(QStringLiteral("CategoriesView.addButton")), Qt::LeftButton);
        page->newNameField()->setText(QStringLiteral("Taxes"));
        QTest::mouseClick(page->button(QStringLiteral("confirmNewCategory")), Qt::LeftButton);
        QVERIFY(window.banner()->isVisible());
        QCOMPARE(window.banner()->property("tone").toString(), QStringLiteral("failure"));
        QCOMPARE(window.banner()->message(), QStringLiteral("Couldn't save categories: Operation not permitted"));
        QCOMPARE(page->categoryList()->count(), 4);
        QCOMPARE(state->categories().size(), 4);
        // What was typed is still there to try again.
        QVERIFY(page->newNameField()->isVisible());
        QCOMPARE(page->newNameField()->text(), QStringLiteral("Taxes"));
    }
};

QTEST_MAIN(MainWindowTest)
#include "MainWindowTest.moc"
