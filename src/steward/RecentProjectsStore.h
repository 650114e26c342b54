#pragma once

#include "steward/ProjectStructure.h"

#include <QDateTime>
#include <QList>
#include <QObject>

#include <functional>

class Defaults;

// The projects the user worked on lately, newest first, kept in user defaults as JSON text.
class RecentProjectsStore : public QObject {
    Q_OBJECT
public:
    struct Entry {
        QString rootURL;
        QString kindRaw;
        QDateTime lastUsed;
        bool operator==(const Entry &) const = default;
    };
    static constexpr int maxEntries = 12;

    // Reads the list; a stored value that doesn't decode is an empty list.
    explicit RecentProjectsStore(Defaults &defaults, QObject *parent = nullptr);

    const QList<Entry> &entries() const { return list; }
    // Puts the project first as used now, dropping its older entry and whatever falls past the cap.
    void record(const ProjectStructure &structure);
    // "Now"; tests set it.
    void setClock(std::function<QDateTime()> clock);

    static QString encode(const QList<Entry> &entries);
    static std::optional<QList<Entry>> decode(const QString &text);

signals:
    void entriesChanged();

private:
    Defaults &defaults;
    QList<Entry> list;
    std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
};
