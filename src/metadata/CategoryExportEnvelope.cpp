#include "metadata/CategoryExportEnvelope.h"

#include "metadata/CategoryValidation.h"
#include "platform/RegularFile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

template <class... Ts> struct Overloaded : Ts... {
    using Ts::operator()...;
};
template <class... Ts> Overloaded(Ts...) -> Overloaded<Ts...>;

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
        if (const QString problem = CategoryValidation::check(category); !problem.isEmpty())
            return Error{Error::invalidContent{problem}};
    }
    return envelope;
}

QString CategoryExportEnvelope::defaultFileName(const QDate &today)
{
    return QStringLiteral("Vantrel-Categories-%1.vantrelcategories").arg(today.toString(QStringLiteral("yyyy-MM-dd")));
}
