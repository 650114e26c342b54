#include "quickactions/QuickActionBundle.h"

#include "platform/AtomicFile.h"
#include "platform/PropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QVariantList>

namespace {

const QString infoPlistPath = QStringLiteral("Contents/Info.plist");
const QString documentPath = QStringLiteral("Contents/document.wflow");
const QString bundleSuffix = QStringLiteral(".workflow");
const QString finderBundleID = QStringLiteral("com.apple.finder");

std::optional<QuickActionBundle> failure(QString *error, const QString &message)
{
    if (error)
        *error = message;
    return std::nullopt;
}

bool writeFailure(QString *error, const QString &message)
{
    if (error)
        *error = message;
    return false;
}

bool isMap(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantMap;
}
bool isList(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantList;
}

// A string field; anything else (missing, or of another type) reads as empty rather than
// being coerced, so a number never turns into a menu title.
QString stringField(const QVariantMap &map, const QString &key)
{
    const QVariant value = map.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

// Loads one of the bundle's property lists, which must hold a dictionary.
std::optional<QVariantMap> readDictionary(const QString &bundlePath, const QString &bundleName,
                                          const QString &relativePath, QString *error)
{
    const QString path = QDir(bundlePath).filePath(relativePath);
    const QFileInfo info(path);
    if (!info.exists() || info.isDir()) {
        if (error)
            *error = QStringLiteral("%1 has no %2").arg(bundleName, relativePath);
        return std::nullopt;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: couldn't read %2: %3").arg(bundleName, relativePath, file.errorString());
        return std::nullopt;
    }
    const PropertyList::ReadResult parsed = PropertyList::parse(file.readAll());
    if (!parsed.ok()) {
        if (error)
            *error = QStringLiteral("%1: %2 is not a property list").arg(bundleName, relativePath);
        return std::nullopt;
    }
    if (!isMap(parsed.value)) {
        if (error)
            *error = QStringLiteral("%1: %2 doesn't hold a dictionary").arg(bundleName, relativePath);
        return std::nullopt;
    }
    return parsed.value.toMap();
}

// NSRequiredContext may be one dictionary or a list of them, and NSApplicationIdentifier one
// string or a list of them; Automator writes the single forms, hand-made bundles use either.
bool requiresFinder(const QVariant &requiredContext)
{
    const QVariantList contexts = isList(requiredContext) ? requiredContext.toList() : QVariantList{requiredContext};
    for (const QVariant &context : contexts) {
        if (!isMap(context))
            continue;
        const QVariant applications = context.toMap().value(QStringLiteral("NSApplicationIdentifier"));
        if (applications.typeId() == QMetaType::QString && applications.toString() == finderBundleID)
            return true;
        if (isList(applications)) {
            for (const QVariant &application : applications.toList()) {
                if (application.typeId() == QMetaType::QString && application.toString() == finderBundleID)
                    return true;
            }
        }
    }
    return false;
}

QString bundleTitle(const Workflow &workflow)
{
    QString title = workflow.bundleBaseName();
    const QString prefix = QStringLiteral("Vantrel - ");
    if (title.startsWith(prefix))
        title.remove(0, prefix.size());
    return title;
}

QVariantMap infoPlist(const Workflow &workflow)
{
    const QVariantMap service{
        {QStringLiteral("NSMenuItem"), QVariantMap{{QStringLiteral("default"), bundleTitle(workflow)}}},
        {QStringLiteral("NSMessage"), QStringLiteral("runWorkflowAsService")},
        {QStringLiteral("NSRequiredContext"), QVariantMap{{QStringLiteral("NSApplicationIdentifier"), finderBundleID}}},
        // public.item covers files and folders alike.
        {QStringLiteral("NSSendFileTypes"), QStringList{QStringLiteral("public.item")}},
    };
    return {
        {QStringLiteral("CFBundleName"), workflow.bundleBaseName()},
        {QStringLiteral("CFBundleIdentifier"), QString(QStringLiteral("com.vantrel.workflow.") + workflow.id)},
        {QStringLiteral("CFBundleShortVersionString"), workflow.version},
        {QStringLiteral("NSServices"), QVariantList{service}},
    };
}

QVariantMap runShellScriptAction(const QString &urlID)
{
    const QVariantMap parameters{
        {QStringLiteral("COMMAND_STRING"), QuickActionBundleWriter::shellCommand(urlID)},
        {QStringLiteral("CheckedForUserDefaultShell"), true},
        // 1: the selection arrives as arguments ("$@"), not on standard input.
        {QStringLiteral("inputMethod"), 1},
        {QStringLiteral("shell"), QStringLiteral("/bin/bash")},
        {QStringLiteral("source"), QString()},
    };
    const QVariantMap emptyProperty;
    const QStringList textTypes{QStringLiteral("com.apple.cocoa.string")};
    return {
        {QStringLiteral("AMAccepts"), QVariantMap{{QStringLiteral("Container"), QStringLiteral("List")},
                                                  {QStringLiteral("Optional"), true},
                                                  {QStringLiteral("Types"), textTypes}}},
        {QStringLiteral("AMActionVersion"), QStringLiteral("2.0.3")},
        {QStringLiteral("AMApplication"), QStringList{QStringLiteral("Automator")}},
        {QStringLiteral("AMParameterProperties"),
         QVariantMap{{QStringLiteral("COMMAND_STRING"), emptyProperty},
                     {QStringLiteral("CheckedForUserDefaultShell"), emptyProperty},
                     {QStringLiteral("inputMethod"), emptyProperty},
                     {QStringLiteral("shell"), emptyProperty},
                     {QStringLiteral("source"), emptyProperty}}},
        {QStringLiteral("AMProvides"),
         QVariantMap{{QStringLiteral("Container"), QStringLiteral("List")}, {QStringLiteral("Types"), textTypes}}},
        {QStringLiteral("ActionBundlePath"), QStringLiteral("/System/Library/Automator/Run Shell Script.action")},
        {QStringLiteral("ActionName"), QStringLiteral("Run Shell Script")},
        {QStringLiteral("ActionParameters"), parameters},
        {QStringLiteral("BundleIdentifier"), QStringLiteral("com.apple.RunShellScript")},
        {QStringLiteral("CFBundleVersion"), QStringLiteral("2.0.3")},
        {QStringLiteral("Category"), QStringList{QStringLiteral("AMCategoryUtilities")}},
        {QStringLiteral("Class Name"), QStringLiteral("RunShellScriptAction")},
    };
}

QVariantMap documentPlist(const QString &urlID)
{
    const QVariantMap metaData{
        {QStringLiteral("serviceApplicationBundleID"), finderBundleID},
        {QStringLiteral("serviceInputTypeIdentifier"), QStringLiteral("com.apple.Automator.fileSystemObject")},
        {QStringLiteral("serviceOutputTypeIdentifier"), QStringLiteral("com.apple.Automator.nothing")},
        {QStringLiteral("workflowTypeIdentifier"), QStringLiteral("com.apple.Automator.servicesMenu")},
    };
    return {
        {QStringLiteral("AMApplicationBuild"), QStringLiteral("520")},
        {QStringLiteral("AMApplicationVersion"), QStringLiteral("2.10")},
        {QStringLiteral("AMDocumentVersion"), QStringLiteral("2")},
        {QStringLiteral("actions"), QVariantList{QVariantMap{{QStringLiteral("action"), runShellScriptAction(urlID)}}}},
        {QStringLiteral("connectors"), QVariantMap()},
        {QStringLiteral("workflowMetaData"), metaData},
    };
}

bool writePlist(const QString &bundle, const QString &relativePath, const QVariantMap &contents, QString *error)
{
    const QByteArray xml = PropertyList::toXml(contents);
    if (xml.isEmpty())
        return writeFailure(error, QStringLiteral("couldn't encode %1").arg(relativePath));
    if (const auto failed = AtomicFile::writeWhole(QDir(bundle).filePath(relativePath), xml))
        return writeFailure(error, QStringLiteral("couldn't write %1: %2").arg(relativePath, *failed));
    return true;
}

} // namespace

std::optional<QuickActionBundle> QuickActionBundle::read(const QString &bundlePath, QString *error)
{
    const QString name = QFileInfo(QDir::cleanPath(bundlePath)).fileName();
    if (!QFileInfo(bundlePath).isDir())
        return failure(error, QStringLiteral("%1 is not a bundle folder").arg(bundlePath));

    const std::optional<QVariantMap> info = readDictionary(bundlePath, name, infoPlistPath, error);
    if (!info)
        return std::nullopt;
    const QVariant services = info->value(QStringLiteral("NSServices"));
    if (!services.isValid())
        return failure(error, QStringLiteral("%1 has no NSServices in %2").arg(name, infoPlistPath));
    if (!isList(services))
        return failure(error, QStringLiteral("%1: NSServices in %2 is not an array").arg(name, infoPlistPath));
    const QVariantList serviceList = services.toList();
    if (serviceList.isEmpty())
        return failure(error, QStringLiteral("%1: NSServices in %2 is empty").arg(name, infoPlistPath));
    if (!isMap(serviceList.first()))
        return failure(error,
                       QStringLiteral("%1: NSServices in %2 holds no service dictionary").arg(name, infoPlistPath));
    const QVariantMap service = serviceList.first().toMap();

    const std::optional<QVariantMap> document = readDictionary(bundlePath, name, documentPath, error);
    if (!document)
        return std::nullopt;

    QuickActionBundle bundle;
    bundle.path = bundlePath;
    bundle.menuName = stringField(service.value(QStringLiteral("NSMenuItem")).toMap(), QStringLiteral("default"));
    if (bundle.menuName.isEmpty()) {
        bundle.menuName = name;
        if (bundle.menuName.endsWith(bundleSuffix))
            bundle.menuName.chop(bundleSuffix.size());
    }
    bundle.isFinderService = requiresFinder(service.value(QStringLiteral("NSRequiredContext")));
    for (const QVariant &type : service.value(QStringLiteral("NSSendFileTypes")).toList()) {
        if (type.typeId() == QMetaType::QString)
            bundle.sendFileTypes.append(type.toString());
    }

    const QVariant actions = document->value(QStringLiteral("actions"));
    if (actions.isValid() && !isList(actions))
        return failure(error, QStringLiteral("%1: \"actions\" in %2 is not an array").arg(name, documentPath));
    const QVariantList actionList = actions.toList();
    for (qsizetype i = 0; i < actionList.size(); ++i) {
        const QVariant action = actionList.at(i).toMap().value(QStringLiteral("action"));
        if (!isMap(action)) {
            return failure(error, QStringLiteral("%1: action %2 in %3 has no \"action\" dictionary")
                                      .arg(name, QString::number(i + 1), documentPath));
        }
        const QVariantMap fields = action.toMap();
        bundle.actions.append({stringField(fields, QStringLiteral("Class Name")),
                               stringField(fields, QStringLiteral("ActionName")),
                               fields.value(QStringLiteral("ActionParameters")).toMap()});
    }
    return bundle;
}

QString QuickActionBundleWriter::shellCommand(const QString &urlID)
{
    // Catalogue ids are plain words; anything else is quoted so the shell passes it through verbatim.
    static const QRegularExpression plainWord(QStringLiteral("^[A-Za-z0-9._-]+$"));
    QString argument = urlID;
    if (!plainWord.match(urlID).hasMatch()) {
        argument.replace(QStringLiteral("'"), QStringLiteral("'\\''"));
        argument = QStringLiteral("'") + argument + QStringLiteral("'");
    }
    return QStringLiteral("vantrel open --workflow ") + argument + QStringLiteral(" -- \"$@\"");
}

bool QuickActionBundleWriter::write(const Workflow &workflow, const QString &urlID, const QString &folder,
                                    bool overwrite, QString *error)
{
    const QString &bundleName = workflow.bundleName;
    if (bundleName.size() <= bundleSuffix.size() || !bundleName.endsWith(bundleSuffix) ||
        bundleName.contains(QLatin1Char('/'))) {
        return writeFailure(error, QStringLiteral("\"%1\" is not a .workflow bundle name").arg(bundleName));
    }
    if (urlID.isEmpty())
        return writeFailure(error, QStringLiteral("%1 has no URL id").arg(bundleName));

    const QDir parent(folder);
    if (!QDir().mkpath(folder))
        return writeFailure(error, QStringLiteral("couldn't create %1").arg(folder));
    const QString target = parent.filePath(bundleName);
    const QFileInfo targetInfo(target);
    const bool replacing = targetInfo.exists() || targetInfo.isSymLink();
    if (replacing && !overwrite)
        return writeFailure(error, QStringLiteral("%1 already exists").arg(target));

    // Assembled beside the target (same file system, so the final rename is atomic) in a hidden,
    // locked holding folder the Services menu ignores, removed on every early return; one left by a
    // killed run is cleared by the next write into this folder.
    const PartialFiles::Folder staging(folder);
    if (!staging.isValid())
        return writeFailure(error, QStringLiteral("couldn't write in %1: %2").arg(folder, staging.errorString()));
    const QString staged = staging.path() + QLatin1Char('/') + bundleName;
    if (!QDir().mkpath(QDir(staged).filePath(QStringLiteral("Contents"))))
        return writeFailure(error, QStringLiteral("couldn't create %1 in %2").arg(bundleName, folder));
    if (!writePlist(staged, infoPlistPath, infoPlist(workflow), error) ||
        !writePlist(staged, documentPath, documentPlist(urlID), error)) {
        return false;
    }

    if (!replacing) {
        if (!QDir().rename(staged, target))
            return writeFailure(error, QStringLiteral("couldn't move %1 into place in %2").arg(bundleName, folder));
        return true;
    }

    // The old bundle moves into a second hidden folder first, so the new one can take its
    // name; it is put back if that fails, and otherwise deleted with the holding folder. This one
    // is no partial: should a run be killed right here, it holds the only copy of the old bundle.
    QTemporaryDir retired(parent.filePath(QStringLiteral(".") + bundleName + QStringLiteral(".old-")));
    if (!retired.isValid())
        return writeFailure(error, QStringLiteral("couldn't write in %1: %2").arg(folder, retired.errorString()));
    const QString retiredPath = retired.filePath(bundleName);
    if (!QDir().rename(target, retiredPath))
        return writeFailure(error, QStringLiteral("couldn't move the existing %1 aside").arg(target));
    if (!QDir().rename(staged, target)) {
        if (QDir().rename(retiredPath, target))
            return writeFailure(error, QStringLiteral("couldn't move %1 into place in %2").arg(bundleName, folder));
        // Neither bundle is in place: keep the old one rather than let the holding folder delete it.
        retired.setAutoRemove(false);
        return writeFailure(error, QStringLiteral("couldn't move %1 into place; the previous bundle is in %2")
                                       .arg(bundleName, retired.path()));
    }
    return true;
}
