#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

// Copies the application's Quick Action bundles into the Services folder and out again, and tells the
// services registry of each change. Only bundles named "Vantrel - …" are ever touched: whatever else
// stands in the Services folder is the user's.
namespace WorkflowInstaller {

struct ready {
    int bundledCount = 0;
    bool operator==(const ready &) const = default;
};
struct installed {
    int count = 0;
    bool operator==(const installed &) const = default;
};
struct failed {
    QString reason;
    bool operator==(const failed &) const = default;
};
struct idle {
    bool operator==(const idle &) const = default;
};
struct bundleMissing {
    bool operator==(const bundleMissing &) const = default;
};
using Status = std::variant<ready, installed, failed, idle, bundleMissing>;

// The case's name, as `vantrel quick-actions --json` prints it.
QString caseName(const Status &status);

// `ready` with the number of bundles the application carries, or `bundleMissing`.
Status statusCheck();
// Copies every bundle the application carries, replacing an older copy of it, and enables their menu
// names. A bundle that can't be copied stops the run with its reason; those before it stay.
Status installAll();
// Copies one bundle the application carries, by its file name, and enables its menu name: a row's
// Reinstall. `bundleMissing` when the application doesn't carry it.
Status installBundle(const QString &bundleFileName);
// The own bundles in the Services folder, in name order; none when it can't be read.
QStringList installedBundles();
// Deletes the own bundles; the paths of those that went. One that won't go is passed over.
QStringList removeAll();
// Deletes one own bundle; false when it wasn't there or wouldn't go.
bool removeOne(const QString &bundlePath);
// The menu names of the bundles that have one, in their order.
QStringList menuNames(const QStringList &bundlePaths);

// Copies the given bundles in order; what installAll and installBundle share.
Status install(const std::optional<QStringList> &bundles);

} // namespace WorkflowInstaller
