#pragma once

#include <QString>
#include <QStringList>

// Makes the desktop hand vantrel:// URLs and .vantrelpack files to this
// executable: a desktop entry, a MIME type for packs, and the default handler.
namespace DesktopRegistration {

inline constexpr QLatin1StringView packMimeType{"application/x-vantrelpack"};

struct Result {
    QStringList written;  // files written
    QStringList ran;      // helper commands run ("xdg-mime default …")
    QStringList problems; // what failed, in the user's words
    bool operator==(const Result &) const = default;
};

QString desktopEntryPath();
QString mimePackagePath();
QString desktopEntry(const QString &executable);
QString mimePackage();

// Whether the desktop entry is missing or names another executable.
bool needsRegistration(const QString &executable);
Result registerApplication(const QString &executable);

} // namespace DesktopRegistration
