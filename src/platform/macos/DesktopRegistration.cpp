#include "platform/DesktopRegistration.h"

// On macOS the application bundle's Info.plist declares the URL scheme and the
// pack document type; Launch Services registers both when the bundle is seen.
QString DesktopRegistration::desktopEntryPath()
{
    return {};
}
QString DesktopRegistration::mimePackagePath()
{
    return {};
}
QString DesktopRegistration::desktopEntry(const QString &)
{
    return {};
}
QString DesktopRegistration::mimePackage()
{
    return {};
}
bool DesktopRegistration::needsRegistration(const QString &)
{
    return false;
}
DesktopRegistration::Result DesktopRegistration::registerApplication(const QString &)
{
    return {};
}
