#include "ui/widgets/DiagTracked.h"

#include "foundation/diagnostics/DiagnosticLog.h"

#include <QAbstractButton>
#include <QPointer>

void DiagTracked::track(QAbstractButton *button, DiagnosticLog &log, const QString &id)
{
    QPointer<DiagnosticLog> target(&log);
    // Recorded on press, so the tap comes before whatever command the click then runs.
    QObject::connect(button, &QAbstractButton::pressed, button, [target, id] {
        if (target)
            target->record(ActionReceipt::Kind::ui, id);
    });
}
