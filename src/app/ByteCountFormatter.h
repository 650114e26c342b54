#pragma once

#include <QString>

// Byte counts as the Mac's file-style formatter shows them: decimal units,
// "Zero KB", "1 byte", then KB without decimals, MB with one, GB and up with two.
namespace ByteCountFormatter {
QString format(quint64 bytes);
}
