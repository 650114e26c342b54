#include "WhenModal.h"
#include "ui/shell/WidgetInteraction.h"
#include "ui/widgets/AccessoryAlert.h"

#include <QCheckBox>
#include <QFontDatabase>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

Q_DECLARE_METATYPE(AlertAnswer)
Q_DECLARE_METATYPE(AlertRequest::Style)

// What a failed comparison of two answers prints.
char *toString(const AlertAnswer &answer)
{
    return QTest::toString(
        QStringLiteral("{button %1, %2, \"%3\"}")
            .arg(answer.button)
            .arg(answer.checked ? QStringLiteral("checked") : QStringLiteral("unchecked"), answer.fieldText));
}

namespace {

AlertRequest renameAlert()
{
    AlertRequest request;
    request.message = QStringLiteral("Rename 12 photos?");
    request.informativeText = QStringLiteral("Each gets the prefix and a number.");
    request.buttons = {QStringLiteral("Rename"), QStringLiteral("Skip"), QStringLiteral("Cancel")};
    request.style = AlertRequest::Style::informational;
    AlertAccessory accessory;
    accessory.checkboxName = QStringLiteral("keep");
    accessory.checkboxLabel = QStringLiteral("Keep the originals");
    accessory.checked = true;
    accessory.fieldName = QStringLiteral("prefix");
    accessory.fieldText = QStringLiteral("IMG_");
    accessory.hint = QStringLiteral("Letters, digits and underscores.");
    accessory.previewPrefix = QStringLiteral("First: ");
    accessory.preview = [](const QString &prefix) -> QString { return prefix + QStringLiteral("0001.jpg"); };
    request.accessory = accessory;
    return request;
}

template <typename T> T *part(QWidget *dialog, const char *name)
{
    auto *found = dialog->findChild<T *>(QString::fromLatin1(name));
    if (!found)
        qFatal("no %s in the alert", name);
    return found;
}

int top(QWidget *widget)
{
    return widget->mapTo(widget->window(), QPoint(0, 0)).y();
}

} // namespace

class AlertsTest : public QObject {
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support ).*"))); }

    void alertStyleSetsTheIcon_data()
    {
        QTest::addColumn<AlertRequest::Style>("style");
        QTest::addColumn<QMessageBox::Icon>("icon");
        QTest::newRow("warning") << AlertRequest::Style::warning << QMessageBox::Warning;
        QTest::newRow("informational") << AlertRequest::Style::informational << QMessageBox::Information;
    }

    void alertStyleSetsTheIcon()
    {
        QFETCH(AlertRequest::Style, style);
        QFETCH(QMessageBox::Icon, icon);
        AlertRequest request{QStringLiteral("Move 3 items to the Trash?"),
                             QStringLiteral("You can put them back."),
                             {QStringLiteral("Move"), QStringLiteral("Cancel")}};
        request.style = style;
        QMessageBox::Icon shown = QMessageBox::NoIcon;
        QString defaultButton;
        auto met = whenModal<QMessageBox>([&](QMessageBox *box) {
            shown = box->icon();
            defaultButton = box->defaultButton() ? box->defaultButton()->text() : QString();
            for (QAbstractButton *button : box->buttons()) {
                if (button->text() == QLatin1String("Move"))
                    button->click();
            }
        });
        WidgetInteraction interaction;
        QCOMPARE(interaction.alert(request), 0);
        QVERIFY(*met);
        QCOMPARE(shown, icon);
        QCOMPARE(defaultButton, QStringLiteral("Move"));
    }

    void escapeTakesTheLastButton_data()
    {
        QTest::addColumn<QStringList>("buttons");
        QTest::addColumn<int>("answer");
        QTest::newRow("two buttons") << QStringList{QStringLiteral("Move"), QStringLiteral("Cancel")} << 1;
        QTest::newRow("three buttons") << QStringList{QStringLiteral("Replace"), QStringLiteral("Keep Both"),
                                                      QStringLiteral("Stop")}
                                       << 2;
    }

    void escapeTakesTheLastButton()
    {
        QFETCH(QStringList, buttons);
        QFETCH(int, answer);
        AlertRequest request{QStringLiteral("An item named a.txt already exists."), QString(), buttons};
        auto met = whenModal<QMessageBox>([](QMessageBox *box) { QTest::keyClick(box, Qt::Key_Escape); });
        WidgetInteraction interaction;
        QCOMPARE(interaction.alert(request), answer);
        QVERIFY(*met);
    }

    void accessoryAlertPreviewFollowsEachKeystroke()
    {
        QStringList previews;
        QStringList order;
        bool monospaced = false;
        QString hint;
        QString checkboxLabel;
        bool checkedAtFirst = false;
        auto met = whenModal<AccessoryAlert>([&](AccessoryAlert *alert) {
            auto *checkbox = part<QCheckBox>(alert, "accessoryCheckbox");
            auto *field = part<QLineEdit>(alert, "accessoryField");
            auto *hintLabel = part<QLabel>(alert, "accessoryHint");
            auto *preview = part<QLabel>(alert, "accessoryPreview");
            auto *informative = part<QLabel>(alert, "alertInformativeText");
            QList<QPair<int, QString>> placed{{top(informative), QStringLiteral("text")},
                                              {top(checkbox), QStringLiteral("checkbox")},
                                              {top(field), QStringLiteral("field")},
                                              {top(hintLabel), QStringLiteral("hint")},
                                              {top(preview), QStringLiteral("preview")}};
            std::sort(placed.begin(), placed.end());
            for (const auto &entry : placed)
                order.append(entry.second);
            monospaced = field->font().family() == QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
            hint = hintLabel->text();
            checkboxLabel = checkbox->text();
            checkedAtFirst = checkbox->isChecked();
            previews.append(preview->text());
            QTest::keyClick(field, Qt::Key_Backspace);
            previews.append(preview->text());
            for (const QChar c : QStringLiteral("_Rome")) {
                QTest::keyClicks(field, QString(c));
                previews.append(preview->text());
            }
            // On its box: the widget spans the alert, its label does not.
            QTest::mouseClick(checkbox, Qt::LeftButton, {}, QPoint(6, checkbox->height() / 2));
            part<QPushButton>(alert, "alertButton1")->click();
        });
        WidgetInteraction interaction;
        const AlertAnswer answer = interaction.alertWithValues(renameAlert());
        QVERIFY(*met);
        QCOMPARE(order, (QStringList{"text", "checkbox", "field", "hint", "preview"}));
        QVERIFY(monospaced);
        QCOMPARE(hint, QStringLiteral("Letters, digits and underscores."));
        QCOMPARE(checkboxLabel, QStringLiteral("Keep the originals"));
        QVERIFY(checkedAtFirst);
        QCOMPARE(previews, (QStringList{"First: IMG_0001.jpg", "First: IMG0001.jpg", "First: IMG_0001.jpg",
                                        "First: IMG_R0001.jpg", "First: IMG_Ro0001.jpg", "First: IMG_Rom0001.jpg",
                                        "First: IMG_Rome0001.jpg"}));
        QCOMPARE(answer, (AlertAnswer{1, false, QStringLiteral("IMG_Rome")}));
    }

    void accessoryAlertAnswers_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<AlertAnswer>("answer");
        QTest::newRow("the action, as it came") << "alertButton0" << AlertAnswer{0, true, QStringLiteral("IMG_")};
        QTest::newRow("escape is the last button") << "escape" << AlertAnswer{2, true, QStringLiteral("IMG_")};
        QTest::newRow("return is the action") << "return" << AlertAnswer{0, true, QStringLiteral("IMG_")};
    }

    void accessoryAlertAnswers()
    {
        QFETCH(QString, how);
        QFETCH(AlertAnswer, answer);
        AlertRequest::Style style = AlertRequest::Style::warning;
        auto met = whenModal<AccessoryAlert>([&](AccessoryAlert *alert) {
            style = alert->alertStyle();
            if (how == QLatin1String("escape"))
                QTest::keyClick(part<QLineEdit>(alert, "accessoryField"), Qt::Key_Escape);
            else if (how == QLatin1String("return"))
                QTest::keyClick(part<QLineEdit>(alert, "accessoryField"), Qt::Key_Return);
            else
                part<QPushButton>(alert, qPrintable(how))->click();
        });
        WidgetInteraction interaction;
        QCOMPARE(interaction.alertWithValues(renameAlert()), answer);
        QVERIFY(*met);
        QCOMPARE(style, AlertRequest::Style::informational);
    }

    void withoutAnAccessoryTheAlertIsPlain()
    {
        AlertRequest request{
            QStringLiteral("Stop the transfer?"), QString(), {QStringLiteral("Stop"), QStringLiteral("Continue")}};
        auto met = whenModal<QMessageBox>([](QMessageBox *box) {
            for (QAbstractButton *button : box->buttons()) {
                if (button->text() == QLatin1String("Continue"))
                    button->click();
            }
        });
        WidgetInteraction interaction;
        QCOMPARE(interaction.alertWithValues(request), (AlertAnswer{1, false, QString()}));
        QVERIFY(*met);
    }
};

QTEST_MAIN(AlertsTest)
#include "AlertsTest.moc"
