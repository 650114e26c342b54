#include "platform/MetadataBackend.h"
#include "platform/PropertyList.h"
#include "platform/macos/FinderScripts.h"

#include <CoreServices/CoreServices.h>
#include <QFile>
#include <QProcess>
#include <sys/xattr.h>

// Comments are read from Spotlight's copy (no process, no permission prompt)
// and written through Finder with osascript, the only writer Finder honours.
// Tags and labels live in the extended attributes Finder itself keeps.
namespace {

const char *const tagsAttribute = "com.apple.metadata:_kMDItemUserTags";
const char *const finderInfoAttribute = "com.apple.FinderInfo";

std::optional<QByteArray> readAttribute(const QString &path, const char *name)
{
    const QByteArray file = QFile::encodeName(path);
    const ssize_t size = ::getxattr(file.constData(), name, nullptr, 0, 0, 0);
    if (size < 0)
        return std::nullopt;
    QByteArray value(size, Qt::Uninitialized);
    if (::getxattr(file.constData(), name, value.data(), value.size(), 0, 0) != size)
        return std::nullopt;
    return value;
}

void writeAttribute(const QString &path, const char *name, const QByteArray &value)
{
    const QByteArray file = QFile::encodeName(path);
    const int result = value.isEmpty() ? ::removexattr(file.constData(), name, 0)
                                       : ::setxattr(file.constData(), name, value.constData(), value.size(), 0, 0);
    if (result != 0 && !(value.isEmpty() && errno == ENOATTR))
        throw MetadataWriteFailure(errno, QString::fromLocal8Bit(std::strerror(errno)));
}

class FinderMetadataBackend : public MetadataBackend {
public:
    std::optional<QString> readComment(const QString &path) override
    {
        const CFStringRef cfPath = path.toCFString();
        MDItemRef item = MDItemCreate(kCFAllocatorDefault, cfPath);
        CFRelease(cfPath);
        if (!item)
            return std::nullopt;
        CFTypeRef value = MDItemCopyAttribute(item, kMDItemFinderComment);
        CFRelease(item);
        if (!value)
            return std::nullopt;
        std::optional<QString> comment;
        if (CFGetTypeID(value) == CFStringGetTypeID())
            comment = QString::fromCFString(static_cast<CFStringRef>(value));
        CFRelease(value);
        if (comment && comment->isEmpty())
            return std::nullopt;
        return comment;
    }

    void writeComment(const QString &comment, const QString &path) override
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::SeparateChannels);
        process.setStandardOutputFile(QProcess::nullDevice());
        process.start(FinderScripts::osascriptProgram(),
                      FinderScripts::osascriptArguments(FinderScripts::setCommentScript(path, comment)));
        if (!process.waitForStarted())
            throw MetadataWriteFailure(-1, process.errorString());
        process.waitForFinished(-1);
        if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            return;
        QString text = QString::fromUtf8(process.readAllStandardError()).trimmed();
        throw MetadataWriteFailure(process.exitCode(), text);
    }

    QStringList readTags(const QString &path) override
    {
        QStringList tags;
        const auto value = readAttribute(path, tagsAttribute);
        if (!value)
            return tags;
        // Each entry is "name" or "name\n{colour}".
        for (const QVariant &entry : PropertyList::parse(*value).value.toList())
            tags.append(entry.toString().section(QLatin1Char('\n'), 0, 0));
        return tags;
    }

    void writeTags(const QStringList &tags, const QString &path) override
    {
        writeAttribute(path, tagsAttribute, tags.isEmpty() ? QByteArray() : PropertyList::toBinary(QVariant(tags)));
    }

    std::optional<int> readLabel(const QString &path) override
    {
        const auto info = readAttribute(path, finderInfoAttribute);
        if (!info || info->size() < 10)
            return std::nullopt;
        return (quint8(info->at(9)) >> 1) & 0x7;
    }

    void writeLabel(int label, const QString &path) override
    {
        QByteArray info = readAttribute(path, finderInfoAttribute).value_or(QByteArray(32, '\0'));
        info.resize(32, '\0');
        info[9] = char((quint8(info[9]) & ~0x0E) | ((label & 0x7) << 1));
        writeAttribute(path, finderInfoAttribute, info);
    }
};

} // namespace

MetadataBackend &MetadataBackend::system()
{
    static FinderMetadataBackend backend;
    return backend;
}
