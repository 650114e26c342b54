#include "AppTestEnvironment.h"
#include "platform/DesktopRegistration.h"
#include "ui/shell/AppController.h"
#include "ui/shell/MainWindow.h"
#include "ui/widgets/BannerView.h"

#include "ui/pages/WorkflowResultsView.h"

#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTest>
#include <QTreeWidget>

#include <sys/xattr.h>

// The whole road on this desktop: a second launch of `vantrel open` hands its URL
// to the running application, whose window then shows the result.
class DeliveryTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void urlFromASecondProcessReachesTheWindow()
    {
        AppTestEnvironment env;
        AppController controller;
        QVERIFY(controller.start(AppTestEnvironment::executable(QStringLiteral("vantrel"))));
        QVERIFY(QFile::exists(DesktopRegistration::desktopEntryPath()));

        QProcess open;
        open.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                   {"open", "vantrel://run/tag-category-selector"});
        QTRY_COMPARE_WITH_TIMEOUT(open.state(), QProcess::NotRunning, 20000);
        QCOMPARE(open.exitCode(), 0);
        QTRY_COMPARE(controller.window().banner()->message(),
                     QStringLiteral("Select one or more files in Finder before running Tag Category Selector."));
        QVERIFY(controller.window().banner()->isVisible());
    }

    // A launcher's failure has nobody reading its standard error: the running window says it.
    void aLaunchersFailureShowsInTheWindowsBanner()
    {
        AppTestEnvironment env;
        AppController controller;
        QVERIFY(controller.start(AppTestEnvironment::executable(QStringLiteral("vantrel"))));
        QProcess service;
        service.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), {"service", "Nobody", "--", "/a"});
        QTRY_COMPARE_WITH_TIMEOUT(service.state(), QProcess::NotRunning, 20000);
        QCOMPARE(service.exitCode(), 1);
        QTRY_COMPARE(controller.window().banner()->message(),
                     QStringLiteral("No Quick Action named “Nobody” is installed."));
        QCOMPARE(controller.window().banner()->property("tone").toString(), QStringLiteral("failure"));
    }

    void aColdStartHandsItsURLToTheRunnerOnceStarted()
    {
        AppTestEnvironment env;
        AppController controller({QStringLiteral("vantrel://run/comment-templates")});
        // Nothing is handled before start-up is done.
        QVERIFY(!controller.state().packBanner().has_value());
        QVERIFY(controller.start(AppTestEnvironment::executable(QStringLiteral("vantrel"))));
        QTRY_COMPARE(controller.window().banner()->message(),
                     QStringLiteral("Select one or more files in Finder before running Comment Templates."));
    }

    void workflowFormBuildsTheRunURLWithItsFiles()
    {
        AppTestEnvironment env;
        AppController controller;
        QVERIFY(controller.start(AppTestEnvironment::executable(QStringLiteral("vantrel"))));
        const QString file = env.makeFile(QStringLiteral("Notes/a|b.txt"), "x");

        QProcess open;
        open.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                   {"open", "--workflow", "single-tag-selector", "--", file});
        QTRY_COMPARE_WITH_TIMEOUT(open.state(), QProcess::NotRunning, 20000);
        QCOMPARE(open.exitCode(), 0);
        QTRY_VERIFY(controller.state().singleTagSelectorContext().has_value());
        QCOMPARE(controller.state().singleTagSelectorContext()->targets, QStringList{file});
    }

    void aScanURLOpensTheResultsWindow()
    {
        AppTestEnvironment env;
        AppController controller;
        QVERIFY(controller.start(AppTestEnvironment::executable(QStringLiteral("vantrel"))));
        const QString file = env.makeFile(QStringLiteral("Inbox/notes.txt"), "x");
        const QByteArray comment("urgent, Urgent; review");
        QCOMPARE(::setxattr(QFile::encodeName(file).constData(), "user.xdg.comment", comment.constData(),
                            size_t(comment.size()), 0),
                 0);

        QProcess open;
        open.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                   {"open", "--workflow", "clean-duplicate-comments", "--", file});
        QTRY_COMPARE_WITH_TIMEOUT(open.state(), QProcess::NotRunning, 20000);
        QTRY_VERIFY(controller.window().resultsView());
        WorkflowResultsView *results = controller.window().resultsView();
        QTRY_VERIFY(results->isVisible());
        QCOMPARE(results->summaryLabel()->text(), QStringLiteral("Cleaned 1 file."));
        QCOMPARE(results->itemsTree()->topLevelItem(0)->text(3), QStringLiteral("removed 1 duplicate"));
    }
};

QTEST_MAIN(DeliveryTest)
#include "DeliveryTest.moc"
