#pragma once

#include <QString>

// Carries out a transfer plan. So far: the rename rule a copy takes when its name is taken.
namespace TransferRunner {

// The first free name for `intended` in its folder: "report -copy.pdf", then "report -copy 2.pdf"… up
// to " 999". No " 1" is ever written. When all are taken the last is returned although it exists: the
// copy then fails on it rather than replace anything.
QString uniqueURL(const QString &intended, const QString &suffix);

} // namespace TransferRunner
