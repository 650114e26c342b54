#include "steward/ProjectStructure.h"

#include "platform/NativeNames.h"

#include <QDir>

#include <array>

#include <dirent.h>
#include <sys/stat.h>

namespace {

constexpr std::array<const char *, 8> rawValues{"unity", "xcode",  "swiftPackage", "node",
                                                "rust",  "python", "godot",        "gitRepo"};

// lstat, so a link named like a marker is seen as itself and never leads anywhere else.
bool exists(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

// The names directly in `folder`, in name order; empty when it can't be read.
QStringList entryNames(const QString &folder)
{
    QStringList names;
    DIR *dir = ::opendir(NativeNames::encode(folder).constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArrayView name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        names.append(NativeNames::decode(name));
    }
    ::closedir(dir);
    names.sort();
    return names;
}

QStringList under(const QString &root, std::initializer_list<const char *> names)
{
    QStringList paths;
    for (const char *name : names)
        paths.append(root + QLatin1Char('/') + QString::fromLatin1(name));
    return paths;
}

bool endsWith(const QString &name, const char *extension)
{
    return name.endsWith(QLatin1String(extension), Qt::CaseInsensitive);
}

} // namespace

QList<ProjectKind> ProjectKinds::all()
{
    return {ProjectKind::unity, ProjectKind::xcode,  ProjectKind::swiftPackage, ProjectKind::node,
            ProjectKind::rust,  ProjectKind::python, ProjectKind::godot,        ProjectKind::gitRepo};
}

QString ProjectKinds::toString(ProjectKind kind)
{
    return QString::fromLatin1(rawValues[std::size_t(kind)]);
}

std::optional<ProjectKind> ProjectKinds::fromString(const QString &raw)
{
    for (const ProjectKind kind : all()) {
        if (toString(kind) == raw)
            return kind;
    }
    return std::nullopt;
}

QList<ProjectStructure> ProjectStructure::detectAll(const QString &folder)
{
    const QString root = folder.size() > 1 && folder.endsWith(QLatin1Char('/')) ? folder.chopped(1) : folder;
    const auto has = [&root](const char *name) { return exists(root + QLatin1Char('/') + QLatin1String(name)); };
    QList<ProjectStructure> found;
    const auto make = [&root, &found](ProjectKind kind, QStringList managed, QStringList additive,
                                      QStringList derived) {
        found.append(ProjectStructure{kind, root, std::move(managed), std::move(additive), std::move(derived)});
    };

    if (has("Assets") && has("ProjectSettings")) {
        make(ProjectKind::unity, under(root, {"Assets", "ProjectSettings", "Packages"}),
             under(root, {"Assets/Imported"}), under(root, {"Library", "Temp", "obj", "Logs", "UserSettings"}));
    }
    const QStringList names = entryNames(root);
    const bool hasXcodeProject =
        std::any_of(names.begin(), names.end(), [](const QString &name) { return endsWith(name, ".xcodeproj"); });
    const bool hasWorkspace =
        std::any_of(names.begin(), names.end(), [](const QString &name) { return endsWith(name, ".xcworkspace"); });
    if (hasXcodeProject || hasWorkspace) {
        QStringList managed;
        for (const QString &name : names) {
            if (endsWith(name, ".xcodeproj") || endsWith(name, ".xcworkspace"))
                managed.append(root + QLatin1Char('/') + name);
        }
        make(ProjectKind::xcode, managed, {}, under(root, {".build"}));
    }
    if (has("Package.swift")) {
        make(ProjectKind::swiftPackage, under(root, {"Package.swift", "Package.resolved"}),
             under(root, {"Sources", "Tests"}), under(root, {".build", ".swiftpm"}));
    }
    if (has("package.json")) {
        make(ProjectKind::node,
             under(root, {"package.json", "package-lock.json", "yarn.lock", "pnpm-lock.yaml", "bun.lockb"}),
             under(root, {"src", "docs", "assets", "public"}),
             under(root, {"node_modules", "dist", "build", ".next", ".cache"}));
    }
    if (has("Cargo.toml")) {
        make(ProjectKind::rust, under(root, {"Cargo.toml", "Cargo.lock", "src"}), under(root, {"examples", "tests"}),
             under(root, {"target"}));
    }
    if (has("pyproject.toml") || has("setup.py") || has("requirements.txt")) {
        make(ProjectKind::python, under(root, {"pyproject.toml", "setup.py", "requirements.txt"}), {},
             under(root, {"__pycache__", ".venv", "venv", ".pytest_cache", ".mypy_cache", "dist", "build"}));
    }
    if (has("project.godot"))
        make(ProjectKind::godot, under(root, {"project.godot"}), under(root, {"assets"}), under(root, {".godot"}));
    if (has(".git"))
        make(ProjectKind::gitRepo, {}, {}, {});
    return found;
}

std::optional<ProjectStructure> ProjectStructure::detect(const QString &folder)
{
    const QList<ProjectStructure> found = detectAll(folder);
    if (found.isEmpty())
        return std::nullopt;
    return found.first();
}
