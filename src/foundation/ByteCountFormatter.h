#pragma once

#include <QString>

// Byte counts as the Mac's file-style byte count formatter writes them, so that sizes read the same as in
// Finder: decimal units (1 KB = 1,000 bytes), "Zero KB" for nothing, "1 byte" and "{n} bytes" below 1,000,
// then KB with no decimals, MB with one and GB, TB, PB with two, trailing zeros dropped ("1 MB", "1.2 GB").
namespace ByteCountFormatter {

QString format(quint64 bytes);

} // namespace ByteCountFormatter
