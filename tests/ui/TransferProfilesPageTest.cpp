#include "ui/pages/TransferProfilesPage.h"
#include "AppTestEnvironment.h"
#include "platform/NativeNames.h"
#include "transfer/rules/TransferProfileCodec.h"
#include "ui/shell/MainWindow.h"
#include "ui/widgets/TransferRulesEditor.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <fcntl.h>
#include <unistd.h>

namespace {

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

bool writeRaw(const QByteArray &path, const QByteArray &content)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool written = fd >= 0 && ::write(fd, content.constData(), size_t(content.size())) == content.size();
    if (fd >= 0)
        ::close(fd);
    return written;
}

QString fileOf(AppState &state, const QUuid &id)
{
    return state.transferProfileStore().folder() + QLatin1Char('/') + id.toString(QUuid::WithoutBraces).toUpper() +
           QStringLiteral(".vantreltransfer");
}

template <typename W> QList<W *> named(QWidget *parent, const char *name)
{
    return parent->findChildren<W *>(QString::fromLatin1(name));
}

// A profile with one rule, saved and selected through the page's own + button.
void addOne(TransferProfilesPage &page)
{
    QTest::mouseClick(page.button(QStringLiteral("TransferProfilesView.addButton")), Qt::LeftButton);
}

QWidget *card(TransferProfilesPage &page, int index)
{
    return page.rulesEditor()->ruleCards().value(index);
}

} // namespace

class TransferProfilesPageTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void anEmptyLibrarySaysHowToStart()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        QVERIFY(page.emptyState()->isVisible());
        QVERIFY(!page.profileList()->isVisible());
        QCOMPARE(page.emptyState()->findChild<QLabel *>(QStringLiteral("emptyTitle"))->text(),
                 QStringLiteral("No profiles yet."));
        QCOMPARE(page.emptyState()->findChild<QLabel *>(QStringLiteral("emptyText"))->text(),
                 QStringLiteral("Click + below to author your first routing profile, or drag a .vantreltransfer "
                                "file onto Vantrel to import one."));
        QVERIFY(!page.button(QStringLiteral("TransferProfilesView.deleteButton"))->isEnabled());

        addOne(page);
        QVERIFY(!page.emptyState()->isVisible());
        QVERIFY(page.profileList()->isVisible());
    }

    void newSavesAtOnceAndDuplicateCopiesUnderANewName()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        const QList<TransferProfile> &profiles = state->transferProfileStore().profiles();
        QCOMPARE(profiles.size(), 1);
        const TransferProfile made = profiles.first();
        QCOMPARE(state->transferProfileSelection(), made.id);
        QCOMPARE(TransferProfileCodec::decode(bytesOf(fileOf(*state, made.id))), made);
        QCOMPARE(page.nameField()->text(), QStringLiteral("New profile"));
        QCOMPARE(page.summaryField()->text(), QStringLiteral("Routing rules for one folder."));
        QCOMPARE(page.rulesEditor()->header()->text(), QStringLiteral("1 rule · evaluated in order"));
        QCOMPARE(page.profileList()->currentRow(), 0);
        QVERIFY(!page.button(QStringLiteral("TransferProfileEditor.saveButton"))->isEnabled());

        QTest::mouseClick(page.button(QStringLiteral("TransferProfilesView.duplicateButton")), Qt::LeftButton);
        QCOMPARE(profiles.size(), 2);
        QCOMPARE(page.nameField()->text(), QStringLiteral("New profile (copy)"));
        QCOMPARE(state->transferProfileSelection(), profiles.first().id);
        QVERIFY(profiles.first().rules.first().id != made.rules.first().id);
        QCOMPARE(page.profileList()->item(0)->text(),
                 QStringLiteral("New profile (copy)\nRouting rules for one folder."));
    }

    void deleteAsksFirst_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<int>("left");
        QTest::newRow("unanswered keeps it") << QString() << 1;
        QTest::newRow("Cancel keeps it") << QStringLiteral("Cancel") << 1;
        QTest::newRow("Delete removes it") << QStringLiteral("Delete") << 0;
    }

    void deleteAsksFirst()
    {
        QFETCH(QString, answer);
        QFETCH(int, left);
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        const QUuid id = state->transferProfileStore().profiles().first().id;
        if (!answer.isEmpty())
            env.interaction().addAnswer(QStringLiteral("Delete \"New profile\"?"), answer);
        QTest::mouseClick(page.button(QStringLiteral("TransferProfilesView.deleteButton")), Qt::LeftButton);
        const AlertRequest &asked = env.interaction().askedAlerts().last();
        QCOMPARE(asked.message, QStringLiteral("Delete \"New profile\"?"));
        QCOMPARE(asked.informativeText,
                 QStringLiteral("The profile will be removed from this Mac. Files routed by this "
                                "profile in the past are not affected."));
        QCOMPARE(asked.buttons, (QStringList{"Delete", "Cancel"}));
        QCOMPARE(state->transferProfileStore().profiles().size(), left);
        QCOMPARE(QFile::exists(fileOf(*state, id)), left == 1);
        QCOMPARE(page.emptyState()->isVisible(), left == 0);
        QCOMPARE(page.workingCopy().has_value(), left == 1);
    }

    void saveWritesTheCopyAndRevertDropsIt()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        const QUuid id = state->transferProfileStore().profiles().first().id;
        const QByteArray before = bytesOf(fileOf(*state, id));
        QPushButton *save = page.button(QStringLiteral("TransferProfileEditor.saveButton"));
        QPushButton *revert = page.button(QStringLiteral("TransferProfileEditor.revertButton"));

        page.nameField()->selectAll();
        QTest::keyClicks(page.nameField(), QStringLiteral("Invoices"));
        page.suffixField()->selectAll();
        QTest::keyClicks(page.suffixField(), QStringLiteral(" (2)"));
        QTest::mouseClick(page.annotateBox(), Qt::LeftButton);
        auto *extensions = named<QLineEdit>(card(page, 0), "conditionField").first();
        extensions->setText(QStringLiteral("PDF, Xlsx"));
        // Nothing is written until Save.
        QCOMPARE(bytesOf(fileOf(*state, id)), before);
        QVERIFY(save->isEnabled());
        QTest::mouseClick(save, Qt::LeftButton);
        const auto written = TransferProfileCodec::decode(bytesOf(fileOf(*state, id)));
        QVERIFY(written.has_value());
        QCOMPARE(written->name, QStringLiteral("Invoices"));
        QCOMPARE(written->defaults.renameSuffix, QStringLiteral(" (2)"));
        QCOMPARE(written->defaults.annotateSourceComments, false);
        QCOMPARE(written->rules.first().match, (RuleMatch{RuleMatch::extensionEquals{{"pdf", "xlsx"}}}));
        QCOMPARE(page.profileList()->item(0)->text().section(QLatin1Char('\n'), 0, 0), QStringLiteral("Invoices"));
        QVERIFY(!save->isEnabled());

        page.summaryField()->selectAll();
        QTest::keyClicks(page.summaryField(), QStringLiteral("Scratch"));
        QTest::mouseClick(page.rulesEditor()->findChild<QPushButton *>(QStringLiteral("addRule")), Qt::LeftButton);
        QCOMPARE(page.rulesEditor()->header()->text(), QStringLiteral("2 rules · evaluated in order"));
        QVERIFY(revert->isEnabled());
        QTest::mouseClick(revert, Qt::LeftButton);
        QCOMPARE(page.summaryField()->text(), QStringLiteral("Routing rules for one folder."));
        QCOMPARE(page.rulesEditor()->header()->text(), QStringLiteral("1 rule · evaluated in order"));
        QCOMPARE(TransferProfileCodec::decode(bytesOf(fileOf(*state, id))), written);
        QCOMPARE(*page.workingCopy(), *state->transferProfile(id));
    }

    void rulesAreAddedReorderedAndRemoved()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        TransferRulesEditor *editor = page.rulesEditor();
        QTest::mouseClick(editor->findChild<QPushButton *>(QStringLiteral("addRule")), Qt::LeftButton);
        named<QComboBox>(card(page, 1), "actionPicker").first()->setCurrentIndex(2);
        QCOMPARE(editor->profile().rules[1].action, (RuleAction{RuleAction::skip{}}));
        QVERIFY(!named<QLineEdit>(card(page, 1), "actionPath").first()->isVisibleTo(card(page, 1)));

        // The skip goes first, so it keeps its files out of the move below it.
        QTest::mouseClick(named<QToolButton>(card(page, 1), "moveRuleUp").first(), Qt::LeftButton);
        QCOMPARE(editor->profile().rules[0].action, (RuleAction{RuleAction::skip{}}));
        QVERIFY(!named<QToolButton>(card(page, 0), "moveRuleUp").first()->isEnabled());
        QVERIFY(!named<QToolButton>(card(page, 1), "moveRuleDown").first()->isEnabled());

        // Back from Skip, the rule has the folder it had.
        named<QComboBox>(card(page, 0), "actionPicker").first()->setCurrentIndex(1);
        QCOMPARE(editor->profile().rules[0].action, (RuleAction{RuleAction::copyTo{"~/Documents"}}));

        QTest::mouseClick(named<QToolButton>(card(page, 0), "removeRule").first(), Qt::LeftButton);
        QCOMPARE(editor->header()->text(), QStringLiteral("1 rule · evaluated in order"));
        QCOMPARE(editor->profile().rules, state->transferProfileStore().profiles().first().rules);
        QVERIFY(!page.button(QStringLiteral("TransferProfileEditor.saveButton"))->isEnabled());
    }

    void aSecondConditionMakesAGroup_data()
    {
        QTest::addColumn<int>("joining");
        QTest::addColumn<QString>("buttonText");
        QTest::addColumn<bool>("isAny");
        QTest::newRow("ANY (OR)") << 0 << QStringLiteral("OR another condition") << true;
        QTest::newRow("ALL (AND)") << 1 << QStringLiteral("AND another condition") << false;
    }

    void aSecondConditionMakesAGroup()
    {
        QFETCH(int, joining);
        QFETCH(QString, buttonText);
        QFETCH(bool, isAny);
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        TransferRulesEditor *editor = page.rulesEditor();
        QVERIFY(named<QComboBox>(card(page, 0), "joiningPicker").isEmpty());
        QCOMPARE(named<QPushButton>(card(page, 0), "addCondition").first()->text(),
                 QStringLiteral("AND another condition"));
        QVERIFY(!named<QToolButton>(card(page, 0), "removeCondition").first()->isEnabled());

        QTest::mouseClick(named<QPushButton>(card(page, 0), "addCondition").first(), Qt::LeftButton);
        QCOMPARE(named<QWidget>(card(page, 0), "conditionRow").size(), 2);
        named<QComboBox>(card(page, 0), "joiningPicker").first()->setCurrentIndex(joining);
        QCOMPARE(named<QPushButton>(card(page, 0), "addCondition").first()->text(), buttonText);

        // The second condition: larger than 5 MB, held in bytes.
        named<QComboBox>(card(page, 0), "conditionPicker").at(1)->setCurrentIndex(3);
        auto *size = named<QLineEdit>(card(page, 0), "conditionField").at(1);
        QCOMPARE(size->placeholderText(), QStringLiteral("100"));
        QCOMPARE(size->text(), QStringLiteral("0"));
        size->selectAll();
        QTest::keyClicks(size, QStringLiteral("5x"));
        QCOMPARE(size->text(), QStringLiteral("5"));
        const std::vector<RuleMatch> children{{RuleMatch::extensionEquals{{"pdf"}}},
                                              {RuleMatch::sizeGreaterThan{5 * 1048576}}};
        const RuleMatch expected = isAny ? RuleMatch{RuleMatch::any{children}} : RuleMatch{RuleMatch::all{children}};
        QCOMPARE(editor->profile().rules.first().match, expected);

        // Removing one goes back to the plain case.
        QTest::mouseClick(named<QToolButton>(card(page, 0), "removeCondition").first(), Qt::LeftButton);
        QCOMPARE(editor->profile().rules.first().match, children[1]);
        QVERIFY(named<QComboBox>(card(page, 0), "joiningPicker").isEmpty());
        // The joining chosen is remembered for the next condition.
        QCOMPARE(named<QPushButton>(card(page, 0), "addCondition").first()->text(), buttonText);
    }

    void aNameSearchFromAFileKeepsItsCaseFlag()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfile profile = TransferProfileStore::newProfile();
        profile.rules.first().match = {RuleMatch::nameContains{QStringLiteral("INV"), false}};
        QVERIFY(state->addTransferProfile(profile));
        TransferProfilesPage page(*state);
        auto *field = named<QLineEdit>(card(page, 0), "conditionField").first();
        QCOMPARE(field->text(), QStringLiteral("INV"));
        QTest::keyClicks(field, QStringLiteral("-2026"));
        QCOMPARE(page.workingCopy()->rules.first().match,
                 (RuleMatch{RuleMatch::nameContains{QStringLiteral("INV-2026"), false}}));

        // Picked in the editor, a name search ignores case.
        named<QComboBox>(card(page, 0), "conditionPicker").first()->setCurrentIndex(5);
        named<QComboBox>(card(page, 0), "conditionPicker").first()->setCurrentIndex(1);
        QCOMPARE(page.workingCopy()->rules.first().match,
                 (RuleMatch{RuleMatch::nameContains{QStringLiteral("INV-2026"), true}}));
    }

    void theFolderPickerKeepsTheHomeAsTilde_data()
    {
        QTest::addColumn<bool>("underHome");
        QTest::newRow("a folder under the home") << true;
        QTest::newRow("a folder elsewhere") << false;
    }

    void theFolderPickerKeepsTheHomeAsTilde()
    {
        QFETCH(bool, underHome);
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        QTemporaryDir elsewhere;
        const QString folder = underHome ? env.makeFolder(QStringLiteral("Archive/2026")) : elsewhere.path();
        env.interaction().addAnswer(QStringLiteral("Pick a destination folder"), folder);
        QTest::mouseClick(named<QPushButton>(card(page, 0), "chooseFolder").first(), Qt::LeftButton);
        const PanelRequest &asked = env.interaction().askedPanels().last();
        QCOMPARE(asked.message, QStringLiteral("Files matching this rule will land here."));
        QCOMPARE(asked.prompt, QStringLiteral("Use Folder"));
        QVERIFY(asked.choosesFoldersOnly());
        const QString stored = underHome ? QStringLiteral("~/Archive/2026") : folder;
        QCOMPARE(page.workingCopy()->rules.first().action, (RuleAction{RuleAction::moveTo{stored}}));
        QCOMPARE(named<QLineEdit>(card(page, 0), "actionPath").first()->text(), stored);
    }

    void importThroughThePanelAndABadFilesBanner()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        TransferProfile shared = TransferProfileStore::newProfile();
        shared.name = QStringLiteral("Photos");
        const QString good =
            env.makeFile(QStringLiteral("photos.vantreltransfer"), TransferProfileCodec::encode(shared));
        env.interaction().addAnswer(QStringLiteral("Import a transfer profile"), good);
        QTest::mouseClick(page.button(QStringLiteral("TransferProfilesView.importButton")), Qt::LeftButton);
        QCOMPARE(page.profileList()->count(), 1);
        QCOMPARE(page.nameField()->text(), QStringLiteral("Photos"));
        QCOMPARE(state->packBanner()->tone, AppState::PackBanner::Tone::success);

        const QString bad = env.makeFile(QStringLiteral("broken.vantreltransfer"), "{\"id\": 1");
        env.interaction().addAnswer(QStringLiteral("Import a transfer profile"), bad);
        QTest::mouseClick(page.button(QStringLiteral("TransferProfilesView.importButton")), Qt::LeftButton);
        QCOMPARE(page.profileList()->count(), 1);
        QCOMPARE(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
        QVERIFY2(state->packBanner()->message.startsWith(
                     QStringLiteral("Couldn't import “broken.vantreltransfer”: The data isn't valid JSON: ")),
                 qPrintable(state->packBanner()->message));
    }

    void aFileDroppedOnTheWindowIsImported()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        window.show();
        TransferProfile shared = TransferProfileStore::newProfile();
        shared.name = QStringLiteral("Dropped");
        // Named in Latin-1, as an old disk leaves it: the drop carries the name's own bytes.
        const QByteArray rawPath = env.home().toUtf8() + QByteArray("/d\xE9.vantreltransfer");
        QVERIFY(writeRaw(rawPath, TransferProfileCodec::encode(shared)));
        // The temporary home is removed through QDir, which can't name this file.
        const auto removeRaw = qScopeGuard([&rawPath] { ::unlink(rawPath.constData()); });

        QMimeData other;
        other.setUrls({QUrl::fromLocalFile(env.makeFile(QStringLiteral("notes.txt"), "x"))});
        QDragEnterEvent refused(QPoint(10, 10), Qt::CopyAction, &other, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &refused);
        QVERIFY(!refused.isAccepted());

        QMimeData data;
        data.setUrls({QUrl(NativeNames::fileURL(NativeNames::decode(rawPath)))});
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &drop);
        QVERIFY(drop.isAccepted());

        QCOMPARE(state->transferProfileStore().profiles().size(), 1);
        QCOMPARE(state->selection(), AppState::Destination::transferProfiles);
        auto *page = qobject_cast<TransferProfilesPage *>(window.currentScreen());
        QVERIFY(page);
        QCOMPARE(page->nameField()->text(), QStringLiteral("Dropped"));
        QCOMPARE(state->packBanner()->message, QStringLiteral("Imported “Dropped” from d\\xE9.vantreltransfer."));
    }

    void exportWritesAFileThatDecodes()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        TransferProfilesPage page(*state);
        page.show();
        addOne(page);
        const QString target = env.makeFolder(QStringLiteral("Out")) + QStringLiteral("/New profile.vantreltransfer");
        env.interaction().addAnswer(QStringLiteral("Export transfer profile"), target);
        QTest::mouseClick(page.button(QStringLiteral("TransferProfilesView.exportButton")), Qt::LeftButton);
        const PanelRequest &asked = env.interaction().askedPanels().last();
        QCOMPARE(asked.mode, PanelRequest::Mode::save);
        QCOMPARE(asked.message, QStringLiteral("Save the profile as a .vantreltransfer file you can share."));
        QCOMPARE(asked.suggestedName, QStringLiteral("New profile.vantreltransfer"));
        QCOMPARE(TransferProfileCodec::decode(bytesOf(target)), state->transferProfileStore().profiles().first());
    }
};

QTEST_MAIN(TransferProfilesPageTest)
#include "TransferProfilesPageTest.moc"
