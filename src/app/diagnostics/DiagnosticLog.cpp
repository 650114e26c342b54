#include "app/diagnostics/DiagnosticLog.h"

#include "app/Defaults.h"
#include "app/diagnostics/Redaction.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

std::optional<QString> redacted(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return Redaction::redact(*text);
}

// What pruning needs of one entry, read once per listing.
struct Entry {
    QString path;
    QDateTime modified; // invalid when the file system gave none
    qint64 size = 0;
};

QList<Entry> listFiles(const QString &folder, bool sessionsOnly)
{
    QList<Entry> entries;
    const QFileInfoList infos =
        QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QFileInfo &info : infos) {
        if (sessionsOnly && !info.fileName().startsWith(QLatin1String(DiagnosticLog::kSessionPrefix)))
            continue;
        entries.append({info.filePath(), info.lastModified(), std::max<qint64>(0, info.size())});
    }
    return entries;
}

} // namespace

DiagnosticLog::DiagnosticLog(Defaults &store, QString folder, QObject *parent)
    : QObject(parent), defaults(store), directory(std::move(folder))
{
    if (enabled())
        output = JSONLWriter::open(directory);
    // After the writer, so this run's file takes part; being the newest, it goes last.
    prune(directory, QDateTime::currentDateTimeUtc());
}

DiagnosticLog::~DiagnosticLog() = default;

bool DiagnosticLog::enabled() const
{
    return defaults.value(DefaultsKeys::diagnosticsEnabled);
}

QString DiagnosticLog::sessionFile() const
{
    return output ? output->url() : QString();
}

void DiagnosticLog::record(ActionReceipt::Kind kind, const QString &source, std::optional<QString> before,
                           std::optional<QString> after, std::optional<QString> error,
                           std::optional<QUuid> correlationID)
{
    if (!enabled())
        return;
    ActionReceipt receipt;
    receipt.id = QUuid::createUuid();
    receipt.timestamp = QDateTime::currentDateTimeUtc();
    receipt.kind = kind;
    receipt.source = Redaction::redact(source);
    receipt.correlationID = correlationID;
    receipt.before = redacted(before);
    receipt.after = redacted(after);
    receipt.errorDescription = redacted(error);

    trail.append(receipt);
    if (trail.size() > kMaxRows)
        trail.remove(0, trail.size() - kMaxRows);
    if (output)
        output->write(receipt);
    emit rowsChanged();
}

void DiagnosticLog::setEnabled(bool on)
{
    defaults.setValue(DefaultsKeys::diagnosticsEnabled, on);
    if (on) {
        if (!output)
            output = JSONLWriter::open(directory);
        record(ActionReceipt::Kind::state, QStringLiteral("DiagnosticLog.enabled"), QStringLiteral("false"),
               QStringLiteral("true"));
        return;
    }
    // Off means this run leaves nothing behind; earlier runs' files wait for pruning.
    const QString file = sessionFile();
    output.reset();
    trail.clear();
    if (!file.isEmpty())
        QFile::remove(file);
    emit rowsChanged();
}

void DiagnosticLog::prune(const QString &folder, const QDateTime &now)
{
    if (!QFileInfo(folder).isDir())
        return;

    // Age: only session files, so nothing else a user put here is aged out. A file without a date counts as new.
    for (const Entry &entry : listFiles(folder, true)) {
        if (entry.modified.isValid() && entry.modified.msecsTo(now) > kMaxAgeSeconds * 1000)
            QFile::remove(entry.path);
    }

    // Size: everything in the folder counts, the oldest going first; a file without a date is taken as oldest.
    QList<Entry> remaining = listFiles(folder, false);
    std::stable_sort(remaining.begin(), remaining.end(), [](const Entry &a, const Entry &b) {
        if (!a.modified.isValid() || !b.modified.isValid())
            return !a.modified.isValid() && b.modified.isValid();
        return a.modified < b.modified;
    });
    qint64 total = 0;
    for (const Entry &entry : remaining)
        total += entry.size;
    for (const Entry &entry : remaining) {
        if (total <= kMaxTotalBytes)
            break;
        // Counted as gone even when the removal fails, so one stubborn file can't make the loop take everything.
        QFile::remove(entry.path);
        total -= entry.size;
    }
}
