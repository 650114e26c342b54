#include "platform/ServicesRegistry.h"

#include "platform/AtomicFile.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/linux/ServiceLaunchers.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QStandardPaths>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <system_error>

namespace {

const QLatin1StringView launcherPrefix{"Vantrel - "};
const QLatin1StringView statusKey{"NSServicesStatus"};

QString statusFile()
{
    return Paths::applicationSupport() + QStringLiteral("/services-status.json");
}

std::optional<QString> makeFolder(const QString &folder)
{
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(NativeNames::encode(folder).toStdString()), error);
    if (error)
        return QStringLiteral("couldn't create the folder %1: %2")
            .arg(Paths::displayPath(folder), QString::fromLocal8Bit(error.message()));
    return std::nullopt;
}

// A file that can't be decoded may still be what the user wants back, so it goes to a name of its own
// beside it, never over another file, before a new one takes its place.
std::optional<QString> moveAside(const QString &path)
{
    const QString base = path % QStringLiteral(".unreadable-") %
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QByteArray from = NativeNames::encode(path);
    for (int counter = 1; counter < 10000; ++counter) {
        const QString aside = counter == 1 ? base : base % QStringLiteral(" ") % QString::number(counter);
        if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, NativeNames::encode(aside).constData(),
                        RENAME_NOREPLACE) == 0)
            return std::nullopt;
        if (errno != EEXIST)
            return qt_error_string(errno);
    }
    return qt_error_string(EEXIST);
}

// The file's top-level object; nothing when the file isn't there or doesn't decode to one.
std::optional<QJsonObject> readStatusFile(const QString &path, bool *unreadable)
{
    *unreadable = false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *unreadable = file.exists();
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (file.error() != QFileDevice::NoError || error.error != QJsonParseError::NoError || !document.isObject()) {
        // An empty file holds nothing to lose.
        *unreadable = !bytes.isEmpty() || file.error() != QFileDevice::NoError;
        return std::nullopt;
    }
    return document.object();
}

void regenerateLaunchers(const QStringList &menuNames);
bool launchersIntact(const QString &menuName);
QStringList launcherFolders();
QString shellQuote(QString value);

class LinuxServicesRegistry final : public ServicesRegistry {
public:
    std::optional<QVariantMap> load() override
    {
        bool unreadable = false;
        const std::optional<QJsonObject> root = readStatusFile(statusFile(), &unreadable);
        if (!root || !root->value(statusKey).isObject())
            return std::nullopt;
        return root->value(statusKey).toObject().toVariantMap();
    }

    std::optional<QString> store(const QVariantMap &status) override
    {
        const QString path = statusFile();
        if (auto failed = makeFolder(QFileInfo(path).path()))
            return failed;
        bool unreadable = false;
        // Whatever else the file holds belongs to someone else and goes back as it was.
        QJsonObject root = readStatusFile(path, &unreadable).value_or(QJsonObject());
        if (unreadable) {
            if (const auto failed = moveAside(path))
                return QStringLiteral("%1 can't be read and couldn't be moved aside: %2")
                    .arg(Paths::displayPath(path), *failed);
        }
        root.insert(statusKey, QJsonObject::fromVariantMap(status));
        return AtomicFile::writeWhole(path, QJsonDocument(root).toJson(QJsonDocument::Indented));
    }

    void refresh() override
    {
        const std::optional<QVariantMap> status = load();
        QSet<QString> bundleNames;
        const QDir services(Paths::servicesFolder());
        for (const QFileInfo &bundle :
             services.entryInfoList({QStringLiteral("*.workflow")}, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot)) {
            if (const auto name = ServiceBundles::menuName(bundle.filePath()))
                bundleNames.insert(*name);
        }
        QStringList enabled;
        if (status) {
            // The two halves of every key, as key() builds it.
            const QString opening = QStringLiteral("(null) - ");
            const QString closing = QStringLiteral(" - runWorkflowAsService");
            for (auto entry = status->cbegin(); entry != status->cend(); ++entry) {
                const QString &entryKey = entry.key();
                if (entryKey.size() < opening.size() + closing.size() || !entryKey.startsWith(opening) ||
                    !entryKey.endsWith(closing))
                    continue;
                const QString name = entryKey.mid(opening.size(), entryKey.size() - opening.size() - closing.size());
                // An entry switched off for the context menu, or one whose bundle is gone, gets no launcher.
                const QVariant modes = entry.value().toMap().value(QStringLiteral("presentation_modes"));
                const bool shown = modes.toMap().value(QStringLiteral("ContextMenu"), true).toBool();
                if (shown && bundleNames.contains(name))
                    enabled.append(name);
            }
        }
        regenerateLaunchers(enabled);
    }

    void refreshIfMoved() override
    {
        const QString program = ServiceLaunchers::executable();
        if (program.isEmpty())
            return;
        const QDir scripts(launcherFolders().at(0));
        for (const QFileInfo &script : scripts.entryInfoList({QStringLiteral("Vantrel - *")}, QDir::Files)) {
            QFile file(script.filePath());
            if (file.open(QIODevice::ReadOnly) && !file.readAll().contains(shellQuote(program).toUtf8())) {
                refresh();
                return;
            }
        }
    }

    bool isIntact(const QString &menuName) override
    {
        const std::optional<QVariantMap> status = load();
        return status && status->contains(key(menuName)) && launchersIntact(menuName);
    }
};

QString dataHome()
{
    // The Application Support folder sits directly inside the data home.
    return QFileInfo(Paths::applicationSupport()).path();
}

QStringList launcherFolders()
{
    const QString data = dataHome();
    return {data + QStringLiteral("/nautilus/scripts"), data + QStringLiteral("/nemo/actions"),
            data + QStringLiteral("/kio/servicemenus")};
}

QString shellQuote(QString value)
{
    value.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') % value % QLatin1Char('\'');
}

// A value of a key file (GLib's, the desktop entry's and KDE's alike): a backslash and the control
// characters are escaped, and a blank at either end would be trimmed without its escape.
QString keyFileValue(const QString &value)
{
    QString escaped;
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c == QLatin1Char('\\'))
            escaped += QStringLiteral("\\\\");
        else if (c == QLatin1Char('\n'))
            escaped += QStringLiteral("\\n");
        else if (c == QLatin1Char('\t'))
            escaped += QStringLiteral("\\t");
        else if (c == QLatin1Char('\r'))
            escaped += QStringLiteral("\\r");
        else if (c == QLatin1Char(' ') && (i == 0 || i == value.size() - 1))
            escaped += QStringLiteral("\\s");
        else
            escaped += c;
    }
    return escaped;
}

// Nemo and Dolphin expand field codes in these values; a literal percent sign is written twice.
QString withoutFieldCodes(QString value)
{
    return value.replace(QLatin1Char('%'), QStringLiteral("%%"));
}

// An argument of a desktop entry's Exec key: always in double quotes, with the four characters the
// desktop entry rules reserve inside them escaped.
QString desktopExecArgument(const QString &argument)
{
    QString quoted;
    for (const QChar c : argument) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    return QLatin1Char('"') % withoutFieldCodes(quoted) % QLatin1Char('"');
}

QString fileStem(const QString &menuName)
{
    QString stem = launcherPrefix % menuName;
    return stem.replace(QLatin1Char('/'), QLatin1Char('-'));
}

QString nautilusScript(const QString &program, const QString &menuName)
{
    return QStringLiteral("#!/bin/sh\n"
                          "# Written by Vantrel for one of its Quick Actions; Vantrel rewrites or removes it.\n"
                          "# GNOME Files runs scripts in the folder it shows and may pass names relative to it.\n"
                          "for file do\n"
                          "    shift\n"
                          "    case $file in\n"
                          "    /*) set -- \"$@\" \"$file\" ;;\n"
                          "    *) set -- \"$@\" \"$PWD/$file\" ;;\n"
                          "    esac\n"
                          "done\n"
                          "exec ") %
           shellQuote(program) % QStringLiteral(" service ") % shellQuote(menuName) % QStringLiteral(" -- \"$@\"\n");
}

QString nemoAction(const QString &program, const QString &menuName)
{
    // Nemo splits Exec as a shell would (g_shell_parse_argv), so single quotes hold any name.
    const QString exec = withoutFieldCodes(shellQuote(program)) % QStringLiteral(" service ") %
                         withoutFieldCodes(shellQuote(menuName)) % QStringLiteral(" -- %F");
    return QStringLiteral("[Nemo Action]\n"
                          "Active=true\n"
                          "Name=") %
           keyFileValue(withoutFieldCodes(menuName)) % QStringLiteral("\nComment=") %
           keyFileValue(withoutFieldCodes(QStringLiteral("Vantrel: ") % menuName)) % QStringLiteral("\nExec=") %
           keyFileValue(exec) %
           QStringLiteral("\n"
                          "Icon-Name=system-run\n"
                          "Selection=notnone\n"
                          "Extensions=any;\n");
}

QString dolphinServiceMenu(const QString &program, const QString &menuName)
{
    QString title = menuName;
    // KDE takes a single ampersand for the mark of a keyboard accelerator.
    title.replace(QLatin1Char('&'), QStringLiteral("&&"));
    const QString exec = desktopExecArgument(program) % QStringLiteral(" service ") % desktopExecArgument(menuName) %
                         QStringLiteral(" -- %F");
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Service\n"
                          "Name=Vantrel\n"
                          "MimeType=application/octet-stream;inode/directory;\n"
                          "Actions=vantrel;\n"
                          "X-KDE-Submenu=Vantrel\n"
                          "\n"
                          "[Desktop Action vantrel]\n"
                          "Name=") %
           keyFileValue(title) % QStringLiteral("\nIcon=system-run\nExec=") % keyFileValue(exec) % QStringLiteral("\n");
}

void writeLauncher(const QString &path, const QString &content, unsigned int permissions)
{
    if (const auto failed = makeFolder(QFileInfo(path).path())) {
        qWarning().noquote() << "ServicesRegistry:" << *failed;
        return;
    }
    AtomicFile file(path);
    if (!file.open() || !file.setPermissions(permissions) || !file.write(content.toUtf8()) ||
        !file.commit(AtomicFile::Mode::replace))
        qWarning().noquote() << "ServicesRegistry: couldn't write" << Paths::displayPath(path) << ":"
                             << file.errorString();
}

} // namespace

ServicesRegistry &ServicesRegistry::system()
{
    static LinuxServicesRegistry registry;
    return registry;
}

QString ServiceLaunchers::executable()
{
    const QString chosen = qEnvironmentVariable("VANTREL_EXECUTABLE");
    if (!chosen.isEmpty())
        return QFileInfo(chosen).absoluteFilePath();
    if (QCoreApplication::instance() == nullptr)
        return QStandardPaths::findExecutable(QStringLiteral("vantrel"));
    QString own = QCoreApplication::applicationFilePath();
    if (QFileInfo(own).fileName() == QLatin1String("vantrel"))
        return own;
    // The build tools run beside the executable they build for.
    const QFileInfo sibling(QCoreApplication::applicationDirPath() + QStringLiteral("/vantrel"));
    if (sibling.isExecutable())
        return sibling.absoluteFilePath();
    return QStandardPaths::findExecutable(QStringLiteral("vantrel"));
}

QStringList ServiceLaunchers::paths(const QString &menuName)
{
    const QStringList folders = launcherFolders();
    const QString stem = fileStem(menuName);
    return {folders.at(0) % QLatin1Char('/') % stem,
            folders.at(1) % QLatin1Char('/') % stem % QStringLiteral(".nemo_action"),
            folders.at(2) % QLatin1Char('/') % stem % QStringLiteral(".desktop")};
}

namespace {

// Each launcher of `menuName` stands with what a refresh writes now, and the two that are run as
// programs may be.
bool launchersIntact(const QString &menuName)
{
    const QString program = ServiceLaunchers::executable();
    const QStringList targets = ServiceLaunchers::paths(menuName);
    const QString expected[] = {nautilusScript(program, menuName), nemoAction(program, menuName),
                                dolphinServiceMenu(program, menuName)};
    for (int i = 0; i < 3; ++i) {
        QFile file(targets.at(i));
        if (!file.open(QIODevice::ReadOnly) || file.readAll() != expected[i].toUtf8())
            return false;
        if (i != 1 && !QFileInfo(targets.at(i)).isExecutable())
            return false;
    }
    return true;
}

// Writes the launchers of `menuNames` and removes every other launcher of ours.
void regenerateLaunchers(const QStringList &menuNames)
{
    const QString program = ServiceLaunchers::executable();
    if (program.isEmpty()) {
        // Launchers that start nothing would be worse than the ones already there.
        qWarning() << "ServicesRegistry: no vantrel executable to start, the launchers stay as they are";
        return;
    }
    QSet<QString> written;
    for (const QString &name : menuNames) {
        const QStringList targets = ServiceLaunchers::paths(name);
        // Two names that differ only in a slash share their files; the first keeps them.
        if (written.contains(targets.at(0)))
            continue;
        written.unite(QSet<QString>(targets.cbegin(), targets.cend()));
        writeLauncher(targets.at(0), nautilusScript(program, name), 0755);
        writeLauncher(targets.at(1), nemoAction(program, name), 0644);
        writeLauncher(targets.at(2), dolphinServiceMenu(program, name), 0755);
    }
    for (const QString &folder : launcherFolders()) {
        const QDir dir(folder);
        for (const QString &entry : dir.entryList(QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot)) {
            const QString path = dir.filePath(entry);
            if (entry.startsWith(launcherPrefix) && !written.contains(path) && !QFile::remove(path))
                qWarning().noquote() << "ServicesRegistry: couldn't remove" << Paths::displayPath(path);
        }
    }
}

} // namespace
