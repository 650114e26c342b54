#include "scan/ScanReport.h"

#include <QJsonArray>

#include <array>
#include <utility>

namespace {

using K = ScanReport::Kind;
struct KindRow {
    K kind;
    const char *name;
    const char *symbol;
};
constexpr std::array<KindRow, 10> kinds{{
    {K::duplicates, "duplicates", "doc.on.doc.fill"},
    {K::stale, "stale", "calendar.badge.clock"},
    {K::large, "large", "scalemass"},
    {K::tidy, "tidy", "tray.2.fill"},
    {K::metadataExport, "metadataExport", "square.and.arrow.up.on.square.fill"},
    {K::metadataRestore, "metadataRestore", "square.and.arrow.down.on.square.fill"},
    {K::tagAudit, "tagAudit", "tag.circle.fill"},
    {K::transferCopy, "transferCopy", "arrow.up.forward.app.fill"},
    {K::transferMove, "transferMove", "arrow.up.forward.app.fill"},
    {K::projectSnapshot, "projectSnapshot", "shippingbox.and.arrow.backward.fill"},
}};

const KindRow &rowOf(K kind)
{
    for (const KindRow &row : kinds) {
        if (row.kind == kind)
            return row;
    }
    return kinds.front();
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QJsonValue dateValue(const std::optional<QDateTime> &date)
{
    return date ? QJsonValue(date->toUTC().toString(Qt::ISODateWithMs)) : QJsonValue();
}

std::optional<QDateTime> dateFrom(const QJsonValue &value)
{
    if (!value.isString())
        return std::nullopt;
    QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

template <typename T> QJsonValue optionalArray(const std::optional<QList<T>> &list, QJsonObject (*encode)(const T &))
{
    if (!list)
        return QJsonValue();
    QJsonArray array;
    for (const T &element : *list)
        array.append(encode(element));
    return array;
}

QJsonObject groupJson(const ScanGroup &group)
{
    return {{QStringLiteral("id"), uuidText(group.id)}, {QStringLiteral("label"), group.label}};
}

QJsonObject moveJson(const PlannedMove &move)
{
    return {{QStringLiteral("id"), uuidText(move.id)},
            {QStringLiteral("source"), move.source},
            {QStringLiteral("destination"), move.destination},
            {QStringLiteral("reason"), move.reason}};
}

QJsonObject itemJson(const ScanItem &item)
{
    return {{QStringLiteral("id"), uuidText(item.id)},
            {QStringLiteral("url"), item.url},
            {QStringLiteral("size"), double(item.size)},
            {QStringLiteral("modificationDate"), dateValue(item.modificationDate)},
            {QStringLiteral("badge"), item.badge ? QJsonValue(*item.badge) : QJsonValue()},
            {QStringLiteral("groupID"), item.groupID ? QJsonValue(uuidText(*item.groupID)) : QJsonValue()}};
}

} // namespace

QString ScanReport::toString(Kind kind)
{
    return QString::fromLatin1(rowOf(kind).name);
}

std::optional<ScanReport::Kind> ScanReport::kindFromString(const QString &raw)
{
    for (const KindRow &row : kinds) {
        if (raw == QLatin1String(row.name))
            return row.kind;
    }
    return std::nullopt;
}

QString ScanReport::symbol(Kind kind)
{
    return QString::fromLatin1(rowOf(kind).symbol);
}

quint64 ScanReport::totalSize() const
{
    quint64 total = 0;
    for (const ScanItem &item : items)
        total += item.size;
    return total;
}

QJsonObject ScanReport::toJson() const
{
    QJsonArray itemArray;
    for (const ScanItem &item : items)
        itemArray.append(itemJson(item));
    return {{QStringLiteral("id"), uuidText(id)},
            {QStringLiteral("workflowID"), workflowID},
            {QStringLiteral("title"), title},
            {QStringLiteral("summary"), summary},
            {QStringLiteral("generatedAt"), dateValue(generatedAt)},
            {QStringLiteral("kind"), toString(kind)},
            {QStringLiteral("items"), itemArray},
            {QStringLiteral("groups"), optionalArray(groups, &groupJson)},
            {QStringLiteral("plannedMoves"), optionalArray(plannedMoves, &moveJson)}};
}

std::optional<ScanReport> ScanReport::fromJson(const QJsonObject &object)
{
    const auto kind = kindFromString(object.value(QStringLiteral("kind")).toString());
    const auto generated = dateFrom(object.value(QStringLiteral("generatedAt")));
    if (!kind || !generated || !object.value(QStringLiteral("items")).isArray())
        return std::nullopt;
    ScanReport report;
    report.id = QUuid::fromString(object.value(QStringLiteral("id")).toString());
    report.workflowID = object.value(QStringLiteral("workflowID")).toString();
    report.title = object.value(QStringLiteral("title")).toString();
    report.summary = object.value(QStringLiteral("summary")).toString();
    report.generatedAt = *generated;
    report.kind = *kind;
    for (const auto &value : object.value(QStringLiteral("items")).toArray()) {
        const QJsonObject item = value.toObject();
        ScanItem row;
        row.id = QUuid::fromString(item.value(QStringLiteral("id")).toString());
        row.url = item.value(QStringLiteral("url")).toString();
        row.size = quint64(item.value(QStringLiteral("size")).toDouble());
        row.modificationDate = dateFrom(item.value(QStringLiteral("modificationDate")));
        if (item.value(QStringLiteral("badge")).isString())
            row.badge = item.value(QStringLiteral("badge")).toString();
        if (item.value(QStringLiteral("groupID")).isString())
            row.groupID = QUuid::fromString(item.value(QStringLiteral("groupID")).toString());
        report.items.append(row);
    }
    if (object.value(QStringLiteral("groups")).isArray()) {
        report.groups.emplace();
        for (const auto &value : object.value(QStringLiteral("groups")).toArray()) {
            const QJsonObject group = value.toObject();
            report.groups->append({QUuid::fromString(group.value(QStringLiteral("id")).toString()),
                                   group.value(QStringLiteral("label")).toString()});
        }
    }
    if (object.value(QStringLiteral("plannedMoves")).isArray()) {
        report.plannedMoves.emplace();
        for (const auto &value : object.value(QStringLiteral("plannedMoves")).toArray()) {
            const QJsonObject move = value.toObject();
            report.plannedMoves->append({QUuid::fromString(move.value(QStringLiteral("id")).toString()),
                                         move.value(QStringLiteral("source")).toString(),
                                         move.value(QStringLiteral("destination")).toString(),
                                         move.value(QStringLiteral("reason")).toString()});
        }
    }
    return report;
}

ScanReport ScanReport::begin(const QString &workflowID, const QString &title, Kind kind)
{
    ScanReport report;
    report.id = QUuid::createUuid();
    report.workflowID = workflowID;
    report.title = title;
    report.generatedAt = QDateTime::currentDateTime();
    report.kind = kind;
    return report;
}

ScanItem ScanReport::itemFor(const QString &url, std::optional<QString> badge)
{
    ScanItem item;
    item.id = QUuid::createUuid();
    item.url = url;
    item.badge = std::move(badge);
    const QList<FileWalker::WalkedFile> walked = FileWalker::walk({url});
    if (!walked.isEmpty()) {
        item.size = walked.first().size;
        item.modificationDate = walked.first().modificationDate;
    }
    return item;
}

QList<ScanThresholds::Preset> ScanThresholds::stalePresets()
{
    QList<Preset> presets;
    for (int days : {30, 90, 180, 365, 730})
        presets.append(
            {days, days >= 365 ? QStringLiteral("%1 yr").arg(days / 365) : QStringLiteral("%1 d").arg(days)});
    return presets;
}

QList<ScanThresholds::Preset> ScanThresholds::largePresets()
{
    QList<Preset> presets;
    for (int megabytes : {10, 50, 100, 500, 1024})
        presets.append({megabytes, megabytes >= 1024 ? QStringLiteral("%1 GB").arg(megabytes / 1024)
                                                     : QStringLiteral("%1 MB").arg(megabytes)});
    return presets;
}

QList<ScanThresholds::Preset> ScanThresholds::tidyPresets()
{
    QList<Preset> presets;
    for (int days : {7, 14, 30, 90})
        presets.append({days, QStringLiteral("%1 d").arg(days)});
    return presets;
}
