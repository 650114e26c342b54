#include "platform/Indexer.h"

#include <QFileInfo>
#include <QProcess>

namespace {

bool failed(QString *reason, const QString &why)
{
    if (reason)
        *reason = why;
    return false;
}

} // namespace

bool Indexer::refresh(const QString &path, QString *reason)
{
    const auto found = command(path);
    if (!found)
        return failed(reason, QStringLiteral("No desktop indexer is installed (tracker3, balooctl6 or balooctl)."));
    const QString name = QFileInfo(found->program).fileName();
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(found->program, found->arguments);
    if (!process.waitForStarted())
        return failed(reason, QStringLiteral("%1 couldn't be started: %2").arg(name, process.errorString()));
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit)
        return failed(reason, QStringLiteral("%1 stopped unexpectedly.").arg(name));
    if (process.exitCode() == 0)
        return true;
    // The tool's own first line of complaint, when it gives one, says more than its status.
    const QString said =
        QString::fromLocal8Bit(process.readAllStandardError()).trimmed().section(QLatin1Char('\n'), 0, 0);
    QString why = QStringLiteral("%1 exited with status %2").arg(name).arg(process.exitCode());
    if (!said.isEmpty())
        why += QStringLiteral(": ") + said;
    return failed(reason, why);
}
