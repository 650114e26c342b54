#include "metadata/CategoryExportEnvelope.h"

#include "platform/RegularFile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

namespace {

template <class... Ts> struct Overloaded : Ts... {
    using Ts::operator()...;
};
template <class... Ts> Overloaded(Ts...) -> Overloaded<Ts...>;

bool isControl(char32_t c)
{
    return c < 0x09 || c == 0x0B || c == 0x0C || (c >= 0x0E && c <= 0x1F) || c == 0x7F ||
           (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool holdsControl(const QString &text)
{
    for (const char32_t c : text.toUcs4()) {
        if (isControl(c))
            return true;
    }
    return false;
}

// Lengths count characters, not UTF-16 units.
qsizetype characters(const QString &text)
{
    return text.toUcs4().size();
}

using Error = CategoryExportEnvelope::ImportError;

} // namespace

QString CategoryExportEnvelope::ImportError::message() const
{
    return std::visit(
        Overloaded{
            [](const readFailed &e) { return QStringLiteral("Couldn't read the file (%1).").arg(e.detail); },
            [](const malformedJSON &e) {
                return QStringLiteral("That doesn't look like a Vantrel categories file (%1).").arg(e.detail);
            },
            [](const futureFormat &e) {
                return QStringLiteral("This file was exported from a newer Vantrel (format v%1). Update Vantrel, "
                                      "then try again.")
                    .arg(e.version);
            },
            [](const unsupportedFormatVersion &e) {
                return QStringLiteral("Unrecognised format version %1. The file may be corrupt or from an "
                                      "unsupported source.")
                    .arg(e.version);
            },
            [](const fileTooLarge &e) {
                return QStringLiteral("File too large (%1 MB). Categories files should be well under 5 MB.")
                    .arg(double(e.bytes) / 1000000.0, 0, 'f', 1);
            },
            [](const tooManyCategories &e) {
                return QStringLiteral("File contains %1 categories — over the safety cap of 500.").arg(e.count);
            },
            [](const invalidContent &e) { return QStringLiteral("File contains invalid content (%1).").arg(e.detail); },
        },
        value);
}

QByteArray CategoryExportEnvelope::encode() const
{
    QJsonArray list;
    for (const Category &category : categories)
        list.append(category.toJson());
    // QJsonObject keeps its keys sorted, so the file reads the same every time.
    const QJsonObject object{{QStringLiteral("formatVersion"), formatVersion},
                             {QStringLiteral("exportedAt"), exportedAt.toUTC().toString(Qt::ISODate)},
                             {QStringLiteral("appVersion"), appVersion},
                             {QStringLiteral("categories"), list}};
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QString CategoryExportEnvelope::validate(const Category &category)
{
    static const QRegularExpression color(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
    static const QRegularExpression symbol(QStringLiteral("^[A-Za-z0-9._-]+$"));
    const QString name = category.name.trimmed();
    if (name.isEmpty())
        return QStringLiteral("a category has an empty name");
    if (characters(name) > maxNameLength)
        return QStringLiteral("a category name is too long (%1 chars; max 80)").arg(characters(name));
    if (holdsControl(category.name))
        return QStringLiteral("a category name contains unsupported characters");
    if (!color.match(category.colorHex).hasMatch())
        return QStringLiteral("invalid colour value \"%1\" on category \"%2\"").arg(category.colorHex, name);
    if (category.systemImage.isEmpty() || characters(category.systemImage) > maxSystemImageLength ||
        !symbol.match(category.systemImage).hasMatch())
        return QStringLiteral("invalid systemImage on category \"%1\"").arg(name);
    if (category.tags.size() > maxTags)
        return QStringLiteral("category \"%1\" has too many tags (%2; max 200)").arg(name).arg(category.tags.size());
    for (const QString &tag : category.tags) {
        const QString trimmed = tag.trimmed();
        if (trimmed.isEmpty())
            return QStringLiteral("category \"%1\" has an empty tag").arg(name);
        if (characters(trimmed) > maxTagLength)
            return QStringLiteral("a tag is too long (%1 chars; max 80)").arg(characters(trimmed));
        if (holdsControl(tag))
            return QStringLiteral("category \"%1\" has a tag with unsupported characters").arg(name);
    }
    return {};
}

std::variant<CategoryExportEnvelope, CategoryExportEnvelope::ImportError>
CategoryExportEnvelope::read(const QString &path)
{
    // The limit holds on the bytes read, not only the size the file declares: a FIFO or /dev/zero
    // declares none and never ends.
    const RegularFile::Read read = RegularFile::read(path, maxFileBytes);
    if (read.failure == RegularFile::Failure::tooLarge)
        return Error{Error::fileTooLarge{read.size}};
    if (!read.ok())
        return Error{Error::readFailed{read.reason}};
    const QByteArray &bytes = read.bytes;

    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return Error{Error::malformedJSON{parseError.errorString()}};
    const QJsonObject object = document.object();
    const QJsonValue version = object.value(QStringLiteral("formatVersion"));
    const QDateTime exported =
        QDateTime::fromString(object.value(QStringLiteral("exportedAt")).toString(), Qt::ISODateWithMs);
    const QJsonValue list = object.value(QStringLiteral("categories"));
    if (!document.isObject() || !version.isDouble() || version.toDouble() != double(version.toInt()) ||
        !exported.isValid() || !object.value(QStringLiteral("appVersion")).isString() || !list.isArray())
        return Error{Error::malformedJSON{QStringLiteral("the envelope's fields are missing or of the wrong type")}};

    CategoryExportEnvelope envelope;
    envelope.formatVersion = version.toInt();
    envelope.exportedAt = exported;
    envelope.appVersion = object.value(QStringLiteral("appVersion")).toString();
    const QJsonArray entries = list.toArray();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const auto category = Category::fromJson(entries[i]);
        if (!category)
            return Error{Error::malformedJSON{QStringLiteral("category %1 can't be read").arg(i + 1)}};
        envelope.categories.append(*category);
    }
    if (envelope.formatVersion > currentFormatVersion)
        return Error{Error::futureFormat{envelope.formatVersion}};
    if (envelope.formatVersion < currentFormatVersion)
        return Error{Error::unsupportedFormatVersion{envelope.formatVersion}};
    if (envelope.categories.size() > maxCategories)
        return Error{Error::tooManyCategories{envelope.categories.size()}};
    for (const Category &category : envelope.categories) {
        if (const QString problem = validate(category); !problem.isEmpty())
            return Error{Error::invalidContent{problem}};
    }
    return envelope;
}

QString CategoryExportEnvelope::defaultFileName(const QDate &today)
{
    return QStringLiteral("Vantrel-Categories-%1.vantrelcategories").arg(today.toString(QStringLiteral("yyyy-MM-dd")));
}
