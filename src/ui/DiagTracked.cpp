#include "ui/DiagTracked.h"

#include "app/diagnostics/DiagnosticLog.h"

#include <QAbstractButton>
#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>

namespace {

// Watches the button's input ahead of the button itself. It is the button's
// child, so it lives exactly as long as the button; the log is held weakly and
// a tap after the log has gone is skipped.
class TapRecorder : public QObject {
public:
    TapRecorder(QAbstractButton *button, DiagnosticLog &log, QString id)
        : QObject(button), button(button), log(&log), id(std::move(id))
    {
        button->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == button && completesClick(event) && log)
            log->record(ActionReceipt::Kind::ui, id);
        return false; // the button handles the event as it would untracked
    }

private:
    // The same conditions under which QAbstractButton turns a release into a
    // click: it is down, and the left button is released over it or Space/Select
    // is released without auto-repeat. A press dragged off the button isn't a tap.
    bool completesClick(QEvent *event) const
    {
        if (!button->isEnabled() || !button->isDown())
            return false;
        if (event->type() == QEvent::MouseButtonRelease) {
            const auto *mouse = static_cast<QMouseEvent *>(event);
            return mouse->button() == Qt::LeftButton && button->rect().contains(mouse->position().toPoint());
        }
        if (event->type() == QEvent::KeyRelease) {
            const auto *key = static_cast<QKeyEvent *>(event);
            return !key->isAutoRepeat() && (key->key() == Qt::Key_Space || key->key() == Qt::Key_Select);
        }
        return false;
    }

    QAbstractButton *const button;
    const QPointer<DiagnosticLog> log;
    const QString id;
};

} // namespace

void DiagTracked::track(QAbstractButton *button, DiagnosticLog &log, const QString &id)
{
    if (button)
        new TapRecorder(button, log, id);
}
