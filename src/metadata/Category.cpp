#include "metadata/Category.h"

#include <QJsonArray>

#include <array>

namespace {

constexpr std::array<const char *, 8> paletteColors{"#8B5CF6", "#38BDF8", "#A78BFA", "#34D399",
                                                    "#F59E0B", "#60A5FA", "#F87171", "#A28BFF"};
constexpr std::array<const char *, 8> paletteSymbols{"folder.fill",         "person.2.fill", "checkmark.circle.fill",
                                                     "photo.fill",          "tag.fill",      "doc.fill",
                                                     "books.vertical.fill", "tray.full.fill"};

} // namespace

QJsonObject Category::toJson() const
{
    return {{QStringLiteral("id"), id.toString(QUuid::WithoutBraces).toUpper()},
            {QStringLiteral("name"), name},
            {QStringLiteral("colorHex"), colorHex},
            {QStringLiteral("tags"), QJsonArray::fromStringList(tags)},
            {QStringLiteral("systemImage"), systemImage}};
}

std::optional<Category> Category::fromJson(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const QUuid id = QUuid::fromString(object.value(QStringLiteral("id")).toString());
    const QJsonValue tags = object.value(QStringLiteral("tags"));
    if (id.isNull() || !object.value(QStringLiteral("name")).isString() ||
        !object.value(QStringLiteral("colorHex")).isString() ||
        !object.value(QStringLiteral("systemImage")).isString() || !tags.isArray())
        return std::nullopt;
    Category category;
    category.id = id;
    category.name = object.value(QStringLiteral("name")).toString();
    category.colorHex = object.value(QStringLiteral("colorHex")).toString();
    category.systemImage = object.value(QStringLiteral("systemImage")).toString();
    for (const auto &tag : tags.toArray()) {
        if (!tag.isString())
            return std::nullopt;
        category.tags.append(tag.toString());
    }
    return category;
}

QString Category::paletteColor(qsizetype position)
{
    return QString::fromLatin1(paletteColors[std::size_t(position % qsizetype(paletteColors.size()))]);
}

QString Category::paletteSymbol(qsizetype position)
{
    return QString::fromLatin1(paletteSymbols[std::size_t(position % qsizetype(paletteSymbols.size()))]);
}

QList<Category> Category::seed()
{
    // The ids are made once a run, so resetting twice gives the same library.
    static const QList<Category> seeded{
        {QUuid::createUuid(),
         QStringLiteral("Projects"),
         QStringLiteral("#8B5CF6"),
         {QStringLiteral("Active"), QStringLiteral("Archive"), QStringLiteral("Reference")},
         QStringLiteral("folder.fill")},
        {QUuid::createUuid(),
         QStringLiteral("Clients"),
         QStringLiteral("#38BDF8"),
         {QStringLiteral("Acme"), QStringLiteral("Initech"), QStringLiteral("Globex"), QStringLiteral("Hooli")},
         QStringLiteral("person.2.fill")},
        {QUuid::createUuid(),
         QStringLiteral("Status"),
         QStringLiteral("#A78BFA"),
         {QStringLiteral("In Progress"), QStringLiteral("Blocked"), QStringLiteral("Done"),
          QStringLiteral("Needs Review")},
         QStringLiteral("checkmark.circle.fill")},
        {QUuid::createUuid(),
         QStringLiteral("Media"),
         QStringLiteral("#34D399"),
         {QStringLiteral("Raw"), QStringLiteral("Edited"), QStringLiteral("Delivered")},
         QStringLiteral("photo.fill")},
    };
    return seeded;
}
