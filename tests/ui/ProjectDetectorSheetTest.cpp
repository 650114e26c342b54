#include "AppTestEnvironment.h"
#include "app/AppState.h"
#include "ui/sheets/ProjectDetectorSheetView.h"
#include "ui/shell/MainWindow.h"

#include <QLabel>
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

void click(QWidget *widget)
{
    QTest::mouseClick(widget, Qt::LeftButton);
}

} // namespace

class ProjectDetectorSheetTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void scansListsProjectsAndLooseFilesAndSaysWhatIsNotBuiltYet()
    {
        AppTestEnvironment env;
        env.makeFile(QStringLiteral("Code/comet/package.json"), QByteArray(16 * 1024, 'j'));
        env.makeFile(QStringLiteral("Code/engine/Cargo.toml"), "c");
        env.makeFile(QStringLiteral("Code/comet-logo.js"), "l");
        auto state = env.makeAppState();
        MainWindow window(*state);

        state->runWorkflow(QStringLiteral("project-detector"), {env.path(QStringLiteral("Code"))});
        auto *sheet = window.sheet<ProjectDetectorSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(part<QLabel>(sheet, "rootsLabel")->text(), QStringLiteral("~/Code"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Scan"));
        click(sheet->applyButton());

        auto *projects = part<QTreeWidget>(sheet, "projectList");
        QTRY_COMPARE(projects->topLevelItemCount(), 2);
        QCOMPARE(projects->topLevelItem(0)->text(0), QStringLiteral("comet"));
        QCOMPARE(projects->topLevelItem(0)->text(1), QStringLiteral("node"));
        QCOMPARE(projects->topLevelItem(1)->text(1), QStringLiteral("rust"));
        QVERIFY(part<QLabel>(sheet, "emptyTitle")->isHidden());
        auto *loose = part<QTreeWidget>(sheet, "looseFileList");
        QCOMPARE(loose->topLevelItemCount(), 1);
        QCOMPARE(loose->topLevelItem(0)->text(0), QStringLiteral("comet-logo.js"));
        QCOMPARE(loose->topLevelItem(0)->text(2), QStringLiteral("comet"));

        auto *snapshot = part<QPushButton>(sheet, "snapshotButton");
        auto *organize = part<QPushButton>(sheet, "organizeButton");
        QVERIFY(!snapshot->isEnabled());
        projects->setCurrentItem(projects->topLevelItem(0));
        QVERIFY(snapshot->isEnabled());
        click(snapshot);
        QVERIFY(state->projectSnapshotSession());
        QCOMPARE(state->projectSnapshotSession()->projectRoot(), env.path(QStringLiteral("Code/comet")));
        state->setProjectSnapshotSession(nullptr);
        QVERIFY(organize->isEnabled());
        QCOMPARE(state->recentProjects().entries().first().rootURL, env.path(QStringLiteral("Code/comet")));

        click(sheet->applyButton());
        QVERIFY(!state->projectDetectorSession());
        QTRY_VERIFY(!window.sheet<ProjectDetectorSheetView>());
    }

    void saysSoWhenNothingIsFound()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->runWorkflow(QStringLiteral("project-detector"), {env.makeFolder(QStringLiteral("empty"))});
        auto *sheet = window.sheet<ProjectDetectorSheetView>();
        QVERIFY(sheet);
        click(sheet->applyButton());
        QTRY_VERIFY(part<QLabel>(sheet, "emptyTitle")->isVisible());
        QCOMPARE(part<QLabel>(sheet, "emptyTitle")->text(), QStringLiteral("No projects detected."));
        QVERIFY(part<QLabel>(sheet, "emptyHint")->text().startsWith(QStringLiteral("Try scanning a different folder")));
        QVERIFY(part<QTreeWidget>(sheet, "projectList")->isHidden());
        QVERIFY(part<QTreeWidget>(sheet, "looseFileList")->isHidden());
    }

    void aFileShowsTheRefusal()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->runWorkflow(QStringLiteral("project-detector"), {env.makeFile(QStringLiteral("a.txt"), "a")});
        auto *sheet = window.sheet<ProjectDetectorSheetView>();
        QVERIFY(sheet);
        click(sheet->applyButton());
        QCOMPARE(part<QLabel>(sheet, "problemLabel")->text(),
                 QStringLiteral("Project Detector scans folders. a.txt is a file."));
        QVERIFY(part<QLabel>(sheet, "problemLabel")->isVisible());
    }
};

QTEST_MAIN(ProjectDetectorSheetTest)
#include "ProjectDetectorSheetTest.moc"
