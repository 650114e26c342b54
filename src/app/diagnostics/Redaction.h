#pragma once

#include <QString>

// Takes account names out of texts before they are kept in the audit trail:
// every home folder, "/Users/{name}/", "/home/{name}/" and the real home folder
// wherever it lies, becomes "~/".
namespace Redaction {
QString redact(const QString &text);
}
