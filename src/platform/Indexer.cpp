#include "platform/Indexer.h"

#include <QProcess>

bool Indexer::refresh(const QString &path)
{
    const auto found = command(path);
    if (!found)
        return false;
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(found->program, found->arguments);
    if (!process.waitForStarted())
        return false;
    process.waitForFinished(-1);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}
