#include "platform/Packages.h"

#include <QLatin1String>

#include <array>

namespace {

// The package types a Mac user meets in their own folders. Compared as Latin-1 so that asking about a name
// allocates nothing: the walker asks once for every folder it meets.
constexpr std::array<const char *, 39> extensions{
    "app",       "bundle",        "framework", "workflow",        "plugin",
    "kext",      "photoslibrary", "xcodeproj", "xcworkspace",     "playground",
    "rtfd",      "pkg",           "mpkg",      "prefpane",        "qlgenerator",
    "saver",     "wdgt",          "action",    "appex",           "xpc",
    "dSYM",      "xcarchive",     "docset",    "mdimporter",      "component",
    "vst",       "vst3",          "aaxplugin", "systemextension", "scptd",
    "pages",     "numbers",       "key",       "musiclibrary",    "imovielibrary",
    "fcpbundle", "logicx",        "band",      "sparsebundle"};

} // namespace

bool Packages::isPackageName(QStringView fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0)
        return false;
    const QStringView extension = fileName.sliced(dot + 1);
    for (const char *entry : extensions) {
        const QLatin1String known(entry);
        if (extension.size() == known.size() && extension.compare(known, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}
