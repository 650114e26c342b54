#include "AppTestEnvironment.h"
#include "app/AppState.h"
#include "ui/sheets/ProjectSnapshotSheetView.h"
#include "ui/shell/MainWindow.h"

#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

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

class ProjectSnapshotSheetTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void showsTheEstimateThenMakesTheSnapshot()
    {
        AppTestEnvironment env;
        env.makeFile(QStringLiteral("Code/comet/package.json"), QByteArray(2000, 'j'));
        env.makeFile(QStringLiteral("Code/comet/src/app.js"), QByteArray(1000, 'a'));
        env.makeFile(QStringLiteral("Code/comet/node_modules/dep/index.js"), QByteArray(50000, 'd'));
        env.makeFile(QStringLiteral("Code/comet/.git/HEAD"), "ref");
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->runWorkflow(QStringLiteral("project-snapshot"), {env.path(QStringLiteral("Code/comet"))});
        auto *sheet = window.sheet<ProjectSnapshotSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(part<QLabel>(sheet, "detectedLabel")->text(), QStringLiteral("Detected: node, gitRepo"));
        QTRY_COMPARE(part<QLabel>(sheet, "filesLabel")->text(), QStringLiteral("2"));
        QCOMPARE(part<QLabel>(sheet, "sourceSizeLabel")->text(), QStringLiteral("3 KB"));
        QVERIFY(part<QLabel>(sheet, "excludedRootsLabel")->text().contains(QStringLiteral("node_modules")));
        QVERIFY(part<QLineEdit>(sheet, "nameField")->text().startsWith(QStringLiteral("comet-snapshot-")));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Create snapshot"));
        QVERIFY(!sheet->applyButton()->isEnabled());

        // Git history along: the estimate counts it.
        part<QCheckBox>(sheet, "gitHistoryToggle")->click();
        QTRY_COMPARE(part<QLabel>(sheet, "filesLabel")->text(), QStringLiteral("3"));

        // A folder on the project's own disk: warned, and the button stays on.
        const QString out = env.makeFolder(QStringLiteral("Backups"));
        env.interaction().setDestination(out);
        click(part<QPushButton>(sheet, "chooseDestination"));
        QCOMPARE(env.interaction().askedPanels().last().title, QStringLiteral("Where should the snapshot go?"));
        QVERIFY(part<QLabel>(sheet, "warningLabel")->isVisible());
        QVERIFY(
            part<QLabel>(sheet, "warningLabel")->text().startsWith(QStringLiteral("The destination is on the same")));
        QTest::keyClicks(part<QLineEdit>(sheet, "nameField"), QStringLiteral("-x"));
        part<QRadioButton>(sheet, "tarGzFormat")->click();
        QVERIFY(sheet->applyButton()->isEnabled());
        click(sheet->applyButton());
        QTRY_VERIFY_WITH_TIMEOUT(part<QLabel>(sheet, "summaryLabel")->isVisible(), 30000);
        const QStringList made = QDir(out).entryList(QDir::Files);
        QCOMPARE(made.size(), 1);
        QVERIFY(made.first().endsWith(QStringLiteral("-x.tar.gz")));
        QVERIFY(part<QLabel>(sheet, "summaryLabel")->text().contains(QStringLiteral("3 files")));
        QProcess tar;
        tar.start(QStringLiteral("tar"), {QStringLiteral("-tzf"), out + QLatin1Char('/') + made.first()});
        QVERIFY(tar.waitForFinished(30000));
        const QString listed = QString::fromUtf8(tar.readAllStandardOutput());
        QVERIFY(listed.contains(QStringLiteral("comet/.git/HEAD")));
        QVERIFY(!listed.contains(QStringLiteral("node_modules")));

        click(sheet->applyButton());
        QTRY_VERIFY(!window.sheet<ProjectSnapshotSheetView>());
        QVERIFY(!state->projectSnapshotSession());
    }

    void aPlainFolderSaysSmartExcludesWontApply()
    {
        AppTestEnvironment env;
        env.makeFile(QStringLiteral("Notes/a.txt"), "a");
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->runWorkflow(QStringLiteral("project-snapshot"), {env.path(QStringLiteral("Notes"))});
        auto *sheet = window.sheet<ProjectSnapshotSheetView>();
        QVERIFY(sheet);
        QCOMPARE(part<QLabel>(sheet, "detectedLabel")->text(),
                 QStringLiteral("Plain folder — no project markers detected. Smart excludes won't apply."));
        QCOMPARE(part<QLabel>(sheet, "excludedRootsLabel")->text(), QStringLiteral(".git"));
    }

    void aFileIsRefusedWithoutASheet()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->runWorkflow(QStringLiteral("project-snapshot"), {env.makeFile(QStringLiteral("a.txt"), "a")});
        QVERIFY(!window.sheet<ProjectSnapshotSheetView>());
        QCOMPARE(state->packBanner()->message, QStringLiteral("Project Snapshot needs a folder, not a file."));
    }
};

QTEST_MAIN(ProjectSnapshotSheetTest)
#include "ProjectSnapshotSheetTest.moc"
