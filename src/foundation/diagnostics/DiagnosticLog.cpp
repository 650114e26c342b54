#include "foundation/diagnostics/DiagnosticLog.h"

#include "foundation/Defaults.h"
#include "foundation/diagnostics/Redaction.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

std::optional<QString> redacted(const std::optional<QString> &text)
{
    return text ? std::optional(Redaction::redact(*text)) : std::nullopt;
}

} // namespace

DiagnosticLog::DiagnosticLog(Defaults &store, QString folder, QObject *parent)
    : QObject(parent), defaults(store), directory(folder.isEmpty() ? defaultFolder() : std::move(folder))
{
    if (enabled())
        output = JSONLWriter::open(directory);
    prune(directory, QDateTime::currentDateTime());
}

DiagnosticLog::~DiagnosticLog() = default;

QString DiagnosticLog::defaultFolder()
{
    return Paths::applicationSupport() + QStringLiteral("/Diagnostics");
}

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
    receipt.timestamp = QDateTime::currentDateTime();
    receipt.kind = kind;
    receipt.source = Redaction::redact(source);
    receipt.correlationID = correlationID;
    receipt.before = redacted(before);
    receipt.after = redacted(after);
    receipt.errorDescription = redacted(error);
    trail.append(receipt);
    if (trail.size() > maxRows)
        trail.remove(0, trail.size() - maxRows);
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
    const QString file = sessionFile();
    output.reset();
    trail.clear();
    if (!file.isEmpty())
        QFile::remove(file);
    emit rowsChanged();
}

void DiagnosticLog::prune(const QString &folder, const QDateTime &now)
{
    QDir dir(folder);
    if (!dir.exists())
        return;
    const auto list = [&dir] {
        return dir.entryInfoList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDir::NoSort);
    };
    for (const QFileInfo &info : list()) {
        if (!info.fileName().startsWith(QLatin1String("session-")))
            continue;
        const QDateTime modified = info.lastModified();
        // A file without a date counts as new.
        if (modified.isValid() && modified.secsTo(now) > maxAgeSeconds)
            QFile::remove(info.filePath());
    }

    QFileInfoList remaining = list();
    std::stable_sort(remaining.begin(), remaining.end(), [](const QFileInfo &a, const QFileInfo &b) {
        const QDateTime left = a.lastModified();
        const QDateTime right = b.lastModified();
        if (!left.isValid() || !right.isValid())
            return !left.isValid() && right.isValid();
        return left < right;
    });
    qint64 total = 0;
    for (const QFileInfo &info : remaining)
        total += std::max<qint64>(0, info.size());
    for (const QFileInfo &info : remaining) {
        if (total <= maxTotalBytes)
            break;
        QFile::remove(info.filePath());
        total -= std::max<qint64>(0, info.size());
    }
}
