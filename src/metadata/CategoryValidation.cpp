#include "metadata/CategoryValidation.h"

#include <QRegularExpression>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace {

bool isUnsupported(uint c)
{
    return c < 0x09 || c == 0x0B || c == 0x0C || (c >= 0x0E && c <= 0x1F) || c == 0x7F ||
           (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

} // namespace

qsizetype CategoryValidation::characterCount(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

bool CategoryValidation::holdsUnsupportedCharacters(const QString &text)
{
    const QList<uint> codePoints = text.toUcs4();
    return std::any_of(codePoints.cbegin(), codePoints.cend(), isUnsupported);
}

QString CategoryValidation::checkName(const QString &name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return QStringLiteral("a category has an empty name");
    if (const qsizetype length = characterCount(trimmed); length > maxNameLength)
        return QStringLiteral("a category name is too long (%1 chars; max %2)").arg(length).arg(maxNameLength);
    if (holdsUnsupportedCharacters(name))
        return QStringLiteral("a category name contains unsupported characters");
    return {};
}

QString CategoryValidation::checkTagCount(const QString &categoryName, qsizetype count)
{
    if (count > maxTags)
        return QStringLiteral("category \"%1\" has too many tags (%2; max %3)")
            .arg(categoryName.trimmed())
            .arg(count)
            .arg(maxTags);
    return {};
}

QString CategoryValidation::checkTag(const QString &categoryName, const QString &tag)
{
    const QString trimmed = tag.trimmed();
    if (trimmed.isEmpty())
        return QStringLiteral("category \"%1\" has an empty tag").arg(categoryName.trimmed());
    if (const qsizetype length = characterCount(trimmed); length > maxTagLength)
        return QStringLiteral("a tag is too long (%1 chars; max %2)").arg(length).arg(maxTagLength);
    if (holdsUnsupportedCharacters(tag))
        return QStringLiteral("category \"%1\" has a tag with unsupported characters").arg(categoryName.trimmed());
    return {};
}

QString CategoryValidation::check(const Category &category)
{
    static const QRegularExpression color(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
    static const QRegularExpression symbol(QStringLiteral("^[A-Za-z0-9._-]+$"));
    if (QString problem = checkName(category.name); !problem.isEmpty())
        return problem;
    const QString name = category.name.trimmed();
    if (!color.match(category.colorHex).hasMatch())
        return QStringLiteral("invalid colour value \"%1\" on category \"%2\"").arg(category.colorHex, name);
    if (category.systemImage.isEmpty() || characterCount(category.systemImage) > maxSystemImageLength ||
        !symbol.match(category.systemImage).hasMatch())
        return QStringLiteral("invalid systemImage on category \"%1\"").arg(name);
    if (QString problem = checkTagCount(name, category.tags.size()); !problem.isEmpty())
        return problem;
    for (const QString &tag : category.tags) {
        if (QString problem = checkTag(name, tag); !problem.isEmpty())
            return problem;
    }
    return {};
}
