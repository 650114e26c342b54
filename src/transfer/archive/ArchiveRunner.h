#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <stop_token>

enum class ArchiveFormat { zip, tarGz };

// The stored form ("zip", "tarGz"), the file extension, the name the sheet shows and its line about it.
QString toString(ArchiveFormat format);
std::optional<ArchiveFormat> archiveFormatFromString(const QString &raw);
QString fileExtension(ArchiveFormat format);
QString displayName(ArchiveFormat format);
QString description(ArchiveFormat format);

// Compresses files and folders into one archive with the system's zip or tar. Stateless: the sheet, and
// any workflow that makes archives, call it from their own background task.
namespace ArchiveRunner {

struct Result {
    QString archiveURL;
    qint64 archiveSizeBytes = 0;
    qint64 sourceTotalSizeBytes = 0;
    int sourceFileCount = 0;
    bool failed = false;
    std::optional<QString> errorMessage;
    bool operator==(const Result &) const = default;
};

// What becomes of a file already at the archive's name: replaced once the new archive is complete (the
// user said Replace), or kept, the run then failing.
enum class Existing { replace, keep };

// The program that makes `format`: /usr/bin/zip or /usr/bin/tar, unless a test put another in its place.
QString toolPath(ArchiveFormat format);
// Puts `path` in place of the format's tool; an empty path restores it. For tests: a missing tool, a tool
// that fails.
void setToolPath(ArchiveFormat format, const QString &path);

// The folder every source lies in, the entries' names being relative to it, so that an archive never
// carries the path from "/" (the home folder, the account name).
QString commonParent(const QStringList &sources);
// What is left out of the archive: whole files or folders by their absolute paths, each only at that
// place (a project's own "Library", never one deeper down), and files of a name wherever they lie.
struct Exclusions {
    QStringList roots;
    QStringList names;
    bool operator==(const Exclusions &) const = default;
};

// The tool's arguments: zip "-r", "-q", the archive, then the sources by their names relative to
// commonParent(), with that folder as the working directory, then "-x" and the patterns left out; tar
// "-czf", the archive, "-C", that folder, the excludes, then the same names.
QStringList arguments(ArchiveFormat format, const QStringList &sources, const QString &archiveURL,
                      const Exclusions &excluded = {});

// How far the tool is: the bytes of the archive written so far.
using Progress = std::function<void(qint64 bytesWritten)>;

// Makes the archive at `archiveURL`. It is written under a hidden name in a private folder beside it and
// takes its name only once the tool has finished well, so a failed or cancelled run (or a killed one)
// leaves nothing at that path and an old archive is replaced, never added to. Never throws.
Result run(ArchiveFormat format, const QStringList &sources, const QString &archiveURL, qint64 sourceTotalBytes,
           int sourceFileCount, std::stop_token stop, Existing existing = Existing::replace,
           const Progress &progress = {}, const Exclusions &excluded = {});

} // namespace ArchiveRunner
