#include "cli/OpenCommand.h"

#include "foundation/RunURL.h"
#include "platform/NativeNames.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

std::optional<QStringList> OpenCommand::urls(const QStringList &arguments, QString *error)
{
    if (arguments.value(0) == QLatin1String("--workflow")) {
        const QString id = arguments.value(1);
        if (id.isEmpty() || id.startsWith(QLatin1String("--"))) {
            *error = QStringLiteral("--workflow needs a workflow id.");
            return std::nullopt;
        }
        QStringList rest = arguments.mid(2);
        if (!rest.isEmpty() && rest.first() == QLatin1String("--"))
            rest.removeFirst();
        QStringList paths;
        for (const QString &path : rest)
            paths.append(NativeNames::absolutePath(path));
        return QStringList{RunURL::make(id, paths)};
    }

    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    QStringList result;
    for (const QString &argument : arguments) {
        if (argument == QLatin1String("--"))
            continue;
        if (scheme.match(argument).hasMatch())
            result.append(argument);
        else
            result.append(QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath()).toString(QUrl::FullyEncoded));
    }
    return result;
}
