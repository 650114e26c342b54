#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <stdexcept>

// A write the system refused. `status` is the tool's exit status on macOS and
// the errno on Linux; `text` is what the system said about it.
class MetadataWriteFailure : public std::runtime_error {
public:
    MetadataWriteFailure(int status, QString text);
    int status() const { return code; }
    const QString &text() const { return message; }

private:
    int code;
    QString message;
};

// Where comments, tags and colour labels of files are kept on this system.
// Reads never fail: what can't be read is no value. Writes throw
// MetadataWriteFailure.
class MetadataBackend {
public:
    virtual ~MetadataBackend() = default;

    virtual std::optional<QString> readComment(const QString &path) = 0;
    // The empty comment clears it.
    virtual void writeComment(const QString &comment, const QString &path) = 0;
    virtual QStringList readTags(const QString &path) = 0;
    // Sets the whole list; no tags removes them.
    virtual void writeTags(const QStringList &tags, const QString &path) = 0;
    virtual std::optional<int> readLabel(const QString &path) = 0;
    // 0 means no label.
    virtual void writeLabel(int label, const QString &path) = 0;

    // The backend of this platform.
    static MetadataBackend &system();
};
