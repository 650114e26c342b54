#include "AppTestEnvironment.h"
#include "app/AppState.h"
#include "ui/sheets/ProjectDetectorSheetView.h"
#include "ui/sheets/ProjectOrganizerSheetView.h"
#include "ui/shell/MainWindow.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
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

QTreeWidgetItem *row(QTreeWidget *tree, const QString &text)
{
    const QList<QTreeWidgetItem *> found = tree->findItems(text, Qt::MatchExactly);
    if (found.size() != 1)
        qFatal("no single row %s", qPrintable(text));
    return found.first();
}

} // namespace

class ProjectOrganizerSheetTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void opensFromTheDetectorAndGroupsTheTickedFiles()
    {
        AppTestEnvironment env;
        env.makeFile(QStringLiteral("Code/Game/Assets/Player.cs"), QByteArray(8192, 'c'));
        env.makeFolder(QStringLiteral("Code/Game/ProjectSettings"));
        env.makeFile(QStringLiteral("Code/site/package.json"), "{}");
        const QString trailer = env.makeFile(QStringLiteral("Downloads/game-trailer.mp4"), "movie");
        const QString design = env.makeFile(QStringLiteral("Downloads/game-design.psd"), "layers");
        auto state = env.makeAppState();
        MainWindow window(*state);

        state->runWorkflow(QStringLiteral("project-detector"),
                           {env.path(QStringLiteral("Code")), env.path(QStringLiteral("Downloads"))});
        auto *detector = window.sheet<ProjectDetectorSheetView>();
        QVERIFY(detector);
        click(detector->applyButton());
        auto *projects = part<QTreeWidget>(detector, "projectList");
        QTRY_COMPARE(projects->topLevelItemCount(), 2);
        projects->setCurrentItem(row(projects, QStringLiteral("Game")));
        click(part<QPushButton>(detector, "organizeButton"));

        QTRY_VERIFY(window.sheet<ProjectOrganizerSheetView>());
        auto *sheet = window.sheet<ProjectOrganizerSheetView>();
        QTRY_VERIFY(sheet->isVisible());
        QCOMPARE(part<QLabel>(sheet, "headlineLabel")->text(),
                 QStringLiteral("Group loose files into typed folders next to Game."));
        QCOMPARE(part<QLabel>(sheet, "containerNote")->text(),
                 QStringLiteral("The container folder will be created next to your project so the editor's managed "
                                "folders are never touched."));
        auto *files = part<QTreeWidget>(sheet, "fileList");
        QCOMPARE(files->topLevelItemCount(), 2);
        auto *groups = part<QLabel>(sheet, "groupsLabel");
        QCOMPARE(groups->text(), QStringLiteral("~/Downloads/unity - Game/video/ — 1 file\n"
                                                "~/Downloads/unity - Game/design/ — 1 file"));
        QVERIFY(part<QRadioButton>(sheet, "copyButton")->isChecked());

        row(files, QStringLiteral("game-trailer.mp4"))->setCheckState(0, Qt::Unchecked);
        QCOMPARE(groups->text(), QStringLiteral("~/Downloads/unity - Game/design/ — 1 file"));
        row(files, QStringLiteral("game-design.psd"))->setCheckState(0, Qt::Unchecked);
        QCOMPARE(groups->text(), QStringLiteral("Tick files above to see them grouped here."));
        QVERIFY(!sheet->applyButton()->isEnabled());
        row(files, QStringLiteral("game-design.psd"))->setCheckState(0, Qt::Checked);
        QVERIFY(sheet->applyButton()->isEnabled());

        click(part<QRadioButton>(sheet, "moveButton"));
        QVERIFY(state->projectOrganizerSession()->moveMode());
        click(sheet->applyButton());
        QTRY_COMPARE(part<QLabel>(sheet, "countsLabel")->text(),
                     QStringLiteral("0 copied · 1 moved · 0 skipped · 0 renamed · 0 failed"));
        QVERIFY(QFileInfo::exists(env.path(QStringLiteral("Downloads/unity - Game/design/game-design.psd"))));
        QVERIFY(!QFileInfo::exists(design));
        QVERIFY(QFileInfo::exists(trailer));

        click(sheet->applyButton());
        QVERIFY(!state->projectOrganizerSession());
        QTRY_VERIFY(!window.sheet<ProjectOrganizerSheetView>());
        QVERIFY2(window.sheet<ProjectDetectorSheetView>(), "the detector's results stay on show");
    }

    void showsWhyTheContainerCantBeMade()
    {
        AppTestEnvironment env;
        const QString root = env.makeFolder(QStringLiteral("Code/Game"));
        const QString notes = env.makeFile(QStringLiteral("Downloads/game-notes.md"), "n");
        env.makeFile(QStringLiteral("Downloads/unity - Game"), "in the way");
        auto state = env.makeAppState();
        MainWindow window(*state);
        ProjectOrganizerSession::DetectedProject project;
        project.structure.kind = ProjectKind::unity;
        project.structure.projectRoot = root;
        state->setProjectOrganizerSession(
            new ProjectOrganizerSession(*state, project, {{notes, 1, QDateTime::currentDateTimeUtc(), root}}));
        QTRY_VERIFY(window.sheet<ProjectOrganizerSheetView>());
        auto *sheet = window.sheet<ProjectOrganizerSheetView>();
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Copy Files"));
        click(sheet->applyButton());
        QTRY_COMPARE(part<QLabel>(sheet, "failureLabel")->text(),
                     QStringLiteral("Couldn't create destination folder: Not a directory"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Done"));
    }
};

QTEST_MAIN(ProjectOrganizerSheetTest)
#include "ProjectOrganizerSheetTest.moc"
