#include "ui/widgets/DiagTracked.h"
#include "AppTestEnvironment.h"
#include "foundation/diagnostics/DiagnosticLog.h"

#include <QPushButton>
#include <QTest>

class DiagTrackedTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void aTapIsRecordedOnlyWhileRecording()
    {
        AppTestEnvironment env;
        DiagnosticLog log(env.defaults());
        QPushButton button(QStringLiteral("Add"));
        DiagTracked::track(&button, log, QStringLiteral("CategoriesView.addButton"));
        QTest::mouseClick(&button, Qt::LeftButton);
        QVERIFY(log.rows().isEmpty());

        log.setEnabled(true);
        QTest::mouseClick(&button, Qt::LeftButton);
        QCOMPARE(log.rows().size(), 2);
        const ActionReceipt &tap = log.rows().last();
        QCOMPARE(tap.kind, ActionReceipt::Kind::ui);
        QCOMPARE(tap.source, QStringLiteral("CategoriesView.addButton"));
        QVERIFY(!tap.before && !tap.after && !tap.errorDescription);
    }
};

QTEST_MAIN(DiagTrackedTest)
#include "DiagTrackedTest.moc"
