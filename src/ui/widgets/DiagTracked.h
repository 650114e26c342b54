#pragma once

#include <QString>

class DiagnosticLog;
class QAbstractButton;

// Makes a control's taps visible in the audit trail: each click records a `ui`
// receipt whose source is `id`, alongside whatever the control itself does.
namespace DiagTracked {
void track(QAbstractButton *button, DiagnosticLog &log, const QString &id);
}
