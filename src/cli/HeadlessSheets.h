#pragma once

#include <QList>
#include <QString>

#include <optional>

class AppState;

// A sheet without a window: its fields come from `--set NAME=VALUE`, in the
// order given, and then its primary action runs.
namespace HeadlessSheets {

struct Setting {
    QString name;
    QString value;
    bool operator==(const Setting &) const = default;
};

// "NAME=VALUE"; nothing when there is no "=" or no name.
std::optional<Setting> parseSetting(const QString &word);

// Fills the session the run left open through its fields and, unless told not to, performs it. Returns
// the reason when a setting names no field or no value the session knows, or when
// it can't act; the session is then closed and nothing is written.
std::optional<QString> complete(AppState &state, const QList<Setting> &settings, bool perform = true);

} // namespace HeadlessSheets
