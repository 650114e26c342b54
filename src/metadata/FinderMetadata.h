#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <stdexcept>

// The one gateway to a file's comment, tags and colour label. Reads never fail;
// writes throw. A comment write the system refuses throws WriteError; a tag or
// label write throws the system's own error (MetadataWriteFailure).
namespace FinderMetadata {

enum class ApplyMode { replace, append };
QString toString(ApplyMode mode);
std::optional<ApplyMode> applyModeFromString(const QString &raw);

struct Values {
    QStringList tags;
    std::optional<QString> comment;
    std::optional<int> colorLabel;
    bool operator==(const Values &) const = default;
};

class WriteError : public std::runtime_error {
public:
    struct osascriptFailed {
        int status = 0;
        QString standardError;
        bool operator==(const osascriptFailed &) const = default;
    };

    explicit WriteError(osascriptFailed failure);
    const osascriptFailed &failure() const { return cause; }
    // "Finder rejected the change (exit {status}): {stderr}"
    QString message() const;

private:
    osascriptFailed cause;
};

std::optional<QString> readComment(const QString &path);
void writeComment(const std::optional<QString> &comment, const QString &path);
QStringList readTags(const QString &path);
void writeTags(const QStringList &tags, const QString &path);
std::optional<int> readLabel(const QString &path);
void writeLabel(std::optional<int> label, const QString &path);
void apply(const Values &values, const QString &path, ApplyMode mode);

// The user text of whatever a write threw.
QString describe(const std::exception &error);
// Only the system's reason ("Operation not permitted"), for a text that already says what failed.
QString reason(const std::exception &error);

} // namespace FinderMetadata
