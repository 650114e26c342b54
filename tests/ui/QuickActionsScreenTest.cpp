#include "AppTestEnvironment.h"
#include "platform/Paths.h"
#include "quickactions/QuickActionBackupStore.h"
#include "quickactions/WorkflowInstaller.h"
#include "ui/pages/DashboardPage.h"
#include "ui/pages/QuickActionsPage.h"
#include "ui/widgets/BackupsCard.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

namespace {

QPushButton *buttonLabelled(QWidget *inside, const QString &label)
{
    for (QPushButton *button : inside->findChildren<QPushButton *>()) {
        if (button->text() == label)
            return button;
    }
    return nullptr;
}

} // namespace

class QuickActionsScreenTest : public QObject {
    Q_OBJECT
private slots:
    void theDashboardsCardOffersFixWhileSomethingIsMissing()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        DashboardPage page(*state);
        state->startUp();
        auto *text = page.findChild<QLabel *>(QStringLiteral("setupText"));
        auto *fix = page.findChild<QPushButton *>(QStringLiteral("fixButton"));
        QVERIFY(text && fix);
        QCOMPARE(text->text(), QStringLiteral("Vantrel is set up"));
        QVERIFY(fix->isHidden());
        QCOMPARE(page.findChild<QLabel *>(QStringLiteral("firstLaunchMessage"))->text(),
                 QStringLiteral("7 Quick Actions enabled in Finder. Right-click any file in Finder → Quick Actions to "
                                "try them."));

        QVERIFY(QDir(WorkflowInstaller::installedBundles().first()).removeRecursively());
        state->runIntegrityCheck();
        QVERIFY(text->text().contains(QStringLiteral("1 Quick Action need attention")));
        QVERIFY(!fix->isHidden());
        QTest::mouseClick(fix, Qt::LeftButton);
        QCOMPARE(WorkflowInstaller::installedBundles().size(), 7);
        QCOMPARE(text->text(), QStringLiteral("Vantrel is set up"));
    }

    void removeAllAsksAndTheRowsFollow()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        state->startUp();
        QuickActionsPage page(*state);
        auto *remove = page.findChild<QPushButton *>(QStringLiteral("removeAllButton"));
        QVERIFY(remove);
        QTest::mouseClick(remove, Qt::LeftButton);
        QCOMPARE(WorkflowInstaller::installedBundles().size(), 7);
        env.interaction().addAnswer(QStringLiteral("Remove all Vantrel Quick Actions?"), QStringLiteral("Remove"));
        QTest::mouseClick(remove, Qt::LeftButton);
        QVERIFY(WorkflowInstaller::installedBundles().isEmpty());
        QCOMPARE(page.table()->item(0, 1)->text(), QStringLiteral("missing"));
        QTest::mouseClick(page.findChild<QPushButton *>(QStringLiteral("installButton")), Qt::LeftButton);
        QCOMPARE(WorkflowInstaller::installedBundles().size(), 7);
        QCOMPARE(page.table()->item(0, 1)->text(), QStringLiteral("installed"));
    }

    void aBackupRestoresOnlyWhereNothingStands()
    {
        AppTestEnvironment env;
        const QString mine =
            env.makeFile(QStringLiteral(".local/share/Vantrel/Services/Mine.workflow/Contents/x"), "x");
        const QString bundle = QFileInfo(QFileInfo(mine).absolutePath()).absolutePath();
        QuickActionBackupStore::save(bundle);
        auto state = env.makeAppState();
        QuickActionsPage page(*state);
        BackupsCard *card = page.backupsCard();
        QCOMPARE(card->title(), QStringLiteral("Backups of your originals · 1"));

        QTest::mouseClick(buttonLabelled(card, QStringLiteral("Restore")), Qt::LeftButton);
        QCOMPARE(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
        QVERIFY(state->packBanner()->message.startsWith(QStringLiteral("“Mine” is still installed.")));

        QVERIFY(QDir(bundle).removeRecursively());
        QTest::mouseClick(buttonLabelled(card, QStringLiteral("Restore")), Qt::LeftButton);
        QCOMPARE(state->packBanner()->tone, AppState::PackBanner::Tone::success);
        QVERIFY(QFile::exists(mine));

        QTest::mouseClick(buttonLabelled(card, QStringLiteral("Delete")), Qt::LeftButton);
        QCOMPARE(card->title(), QStringLiteral("Backups of your originals · 0"));
        QVERIFY(QuickActionBackupStore::list().isEmpty());
    }
};

QTEST_MAIN(QuickActionsScreenTest)
#include "QuickActionsScreenTest.moc"
