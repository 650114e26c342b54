#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// Apple property lists (XML or binary) as plain Qt values, through libplist.
//
// Reading: dict -> QVariantMap, array -> QVariantList, string -> QString,
// boolean -> bool, integer -> qlonglong, real -> double, date -> QDateTime (UTC),
// data -> QByteArray, uid -> qulonglong.
namespace PropertyList {

struct ReadResult {
    QVariant value;
    QString error;

    bool ok() const { return error.isEmpty(); }
};

// Decodes an XML or binary property list; on failure `error` says why.
ReadResult parse(const QByteArray &data);

// Reads and decodes the file at `path`: "couldn't read {path}: {reason}" on failure.
ReadResult readFile(const QString &path);

// Encodes `value` as an XML property list. Maps (QVariantMap, QVariantHash) become
// dicts with their keys in sorted order, lists (QVariantList, QStringList) arrays,
// QString strings, bool booleans, the integer types integers, double/float reals,
// QDateTime dates (whole seconds, as the XML form holds no fraction), QByteArray data.
// Values of any other type, and dates a property list can't hold, are left out;
// an unsupported root gives an empty array.
QByteArray toXml(const QVariant &value);
// The same in the binary form, which is what the system keeps in extended attributes.
QByteArray toBinary(const QVariant &value);

} // namespace PropertyList
