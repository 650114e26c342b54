#pragma once

#include "foundation/Workflow.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// What the application needs to know about an Automator `.workflow` bundle: how it shows
// in the Services menu and which actions it runs. Reads bundles from any source.
struct QuickActionBundle {
    struct Action {
        QString className;
        QString actionName;
        QVariantMap parameters;

        bool operator==(const Action &) const = default;
    };

    // The bundle folder, as given to read().
    QString path;
    // NSServices[0].NSMenuItem.default, or the bundle's file name without ".workflow" when missing.
    QString menuName;
    // NSServices[0].NSRequiredContext names the Finder (com.apple.finder) as the application.
    bool isFinderService = false;
    // NSServices[0].NSSendFileTypes.
    QStringList sendFileTypes;
    // document.wflow's "actions", in workflow order.
    QList<Action> actions;

    // Reads the bundle at `bundlePath`; nullopt with `error` set when it isn't a usable Quick Action.
    static std::optional<QuickActionBundle> read(const QString &bundlePath, QString *error = nullptr);
};

// Writes the application's own Quick Action bundles: one Run Shell Script action that hands
// the selected files to the application.
namespace QuickActionBundleWriter {

// The shell command the bundle's one action runs: vantrel open --workflow {urlID} -- "$@"
QString shellCommand(const QString &urlID);

// Writes "{folder}/{workflow.bundleName}" (Contents/Info.plist and Contents/document.wflow),
// creating `folder` when needed. The bundle is assembled in a hidden sibling folder and renamed
// into place, so a failed write never leaves half a bundle. An existing bundle is refused unless
// `overwrite` is true, in which case it is replaced whole.
bool write(const Workflow &workflow, const QString &urlID, const QString &folder, bool overwrite,
           QString *error = nullptr);

} // namespace QuickActionBundleWriter
