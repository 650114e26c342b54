#include "AppTestEnvironment.h"
#include "ui/pages/WorkflowResultsView.h"
#include "ui/shell/MainWindow.h"
#include "ui/widgets/ScanProgressCard.h"

#include "app/WorkflowRunner.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace {

ScanReport sampleReport(ScanReport::Kind kind, bool withGroups)
{
    ScanReport report;
    report.id = QUuid::createUuid();
    report.workflowID = QStringLiteral("duplicate-reports");
    report.title = QStringLiteral("Duplicate Reports");
    report.summary = QStringLiteral("2 groups");
    report.generatedAt = QDateTime::currentDateTime();
    report.kind = kind;
    const ScanGroup first{QUuid::createUuid(), QStringLiteral("Group A")};
    const ScanGroup second{QUuid::createUuid(), QStringLiteral("Group B")};
    const auto item = [](const char *path, quint64 size, std::optional<QUuid> group) {
        return ScanItem{QUuid::createUuid(), QString::fromUtf8(path), size, std::nullopt, std::nullopt, group};
    };
    report.items = {item("/tmp/a1", 1000, first.id), item("/tmp/b1", 1500000, second.id),
                    item("/tmp/a2", 1000, first.id)};
    if (withGroups)
        report.groups = QList<ScanGroup>{first, second};
    return report;
}

} // namespace

class ResultsViewTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void listsItemsUnderTheirGroupsWithCounters()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        state->presentReport(sampleReport(ScanReport::Kind::duplicates, true));
        WorkflowResultsView view(state->scanState(), env.interaction());
        QCOMPARE(view.titleLabel()->text(), QStringLiteral("Duplicate Reports"));
        QCOMPARE(view.counterText(QStringLiteral("Items")), QStringLiteral("3"));
        QCOMPARE(view.counterText(QStringLiteral("Total size")), QStringLiteral("1.5 MB"));
        QCOMPARE(view.counterText(QStringLiteral("Groups")), QStringLiteral("2"));
        QVERIFY(view.counterText(QStringLiteral("Planned moves")).isEmpty());
        QTreeWidget *tree = view.itemsTree();
        QCOMPARE(tree->topLevelItemCount(), 2);
        QCOMPARE(tree->topLevelItem(0)->text(0), QStringLiteral("Group A"));
        QCOMPARE(tree->topLevelItem(0)->childCount(), 2);
        QCOMPARE(tree->topLevelItem(1)->child(0)->text(0), QStringLiteral("/tmp/b1"));
        QVERIFY(view.thresholdPicker()->isHidden());
    }

    void selectionTogglesAndCopiesPathsInReportOrder()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        state->presentReport(sampleReport(ScanReport::Kind::large, false));
        WorkflowResultsView view(state->scanState(), env.interaction());
        QTreeWidget *tree = view.itemsTree();
        tree->topLevelItem(2)->setSelected(true);
        tree->topLevelItem(0)->setSelected(true);
        view.copyPaths();
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("/tmp/a1\n/tmp/a2"));
        tree->topLevelItem(0)->setSelected(false);
        QCOMPARE(view.selectedPaths(), QStringList{"/tmp/a2"});

        // A threshold kind shows its presets, with the current value picked.
        QVERIFY(!view.thresholdPicker()->isHidden());
        QCOMPARE(view.thresholdPicker()->currentData().toInt(), 100);
        QCOMPARE(view.thresholdPicker()->itemText(view.thresholdPicker()->count() - 1), QStringLiteral("1 GB"));
    }

    void aTransferReportWithAnEmptyGroupListListsItsRows()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        ScanReport copied = sampleReport(ScanReport::Kind::transferCopy, false);
        for (ScanItem &item : copied.items)
            item.groupID.reset();
        copied.groups = QList<ScanGroup>{};
        state->presentReport(copied);
        WorkflowResultsView view(state->scanState(), env.interaction());
        QCOMPARE(view.itemsTree()->topLevelItemCount(), 3);
        QCOMPARE(view.itemsTree()->topLevelItem(1)->text(0), QStringLiteral("/tmp/b1"));
    }

    void anEmptyReportSaysSo()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        ScanReport empty = sampleReport(ScanReport::Kind::stale, false);
        empty.items.clear();
        state->presentReport(empty);
        WorkflowResultsView view(state->scanState(), env.interaction());
        QCOMPARE(view.titleLabel()->text(), QStringLiteral("Nothing to report"));
        QVERIFY(view.itemsTree()->isHidden());
    }

    void theMainWindowOpensTheReportAndClosingDismissesIt()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        window.show();
        QVERIFY(!window.resultsView());
        state->presentReport(sampleReport(ScanReport::Kind::duplicates, true));
        QVERIFY(window.resultsView());
        QTRY_VERIFY(window.resultsView()->isVisible());
        window.resultsView()->reject();
        QVERIFY(!state->activeReport().has_value());
        QTRY_VERIFY(!window.resultsView());
    }

    void theWindowAndTheCommandLineShowTheSameDuplicates()
    {
        AppTestEnvironment env;
        env.makeFile(QStringLiteral("tree/a/photo.jpg"), QByteArray(20'000, 'p'));
        env.makeFile(QStringLiteral("tree/b/photo copy.jpg"), QByteArray(20'000, 'p'));
        env.makeFile(QStringLiteral("tree/notes.txt"), "same notes");
        env.makeFile(QStringLiteral("tree/b/notes.txt"), "same notes");
        env.makeFile(QStringLiteral("tree/b/other.txt"), "other note");
        const QString tree = env.path(QStringLiteral("tree"));

        QProcess cli;
        cli.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                  {QStringLiteral("run"), QStringLiteral("duplicate-reports"), tree, QStringLiteral("--json")});
        QVERIFY(cli.waitForFinished(30000));
        QCOMPARE(cli.exitCode(), 0);
        const QJsonObject report =
            QJsonDocument::fromJson(cli.readAllStandardOutput()).object().value(QStringLiteral("report")).toObject();
        // Group label → its rows ("path badge"), as the command line reports them.
        QMap<QString, QStringList> fromCLI;
        QHash<QString, QString> labelOf;
        for (const QJsonValue group : report.value(QStringLiteral("groups")).toArray())
            labelOf.insert(group[QStringLiteral("id")].toString(), group[QStringLiteral("label")].toString());
        for (const QJsonValue item : report.value(QStringLiteral("items")).toArray())
            fromCLI[labelOf.value(item[QStringLiteral("groupID")].toString())].append(
                item[QStringLiteral("url")].toString() + QLatin1Char(' ') + item[QStringLiteral("badge")].toString());
        QCOMPARE(fromCLI.size(), 2);

        auto state = env.makeAppState();
        MainWindow window(*state);
        window.show();
        state->runWorkflow(QStringLiteral("duplicate-reports"), {tree});
        QVERIFY(AppTestEnvironment::runUntilIdle());
        QVERIFY(window.resultsView());
        QCOMPARE(window.resultsView()->summaryLabel()->text(), report.value(QStringLiteral("summary")).toString());
        QMap<QString, QStringList> fromWindow;
        QTreeWidget *rows = window.resultsView()->itemsTree();
        for (int g = 0; g < rows->topLevelItemCount(); ++g) {
            QTreeWidgetItem *group = rows->topLevelItem(g);
            for (int i = 0; i < group->childCount(); ++i)
                fromWindow[group->text(0)].append(group->child(i)->toolTip(0) + QLatin1Char(' ') +
                                                  group->child(i)->text(3));
        }
        QCOMPARE(fromWindow, fromCLI);
    }

    void theTidyPlanMovesOnlyAfterTheAlert()
    {
        AppTestEnvironment env;
        const QString old = env.makeFile(QStringLiteral("Downloads/old.zip"), "zip");
        QFile file(old);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addDays(-40), QFileDevice::FileModificationTime));
        file.close();
        auto state = env.makeAppState();
        MainWindow window(*state);
        window.show();
        state->workflowRunner().handle(QStringLiteral("vantrel://run/downloads-tidy"));
        QVERIFY(AppTestEnvironment::runUntilIdle());
        QVERIFY(window.resultsView());
        WorkflowResultsView *view = window.resultsView();
        QVERIFY(!view->thresholdPicker()->isHidden());
        QCOMPARE(view->thresholdPicker()->currentText(), QStringLiteral("30 d"));
        QCOMPARE(view->moveButton()->text(), QStringLiteral("Move 1 file"));

        QTest::mouseClick(view->moveButton(), Qt::LeftButton);
        QVERIFY(AppTestEnvironment::runUntilIdle());
        QCOMPARE(env.interaction().askedAlerts().size(), 1);
        QCOMPARE(env.interaction().askedAlerts().first().message, QStringLiteral("Move 1 files?"));
        QVERIFY(QFile::exists(old));

        env.interaction().addAnswer(QStringLiteral("Move 1 files?"), QStringLiteral("Move Files"));
        QTest::mouseClick(view->moveButton(), Qt::LeftButton);
        QVERIFY(AppTestEnvironment::runUntilIdle());
        QVERIFY(!QFile::exists(old));
        QVERIFY(QFile::exists(env.path(QStringLiteral("Documents/Vantrel Tidy/Old Archives/old.zip"))));
        QCOMPARE(state->packBanner()->message, QStringLiteral("Moved 1 file into ~/Documents/Vantrel Tidy/."));
        QVERIFY(view->moveButton()->isHidden());
    }

    void theProgressCardShowsWhileAScanRunsAndCancels()
    {
        AppTestEnvironment env;
        auto state = env.makeAppState();
        MainWindow window(*state);
        window.show();
        QVERIFY(!window.progressCard()->isVisible());
        state->scanState().runScan([](std::stop_token stop, const ScanState::PublishProgress &publish) {
            publish({QStringLiteral("Hashing files"), 1, 4});
            while (!stop.stop_requested())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return std::optional<ScanReport>(sampleReport(ScanReport::Kind::duplicates, false));
        });
        QVERIFY(window.progressCard()->isVisible());
        QTRY_COMPARE(window.progressCard()->titleLabel()->text(), QStringLiteral("Hashing files"));
        QTest::mouseClick(window.progressCard()->cancelButton(), Qt::LeftButton);
        QTRY_VERIFY(!window.progressCard()->isVisible());
        QVERIFY(!state->activeReport().has_value());
    }
};

QTEST_MAIN(ResultsViewTest)
#include "ResultsViewTest.moc"
