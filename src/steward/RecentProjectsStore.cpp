#include "steward/RecentProjectsStore.h"

#include "foundation/Defaults.h"
#include "platform/NativeNames.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

// The root as the file URL the list keeps, bytes that aren't UTF-8 included.
QString toURL(const QString &path)
{
    return NativeNames::fileURL(path);
}

std::optional<QString> fromURL(const QString &text)
{
    const QLatin1String scheme("file://");
    if (!text.startsWith(scheme))
        return std::nullopt;
    const QByteArray bytes = QByteArray::fromPercentEncoding(text.mid(scheme.size()).toUtf8());
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return NativeNames::decode(bytes);
}

} // namespace

RecentProjectsStore::RecentProjectsStore(Defaults &defaults, QObject *parent) : QObject(parent), defaults(defaults)
{
    list = decode(defaults.value(DefaultsKeys::recentProjects)).value_or(QList<Entry>{});
    std::stable_sort(list.begin(), list.end(), [](const Entry &a, const Entry &b) { return a.lastUsed > b.lastUsed; });
}

void RecentProjectsStore::setClock(std::function<QDateTime()> clock)
{
    now = std::move(clock);
}

void RecentProjectsStore::record(const ProjectStructure &structure)
{
    list.removeIf([&structure](const Entry &entry) { return entry.rootURL == structure.projectRoot; });
    // Whole seconds: that is what the stored text keeps, so a list read back equals the one written.
    QDateTime used = now().toUTC();
    used.setMSecsSinceEpoch(used.toMSecsSinceEpoch() / 1000 * 1000);
    list.prepend({structure.projectRoot, ProjectKinds::toString(structure.kind), used});
    if (list.size() > maxEntries)
        list.resize(maxEntries);
    defaults.setValue(DefaultsKeys::recentProjects, encode(list));
    defaults.sync();
    emit entriesChanged();
}

QString RecentProjectsStore::encode(const QList<Entry> &entries)
{
    QJsonArray array;
    for (const Entry &entry : entries) {
        array.append(QJsonObject{{QStringLiteral("rootURL"), toURL(entry.rootURL)},
                                 {QStringLiteral("kindRaw"), entry.kindRaw},
                                 {QStringLiteral("lastUsed"), entry.lastUsed.toUTC().toString(Qt::ISODate)}});
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

std::optional<QList<RecentProjectsStore::Entry>> RecentProjectsStore::decode(const QString &text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    QList<Entry> entries;
    // One entry that doesn't read spoils the list: half a list would drop projects without a word.
    const QJsonArray array = document.array();
    for (const QJsonValue value : array) {
        const QJsonObject object = value.toObject();
        const QJsonValue root = object.value(QStringLiteral("rootURL"));
        const QJsonValue kind = object.value(QStringLiteral("kindRaw"));
        const QJsonValue used = object.value(QStringLiteral("lastUsed"));
        if (!root.isString() || !kind.isString() || !used.isString())
            return std::nullopt;
        const std::optional<QString> path = fromURL(root.toString());
        const QDateTime lastUsed = QDateTime::fromString(used.toString(), Qt::ISODate);
        if (!path || !lastUsed.isValid())
            return std::nullopt;
        entries.append({*path, kind.toString(), lastUsed.toUTC()});
    }
    return entries;
}
