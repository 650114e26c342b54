#pragma once

#include <QString>

class DiagnosticLog;
class QAbstractButton;

// Makes a control's taps visible in the audit trail: each click records a `ui`
// receipt whose source is `id` and nothing else, alongside whatever the control
// itself does. The receipt is made just before the button turns the release into
// a click, so it always precedes the receipts of the command the click runs,
// however the button's own handlers were connected; the diagnostic report relies
// on that order to tell an answered tap from a silent one.
namespace DiagTracked {
void track(QAbstractButton *button, DiagnosticLog &log, const QString &id);
}
