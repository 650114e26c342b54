#include "ui/pages/CategoriesPage.h"
#include "AppTestEnvironment.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

class CategoriesPageTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void createRenameTagAndDeleteACategory()
    {
        AppTestEnvironment env;
        env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
        auto state = env.makeAppState();
        CategoriesPage page(*state);
        page.show();
        QCOMPARE(page.categoryList()->count(), 4);

        QTest::mouseClick(page.button(QStringLiteral("CategoriesView.addButton")), Qt::LeftButton);
        page.newNameField()->setText(QStringLiteral("  Travel  "));
        QTest::mouseClick(page.button(QStringLiteral("confirmNewCategory")), Qt::LeftButton);
        QCOMPARE(page.categoryList()->count(), 5);
        QCOMPARE(state->categories().last().name, QStringLiteral("Travel"));
        // The fifth category takes the fifth palette entry, and the editor opens on it.
        QCOMPARE(state->categories().last().colorHex, QStringLiteral("#F59E0B"));
        QCOMPARE(state->categoryEditorSelection(), state->categories().last().id);
        QVERIFY(page.emptyTagsLabel()->isVisible());

        for (const char *tag : {"Flights", " flights ", "Hotels", "  "}) {
            page.tagField()->setText(QString::fromUtf8(tag));
            QTest::mouseClick(page.button(QStringLiteral("CategoryEditor.addTagButton")), Qt::LeftButton);
        }
        QCOMPARE(state->categories().last().tags, (QStringList{"Flights", "Hotels"}));
        QVERIFY(!page.emptyTagsLabel()->isVisible());

        page.nameField()->setText(QStringLiteral("Trips"));
        QTest::mouseClick(page.button(QStringLiteral("CategoryEditor.renameButton")), Qt::LeftButton);
        QCOMPARE(state->categories().last().name, QStringLiteral("Trips"));

        auto *chip = page.tagList()->itemWidget(page.tagList()->item(0))->findChild<QToolButton *>();
        QTest::mouseClick(chip, Qt::LeftButton);
        QCOMPARE(state->categories().last().tags, QStringList{"Hotels"});

        QTest::mouseClick(page.button(QStringLiteral("CategoryEditor.duplicateButton")), Qt::LeftButton);
        QCOMPARE(state->categories().last().name, QStringLiteral("Trips Copy"));

        // Unanswered, the delete confirmation is cancelled; answered, it deletes.
        QTest::mouseClick(page.button(QStringLiteral("CategoryEditor.deleteButton")), Qt::LeftButton);
        QCOMPARE(state->categories().size(), 6);
        QCOMPARE(env.interaction().askedAlerts().last().message, QStringLiteral("Delete Trips?"));
        QCOMPARE(env.interaction().askedAlerts().last().informativeText,
                 QStringLiteral("Removes the category and its 1 tag. Tags already applied to files in Finder are not "
                                "affected."));
        env.interaction().addAnswer(QStringLiteral("Delete Trips?"), QStringLiteral("Delete"));
        QTest::mouseClick(page.button(QStringLiteral("CategoryEditor.deleteButton")), Qt::LeftButton);
        QCOMPARE(state->categories().size(), 5);
        QVERIFY(!state->categoryEditorSelection().has_value());

        QStringList taps;
        for (const ActionReceipt &receipt : state->diagnosticLog().rows()) {
            if (receipt.kind == ActionReceipt::Kind::ui)
                taps.append(receipt.source);
        }
        QVERIFY(taps.contains(QStringLiteral("CategoriesView.addButton")));
        QVERIFY(taps.contains(QStringLiteral("CategoryEditor.removeTagChip")));
        QCOMPARE(taps.count(QStringLiteral("CategoryEditor.deleteButton")), 2);
    }

    void refusalsGoToTheBannerAndKeepTheField_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("new name of 200 characters")
            << QStringLiteral("confirmNewCategory") << QString(200, QLatin1Char('n'))
            << QStringLiteral("a category name is too long (200 chars; max 80)");
        QTest::newRow("rename with a bidirectional override")
            << QStringLiteral("CategoryEditor.renameButton") << QStringLiteral("Clients\u202E")
            << QStringLiteral("a category name contains unsupported characters");
        QTest::newRow("tag of 81 characters")
            << QStringLiteral("CategoryEditor.addTagButton") << QString(81, QLatin1Char('t'))
            << QStringLiteral("a tag is too long (81 chars; max 80)");
    }

    void refusalsGoToTheBannerAndKeepTheField()
    {
        QFETCH(QString, button);
        QFETCH(QString, text);
        QFETCH(QString, refusal);
        AppTestEnvironment env;
        auto state = env.makeAppState();
        CategoriesPage page(*state);
        page.show();
        state->setCategoryEditorSelection(state->categories().first().id);
        const QList<Category> before = state->categories();

        QLineEdit *field = button == QLatin1String("confirmNewCategory")            ? page.newNameField()
                           : button == QLatin1String("CategoryEditor.renameButton") ? page.nameField()
                                                                                    : page.tagField();
        if (field == page.newNameField())
            QTest::mouseClick(page.button(QStringLiteral("CategoriesView.addButton")), Qt::LeftButton);
        field->setText(text);
        QTest::mouseClick(page.button(button), Qt::LeftButton);

        QCOMPARE(state->categories(), before);
        QVERIFY(state->packBanner().has_value());
        QCOMPARE(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
        QCOMPARE(state->packBanner()->message, refusal);
        QCOMPARE(field->text(), text);
    }

    void resetAsksAndRestoresTheSeed()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        QVERIFY(!state->categoryStore().replaceAll({}));
        CategoriesPage page(*state);
        QCOMPARE(page.categoryList()->count(), 0);
        env.interaction().addAnswer(QStringLiteral("Reset to defaults?"), QStringLiteral("Reset"));
        QTest::mouseClick(page.button(QStringLiteral("CategoriesView.resetButton")), Qt::LeftButton);
        QCOMPARE(page.categoryList()->count(), 4);
        QCOMPARE(page.categoryList()->item(0)->text(), QStringLiteral("Projects"));
    }
};

QTEST_MAIN(CategoriesPageTest)
#include "CategoriesPageTest.moc"
