#include "TestEnvironment.h"
#include "platform/DesktopRegistration.h"
#include "ui/AppController.h"
#include "ui/BannerView.h"
#include "ui/MainWindow.h"

#include <QFile>
#include <QProcess>
#include <QTest>

// The whole road on this desktop: a second launch of `vantrel open` hands its URL
// to the running application, whose window then shows the result.
class DeliveryTest : public QObject {
    Q_OBJECT
private slots:
    void urlFromASecondProcessReachesTheWindow()
    {
        TestEnvironment env;
        AppController controller;
        QVERIFY(controller.start(TestEnvironment::executable(QStringLiteral("vantrel"))));
        QVERIFY(QFile::exists(DesktopRegistration::desktopEntryPath()));

        QProcess open;
        open.start(TestEnvironment::executable(QStringLiteral("vantrel")),
                   {"open", "vantrel://run/tag-category-selector"});
        QTRY_COMPARE_WITH_TIMEOUT(open.state(), QProcess::NotRunning, 20000);
        QCOMPARE(open.exitCode(), 0);
        QTRY_COMPARE(controller.window().banner()->message(),
                     QStringLiteral("Select one or more files in Finder before running Tag Category Selector."));
        QVERIFY(controller.window().banner()->isVisible());
    }

    void workflowFormBuildsTheRunURLWithItsFiles()
    {
        TestEnvironment env;
        AppController controller;
        QVERIFY(controller.start(TestEnvironment::executable(QStringLiteral("vantrel"))));
        const QString file = env.makeFile(QStringLiteral("Notes/a|b.txt"), "x");

        QProcess open;
        open.start(TestEnvironment::executable(QStringLiteral("vantrel")),
                   {"open", "--workflow", "single-tag-selector", "--", file});
        QTRY_COMPARE_WITH_TIMEOUT(open.state(), QProcess::NotRunning, 20000);
        QCOMPARE(open.exitCode(), 0);
        QTRY_VERIFY(controller.state().singleTagSelectorContext().has_value());
        QCOMPARE(controller.state().singleTagSelectorContext()->targets, QStringList{file});
    }
};

QTEST_MAIN(DeliveryTest)
#include "DeliveryTest.moc"
