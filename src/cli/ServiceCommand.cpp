#include "cli/ServiceCommand.h"

#include "platform/InstanceChannel.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/ServicesRegistry.h"
#include "quickactions/QuickActionBundle.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

namespace {

// The bundle in the Services folder whose menu name is `name`, the user's own included: a launcher
// may name either.
std::optional<QString> bundleNamed(const QString &name)
{
    const QDir services(Paths::servicesFolder());
    for (const QString &entry :
         services.entryList({QStringLiteral("*.workflow")}, QDir::Dirs | QDir::Hidden, QDir::Name)) {
        const QString path = services.filePath(entry);
        if (ServiceBundles::menuName(path) == name)
            return path;
    }
    return std::nullopt;
}

bool isShellScript(const QuickActionBundle::Action &action)
{
    return action.className == QLatin1String("RunShellScriptAction") ||
           action.actionName == QLatin1String("Run Shell Script");
}

// Runs one Run Shell Script step; its exit status.
int runStep(const QuickActionBundle::Action &action, const QStringList &files, const QString &executable,
            QTextStream &err)
{
    QString shell = action.parameters.value(QStringLiteral("shell")).toString();
    if (shell.isEmpty())
        shell = QStringLiteral("/bin/sh");
    const QString command = action.parameters.value(QStringLiteral("COMMAND_STRING")).toString();
    const bool asArguments = action.parameters.value(QStringLiteral("inputMethod")).toInt() == 1;

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString folder = QFileInfo(executable).absolutePath();
    const QString path = environment.value(QStringLiteral("PATH"));
    environment.insert(QStringLiteral("PATH"), path.isEmpty() ? folder : folder + QLatin1Char(':') + path);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    QStringList arguments{QStringLiteral("-c"), command, shell};
    if (asArguments)
        arguments.append(files);
    process.start(shell, arguments);
    if (!process.waitForStarted(-1)) {
        err << QStringLiteral("Couldn't run %1: %2").arg(shell, process.errorString()) << Qt::endl;
        return 1;
    }
    if (!asArguments) {
        for (const QString &file : files)
            process.write(NativeNames::encode(file) + '\n');
    }
    process.closeWriteChannel();
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit)
        return 1;
    return process.exitCode();
}

// A launcher's output goes nowhere a person looks: a failure goes to the running window's banner too.
int failed(const QString &message, QTextStream &err)
{
    err << message << Qt::endl;
    InstanceClient::deliver(Paths::instanceSocket(), {QString(InstanceClient::failurePrefix + message)}, 1000);
    return 1;
}

} // namespace

int ServiceCommand::run(const QStringList &arguments, const QString &executable, QTextStream &err)
{
    const qsizetype dashes = arguments.indexOf(QStringLiteral("--"));
    if (arguments.isEmpty() || dashes == 0 || (dashes > 1) || (dashes < 0 && arguments.size() != 1)) {
        err << QStringLiteral("Usage: vantrel service NAME -- FILE…") << Qt::endl;
        return 2;
    }
    const QString &name = arguments.first();
    const QStringList files = dashes < 0 ? QStringList() : arguments.mid(dashes + 1);

    const auto bundlePath = bundleNamed(name);
    if (!bundlePath)
        return failed(QStringLiteral("No Quick Action named “%1” is installed.").arg(name), err);
    QString error;
    const auto bundle = QuickActionBundle::read(*bundlePath, &error);
    if (!bundle)
        return failed(error, err);
    // Every step is checked before any runs: a Quick Action is never carried out half-way.
    for (const QuickActionBundle::Action &action : bundle->actions) {
        if (!isShellScript(action))
            return failed(QStringLiteral("“%1” can't run here: its “%2” step isn't supported on this system.")
                              .arg(name, action.actionName),
                          err);
    }
    for (const QuickActionBundle::Action &action : bundle->actions) {
        if (const int status = runStep(action, files, executable, err); status != 0) {
            failed(QStringLiteral("“%1” failed (exit status %2).").arg(name).arg(status), err);
            return status;
        }
    }
    return 0;
}
