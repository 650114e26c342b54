#include "quickactions/WorkflowInstaller.h"

#include "quickactions/InstalledBundles.h"

#include "platform/AtomicFile.h"
#include "platform/FileMoves.h"
#include "platform/Paths.h"
#include "platform/ServicesRegistry.h"

#include <QDir>
#include <QFileInfo>

namespace {

// The bundles the application carries, or nothing when their folder can't be read.
std::optional<QStringList> bundled()
{
    const QDir folder(Paths::workflowsResourceFolder());
    if (!folder.exists() || !folder.isReadable())
        return std::nullopt;
    QStringList bundles;
    for (const QFileInfo &entry : folder.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name)) {
        if (entry.suffix() == QLatin1String("workflow"))
            bundles.append(entry.absoluteFilePath());
    }
    return bundles;
}

// Copies `bundle` to `destination`, replacing an older copy in one step: the new copy is made under a
// hidden name first, so the Services folder never holds half a bundle under a real name.
std::optional<QString> installOne(const QString &bundle, const QString &destination)
{
    const QString folder = QFileInfo(destination).absolutePath();
    const QString staged = folder + QLatin1Char('/') + PartialFiles::newName(folder);
    const FileMoves::Result copied = FileMoves::copyNoReplace(bundle, staged);
    if (copied.outcome != FileMoves::Outcome::moved)
        return copied.error.isEmpty() ? QStringLiteral("A file is in the way of the copy.") : copied.error;
    FileMoves::Result placed = FileMoves::moveNoReplace(staged, destination);
    if (placed.outcome == FileMoves::Outcome::destinationExists) {
        placed = FileMoves::exchange(staged, destination);
        // The older copy now stands under the hidden name.
        if (placed.outcome == FileMoves::Outcome::moved)
            QDir(staged).removeRecursively();
    }
    if (placed.outcome != FileMoves::Outcome::moved) {
        QDir(staged).removeRecursively();
        return placed.error;
    }
    return std::nullopt;
}

} // namespace

QString WorkflowInstaller::caseName(const Status &status)
{
    static const char *const names[] = {"ready", "installed", "failed", "idle", "bundleMissing"};
    return QString::fromLatin1(names[status.index()]);
}

WorkflowInstaller::Status WorkflowInstaller::statusCheck()
{
    const auto bundles = bundled();
    if (!bundles || bundles->isEmpty())
        return bundleMissing{};
    return ready{int(bundles->size())};
}

WorkflowInstaller::Status WorkflowInstaller::installAll()
{
    return install(bundled());
}

WorkflowInstaller::Status WorkflowInstaller::installBundle(const QString &bundleFileName)
{
    const auto bundles = bundled();
    if (!bundles)
        return bundleMissing{};
    QStringList chosen;
    for (const QString &bundle : *bundles) {
        if (QFileInfo(bundle).fileName() == bundleFileName)
            chosen.append(bundle);
    }
    return install(chosen);
}

WorkflowInstaller::Status WorkflowInstaller::install(const std::optional<QStringList> &bundles)
{
    if (!bundles || bundles->isEmpty())
        return bundleMissing{};
    const QString services = Paths::servicesFolder();
    if (const auto problem = FileMoves::makeFolders(services))
        return failed{*problem};
    PartialFiles::sweep(services);
    QStringList copied;
    for (const QString &bundle : *bundles) {
        const QString destination = services + QLatin1Char('/') + QFileInfo(bundle).fileName();
        if (const auto problem = installOne(bundle, destination))
            return failed{*problem};
        copied.append(destination);
    }
    ServicesRegistry::system().enable(menuNames(copied));
    return installed{int(copied.size())};
}

QStringList WorkflowInstaller::installedBundles()
{
    const QDir folder(Paths::servicesFolder());
    QStringList own;
    for (const QString &name : folder.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name)) {
        if (InstalledBundles::isOwnBundleName(name))
            own.append(folder.filePath(name));
    }
    return own;
}

QStringList WorkflowInstaller::removeAll()
{
    QStringList removed;
    for (const QString &bundle : installedBundles()) {
        if (removeOne(bundle))
            removed.append(bundle);
    }
    return removed;
}

bool WorkflowInstaller::removeOne(const QString &bundlePath)
{
    // A link under our name is only the link: what it points at is never followed into.
    const QFileInfo bundle(bundlePath);
    if (!InstalledBundles::isOwnBundleName(bundle.fileName()) || (!bundle.exists() && !bundle.isSymLink()))
        return false;
    if (bundle.isDir() && !bundle.isSymLink())
        QDir(bundlePath).removeRecursively();
    else
        QFile::remove(bundlePath);
    const QFileInfo after(bundlePath);
    return !after.exists() && !after.isSymLink();
}

QStringList WorkflowInstaller::menuNames(const QStringList &bundlePaths)
{
    QStringList names;
    for (const QString &bundle : bundlePaths) {
        if (const auto name = ServiceBundles::menuName(bundle))
            names.append(*name);
    }
    return names;
}
