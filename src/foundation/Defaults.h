#pragma once

#include <QSettings>
#include <QString>
#include <QStringList>

#include <memory>

// A user-defaults key: its stored name and the value read when the key is
// missing or holds something of another type.
template <typename T> struct DefaultsKey {
    const char *name;
    T whenMissing;
};

// Every key the application keeps in user defaults, in one table.
namespace DefaultsKeys {
inline const DefaultsKey<QStringList> installedPackIDs{"installedPackIDs", {}};
inline const DefaultsKey<QStringList> installedPackWorkflowIDs{"installedPackWorkflowIDs", {}};
inline const DefaultsKey<int> staleThresholdDays{"staleThresholdDays", 180};
inline const DefaultsKey<int> largeFileThresholdMB{"largeFileThresholdMB", 100};
inline const DefaultsKey<int> downloadsTidyThresholdDays{"downloadsTidyThresholdDays", 30};
inline const DefaultsKey<bool> hasInstalledWorkflowsOnFirstLaunch{"hasInstalledWorkflowsOnFirstLaunch", false};
inline const DefaultsKey<bool> menuBarEnabled{"menuBarEnabled", true};
inline const DefaultsKey<bool> diagnosticsEnabled{"vantrel.diagnostics.enabled", false};
// The recent projects, newest first, as JSON text.
inline const DefaultsKey<QString> recentProjects{"vantrel.recentProjects", {}};
} // namespace DefaultsKeys

// The typed store behind user defaults: an INI file read and written through QSettings.
class Defaults {
public:
    explicit Defaults(const QString &filePath);

    bool contains(const char *name) const;
    void remove(const char *name);
    void sync();
    QString filePath() const;

    int value(const DefaultsKey<int> &key) const;
    bool value(const DefaultsKey<bool> &key) const;
    QString value(const DefaultsKey<QString> &key) const;
    QStringList value(const DefaultsKey<QStringList> &key) const;

    void setValue(const DefaultsKey<int> &key, int value);
    void setValue(const DefaultsKey<bool> &key, bool value);
    void setValue(const DefaultsKey<QString> &key, const QString &value);
    void setValue(const DefaultsKey<QStringList> &key, const QStringList &value);

private:
    QVariant raw(const char *name) const;

    std::unique_ptr<QSettings> settings;
};
