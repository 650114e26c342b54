#pragma once

#include <QString>

// Takes the account name out of paths before they are kept: every home folder
// ("/Users/{name}/", "/home/{name}/" and the real home folder) becomes "~/".
namespace Redaction {
QString redact(const QString &text);
}
