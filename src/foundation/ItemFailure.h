#pragma once

#include <QJsonArray>
#include <QList>
#include <QString>

// One file a run couldn't change, and why: the system's own words ("Operation not permitted"). A run
// that counts failures keeps these too, so the user reads the cause and a script gets every path.
struct ItemFailure {
    QString path;
    QString reason;
    bool operator==(const ItemFailure &) const = default;
};

namespace ItemFailures {

// A count text that ends in "." with the first failure's reason behind it: "All 3 updates failed." becomes
// "All 3 updates failed: Operation not permitted.". Without failures, or without a reason, the text stays.
QString withFirstReason(const QString &text, const QList<ItemFailure> &failures);

// [{"path": …, "reason": …}, …], in the order the files were tried.
QJsonArray toJson(const QList<ItemFailure> &failures);

} // namespace ItemFailures
