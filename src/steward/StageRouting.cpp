#include "steward/StageRouting.h"

#include "steward/ProjectStructure.h"

#include <QDir>
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

// The subfolder for each category (rows, in the enumeration's order) and kind (columns: unity, xcode,
// swiftPackage, node, rust, python, godot, gitRepo).
using Row = std::array<const char *, 8>;
constexpr std::array<Row, 11> subpaths{{
    {"Assets/Art/Imports", "Resources/Imports", "Sources/Resources/Imports", "public/images/imports", "imports",
     "imports", "art/imports", "assets/images"},
    {"Assets/Scripts/Imports", "Sources/Imports", "Sources/Imports", "src/imports", "src/imports", "src/imports",
     "scripts/imports", "src/imports"},
    {"Docs/Imports", "docs/imports", "docs/imports", "docs/imports", "docs/imports", "docs/imports", "docs/imports",
     "docs/imports"},
    {"Assets/ThirdParty", "vendor/imports", "Imports", "vendor/imports", "vendor/imports", "vendor/imports",
     "addons/imports", "vendor/imports"},
    {"Assets/Video/Imports", "Resources/Video", "Sources/Resources/Video", "public/video", "imports", "imports",
     "video/imports", "assets/video"},
    {"Design/Imports", "design/imports", "Imports", "design/imports", "imports", "imports", "design/imports",
     "design/imports"},
    {"Assets/Resources/Imports", "Resources/data", "Sources/Resources/Data", "src/data", "resources/data",
     "data/imports", "data/imports", "data/imports"},
    {"Assets/Audio/Imports", "Resources/Audio", "Sources/Resources/Audio", "public/audio", "imports", "imports",
     "audio/imports", "assets/audio"},
    {"Assets/Models/Imports", "Resources/Models", "Imports", "public/models", "imports", "imports", "models/imports",
     "assets/models"},
    {"Assets/Prefabs/Imports", "Resources/Imports", "Imports", "public/assets", "imports", "imports", "scenes/imports",
     "assets/imports"},
    {"Imports", "Imports", "Imports", "imports", "imports", "imports", "imports", "imports"},
}};

// What a Unity or Godot convention is called, for the categories that have one of their own.
QString engineConvention(FileCategory category, bool unity)
{
    switch (category) {
    case FileCategory::image:
        return QStringLiteral("art");
    case FileCategory::code:
        return QStringLiteral("scripts");
    case FileCategory::archive:
        return unity ? QStringLiteral("third-party") : QStringLiteral("addons");
    case FileCategory::video:
        return QStringLiteral("video");
    case FileCategory::data:
        return QStringLiteral("data");
    case FileCategory::audio:
        return QStringLiteral("audio");
    case FileCategory::model3d:
        return QStringLiteral("3D model");
    case FileCategory::prefab:
        return unity ? QStringLiteral("prefab") : QStringLiteral("scenes");
    case FileCategory::doc:
    case FileCategory::design:
    case FileCategory::other:
        break;
    }
    return {};
}

QString label(FileCategory category, ProjectKind kind, const QString &subpath)
{
    const auto text = [](const char *words) { return QString::fromLatin1(words); };
    const auto under = [&subpath](const char *folder) {
        return subpath.startsWith(QLatin1String(folder) + QLatin1Char('/'));
    };
    const bool common = kind == ProjectKind::gitRepo;
    if (category == FileCategory::other || subpath.compare(QLatin1String("imports"), Qt::CaseInsensitive) == 0)
        return text("Generic imports folder");
    if (category == FileCategory::doc) {
        if (kind == ProjectKind::swiftPackage)
            return text("Documentation alongside package");
        if (kind == ProjectKind::rust)
            return text("Documentation alongside crate");
        return text(common ? "Common docs convention" : "Documentation alongside project");
    }
    if (category == FileCategory::design)
        return text(common ? "Common design convention" : "Design alongside project");
    if (subpath == QLatin1String("vendor/imports"))
        return text(common ? "Common vendor convention" : "Third-party vendor folder");
    switch (kind) {
    case ProjectKind::unity:
    case ProjectKind::godot: {
        const bool unity = kind == ProjectKind::unity;
        return QStringLiteral("%1 %2 convention")
            .arg(text(unity ? "Unity" : "Godot"), engineConvention(category, unity));
    }
    case ProjectKind::xcode:
        return text(under("Resources") ? "Xcode resources convention" : "Xcode sources convention");
    case ProjectKind::swiftPackage:
        return text(under("Sources/Resources") ? "SPM resources convention" : "SPM sources convention");
    case ProjectKind::node:
        if (under("public"))
            return text("Node public-assets convention");
        return text(category == FileCategory::data ? "Node data convention" : "Node src convention");
    case ProjectKind::rust:
        return text(category == FileCategory::data ? "Rust resources convention" : "Rust src convention");
    case ProjectKind::python:
        return text(category == FileCategory::data ? "Python data convention" : "Python src convention");
    case ProjectKind::gitRepo:
        if (under("assets"))
            return text("Common assets convention");
        return text(category == FileCategory::data ? "Common data convention" : "Common src convention");
    }
    return text("Generic imports folder");
}

// A project path as the subpaths name it: relative to the root, or by its last component when it lies
// elsewhere.
QString relativeToRoot(const QString &path, const QString &root)
{
    const QString cleanRoot = QDir::cleanPath(root);
    const QString cleanPath = QDir::cleanPath(path);
    if (cleanPath.startsWith(cleanRoot + QLatin1Char('/')))
        return cleanPath.mid(cleanRoot.size() + 1);
    return cleanPath.mid(cleanPath.lastIndexOf(QLatin1Char('/')) + 1);
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

StageRouting::Suggestion StageRouting::suggestion(FileCategory category, ProjectKind kind)
{
    const QString subpath = QString::fromLatin1(subpaths.at(std::size_t(category)).at(std::size_t(kind)));
    return {subpath, label(category, kind, subpath)};
}

StageRouting::Suggestion StageRouting::suggestion(const QString &path, ProjectKind kind)
{
    return suggestion(category(path), kind);
}

std::optional<QString> StageRouting::unsafePrefix(const QString &relativeSubpath, const ProjectStructure &structure)
{
    QString subpath = relativeSubpath;
    while (subpath.startsWith(QLatin1Char('/')))
        subpath.remove(0, 1);
    while (subpath.endsWith(QLatin1Char('/')))
        subpath.chop(1);
    for (const QString &derived : structure.derivedPaths) {
        const QString blocked = relativeToRoot(derived, structure.projectRoot);
        if (subpath == blocked || subpath.startsWith(blocked + QLatin1Char('/')))
            return blocked;
    }
    // The tool owns a managed folder's own entries, but a folder below it is the user's to fill.
    for (const QString &managed : structure.managedPaths) {
        const QString blocked = relativeToRoot(managed, structure.projectRoot);
        if (subpath == blocked)
            return blocked;
    }
    return std::nullopt;
}
