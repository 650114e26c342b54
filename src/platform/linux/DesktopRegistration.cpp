#include "platform/DesktopRegistration.h"

#include "platform/AtomicFile.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace {

QString dataHome()
{
    // The Application Support folder sits directly inside the data home.
    return QFileInfo(Paths::applicationSupport()).path();
}

bool writeAtomically(const QString &path, const QByteArray &content, QString *error)
{
    if (!QDir().mkpath(QFileInfo(path).path())) {
        *error = QStringLiteral("Couldn't create the folder for %1.").arg(Paths::displayPath(path));
        return false;
    }
    if (const auto failed = AtomicFile::writeWhole(path, content)) {
        *error = QStringLiteral("Couldn't write %1: %2").arg(Paths::displayPath(path), *failed);
        return false;
    }
    return true;
}

// Quotes an argument of the Exec key as the desktop entry specification asks.
QString quoteExec(const QString &argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool needsQuotes = false;
    for (const QChar c : argument)
        needsQuotes = needsQuotes || reserved.contains(c);
    if (!needsQuotes)
        return argument;
    QString quoted = argument;
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\\\\\"));
    quoted.replace(QLatin1Char('"'), QStringLiteral("\\\\\""));
    quoted.replace(QLatin1Char('`'), QStringLiteral("\\\\`"));
    quoted.replace(QLatin1Char('$'), QStringLiteral("\\\\$"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

// Runs a helper when it is installed; a desktop without it simply goes without.
void runIfPresent(const QString &program, const QStringList &arguments, DesktopRegistration::Result &result)
{
    const QString found = QStandardPaths::findExecutable(program);
    if (found.isEmpty())
        return;
    QProcess process;
    process.start(found, arguments);
    const QString line = (QStringList{program} + arguments).join(QLatin1Char(' '));
    if (!process.waitForFinished(15000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        result.problems.append(QStringLiteral("%1 failed: %2")
                                   .arg(line, QString::fromLocal8Bit(process.readAllStandardError()).trimmed()));
        return;
    }
    result.ran.append(line);
}

} // namespace

QString DesktopRegistration::desktopEntryPath()
{
    return dataHome() + QStringLiteral("/applications/vantrel.desktop");
}

QString DesktopRegistration::mimePackagePath()
{
    return dataHome() + QStringLiteral("/mime/packages/vantrel.xml");
}

QString DesktopRegistration::desktopEntry(const QString &executable)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Vantrel\n"
                          "GenericName=File manager toolkit\n"
                          "Comment=Tag, clean, scan, move and archive files from your file manager\n"
                          "Exec=%1 open %U\n"
                          "Icon=folder\n"
                          "Terminal=false\n"
                          "Categories=Utility;FileTools;\n"
                          "MimeType=x-scheme-handler/vantrel;%2;\n")
        .arg(quoteExec(executable), packMimeType);
}

QString DesktopRegistration::mimePackage()
{
    return QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
                          "  <mime-type type=\"%1\">\n"
                          "    <comment>Vantrel automation pack</comment>\n"
                          "    <sub-class-of type=\"application/zip\"/>\n"
                          "    <glob pattern=\"*.vantrelpack\" case-sensitive=\"false\"/>\n"
                          "  </mime-type>\n"
                          "</mime-info>\n")
        .arg(packMimeType);
}

bool DesktopRegistration::needsRegistration(const QString &executable)
{
    QFile file(desktopEntryPath());
    if (!file.open(QIODevice::ReadOnly))
        return true;
    return QString::fromUtf8(file.readAll()) != desktopEntry(executable);
}

DesktopRegistration::Result DesktopRegistration::registerApplication(const QString &executable)
{
    Result result;
    QString error;
    for (const auto &[path, content] :
         {std::pair{desktopEntryPath(), desktopEntry(executable)}, std::pair{mimePackagePath(), mimePackage()}}) {
        if (writeAtomically(path, content.toUtf8(), &error))
            result.written.append(path);
        else
            result.problems.append(error);
    }
    if (!result.problems.isEmpty())
        return result;
    runIfPresent(QStringLiteral("update-mime-database"), {dataHome() + QStringLiteral("/mime")}, result);
    runIfPresent(QStringLiteral("update-desktop-database"), {dataHome() + QStringLiteral("/applications")}, result);
    for (const QString &type : {QStringLiteral("x-scheme-handler/vantrel"), QString(packMimeType)})
        runIfPresent(QStringLiteral("xdg-mime"), {QStringLiteral("default"), QStringLiteral("vantrel.desktop"), type},
                     result);
    return result;
}
