#pragma once

#include "app/diagnostics/ActionReceipt.h"
#include "app/diagnostics/JSONLWriter.h"
#include "platform/Paths.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

class Defaults;

// The audit trail of this run. Recording is off unless the user turns it on;
// while on, every receipt is kept in memory (the newest 5,000) and appended to
// this run's own session file. Paths in it are stripped of account names. The
// folder's old session files are pruned by age and by total size at each start.
// Lives on the main thread: `rows` is touched from there alone.
class DiagnosticLog : public QObject {
    Q_OBJECT
public:
    static constexpr qsizetype kMaxRows = 5000;
    static constexpr qint64 kMaxAgeSeconds = 2'592'000;     // 30 days
    static constexpr qint64 kMaxTotalBytes = 20'971'520;    // 20 MiB, not 20 MB
    static constexpr const char *kSessionPrefix = "session-";

    // Application Support/Diagnostics, read from the environment when called.
    static QString defaultFolder() { return Paths::applicationSupport() + QStringLiteral("/Diagnostics"); }

    // Starts with no rows, opens a session file if recording is on, then prunes `folder`.
    explicit DiagnosticLog(Defaults &defaults, QString folder = defaultFolder(), QObject *parent = nullptr);
    ~DiagnosticLog() override;

    // Keeps one receipt, redacted, when recording is on; does nothing otherwise.
    void record(ActionReceipt::Kind kind, const QString &source, std::optional<QString> before = std::nullopt,
                std::optional<QString> after = std::nullopt, std::optional<QString> error = std::nullopt,
                std::optional<QUuid> correlationID = std::nullopt);

    // The switch in Settings. Turning on records the switch itself as the first
    // receipt; turning off forgets this run entirely, rows and session file.
    void setEnabled(bool enabled);
    // Reads the user default each time: the whole cost of recording while off.
    bool enabled() const;

    // Oldest first.
    const QList<ActionReceipt> &rows() const { return trail; }
    // This run's session file; empty while there is no writer.
    QString sessionFile() const;
    // Present only while recording is on and the session file could be opened.
    JSONLWriter *writer() const { return output.get(); }
    QString folder() const { return directory; }

    // Removes "session-" files modified more than 30 days before `now`, then
    // the oldest files of the folder while all of them together exceed 20 MiB.
    static void prune(const QString &folder, const QDateTime &now);

signals:
    void rowsChanged();

private:
    Defaults &defaults;
    const QString directory;
    QList<ActionReceipt> trail;
    std::unique_ptr<JSONLWriter> output;
};
