#include "scan/ScanReport.h"

#include "foundation/ByteCountFormatter.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <utility>

namespace {

using Kind = ScanReport::Kind;

struct KindRow {
    Kind kind;
    const char *raw;
    const char *symbol;
};

// One row per kind: its raw value and the symbol of the results window. Both transfer kinds share one.
constexpr std::array<KindRow, 10> kindTable{{
    {Kind::duplicates, "duplicates", "doc.on.doc.fill"},
    {Kind::stale, "stale", "calendar.badge.clock"},
    {Kind::large, "large", "scalemass"},
    {Kind::tidy, "tidy", "tray.2.fill"},
    {Kind::metadataExport, "metadataExport", "square.and.arrow.up.on.square.fill"},
    {Kind::metadataRestore, "metadataRestore", "square.and.arrow.down.on.square.fill"},
    {Kind::tagAudit, "tagAudit", "tag.circle.fill"},
    {Kind::transferCopy, "transferCopy", "arrow.up.forward.app.fill"},
    {Kind::transferMove, "transferMove", "arrow.up.forward.app.fill"},
    {Kind::projectSnapshot, "projectSnapshot", "shippingbox.and.arrow.backward.fill"},
}};

const KindRow &rowOf(Kind kind)
{
    return *std::find_if(kindTable.begin(), kindTable.end(), [kind](const KindRow &row) { return row.kind == kind; });
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QUuid uuidFrom(const QJsonValue &value)
{
    return QUuid::fromString(value.toString());
}

QJsonValue dateValue(const QDateTime &date)
{
    return date.isValid() ? QJsonValue(date.toUTC().toString(Qt::ISODateWithMs)) : QJsonValue();
}

std::optional<QDateTime> dateFrom(const QJsonValue &value)
{
    if (!value.isString())
        return std::nullopt;
    const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!date.isValid())
        return std::nullopt;
    return date;
}

QJsonValue textOrNull(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

QJsonObject itemJson(const ScanItem &item)
{
    return {
        {QStringLiteral("id"), uuidText(item.id)},
        {QStringLiteral("url"), item.url},
        // An integer, not a double, so that sizes past 2^53 bytes keep every digit.
        {QStringLiteral("size"), qint64(item.size)},
        {QStringLiteral("modificationDate"), item.modificationDate ? dateValue(*item.modificationDate) : QJsonValue()},
        {QStringLiteral("badge"), textOrNull(item.badge)},
        {QStringLiteral("groupID"), item.groupID ? QJsonValue(uuidText(*item.groupID)) : QJsonValue()}};
}

ScanItem itemFrom(const QJsonObject &object)
{
    ScanItem item;
    item.id = uuidFrom(object.value(QStringLiteral("id")));
    item.url = object.value(QStringLiteral("url")).toString();
    item.size = quint64(std::max<qint64>(0, object.value(QStringLiteral("size")).toInteger()));
    item.modificationDate = dateFrom(object.value(QStringLiteral("modificationDate")));
    const QJsonValue badge = object.value(QStringLiteral("badge"));
    if (badge.isString())
        item.badge = badge.toString();
    const QJsonValue group = object.value(QStringLiteral("groupID"));
    if (group.isString())
        item.groupID = uuidFrom(group);
    return item;
}

QJsonObject groupJson(const ScanGroup &group)
{
    return {{QStringLiteral("id"), uuidText(group.id)}, {QStringLiteral("label"), group.label}};
}

ScanGroup groupFrom(const QJsonObject &object)
{
    return {uuidFrom(object.value(QStringLiteral("id"))), object.value(QStringLiteral("label")).toString()};
}

QJsonObject moveJson(const PlannedMove &move)
{
    return {{QStringLiteral("id"), uuidText(move.id)},
            {QStringLiteral("source"), move.source},
            {QStringLiteral("destination"), move.destination},
            {QStringLiteral("reason"), move.reason}};
}

PlannedMove moveFrom(const QJsonObject &object)
{
    return {uuidFrom(object.value(QStringLiteral("id"))), object.value(QStringLiteral("source")).toString(),
            object.value(QStringLiteral("destination")).toString(), object.value(QStringLiteral("reason")).toString()};
}

ItemFailure failureFrom(const QJsonObject &object)
{
    return {object.value(QStringLiteral("path")).toString(), object.value(QStringLiteral("reason")).toString()};
}

template <typename T> QJsonValue arrayOrNull(const std::optional<QList<T>> &list, QJsonObject (*encode)(const T &))
{
    if (!list)
        return QJsonValue();
    QJsonArray array;
    for (const T &element : *list)
        array.append(encode(element));
    return array;
}

// The elements of an array of objects; nothing when the value isn't one.
template <typename T> std::optional<QList<T>> listFrom(const QJsonValue &value, T (*decode)(const QJsonObject &))
{
    if (!value.isArray())
        return std::nullopt;
    QList<T> list;
    for (const QJsonValue element : value.toArray()) {
        if (!element.isObject())
            return std::nullopt;
        list.append(decode(element.toObject()));
    }
    return list;
}

QList<ScanThresholds::Preset> presets(std::initializer_list<int> values, QString (*label)(int))
{
    QList<ScanThresholds::Preset> list;
    for (int value : values)
        list.append({value, label(value)});
    return list;
}

} // namespace

QString ScanReport::toString(Kind kind)
{
    return QString::fromLatin1(rowOf(kind).raw);
}

std::optional<ScanReport::Kind> ScanReport::kindFromString(const QString &raw)
{
    for (const KindRow &row : kindTable) {
        if (raw == QLatin1String(row.raw))
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

QJsonObject ScanReport::toJson(const ScanItem &item)
{
    return itemJson(item);
}

QJsonObject ScanReport::toJson(bool includeItems) const
{
    QJsonObject object{{QStringLiteral("id"), uuidText(id)},
                       {QStringLiteral("workflowID"), workflowID},
                       {QStringLiteral("title"), title},
                       {QStringLiteral("summary"), summary},
                       {QStringLiteral("generatedAt"), dateValue(generatedAt)},
                       {QStringLiteral("kind"), toString(kind)},
                       {QStringLiteral("groups"), arrayOrNull(groups, &groupJson)},
                       {QStringLiteral("plannedMoves"), arrayOrNull(plannedMoves, &moveJson)},
                       {QStringLiteral("failures"), ItemFailures::toJson(failures)}};
    if (includeItems) {
        QJsonArray itemArray;
        for (const ScanItem &item : items)
            itemArray.append(itemJson(item));
        object.insert(QStringLiteral("items"), itemArray);
    }
    return object;
}

std::optional<ScanReport> ScanReport::fromJson(const QJsonObject &object)
{
    const std::optional<Kind> kind = kindFromString(object.value(QStringLiteral("kind")).toString());
    const std::optional<QDateTime> generatedAt = dateFrom(object.value(QStringLiteral("generatedAt")));
    std::optional<QList<ScanItem>> items = listFrom(object.value(QStringLiteral("items")), &itemFrom);
    if (!kind || !generatedAt || !items)
        return std::nullopt;
    ScanReport report;
    report.id = uuidFrom(object.value(QStringLiteral("id")));
    report.workflowID = object.value(QStringLiteral("workflowID")).toString();
    report.title = object.value(QStringLiteral("title")).toString();
    report.summary = object.value(QStringLiteral("summary")).toString();
    report.generatedAt = *generatedAt;
    report.kind = *kind;
    report.items = std::move(*items);
    // null (or anything that isn't a list of objects) reads as absent.
    report.groups = listFrom(object.value(QStringLiteral("groups")), &groupFrom);
    report.plannedMoves = listFrom(object.value(QStringLiteral("plannedMoves")), &moveFrom);
    report.failures = listFrom(object.value(QStringLiteral("failures")), &failureFrom).value_or(QList<ItemFailure>());
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
    if (const std::optional<FileWalker::WalkedFile> first = FileWalker::firstFile(url)) {
        item.size = first->size;
        item.modificationDate = first->modificationDate;
    }
    return item;
}

QList<ScanThresholds::Preset> ScanThresholds::stalePresets()
{
    return presets({30, 90, 180, 365, 730}, [](int days) {
        return days >= 365 ? QStringLiteral("%1 yr").arg(days / 365) : QStringLiteral("%1 d").arg(days);
    });
}

QList<ScanThresholds::Preset> ScanThresholds::largePresets()
{
    return presets({10, 50, 100, 500, 1024}, [](int megabytes) {
        return megabytes >= 1024 ? QStringLiteral("%1 GB").arg(megabytes / 1024)
                                 : QStringLiteral("%1 MB").arg(megabytes);
    });
}

QList<ScanThresholds::Preset> ScanThresholds::tidyPresets()
{
    return presets({7, 14, 30, 90}, [](int days) { return QStringLiteral("%1 d").arg(days); });
}

int ScanThresholds::atLaunch(int stored, int floor)
{
    return std::max(stored, floor);
}

ProgressThrottle::ProgressThrottle(int total) : total(total), every(total < 60 ? 1 : total / 60) {}

bool ProgressThrottle::shouldPublish(int index) const
{
    return index % every == 0 || index == total - 1;
}

QString ScanProgress::byteDetail() const
{
    if (bytesTotal <= 0)
        return {};
    QString text = QStringLiteral("%1 of %2")
                       .arg(ByteCountFormatter::format(quint64(std::max<qint64>(bytesProcessed, 0))),
                            ByteCountFormatter::format(quint64(bytesTotal)));
    if (!secondsLeft)
        return text;
    const qint64 left = *secondsLeft;
    QString time;
    if (left < 60)
        time = QStringLiteral("less than a minute left");
    else if (left < 3600)
        time = QStringLiteral("about %1 min left").arg((left + 30) / 60);
    else
        time = QStringLiteral("about %1 h %2 min left").arg(left / 3600).arg((left % 3600) / 60);
    return text + QStringLiteral(" · ") + time;
}
