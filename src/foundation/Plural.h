#pragma once

#include <QString>

// A count with its noun: "1 file", "3 files", "2 categories".
inline QString counted(qsizetype count, const QString &singular, const QString &plural = {})
{
    const QString noun = count == 1 ? singular : (plural.isEmpty() ? singular + QLatin1Char('s') : plural);
    return QString::number(count) + QLatin1Char(' ') + noun;
}

// The "s" a noun takes after `count`: "file" + pluralSuffix(n).
inline QString pluralSuffix(qsizetype count)
{
    return count == 1 ? QString() : QStringLiteral("s");
}
