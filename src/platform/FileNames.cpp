#include "platform/FileNames.h"

#include "platform/NativeNames.h"

#include <QFile>

std::optional<QString> FileNames::partProblem(const QString &text)
{
    if (text.contains(QLatin1Char('/')))
        return QStringLiteral("A file name can't contain “/”.");
    if (text.contains(QChar(u'\0')))
        return QStringLiteral("A file name can't contain a NUL character.");
    return std::nullopt;
}

std::optional<QString> FileNames::problem(const QString &name)
{
    if (name.isEmpty())
        return QStringLiteral("A file name can't be empty.");
    if (name == QLatin1String(".") || name == QLatin1String(".."))
        return QStringLiteral("A file name can't be “.” or “..”.");
    if (auto part = partProblem(name))
        return part;
    if (NativeNames::encode(name).size() > maximumBytes)
        return QStringLiteral("A file name can't be longer than %1 bytes.").arg(maximumBytes);
    return std::nullopt;
}
