#pragma once

#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// A library entry as a script names it: an id or, failing that, a name, exact first, then without
// regard to case.
template <typename T> std::optional<QUuid> findByIDOrName(const QList<T> &list, const QString &key)
{
    const QUuid id = QUuid::fromString(key);
    for (const T &item : list) {
        if ((!id.isNull() && item.id == id) || item.name == key)
            return item.id;
    }
    for (const T &item : list) {
        if (item.name.compare(key, Qt::CaseInsensitive) == 0)
            return item.id;
    }
    return std::nullopt;
}
