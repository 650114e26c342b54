#include "AppTestEnvironment.h"
#include "app/AppState.h"
#include "ui/sheets/StageImportSheetView.h"
#include "ui/shell/MainWindow.h"

#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
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

class StageImportSheetTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void picksAFolderChecksTheRowAsTypedAndStages()
    {
        AppTestEnvironment env;
        const QString game = env.makeFolder(QStringLiteral("Code/game/Assets"));
        env.makeFolder(QStringLiteral("Code/game/ProjectSettings"));
        const QString script = env.makeFile(QStringLiteral("Downloads/Enemy.cs"), "cs");
        env.interaction().addAnswer(QStringLiteral("Choose the project to stage into"),
                                    env.path(QStringLiteral("Code/game")));
        auto state = env.makeAppState();
        MainWindow window(*state);

        state->runWorkflow(QStringLiteral("stage-import"), {script});
        auto *sheet = window.sheet<StageImportSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QVERIFY(part<QLabel>(sheet, "noRecentProjects")->isVisible());
        QVERIFY(!sheet->applyButton()->isEnabled());
        click(part<QPushButton>(sheet, "chooseFolderButton"));

        QCOMPARE(part<QLabel>(sheet, "projectLabel")->text(), QStringLiteral("Into ~/Code/game · unity"));
        auto *rows = part<QTreeWidget>(sheet, "entryList");
        QCOMPARE(rows->topLevelItemCount(), 1);
        QCOMPARE(rows->topLevelItem(0)->text(3), QStringLiteral("Unity scripts convention"));
        QLineEdit *editor = sheet->subpathEditor(0);
        QVERIFY(editor);
        QCOMPARE(editor->text(), QStringLiteral("Assets/Scripts/Imports"));
        QVERIFY(part<QCheckBox>(sheet, "addFinderCommentCheck")->isChecked());

        // The refusal shows while typing and holds Stage back; a safe folder below Assets clears it.
        auto *refusal = part<QLabel>(sheet, "refusalLabel");
        editor->setFocus();
        editor->selectAll();
        QTest::keyClicks(editor, QStringLiteral("Assets"));
        QCOMPARE(refusal->text(), QStringLiteral("Refusing to stage into 'Assets/' — that's a folder your editor "
                                                 "manages or regenerates. Pick a different subfolder."));
        QVERIFY(refusal->isVisible());
        QVERIFY(!sheet->applyButton()->isEnabled());
        QTest::keyClicks(editor, QStringLiteral("/Scripts/AI"));
        QVERIFY(refusal->isHidden());
        QVERIFY(sheet->applyButton()->isEnabled());
        QCOMPARE(std::get<StageImportSession::planning>(state->stageImportSession()->phase())
                     .plan.entries[0]
                     .overrideSubpath,
                 QStringLiteral("Assets/Scripts/AI"));

        auto *moveMode = part<QCheckBox>(sheet, "moveModeCheck");
        // On the box itself: the widget runs the sheet's width, its label doesn't.
        QTest::mouseClick(moveMode, Qt::LeftButton, {}, QPoint(6, moveMode->height() / 2));
        QVERIFY(state->stageImportSession()->moveMode());
        click(sheet->applyButton());
        QTRY_COMPARE(sheet->applyButton()->text(), QStringLiteral("Done"));
        QVERIFY(
            part<QLabel>(sheet, "summaryLabel")->text().startsWith(QStringLiteral("1 staged · 0 renamed · 1 trashed")));
        QVERIFY(QFile::exists(game + QStringLiteral("/Scripts/AI/Enemy.cs")));
        QVERIFY(!QFile::exists(script));
        click(sheet->applyButton());
        QVERIFY(!state->stageImportSession());
    }

    void picksARecentProjectAndShowsAFolderWithoutMarkers()
    {
        AppTestEnvironment env;
        const QString site = env.makeFolder(QStringLiteral("Code/site"));
        env.makeFile(QStringLiteral("Code/site/package.json"), "{}");
        const QString photo = env.makeFile(QStringLiteral("Downloads/hero.webp"), "webp");
        env.interaction().addAnswer(QStringLiteral("Choose the project to stage into"),
                                    env.makeFolder(QStringLiteral("Pictures")));
        auto state = env.makeAppState();
        state->recentProjects().record(*ProjectStructure::detect(site));
        MainWindow window(*state);

        state->runWorkflow(QStringLiteral("stage-import"), {photo});
        auto *sheet = window.sheet<StageImportSheetView>();
        QVERIFY(sheet);
        click(part<QPushButton>(sheet, "chooseFolderButton"));
        auto *failure = part<QLabel>(sheet, "failureLabel");
        QVERIFY(failure->isVisible());
        QVERIFY(failure->text().startsWith(QStringLiteral("Vantrel looked at ~/Pictures\n")));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Back"));
        click(sheet->applyButton());

        auto *recent = part<QTreeWidget>(sheet, "recentProjectList");
        QVERIFY(recent->isVisible());
        QCOMPARE(recent->topLevelItemCount(), 1);
        QCOMPARE(recent->topLevelItem(0)->text(0), QStringLiteral("site"));
        QCOMPARE(recent->topLevelItem(0)->text(1), QStringLiteral("node"));
        recent->setCurrentItem(recent->topLevelItem(0));
        QVERIFY(sheet->applyButton()->isEnabled());
        click(sheet->applyButton());
        QCOMPARE(part<QLabel>(sheet, "projectLabel")->text(), QStringLiteral("Into ~/Code/site · node"));
        QCOMPARE(sheet->subpathEditor(0)->text(), QStringLiteral("public/images/imports"));

        // Cancel before staging leaves everything where it was.
        click(sheet->cancelButton());
        QVERIFY(!state->stageImportSession());
        QVERIFY(QFile::exists(photo));
        QVERIFY(!QFile::exists(site + QStringLiteral("/public")));
    }
};

QTEST_MAIN(StageImportSheetTest)
#include "StageImportSheetTest.moc"
