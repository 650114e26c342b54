#include "steward/StageRouting.h"

#include <QHash>

#include <array>

namespace {

using StageRouting::FileCategory;

// Each category's extensions, lower case.
const QHash<QString, FileCategory> &categoriesByExtension()
{
    static const QHash<QString, FileCategory> table = [] {
        const std::array<std::pair<FileCategory, const char *>, 10> lists{{
            {FileCategory::image, "png jpg jpeg heic heif gif webp tiff bmp"},
            {FileCategory::code, "cs js jsx ts tsx py sh swift rs rb go c h m mm java kt php lua vue svelte"},
            {FileCategory::doc, "md txt rtf pdf doc docx pages tex"},
            {FileCategory::archive, "zip tar gz tgz 7z rar dmg pkg iso unitypackage"},
            {FileCategory::video, "mov mp4 m4v webm avi"},
            {FileCategory::design, "psd ai sketch fig xd afdesign"},
            {FileCategory::data, "json csv xml yaml plist ini conf"},
            {FileCategory::audio, "mp3 wav m4a aac flac ogg"},
            {FileCategory::model3d, "fbx obj blend dae 3ds glb gltf"},
            {FileCategory::prefab, "prefab mat shader asset anim controller"},
        }};
        QHash<QString, FileCategory> byExtension;
        for (const auto &[category, extensions] : lists)
            for (const QString &extension : QString::fromLatin1(extensions).split(QLatin1Char(' ')))
                byExtension.insert(extension, category);
        return byExtension;
    }();
    return table;
}

} // namespace

QString StageRouting::toString(FileCategory category)
{
    static const std::array<const char *, 11> names{"image", "code",  "doc",     "archive", "video", "design",
                                                    "data",  "audio", "model3d", "prefab",  "other"};
    return QString::fromLatin1(names.at(static_cast<std::size_t>(category)));
}

StageRouting::FileCategory StageRouting::category(const QString &path)
{
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    // A leading point starts a hidden name, not an extension: ".png" has none.
    const qsizetype point = name.lastIndexOf(QLatin1Char('.'));
    if (point <= 0)
        return FileCategory::other;
    return categoriesByExtension().value(name.mid(point + 1).toLower(), FileCategory::other);
}
