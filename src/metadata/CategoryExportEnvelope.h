#pragma once

#include "metadata/Category.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <variant>

// The export file of the category library: a versioned envelope around the list.
// Imported files are foreign input: capped in size and count and checked field
// by field before anything changes.
struct CategoryExportEnvelope {
    static constexpr int currentFormatVersion = 1;
    static constexpr qint64 maxFileBytes = 5000000;
    static constexpr qsizetype maxCategories = 500;

    int formatVersion = currentFormatVersion;
    QDateTime exportedAt;
    QString appVersion;
    QList<Category> categories;

    // Why an import was refused; `message()` is what the user reads.
    struct ImportError {
        struct readFailed {
            QString detail;
        };
        struct malformedJSON {
            QString detail;
        };
        struct futureFormat {
            int version = 0;
        };
        struct unsupportedFormatVersion {
            int version = 0;
        };
        struct fileTooLarge {
            qint64 bytes = 0;
        };
        struct tooManyCategories {
            qsizetype count = 0;
        };
        struct invalidContent {
            QString detail;
        };
        std::variant<readFailed, malformedJSON, futureFormat, unsupportedFormatVersion, fileTooLarge, tooManyCategories,
                     invalidContent>
            value;
        QString message() const;
    };

    // Pretty-printed, sorted keys, ISO 8601 dates.
    QByteArray encode() const;
    // Reads and checks an export file: size, decoding, version, count, then each category by the
    // library's own rules (CategoryValidation).
    static std::variant<CategoryExportEnvelope, ImportError> read(const QString &path);
    // "Vantrel-Categories-{yyyy-MM-dd}.vantrelcategories"
    static QString defaultFileName(const QDate &today);
};
