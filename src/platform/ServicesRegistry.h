#pragma once

#include <QStringList>
#include <QVariantMap>

#include <optional>

// The system's registry of Quick Actions: the `NSServicesStatus` dictionary, one entry per menu name
// under "(null) - {menu name} - runWorkflowAsService" holding `presentation_modes`, and a refresh that
// makes the file manager see the change. On macOS that is the `pbs` preference domain and its two
// processes; on Linux a registry file, and launchers for GNOME Files, Nemo and Dolphin generated from
// the enabled bundles of the Services folder.
class ServicesRegistry {
public:
    virtual ~ServicesRegistry() = default;

    // The registry of this system.
    static ServicesRegistry &system();

    // `NSServicesStatus`; nothing when it isn't there.
    virtual std::optional<QVariantMap> load() = 0;
    // Writes it whole; returns the system's reason when it couldn't.
    virtual std::optional<QString> store(const QVariantMap &status) = 0;
    // Tells the file managers; never waits, and failures are silent.
    virtual void refresh() = 0;
    // Whether the file manager can show the Quick Action of this menu name as the last refresh left it:
    // false when what shows it is missing, altered or can't run.
    virtual bool isIntact(const QString &menuName) = 0;
    // Refreshes when what shows the Quick Actions starts another program than this one: the application
    // was moved or updated in another place. Nothing to do where the registry names no program.
    virtual void refreshIfMoved() {}

    // Puts each name's entry in with all presentation modes on, keeping an existing entry's other keys;
    // stores and refreshes. An empty list touches nothing.
    void enable(const QStringList &menuNames);
    // Takes each name's entry out, stores and refreshes; with no dictionary only refreshes. An empty list
    // touches nothing.
    void disable(const QStringList &menuNames);

    static QString key(const QString &menuName);
    static QVariantMap presentationModes();
    // The two processes the macOS refresh starts, in their order, each as program and arguments.
    static QList<QStringList> refreshCommands();

protected:
    ServicesRegistry() = default;
    ServicesRegistry(const ServicesRegistry &) = default;
    ServicesRegistry &operator=(const ServicesRegistry &) = default;
};

namespace ServiceBundles {

// A bundle's menu name, read leniently from its Contents/Info.plist (NSServices[0].NSMenuItem.default):
// a missing or mistyped step, or a file that doesn't parse, gives the bundle's file name without its
// extension; a file that can't be read at all, or an empty name, gives nothing.
std::optional<QString> menuName(const QString &bundlePath);

} // namespace ServiceBundles
