#include "platform/Packages.h"

#include <QSet>
#include <QString>

bool Packages::isPackageName(QStringView fileName)
{
    // The one list of package extensions, compared without case.
    static const QSet<QString> extensions{
        QStringLiteral("app"),           QStringLiteral("bundle"),        QStringLiteral("framework"),
        QStringLiteral("workflow"),      QStringLiteral("plugin"),        QStringLiteral("kext"),
        QStringLiteral("photoslibrary"), QStringLiteral("xcodeproj"),     QStringLiteral("xcworkspace"),
        QStringLiteral("playground"),    QStringLiteral("rtfd"),          QStringLiteral("pkg"),
        QStringLiteral("mpkg"),          QStringLiteral("prefpane"),      QStringLiteral("qlgenerator"),
        QStringLiteral("saver"),         QStringLiteral("wdgt"),          QStringLiteral("action"),
        QStringLiteral("appex"),         QStringLiteral("xpc"),           QStringLiteral("dsym"),
        QStringLiteral("pages"),         QStringLiteral("numbers"),       QStringLiteral("key"),
        QStringLiteral("musiclibrary"),  QStringLiteral("imovielibrary"), QStringLiteral("fcpbundle"),
        QStringLiteral("logicx"),        QStringLiteral("band"),          QStringLiteral("scptd"),
        QStringLiteral("xcassets"),      QStringLiteral("mdimporter"),    QStringLiteral("component"),
        QStringLiteral("vst"),           QStringLiteral("vst3"),          QStringLiteral("aaxplugin"),
    };
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot + 1 >= fileName.size())
        return false;
    return extensions.contains(fileName.mid(dot + 1).toString().toLower());
}
