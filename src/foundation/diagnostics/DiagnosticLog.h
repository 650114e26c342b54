#pragma once

#include "foundation/diagnostics/ActionReceipt.h"
#include "foundation/diagnostics/JSONLWriter.h"

#include <QDateTime>
#include <QList>
#include <QObject>

#include <memory>
#include <optional>

class Defaults;

// The audit trail of this run: off unless the user turns it on, kept in memory
// (the newest 5,000 receipts) and, while on, in this run's own file. Old files
// are pruned by age and by total size at every start.
class DiagnosticLog : public QObject {
    Q_OBJECT
public:
    static constexpr qsizetype maxRows = 5000;
    static constexpr qint64 maxAgeSeconds = 2592000;  // 30 days
    static constexpr qint64 maxTotalBytes = 20971520; // 20 MiB

    explicit DiagnosticLog(Defaults &defaults, QString folder = {}, QObject *parent = nullptr);
    ~DiagnosticLog() override;

    static QString defaultFolder();

    bool enabled() const;
    void setEnabled(bool enabled);
    void record(ActionReceipt::Kind kind, const QString &source, std::optional<QString> before = std::nullopt,
                std::optional<QString> after = std::nullopt, std::optional<QString> error = std::nullopt,
                std::optional<QUuid> correlationID = std::nullopt);

    const QList<ActionReceipt> &rows() const { return trail; }
    // This run's file; empty while nothing is written.
    QString sessionFile() const;
    JSONLWriter *writer() const { return output.get(); }
    QString folder() const { return directory; }

    static void prune(const QString &folder, const QDateTime &now);

signals:
    void rowsChanged();

private:
    Defaults &defaults;
    QString directory;
    QList<ActionReceipt> trail;
    std::unique_ptr<JSONLWriter> output;
};
