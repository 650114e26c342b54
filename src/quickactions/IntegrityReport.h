#pragma once

#include <QDateTime>
#include <QStringList>

// The presence check of the installed Quick Actions: which workflows' bundles
// are gone from the installed folder, in catalogue order, and how many stand.
struct IntegrityReport {
    QStringList missing;
    int okCount = 0;
    QDateTime checkedAt;
    bool operator==(const IntegrityReport &) const = default;
};
