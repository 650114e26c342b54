#include "platform/MetadataBackend.h"

#include "platform/NativeNames.h"

#include <cerrno>
#include <cstring>
#include <sys/xattr.h>

// On Linux the desktop keeps comments and tags in extended attributes:
// user.xdg.comment and user.xdg.tags are what Dolphin and Baloo show. Colour
// labels have no convention, so they get an attribute of our own.
namespace {

const char *const commentAttribute = "user.xdg.comment";
const char *const tagsAttribute = "user.xdg.tags";
const char *const labelAttribute = "user.vantrel.label";

std::optional<QByteArray> readAttribute(const QString &path, const char *name)
{
    const QByteArray file = NativeNames::encode(path);
    for (int attempt = 0; attempt < 3; ++attempt) {
        const ssize_t size = ::getxattr(file.constData(), name, nullptr, 0);
        if (size < 0)
            return std::nullopt;
        QByteArray value(size, Qt::Uninitialized);
        const ssize_t read = ::getxattr(file.constData(), name, value.data(), value.size());
        if (read >= 0) {
            value.truncate(read);
            return value;
        }
        if (errno != ERANGE) // grew between the two calls: ask again
            return std::nullopt;
    }
    return std::nullopt;
}

[[noreturn]] void fail(int error)
{
    throw MetadataWriteFailure(error, QString::fromLocal8Bit(std::strerror(error)));
}

void writeAttribute(const QString &path, const char *name, const QByteArray &value)
{
    const QByteArray file = NativeNames::encode(path);
    if (value.isEmpty()) {
        // Removing what isn't there is no failure, but a file that isn't there is.
        if (::removexattr(file.constData(), name) != 0 && errno != ENODATA)
            fail(errno);
        return;
    }
    if (::setxattr(file.constData(), name, value.constData(), size_t(value.size()), 0) != 0)
        fail(errno);
}

class XattrMetadataBackend : public MetadataBackend {
public:
    std::optional<QString> readComment(const QString &path) override
    {
        const auto value = readAttribute(path, commentAttribute);
        if (!value || value->isEmpty())
            return std::nullopt;
        return QString::fromUtf8(*value);
    }

    void writeComment(const QString &comment, const QString &path) override
    {
        writeAttribute(path, commentAttribute, comment.toUtf8());
    }

    QStringList readTags(const QString &path) override
    {
        QStringList tags;
        const auto value = readAttribute(path, tagsAttribute);
        if (!value)
            return tags;
        for (const QString &piece : QString::fromUtf8(*value).split(QLatin1Char(','))) {
            const QString tag = piece.trimmed();
            if (!tag.isEmpty())
                tags.append(tag);
        }
        return tags;
    }

    void writeTags(const QStringList &tags, const QString &path) override
    {
        writeAttribute(path, tagsAttribute, tags.join(QLatin1Char(',')).toUtf8());
    }

    std::optional<int> readLabel(const QString &path) override
    {
        const auto value = readAttribute(path, labelAttribute);
        if (!value)
            return std::nullopt;
        bool ok = false;
        const int label = value->trimmed().toInt(&ok);
        return ok ? std::optional(label) : std::nullopt;
    }

    void writeLabel(int label, const QString &path) override
    {
        writeAttribute(path, labelAttribute, label == 0 ? QByteArray() : QByteArray::number(label));
    }
};

} // namespace

MetadataBackend &MetadataBackend::system()
{
    static XattrMetadataBackend backend;
    return backend;
}
