#include "AppTestEnvironment.h"
#include "metadata/FinderMetadata.h"
#include "ui/sheets/ArchiveSheetView.h"
#include "ui/sheets/CategoryTaggingSheetView.h"
#include "ui/sheets/CommentTemplateSheetView.h"
#include "ui/sheets/SingleTagSheetView.h"
#include "ui/sheets/StitchSheetView.h"
#include "ui/sheets/TextCommentToolsSheetView.h"
#include "ui/shell/MainWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
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

void clickRow(QListWidget *list, const QString &startingWith)
{
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem *item = list->item(row);
        if (item->text().startsWith(startingWith)) {
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
            return;
        }
    }
    qFatal("no row %s", qPrintable(startingWith));
}

QString text(QWidget *sheet, const char *name)
{
    return part<QLabel>(sheet, name)->text();
}

} // namespace

class SheetsTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void categoryTaggingFromAQuickActionWithANewCategory()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        QList<Category> seven = state->categories();
        for (int i = 0; i < 3; ++i)
            seven.append({QUuid::createUuid(), QStringLiteral("Extra %1").arg(i), QStringLiteral("#000000"), {}, {}});
        QVERIFY(!state->categoryStore().replaceAll(seven));
        MainWindow window(*state);
        const QStringList files{env.makeFile(QStringLiteral("a.txt")), env.makeFile(QStringLiteral("b.txt")),
                                env.makeFile(QStringLiteral("c.txt"))};

        state->runWorkflow(QStringLiteral("tag-category-selector"), files);
        CategoryTaggingSheetView *sheet = window.sheet<CategoryTaggingSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("3 files selected · 7 categories"));
        QCOMPARE(part<QListWidget>(sheet, "categoryList")->count(), 7);
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply"));
        QVERIFY(!sheet->applyButton()->isEnabled());

        // Active, so the focus moves on when the form closes: the list taking it
        // makes its first row current, which mustn't count as a choice.
        QApplication::setActiveWindow(sheet);
        click(part<QPushButton>(sheet, "newCategoryButton"));
        QVERIFY(part<QLineEdit>(sheet, "draftName")->hasFocus());
        QTest::keyClicks(part<QLineEdit>(sheet, "draftName"), QStringLiteral("Trips"));
        part<QLineEdit>(sheet, "draftTags")->setFocus();
        QTest::keyClicks(part<QLineEdit>(sheet, "draftTags"), QStringLiteral("Rome, Oslo"));
        // Return in the form saves the category; it doesn't apply it as well.
        QTest::keyClick(part<QLineEdit>(sheet, "draftTags"), Qt::Key_Return);
        QCOMPARE(state->categories().size(), 8);
        QVERIFY(!FinderMetadata::readComment(files[0]).has_value());
        // Seven categories before it: the sheet's palette of six comes round to its second pair.
        QCOMPARE(state->categories().last().colorHex, QStringLiteral("#38BDF8"));
        QVERIFY(!part<QLineEdit>(sheet, "draftName")->isVisible());

        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("3 files selected · 8 categories"));
        QCOMPARE(text(sheet, "summaryLabel"), QStringLiteral("Will apply 2 tags from Trips to 3 files."));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply 2 tags to 3 files"));

        clickRow(part<QListWidget>(sheet, "categoryList"), QStringLiteral("Projects"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply 3 tags to 3 files"));
        clickRow(part<QListWidget>(sheet, "categoryList"), QStringLiteral("Trips"));
        click(sheet->applyButton());
        for (const QString &file : files)
            QCOMPARE(FinderMetadata::readComment(file), QStringLiteral("Rome, Oslo"));
        QCOMPARE(state->packBanner()->message, QStringLiteral("Applied 2 tags to 3 files."));
        QVERIFY(!state->categoryTaggingContext().has_value());
        QTRY_VERIFY(!window.sheet<CategoryTaggingSheetView>());
    }

    void categoryTaggingSaysWhyADraftIsRefused()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        state->setCategoryTaggingContext(CategoryTaggingContext{{env.makeFile(QStringLiteral("a.txt"))}});
        CategoryTaggingSheetView *sheet = window.sheet<CategoryTaggingSheetView>();
        QVERIFY(sheet);
        QVERIFY(!part<QLabel>(sheet, "draftRefusal")->isVisible());

        click(part<QPushButton>(sheet, "newCategoryButton"));
        QTest::keyClicks(part<QLineEdit>(sheet, "draftName"), QStringLiteral("Trips"));
        QTest::keyClicks(part<QLineEdit>(sheet, "draftTags"), QStringLiteral("Rome, ") + QString(81, QLatin1Char('x')));
        click(part<QPushButton>(sheet, "saveCategoryButton"));

        QCOMPARE(state->categories().size(), 4);
        QVERIFY(part<QLabel>(sheet, "draftRefusal")->isVisible());
        QCOMPARE(text(sheet, "draftRefusal"), QStringLiteral("a tag is too long (81 chars; max 80)"));
        // The draft stays for the user to shorten.
        QCOMPARE(part<QLineEdit>(sheet, "draftName")->text(), QStringLiteral("Trips"));

        click(part<QPushButton>(sheet, "cancelCategoryButton"));
        QVERIFY(!part<QLabel>(sheet, "draftRefusal")->isVisible());
    }

    void categoryTaggingShowsItsEmptyLibrary()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        QVERIFY(!state->categoryStore().replaceAll({}));
        MainWindow window(*state);
        state->setCategoryTaggingContext(CategoryTaggingContext{{env.makeFile(QStringLiteral("a.txt"))}});
        CategoryTaggingSheetView *sheet = window.sheet<CategoryTaggingSheetView>();
        QVERIFY(sheet);
        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("1 file selected · 0 categories"));
        QStringList texts;
        for (const QLabel *label : sheet->findChildren<QLabel *>()) {
            if (label->isVisible())
                texts.append(label->text());
        }
        QVERIFY(texts.contains(QStringLiteral("No categories yet")));
        QVERIFY(texts.contains(QStringLiteral("Create your first category above to start tagging.")));

        // Escape cancels: the context goes and nothing is written.
        QTest::keyClick(sheet, Qt::Key_Escape);
        QVERIFY(!state->categoryTaggingContext().has_value());
        QTRY_VERIFY(!window.sheet<CategoryTaggingSheetView>());
        QVERIFY(!state->packBanner().has_value());
    }

    void singleTagSelectorFiltersCountsAndApplies()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        const QString a = env.makeFile(QStringLiteral("a.txt"));
        const QString b = env.makeFile(QStringLiteral("b.txt"));
        state->runWorkflow(QStringLiteral("single-tag-selector"), {a});
        SingleTagSheetView *sheet = window.sheet<SingleTagSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("1 file selected · 14 tags available"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply to 1 file"));
        auto *list = part<QListWidget>(sheet, "tagList");
        QCOMPARE(list->count(), 14);
        QVERIFY(text(sheet, "footerLabel").isEmpty());

        QTest::keyClicks(part<QLineEdit>(sheet, "filterField"), QStringLiteral("zz"));
        QVERIFY(part<QLabel>(sheet, "emptyLabel")->isVisible());
        QCOMPARE(text(sheet, "emptyLabel"), QStringLiteral("No tags match \"zz\"."));
        part<QLineEdit>(sheet, "filterField")->setText(QStringLiteral("e"));
        QVERIFY(list->count() < 14);
        clickRow(list, QStringLiteral("Edited"));
        clickRow(list, QStringLiteral("Done"));
        clickRow(list, QStringLiteral("Reference"));
        clickRow(list, QStringLiteral("Done"));
        QCOMPARE(text(sheet, "footerLabel"), QStringLiteral("2 selected"));
        part<QLineEdit>(sheet, "filterField")->clear();
        QCOMPARE(list->count(), 14);

        // A second Quick Action run replaces the sheet with one for its own files.
        state->runWorkflow(QStringLiteral("single-tag-selector"), {a, b});
        QVERIFY(window.sheet<SingleTagSheetView>() != sheet);
        sheet = window.sheet<SingleTagSheetView>();
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply to 2 files"));
        clickRow(part<QListWidget>(sheet, "tagList"), QStringLiteral("Reference"));
        clickRow(part<QListWidget>(sheet, "tagList"), QStringLiteral("Edited"));
        click(sheet->applyButton());
        QCOMPARE(FinderMetadata::readComment(b), QStringLiteral("Edited, Reference"));
        QTRY_VERIFY(!window.sheet<SingleTagSheetView>());
    }

    void commentTemplatesTicksEditsAndAppends()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        const QString file = env.makeFile(QStringLiteral("a.txt"));
        FinderMetadata::writeComment(QStringLiteral("Invoice 42"), file);
        state->runWorkflow(QStringLiteral("comment-templates"), {file});
        CommentTemplateSheetView *sheet = window.sheet<CommentTemplateSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("1 file selected"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply to 1 file"));
        QCOMPARE(text(sheet, "modeExplanation"), QStringLiteral("Existing comments are overwritten."));
        QTRY_COMPARE(sheet->findChildren<QCheckBox *>(QStringLiteral("tick")).size(), 3);

        auto ticks = sheet->findChildren<QCheckBox *>(QStringLiteral("tick"));
        click(ticks[2]);
        click(ticks[0]);
        auto *body = part<QPlainTextEdit>(sheet, "customBody");
        QCOMPARE(body->toPlainText(),
                 QStringLiteral("Receipt — keep for tax records.\nWorking draft. Not for distribution."));

        click(part<QPushButton>(sheet, "newTemplateButton"));
        QTest::keyClicks(part<QPlainTextEdit>(sheet, "newTemplateBody"), QStringLiteral("Paid"));
        click(part<QPushButton>(sheet, "saveTemplateButton"));
        QCOMPARE(state->commentTemplateStore().templates().last().name, QStringLiteral("Untitled"));
        QTRY_COMPARE(sheet->findChildren<QCheckBox *>(QStringLiteral("tick")).size(), 4);
        QVERIFY(body->toPlainText().endsWith(QStringLiteral("\nPaid")));

        body->setPlainText(QStringLiteral("Checked by Ana"));
        click(part<QRadioButton>(sheet, "appendMode"));
        QCOMPARE(text(sheet, "modeExplanation"),
                 QStringLiteral("New text is appended on a new line, existing comments are kept."));
        click(sheet->applyButton());
        QCOMPARE(FinderMetadata::readComment(file), QStringLiteral("Invoice 42\nChecked by Ana"));
        QCOMPARE(state->packBanner()->message, QStringLiteral("Applied comment to 1 file."));
        QTRY_VERIFY(!window.sheet<CommentTemplateSheetView>());
    }

    void textCommentToolsPreviewsAndRenames()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        const QStringList files{env.makeFile(QStringLiteral("W/report.pdf")), env.makeFile(QStringLiteral("W/b.txt")),
                                env.makeFile(QStringLiteral("W/notes"))};
        env.makeFile(QStringLiteral("W/b-v2.txt"), "taken");
        state->runWorkflow(QStringLiteral("text-comment-tools"), files);
        TextCommentToolsSheetView *sheet = window.sheet<TextCommentToolsSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("3 files selected"));
        QVERIFY(!sheet->applyButton()->isEnabled());

        clickRow(part<QListWidget>(sheet, "actionList"), QStringLiteral("Add text after filename"));
        QCOMPARE(text(sheet, "helpLabel"),
                 QStringLiteral("Adds the text to the end of each selected file's name, just before the extension."));
        QCOMPARE(part<QLineEdit>(sheet, "primaryField")->placeholderText(), QStringLiteral("e.g. -draft"));
        QTest::keyClicks(part<QLineEdit>(sheet, "primaryField"), QStringLiteral("v2"));
        click(part<QRadioButton>(sheet, "separator1"));
        QCOMPARE(text(sheet, "separatorNote"), QStringLiteral("Filename stem and text will be separated by \"-\"."));
        QCOMPARE(text(sheet, "beforeLabel"), QStringLiteral("report.pdf"));
        QCOMPARE(text(sheet, "afterLabel"), QStringLiteral("report-v2.pdf"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply to 3 files"));
        click(sheet->applyButton());

        QCOMPARE(QDir(env.path(QStringLiteral("W"))).entryList(QDir::Files, QDir::Name),
                 (QStringList{"b-v2 (1).txt", "b-v2.txt", "notes-v2", "report-v2.pdf"}));
        QCOMPARE(state->packBanner()->message, QStringLiteral("Updated 3 files."));
        QTRY_VERIFY(!window.sheet<TextCommentToolsSheetView>());
    }

    void textCommentToolsRefusesTextThatLeavesTheFolder()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        const QString file = env.makeFile(QStringLiteral("W/report.pdf"));
        state->runWorkflow(QStringLiteral("text-comment-tools"), {file});
        TextCommentToolsSheetView *sheet = window.sheet<TextCommentToolsSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        auto *problem = part<QLabel>(sheet, "problemLabel");
        QVERIFY(problem->isHidden());

        QTest::keyClicks(part<QLineEdit>(sheet, "primaryField"), QStringLiteral("../../X"));
        QVERIFY(!problem->isHidden());
        QCOMPARE(problem->text(), QStringLiteral("A file name can't contain “/”."));
        QVERIFY(!sheet->applyButton()->isEnabled());

        part<QLineEdit>(sheet, "primaryField")->clear();
        QTest::keyClicks(part<QLineEdit>(sheet, "primaryField"), QStringLiteral("X"));
        QVERIFY(problem->isHidden());
        QVERIFY(sheet->applyButton()->isEnabled());
    }

    void stitchShowsTheEstimateRunsAndFinishes()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        QStringList shots;
        for (int i = 0; i < 5; ++i) {
            QImage image(QSize(144, 90), QImage::Format_RGB32);
            image.fill(QColor(40 * i, 120, 180));
            shots.append(env.path(QStringLiteral("shot%1.png").arg(i)));
            QVERIFY(image.save(shots.last()));
        }
        state->runWorkflow(QStringLiteral("stitch-files"), shots);
        StitchSheetView *sheet = window.sheet<StitchSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QCOMPARE(sheet->subtitle()->text(), QStringLiteral("5 files selected"));

        // On the indicator: a radio button answers only over its box and its text.
        auto *imageMode = part<QRadioButton>(sheet, "imageMode");
        QTest::mouseClick(imageMode, Qt::LeftButton, {}, QPoint(8, imageMode->height() / 2));
        QVERIFY(state->stitchSession()->mode() == StitchRunner::Mode::image);
        QCOMPARE(text(sheet, "estimateLabel"), QStringLiteral("Combined size · ≈ 144 × 450 px"));
        click(sheet->applyButton());
        QCOMPARE(text(sheet, "problemLabel"), QStringLiteral("Pick a destination folder before starting."));

        env.interaction().setDestination(env.makeFolder(QStringLiteral("out")));
        click(part<QPushButton>(sheet, "chooseDestination"));
        part<QLineEdit>(sheet, "nameField")->clear();
        QTest::keyClicks(part<QLineEdit>(sheet, "nameField"), QStringLiteral("board"));
        click(sheet->applyButton());
        QTRY_VERIFY(text(sheet, "doneLabel").contains(QStringLiteral("5 images")));
        QCOMPARE(QImage(env.path(QStringLiteral("out/board.png"))).size(), QSize(144, 450));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Done"));
        click(sheet->applyButton());
        QVERIFY(!state->stitchSession());
        QTRY_VERIFY(!window.sheet<StitchSheetView>());
    }

    void archiveEstimatesRunsAndAppliesTheToggles()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        const QStringList files{env.makeFile(QStringLiteral("Trip/notes.txt"), QByteArray(8000, 'n')),
                                env.makeFile(QStringLiteral("Trip/photo.jpg"), QByteArray(2000, 'j'))};
        state->runWorkflow(QStringLiteral("archive-handler"), files);
        ArchiveSheetView *sheet = window.sheet<ArchiveSheetView>();
        QVERIFY(sheet && sheet->isVisible());
        QTRY_COMPARE(text(sheet, "estimateLabel"), QStringLiteral("Expected size · ~4 KB"));
        QVERIFY(!sheet->applyButton()->isEnabled());

        auto *tarGz = part<QRadioButton>(sheet, "tarGzFormat");
        QTest::mouseClick(tarGz, Qt::LeftButton, {}, QPoint(8, tarGz->height() / 2));
        QVERIFY(state->archiveSession()->format() == ArchiveFormat::tarGz);
        env.interaction().setDestination(env.makeFolder(QStringLiteral("out")));
        click(part<QPushButton>(sheet, "chooseDestination"));
        QCOMPARE(env.interaction().askedPanels().last().title, QStringLiteral("Where should the archive go?"));
        QCOMPARE(env.interaction().askedPanels().last().message,
                 QStringLiteral("Pick a folder for the new TAR.GZ archive."));
        auto *nameField = part<QLineEdit>(sheet, "nameField");
        nameField->setFocus();
        QTest::keyClick(nameField, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(nameField, Qt::Key_Backspace);
        QVERIFY(!sheet->applyButton()->isEnabled());
        QTest::keyClicks(nameField, QStringLiteral("trip"));
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Create archive"));
        click(sheet->applyButton());
        QTRY_VERIFY(text(sheet, "summaryLabel").contains(QStringLiteral("Source files: 2")));
        QVERIFY(text(sheet, "summaryLabel").contains(QStringLiteral("Source size: 10 KB")));
        QVERIFY(part<QCheckBox>(sheet, "commentToggle")->isChecked());
        QCOMPARE(sheet->applyButton()->text(), QStringLiteral("Apply && close"));

        part<QLineEdit>(sheet, "commentTemplateField")->clear();
        QTest::keyClicks(part<QLineEdit>(sheet, "commentTemplateField"), QStringLiteral("{name}"));
        auto *trash = part<QCheckBox>(sheet, "trashToggle");
        QTest::mouseClick(trash, Qt::LeftButton, {}, QPoint(8, trash->height() / 2));
        QVERIFY(state->archiveSession()->deleteOriginalsAfter());
        click(sheet->applyButton());
        const QString archive = env.path(QStringLiteral("out/trip.tar.gz"));
        QCOMPARE(FinderMetadata::readComment(archive), std::optional<QString>(QStringLiteral("trip.tar.gz")));
        QVERIFY(!QFileInfo::exists(files[0]) && !QFileInfo::exists(files[1]));
        QVERIFY(!state->archiveSession());
        QTRY_VERIFY(!window.sheet<ArchiveSheetView>());
    }

    void archiveFailureIsShownAsSuch()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        const QString file = env.makeFile(QStringLiteral("a.txt"), "a");
        state->runWorkflow(QStringLiteral("archive-handler"), {file});
        ArchiveSheetView *sheet = window.sheet<ArchiveSheetView>();
        QVERIFY(sheet);
        state->archiveSession()->start();
        QCOMPARE(text(sheet, "problemLabel"), QStringLiteral("Pick a destination folder before starting."));
        QVERIFY(part<QLabel>(sheet, "failedHeading")->isHidden());
        // Gone after the sheet counted it: the tool is what finds out.
        QTRY_VERIFY(!state->archiveSession()->isMeasuring());
        QFile::remove(file);
        state->archiveSession()->setDestinationURL(env.makeFolder(QStringLiteral("out")));
        click(sheet->applyButton());
        QTRY_VERIFY(!part<QLabel>(sheet, "failedHeading")->isHidden());
        QCOMPARE(text(sheet, "failedHeading"), QStringLiteral("Archive failed"));
        QVERIFY(text(sheet, "problemLabel").startsWith(QStringLiteral("ZIP failed (exit 12): ")));
    }
};

QTEST_MAIN(SheetsTest)
#include "SheetsTest.moc"
