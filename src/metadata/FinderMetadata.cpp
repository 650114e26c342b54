#include "metadata/FinderMetadata.h"

#include "platform/MetadataBackend.h"

#include <QSet>

#include <algorithm>

namespace {

QString messageFor(const FinderMetadata::WriteError::osascriptFailed &failure)
{
    return QStringLiteral("Finder rejected the change (exit %1): %2").arg(failure.status).arg(failure.standardError);
}

} // namespace

FinderMetadata::WriteError::WriteError(osascriptFailed failure)
    : std::runtime_error(messageFor(failure).toStdString()), cause(std::move(failure))
{
}

QString FinderMetadata::WriteError::message() const
{
    return messageFor(cause);
}

std::optional<QString> FinderMetadata::readComment(const QString &path)
{
    return MetadataBackend::system().readComment(path);
}

void FinderMetadata::writeComment(const std::optional<QString> &comment, const QString &path)
{
    try {
        MetadataBackend::system().writeComment(comment.value_or(QString()), path);
    } catch (const MetadataWriteFailure &failure) {
        throw WriteError({failure.status(), failure.text().trimmed()});
    }
}

QStringList FinderMetadata::readTags(const QString &path)
{
    return MetadataBackend::system().readTags(path);
}

void FinderMetadata::writeTags(const QStringList &tags, const QString &path)
{
    MetadataBackend::system().writeTags(tags, path);
}

std::optional<int> FinderMetadata::readLabel(const QString &path)
{
    return MetadataBackend::system().readLabel(path);
}

void FinderMetadata::writeLabel(std::optional<int> label, const QString &path)
{
    MetadataBackend::system().writeLabel(label.value_or(0), path);
}

QString FinderMetadata::toString(ApplyMode mode)
{
    return mode == ApplyMode::replace ? QStringLiteral("replace") : QStringLiteral("append");
}

std::optional<FinderMetadata::ApplyMode> FinderMetadata::applyModeFromString(const QString &raw)
{
    if (raw == QLatin1String("replace"))
        return ApplyMode::replace;
    if (raw == QLatin1String("append"))
        return ApplyMode::append;
    return std::nullopt;
}

void FinderMetadata::apply(const Values &values, const QString &path, ApplyMode mode)
{
    if (mode == ApplyMode::replace) {
        // The first write that throws ends it; what was written before stays.
        writeTags(values.tags, path);
        writeLabel(values.colorLabel, path);
        writeComment(values.comment, path);
        return;
    }

    QStringList tags = readTags(path) + values.tags;
    const QSet<QString> unique(tags.cbegin(), tags.cend());
    tags = QStringList(unique.cbegin(), unique.cend());
    std::sort(tags.begin(), tags.end());
    writeTags(tags, path);

    const int existingLabel = readLabel(path).value_or(0);
    if (existingLabel == 0 && values.colorLabel.value_or(0) != 0)
        writeLabel(values.colorLabel, path);

    if (!values.comment || values.comment->isEmpty())
        return;
    const std::optional<QString> existing = readComment(path);
    const QString text =
        existing && !existing->isEmpty() ? *existing + QLatin1Char('\n') + *values.comment : *values.comment;
    writeComment(text, path);
}

QString FinderMetadata::describe(const std::exception &error)
{
    if (const auto *writeError = dynamic_cast<const WriteError *>(&error))
        return writeError->message();
    if (const auto *failure = dynamic_cast<const MetadataWriteFailure *>(&error))
        return failure->text();
    return QString::fromUtf8(error.what());
}

QString FinderMetadata::reason(const std::exception &error)
{
    if (const auto *writeError = dynamic_cast<const WriteError *>(&error);
        writeError && !writeError->failure().standardError.isEmpty())
        return writeError->failure().standardError;
    return describe(error);
}
