#include "platform/PropertyList.h"

#include "platform/RegularFile.h"

#include <QDateTime>
#include <QFile>
#include <QStringList>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace {

// Property list dates count from 2001-01-01T00:00:00Z; this is that instant in Unix milliseconds.
constexpr qint64 referenceDateMSecs = Q_INT64_C(978307200000);

struct PlistDeleter {
    void operator()(void *node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

struct FreeDeleter {
    void operator()(void *memory) const { std::free(memory); }
};

QVariant toVariant(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        if (!iter)
            return map;
        const std::unique_ptr<void, FreeDeleter> iterGuard(iter);
        for (;;) {
            char *rawKey = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, iter, &rawKey, &item);
            const std::unique_ptr<char, FreeDeleter> key(rawKey);
            if (!item)
                break;
            map.insert(QString::fromUtf8(key.get()), toVariant(item));
        }
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(qsizetype(count));
        for (uint32_t i = 0; i < count; ++i)
            list.append(toVariant(plist_array_get_item(node, i)));
        return list;
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QString::fromUtf8(text, qsizetype(length));
    }
    case PLIST_BOOLEAN: {
        uint8_t flag = 0;
        plist_get_bool_val(node, &flag);
        return flag != 0;
    }
    case PLIST_UINT: {
        // libplist keeps every integer as 64 unsigned bits; negative numbers come back two's complement.
        uint64_t number = 0;
        plist_get_uint_val(node, &number);
        return static_cast<qlonglong>(number);
    }
    case PLIST_REAL: {
        double number = 0;
        plist_get_real_val(node, &number);
        return number;
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        const qint64 msecs = referenceDateMSecs + qint64(seconds) * 1000 + microseconds / 1000;
        return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QByteArray(bytes, qsizetype(length));
    }
    case PLIST_UID: {
        uint64_t uid = 0;
        plist_get_uid_val(node, &uid);
        return qulonglong(uid);
    }
    case PLIST_KEY:
    case PLIST_NONE:
        break;
    }
    return {};
}

PlistPtr toNode(const QVariant &value);

PlistPtr dictNode(const QVariantMap &map)
{
    // QVariantMap iterates in key order, and libplist writes keys in insertion order.
    PlistPtr dict(plist_new_dict());
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        PlistPtr item = toNode(it.value());
        if (item)
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), item.release());
    }
    return dict;
}

PlistPtr arrayNode(const QVariantList &list)
{
    PlistPtr array(plist_new_array());
    for (const QVariant &element : list) {
        PlistPtr item = toNode(element);
        if (item)
            plist_array_append_item(array.get(), item.release());
    }
    return array;
}

PlistPtr dateNode(const QDateTime &dateTime)
{
    if (!dateTime.isValid())
        return nullptr;
    const qint64 msecs = dateTime.toMSecsSinceEpoch() - referenceDateMSecs;
    // Floor division, so an instant before the reference date keeps a non-negative fraction.
    qint64 seconds = msecs / 1000;
    qint64 remainder = msecs % 1000;
    if (remainder < 0) {
        seconds -= 1;
        remainder += 1000;
    }
    if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max())
        return nullptr;
    return PlistPtr(plist_new_date(int32_t(seconds), int32_t(remainder * 1000)));
}

PlistPtr toNode(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
        return dictNode(value.toMap());
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        QVariantMap sorted;
        for (auto it = hash.constBegin(); it != hash.constEnd(); ++it)
            sorted.insert(it.key(), it.value());
        return dictNode(sorted);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return arrayNode(value.toList());
    case QMetaType::QString:
        return PlistPtr(plist_new_string(value.toString().toUtf8().constData()));
    case QMetaType::Bool:
        return PlistPtr(plist_new_bool(value.toBool() ? 1 : 0));
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
        return PlistPtr(plist_new_uint(static_cast<uint64_t>(value.toLongLong())));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
        return PlistPtr(plist_new_uint(value.toULongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return PlistPtr(plist_new_real(value.toDouble()));
    case QMetaType::QDateTime:
        return dateNode(value.toDateTime());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return PlistPtr(plist_new_data(bytes.constData(), uint64_t(bytes.size())));
    }
    default:
        return nullptr;
    }
}

} // namespace

PropertyList::ReadResult PropertyList::parse(const QByteArray &data)
{
    if (data.isEmpty())
        return {{}, QStringLiteral("not a property list (no data)")};
    if (quint64(data.size()) > std::numeric_limits<uint32_t>::max())
        return {{}, QStringLiteral("too large for a property list")};

    plist_t raw = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &raw);
    const PlistPtr root(raw);
    if (!root)
        return {{}, QStringLiteral("not a property list")};
    return {toVariant(root.get()), {}};
}

PropertyList::ReadResult PropertyList::readFile(const QString &path)
{
    // Property lists come from bundles and packs others made: only a regular file, and a bounded one.
    constexpr qint64 limit = qint64(16) * 1024 * 1024;
    const RegularFile::Read read = RegularFile::read(path, limit);
    if (!read.ok())
        return {{}, QStringLiteral("couldn't read %1: %2").arg(path, read.reason)};

    ReadResult result = parse(read.bytes);
    if (!result.ok())
        result.error = QStringLiteral("couldn't read %1: %2").arg(path, result.error);
    return result;
}

QByteArray PropertyList::toXml(const QVariant &value)
{
    const PlistPtr root = toNode(value);
    if (!root)
        return {};
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    if (!xml)
        return {};
    QByteArray out(xml, qsizetype(length));
    plist_to_xml_free(xml);
    return out;
}

QByteArray PropertyList::toBinary(const QVariant &value)
{
    const PlistPtr root = toNode(value);
    if (!root)
        return {};
    char *bin = nullptr;
    uint32_t length = 0;
    plist_to_bin(root.get(), &bin, &length);
    if (!bin)
        return {};
    QByteArray out(bin, qsizetype(length));
    plist_to_bin_free(bin);
    return out;
}
