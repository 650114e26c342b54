#include "transfer/archive/ArchiveRunner.h"

#include "foundation/EnumNames.h"
#include "platform/AtomicFile.h"
#include "platform/FileMoves.h"
#include "platform/NativeNames.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QStringDecoder>

#include <algorithm>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace ArchiveRunner;

constexpr EnumNameTable<ArchiveFormat, 2> formatNames{{{ArchiveFormat::zip, "zip"}, {ArchiveFormat::tarGz, "tarGz"}}};

QMutex toolMutex;
QString toolOverride[2];

Result failure(const QString &message, qint64 sourceTotalBytes, int sourceFileCount)
{
    Result result;
    result.failed = true;
    result.errorMessage = message;
    result.sourceTotalSizeBytes = sourceTotalBytes;
    result.sourceFileCount = sourceFileCount;
    return result;
}

// A name beginning with "-" would be read as an option by the tool.
QString safeName(const QString &relative)
{
    return relative.startsWith(QLatin1Char('-')) ? QStringLiteral("./") + relative : relative;
}

bool isInside(const QString &path, const QString &folder)
{
    const QString prefix = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    return path.startsWith(prefix);
}

// The archive is written in a holding folder beside its final place; when that place lies inside a
// selected folder the tool would walk into the holding folder and pack the archive into itself.
std::optional<QString> holdingFolderToLeaveOut(const QStringList &sources, const QString &archiveURL,
                                               const QString &parent)
{
    const QString holding = QFileInfo(archiveURL).absolutePath();
    if (!QFileInfo(holding).fileName().startsWith(PartialFiles::prefix()))
        return std::nullopt;
    for (const QString &source : sources) {
        if (isInside(holding, QDir::cleanPath(source)))
            return QDir(parent).relativeFilePath(holding);
    }
    return std::nullopt;
}

// zip reads "*", "?", "[" and "\\" in an exclude as a pattern; a folder named "Build [old]" is meant as it is.
QString zipLiteral(const QString &name)
{
    QString escaped;
    escaped.reserve(name.size());
    for (const QChar c : name) {
        if (c == QLatin1Char('*') || c == QLatin1Char('?') || c == QLatin1Char('[') || c == QLatin1Char('\\'))
            escaped.append(QLatin1Char('\\'));
        escaped.append(c);
    }
    return escaped;
}

// The excluded roots as the tool sees them: relative to the folder it runs in, as the sources are named.
QStringList excludedNames(const QStringList &roots, const QString &parent)
{
    const QDir base(parent);
    QStringList names;
    for (const QString &root : roots) {
        const QString clean = QDir::cleanPath(root);
        if (isInside(clean, parent))
            names.append(safeName(base.relativeFilePath(clean)));
    }
    return names;
}

qint64 bytesIn(const QString &folder)
{
    qint64 total = 0;
    for (const QFileInfo &entry : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::System))
        total += entry.size();
    return total;
}

// The tool's complaint as text: trimmed, "no output" when it said nothing, and "Unknown error." when it
// isn't text at all.
QString errorText(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(bytes);
    if (decoder.hasError())
        return QStringLiteral("Unknown error.");
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? QStringLiteral("no output") : trimmed;
}

// The finished archive reaches the disk before it takes its name, so a power cut can't leave a named
// but empty archive.
void flushToDisk(const QString &path)
{
    const int fd = ::open(NativeNames::encode(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

void stop(QProcess &process)
{
    process.terminate();
    // Steps of 0.2 s; a tool that ignores the request for two seconds is killed.
    for (int i = 0; i < 10; ++i) {
        if (process.waitForFinished(200) || process.state() == QProcess::NotRunning)
            return;
    }
    process.kill();
    process.waitForFinished(-1);
}

} // namespace

QString toString(ArchiveFormat format)
{
    return enumName(formatNames, format);
}

std::optional<ArchiveFormat> archiveFormatFromString(const QString &raw)
{
    return enumFromName(formatNames, raw);
}

QString fileExtension(ArchiveFormat format)
{
    return format == ArchiveFormat::zip ? QStringLiteral("zip") : QStringLiteral("tar.gz");
}

QString displayName(ArchiveFormat format)
{
    return format == ArchiveFormat::zip ? QStringLiteral("ZIP") : QStringLiteral("TAR.GZ");
}

QString description(ArchiveFormat format)
{
    return format == ArchiveFormat::zip
               ? QStringLiteral("Universal. Opens on every Mac, PC, and phone with no extra software.")
               : QStringLiteral("Common in dev / Linux workflows. Slightly smaller archives for text-heavy folders.");
}

QString ArchiveRunner::toolPath(ArchiveFormat format)
{
    const QMutexLocker lock(&toolMutex);
    const QString &chosen = toolOverride[int(format)];
    if (!chosen.isEmpty())
        return chosen;
    return format == ArchiveFormat::zip ? QStringLiteral("/usr/bin/zip") : QStringLiteral("/usr/bin/tar");
}

void ArchiveRunner::setToolPath(ArchiveFormat format, const QString &path)
{
    const QMutexLocker lock(&toolMutex);
    toolOverride[int(format)] = path;
}

QString ArchiveRunner::commonParent(const QStringList &sources)
{
    QString common;
    for (const QString &source : sources) {
        const QString parent = QFileInfo(QDir::cleanPath(source)).absolutePath();
        if (common.isNull()) {
            common = parent;
            continue;
        }
        while (common != parent && !isInside(parent, common) && common != QLatin1String("/"))
            common = QFileInfo(common).absolutePath();
    }
    return common.isNull() ? QStringLiteral("/") : common;
}

QStringList ArchiveRunner::arguments(ArchiveFormat format, const QStringList &sources, const QString &archiveURL,
                                     const Exclusions &excluded)
{
    const QString parent = commonParent(sources);
    const QDir base(parent);
    QStringList names;
    for (const QString &source : sources)
        names.append(safeName(base.relativeFilePath(QDir::cleanPath(source))));
    const auto leaveOut = holdingFolderToLeaveOut(sources, archiveURL, parent);
    if (format == ArchiveFormat::zip) {
        QStringList list{QStringLiteral("-r"), QStringLiteral("-q"), archiveURL};
        list += names;
        QStringList patterns;
        if (leaveOut)
            patterns.append(*leaveOut + QStringLiteral("/*"));
        // A root goes as itself (a file, or the folder's own entry) and with everything under it; zip's
        // "*" crosses "/", and the patterns match whole names, so each stays anchored at its place.
        for (const QString &root : excludedNames(excluded.roots, parent))
            patterns += {zipLiteral(root), zipLiteral(root) + QStringLiteral("/*")};
        for (const QString &name : excluded.names)
            patterns += {zipLiteral(name), QStringLiteral("*/") + zipLiteral(name)};
        if (!patterns.isEmpty())
            list += QStringList{QStringLiteral("-x")} + patterns;
        return list;
    }
    QStringList list{QStringLiteral("-czf"), archiveURL, QStringLiteral("-C"), parent};
    if (leaveOut)
        list.append(QStringLiteral("--exclude=") + *leaveOut);
    // tar reads excludes unanchored and as patterns unless told otherwise, and each switch holds for the
    // excludes after it: the roots literally at their place, then the names at any depth.
    const QStringList roots = excludedNames(excluded.roots, parent);
    if (!roots.isEmpty() || !excluded.names.isEmpty())
        list += {QStringLiteral("--anchored"), QStringLiteral("--no-wildcards")};
    for (const QString &root : roots)
        list.append(QStringLiteral("--exclude=") + root);
    if (!excluded.names.isEmpty())
        list.append(QStringLiteral("--no-anchored"));
    for (const QString &name : excluded.names)
        list.append(QStringLiteral("--exclude=") + name);
    list += names;
    return list;
}

Result ArchiveRunner::run(ArchiveFormat format, const QStringList &sources, const QString &archiveURL,
                          qint64 sourceTotalBytes, int sourceFileCount, std::stop_token stopToken, Existing existing,
                          const Progress &progress, const Exclusions &excluded)
{
    const auto fail = [&](const QString &message) { return failure(message, sourceTotalBytes, sourceFileCount); };
    const QFileInfo target(archiveURL);
    const QString folder = target.absolutePath();
    if (const auto error = FileMoves::makeFolders(folder))
        return fail(QStringLiteral("Could not create destination folder: %1").arg(*error));
    // The tool writes, and zip keeps its temporary file, inside this private folder; whatever is in it
    // goes with it, so nothing of a failed run is ever left at or beside the archive's path.
    const PartialFiles::Folder holding(folder);
    if (!holding.isValid())
        return fail(QStringLiteral("Could not create destination folder: %1").arg(holding.errorString()));
    // An ASCII name inside it: the tools take their arguments as UTF-8, and the archive's own name, which
    // may not be, is given by the rename at the end.
    const QString partial = holding.path() + QStringLiteral("/archive.") + fileExtension(format);

    QProcess process;
    const QString program = toolPath(format);
    const QStringList words = arguments(format, sources, partial, excluded);
    const QString parent = commonParent(sources);
    process.setProgram(program);
    process.setArguments(words);
    // QProcess hands names to the child as UTF-8, so a name that isn't (a Latin-1 folder from an old disk)
    // would reach the tool changed. Such a run starts the tool itself, right after the fork, with the
    // names' own bytes; all of it is made here, so the child only changes folder and executes.
    std::vector<QByteArray> raw;
    std::vector<char *> argv;
    QByteArray folderBytes = NativeNames::encode(parent);
    const bool needsBytes =
        NativeNames::hasRawBytes(parent) ||
        std::any_of(words.cbegin(), words.cend(), [](const QString &word) { return NativeNames::hasRawBytes(word); });
    if (needsBytes) {
        raw.push_back(NativeNames::encode(program));
        for (const QString &word : words)
            raw.push_back(NativeNames::encode(word));
        for (QByteArray &bytes : raw)
            argv.push_back(bytes.data());
        argv.push_back(nullptr);
        process.setChildProcessModifier([&folderBytes, &argv] {
            if (::chdir(folderBytes.constData()) == 0)
                ::execv(argv.front(), argv.data());
            ::_exit(127);
        });
    } else {
        process.setWorkingDirectory(parent);
    }
    // Nothing to read from: a tool that asks (zip's prompts) gets end-of-file, never waits for a person.
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(-1))
        return fail(QStringLiteral("Failed to launch %1: %2").arg(displayName(format), process.errorString()));

    // Polled rather than waited on, so a cancel reaches the child; the wait returns the moment it ends.
    while (!process.waitForFinished(100) && process.state() != QProcess::NotRunning) {
        if (stopToken.stop_requested()) {
            stop(process);
            return fail(QStringLiteral("Cancelled."));
        }
        if (progress)
            progress(bytesIn(holding.path()));
    }
    const int status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    if (status != 0)
        return fail(QStringLiteral("%1 failed (exit %2): %3")
                        .arg(displayName(format))
                        .arg(status)
                        .arg(errorText(process.readAllStandardError())));

    flushToDisk(partial);
    const FileMoves::Result moved = existing == Existing::replace ? FileMoves::replace(partial, archiveURL)
                                                                  : FileMoves::moveNoReplace(partial, archiveURL);
    if (moved.outcome == FileMoves::Outcome::destinationExists)
        return fail(QStringLiteral("Couldn't save the archive: “%1” appeared in that folder meanwhile, and it was "
                                   "left as it is.")
                        .arg(target.fileName()));
    if (moved.outcome != FileMoves::Outcome::moved)
        return fail(QStringLiteral("Couldn't save the archive: %1").arg(moved.error));

    Result result;
    result.archiveURL = archiveURL;
    result.archiveSizeBytes = QFileInfo(archiveURL).size();
    result.sourceTotalSizeBytes = sourceTotalBytes;
    result.sourceFileCount = sourceFileCount;
    return result;
}
