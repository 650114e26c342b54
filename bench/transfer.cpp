// Copies two generated corpora with `vantrel run smart-mover`, `cp -a` and `rsync -aX` on one file system,
// checks every copy against its source (relative paths, bytes, modes, mtimes, user.* extended attributes),
// and prints each tool's wall time and Vantrel's time as a multiple of cp's and rsync's.
//
//   bench_transfer [SCALE] [--dir FOLDER] [--keep] [--only TOOL,...]
//
// SCALE (default 1) multiplies the count of the small files (100,000 of 0-64 KiB in nested folders) and the
// size of each of the four large files (2 GiB). The page cache is dropped before each run when the bench may
// do so (as root), so every tool reads from the disk alike. --only (vantrel, cp, rsync) runs some of the
// tools: a debugging aid for the bench itself, which gives no ratio without both vantrel and cp.
#include "Launcher.h"
#include "Peers.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

constexpr const char *bench = "bench_transfer";

// Anything that keeps the bench from building or reading its corpora; main() reports it and stops.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `name` inside `folder`, where an empty folder is the root itself.
std::string under(const std::string &folder, const std::string &name)
{
    if (folder.empty())
        return name;
    std::string path = folder;
    path += '/';
    path += name;
    return path;
}

[[noreturn]] void failWith(const std::string &what, const std::string &path)
{
    throw Failure(what + " " + path + ": " + std::strerror(errno));
}

// ---- The corpora ----------------------------------------------------------------------------------------

constexpr quint64 MiB = quint64(1024) * 1024;
constexpr quint64 GiB = 1024 * MiB;

void fillRandom(std::mt19937_64 &random, char *bytes, size_t size)
{
    size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        const quint64 value = random();
        std::memcpy(bytes + i, &value, 8);
    }
    for (; i < size; ++i)
        bytes[i] = char(random());
}

void writeFully(int fd, const char *bytes, size_t size, const std::string &path)
{
    while (size > 0) {
        const ssize_t done = ::write(fd, bytes, size);
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            failWith("can't write", path);
        bytes += done;
        size -= size_t(done);
    }
}

struct Built {
    quint64 files = 0;
    quint64 folders = 0;
    quint64 bytes = 0;
    quint64 hidden = 0;
    quint64 withXattrs = 0;
};

// Writes files and folders with the metadata a faithful copy has to keep: mode, mtime to the nanosecond,
// and user.* extended attributes where the file system takes them.
class CorpusWriter {
public:
    CorpusWriter(std::string root, quint64 seed, bool xattrs) : root(std::move(root)), random(seed), xattrs(xattrs)
    {
        folder("");
    }

    std::mt19937_64 &generator() { return random; }
    const Built &built() const { return counts; }

    // Makes `relative` and its parents, remembering them so that their metadata is set once they are full.
    void folder(const std::string &relative)
    {
        if (folders.count(relative))
            return;
        const auto slash = relative.rfind('/');
        if (!relative.empty())
            folder(slash == std::string::npos ? std::string() : relative.substr(0, slash));
        const std::string path = absolute(relative);
        if (::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST)
            failWith("can't make the folder", path);
        folders.insert(relative);
        ++counts.folders;
    }

    // A file of `size` bytes from `fill`, with a random mode, mtime and sometimes extended attributes.
    template <typename Fill> void file(const std::string &relative, quint64 size, Fill fill, bool attributes = false)
    {
        const std::string path = absolute(relative);
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0)
            failWith("can't create", path);
        fill(fd, size, path);
        static const mode_t modes[] = {0644, 0600, 0755};
        if (::fchmod(fd, modes[random() % 3]) != 0)
            failWith("can't set the mode of", path);
        if ((attributes || random() % 20 == 0) && decorate(fd, path))
            ++counts.withXattrs;
        const timespec times[2] = {{0, UTIME_OMIT}, mtime()};
        if (::futimens(fd, times) != 0)
            failWith("can't set the mtime of", path);
        ::close(fd);
        ++counts.files;
        counts.bytes += size;
        const auto slash = relative.rfind('/');
        if (relative.compare(slash == std::string::npos ? 0 : slash + 1, 1, ".") == 0)
            ++counts.hidden;
    }

    // Folder modes and mtimes go last, children before their parents, since creating a file inside a folder
    // moves the folder's mtime.
    void finish()
    {
        for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
            const std::string path = absolute(*folder);
            if (::chmod(path.c_str(), random() % 4 == 0 ? 0700 : 0755) != 0)
                failWith("can't set the mode of", path);
            if (random() % 10 == 0) {
                const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                if (fd < 0)
                    failWith("can't open", path);
                decorate(fd, path);
                ::close(fd);
            }
            const timespec times[2] = {{0, UTIME_OMIT}, mtime()};
            if (::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
                failWith("can't set the mtime of", path);
        }
    }

private:
    std::string absolute(const std::string &relative) const { return relative.empty() ? root : root + '/' + relative; }

    // Some time in the last ten years, with nanoseconds, so a copy that rounds them shows.
    timespec mtime()
    {
        const time_t now = std::time(nullptr);
        const time_t tenYears = time_t(10) * 365 * 24 * 3600;
        return {now - 86400 - time_t(random() % quint64(tenYears)), long(random() % 1'000'000'000)};
    }

    // One to three user.* attributes, a text one and binary ones of varied length.
    bool decorate(int fd, const std::string &path)
    {
        if (!xattrs)
            return false;
        const std::string comment = "bench comment " + std::to_string(random() % 100000);
        if (::fsetxattr(fd, "user.xdg.comment", comment.data(), comment.size(), 0) != 0)
            failWith("can't set an extended attribute on", path);
        const int more = int(random() % 3);
        for (int i = 0; i < more; ++i) {
            std::string value(1 + random() % 200, '\0');
            fillRandom(random, value.data(), value.size());
            const std::string name = "user.vantrel.bench." + std::to_string(i);
            if (::fsetxattr(fd, name.c_str(), value.data(), value.size(), 0) != 0)
                failWith("can't set an extended attribute on", path);
        }
        return true;
    }

    std::string root;
    std::mt19937_64 random;
    bool xattrs;
    std::set<std::string> folders;
    Built counts;
};

// Files of 0-64 KiB up to three folders deep, a few in hidden folders, some hidden, some with spaces or
// accents in their names.
Built buildSmall(const std::string &root, quint64 count, bool xattrs)
{
    CorpusWriter writer(root, 2026, xattrs);
    auto &random = writer.generator();
    std::vector<char> bytes(size_t(64) * 1024);
    const auto fill = [&](int fd, quint64 size, const std::string &path) {
        fillRandom(random, bytes.data(), size_t(size));
        writeFully(fd, bytes.data(), size_t(size), path);
    };
    for (quint64 i = 0; i < count; ++i) {
        std::string folder;
        const int depth = int(random() % 4);
        if (depth >= 1)
            folder = random() % 33 == 0 ? ".hidden" : "a" + std::to_string(random() % 10);
        if (depth >= 2)
            folder += "/b" + std::to_string(random() % 8);
        if (depth >= 3)
            folder += "/c" + std::to_string(random() % 5);
        writer.folder(folder);
        const quint64 kind = random() % 100;
        std::string name = kind < 5   ? ".f" + std::to_string(i)
                           : kind < 6 ? "name with spaces " + std::to_string(i) + ".txt"
                           : kind < 7 ? "caf\xc3\xa9 \xe2\x80\x94 " + std::to_string(i) + ".txt"
                                      : "f" + std::to_string(i) + ".dat";
        const quint64 size = random() % 100 == 0 ? 0 : random() % (64 * 1024 + 1);
        writer.file(under(folder, name), size, fill);
    }
    writer.finish();
    return writer.built();
}

// Four large files of one random MiB repeated, each block stamped with its file and block numbers so that no
// two blocks are alike: quick to write, and a copy that puts a block in the wrong place shows.
Built buildLarge(const std::string &root, quint64 size, bool xattrs)
{
    CorpusWriter writer(root, 7, xattrs);
    std::vector<char> block(MiB);
    fillRandom(writer.generator(), block.data(), block.size());
    for (quint64 n = 0; n < 4; ++n) {
        writer.file(
            "large-" + std::to_string(n) + ".bin", size,
            [&](int fd, quint64 total, const std::string &path) {
                for (quint64 at = 0, index = 0; at < total; at += MiB, ++index) {
                    const quint64 stamp[2] = {n, index};
                    std::memcpy(block.data(), stamp, sizeof stamp);
                    writeFully(fd, block.data(), size_t(std::min(MiB, total - at)), path);
                }
            },
            n == 0);
    }
    writer.finish();
    return writer.built();
}

// ---- Checking a copy ------------------------------------------------------------------------------------

struct Entry {
    mode_t mode = 0; // file type and permission bits
    off_t size = 0;
    timespec mtime{};
    std::map<std::string, std::string> xattrs; // user.* only: the namespace a copy is asked to keep
};

using Tree = std::map<std::string, Entry>; // path relative to the tree's root ("" for the root) → entry

std::map<std::string, std::string> userXattrs(const std::string &path)
{
    std::map<std::string, std::string> found;
    ssize_t size = ::llistxattr(path.c_str(), nullptr, 0);
    if (size < 0 && (errno == ENOTSUP || errno == EOPNOTSUPP))
        return found;
    if (size < 0)
        failWith("can't list the extended attributes of", path);
    std::string names(size_t(size), '\0');
    size = ::llistxattr(path.c_str(), names.data(), names.size());
    if (size < 0)
        failWith("can't list the extended attributes of", path);
    names.resize(size_t(size));
    for (size_t at = 0; at < names.size(); at += std::strlen(names.c_str() + at) + 1) {
        const std::string name(names.c_str() + at);
        if (name.rfind("user.", 0) != 0)
            continue;
        const ssize_t length = ::lgetxattr(path.c_str(), name.c_str(), nullptr, 0);
        if (length < 0)
            failWith("can't read the extended attribute " + name + " of", path);
        std::string value(size_t(length), '\0');
        if (::lgetxattr(path.c_str(), name.c_str(), value.data(), value.size()) != length)
            failWith("can't read the extended attribute " + name + " of", path);
        found.emplace(name, std::move(value));
    }
    return found;
}

void walkInto(Tree &tree, const std::string &root, const std::string &relative)
{
    const std::string path = relative.empty() ? root : root + '/' + relative;
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0)
        failWith("can't read", path);
    tree.emplace(relative, Entry{info.st_mode, info.st_size, info.st_mtim, userXattrs(path)});
    if (!S_ISDIR(info.st_mode))
        return;
    DIR *folder = ::opendir(path.c_str());
    if (folder == nullptr)
        failWith("can't list", path);
    std::vector<std::string> names;
    while (const dirent *entry = ::readdir(folder)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    ::closedir(folder);
    for (const std::string &name : names)
        walkInto(tree, root, under(relative, name));
}

Tree walk(const std::string &root)
{
    Tree tree;
    walkInto(tree, root, {});
    return tree;
}

bool readUpTo(int fd, char *bytes, size_t size, size_t &got)
{
    got = 0;
    while (got < size) {
        const ssize_t done = ::read(fd, bytes + got, size - got);
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            return false;
        if (done == 0)
            break;
        got += size_t(done);
    }
    return true;
}

// Where the bytes of two files first differ, or -1 when they are alike. Both are read in step, a few MiB
// at a time, so a large file is compared without ever being held whole.
long long firstDifferentByte(const std::string &one, const std::string &other)
{
    static std::vector<char> left(4 * MiB);
    static std::vector<char> right(4 * MiB);
    const int a = ::open(one.c_str(), O_RDONLY | O_CLOEXEC);
    if (a < 0)
        failWith("can't open", one);
    const int b = ::open(other.c_str(), O_RDONLY | O_CLOEXEC);
    if (b < 0)
        failWith("can't open", other);
    ::posix_fadvise(a, 0, 0, POSIX_FADV_SEQUENTIAL);
    ::posix_fadvise(b, 0, 0, POSIX_FADV_SEQUENTIAL);
    long long at = 0;
    long long differs = -1;
    for (;;) {
        size_t gotLeft = 0;
        size_t gotRight = 0;
        if (!readUpTo(a, left.data(), left.size(), gotLeft))
            failWith("can't read", one);
        if (!readUpTo(b, right.data(), right.size(), gotRight))
            failWith("can't read", other);
        const size_t common = std::min(gotLeft, gotRight);
        if (std::memcmp(left.data(), right.data(), common) != 0) {
            const auto pair = std::mismatch(left.begin(), left.begin() + long(common), right.begin());
            differs = at + (pair.first - left.begin());
            break;
        }
        if (gotLeft != gotRight) {
            differs = at + static_cast<long long>(common);
            break;
        }
        if (gotLeft == 0)
            break;
        at += static_cast<long long>(gotLeft);
    }
    ::close(a);
    ::close(b);
    return differs;
}

QString octal(mode_t mode)
{
    return QStringLiteral("%1").arg(uint(mode & 07777), 4, 8, QLatin1Char('0'));
}

QString typeName(mode_t mode)
{
    return S_ISDIR(mode)   ? QStringLiteral("a folder")
           : S_ISREG(mode) ? QStringLiteral("a file")
           : S_ISLNK(mode) ? QStringLiteral("a link")
                           : QStringLiteral("a special file");
}

QString stamp(const timespec &time)
{
    return QStringLiteral("%1.%2").arg(qint64(time.tv_sec)).arg(qint64(time.tv_nsec), 9, 10, QLatin1Char('0'));
}

struct Check {
    QString mismatch;         // the first difference that makes the copy wrong; empty when it is right
    quint64 nanoseconds = 0;  // entries whose mtime agrees to the second only
    QString firstNanoseconds; // the first of them, with both times
};

// Compares `copy` with the `source` snapshot in path order, so that the first difference reported is the
// first path that differs. Bytes are compared only when `sourceRoot` and `copyRoot` are given.
Check compareTrees(const Tree &source, const Tree &copy, const QString &name, const std::string &sourceRoot = {},
                   const std::string &copyRoot = {})
{
    Check check;
    const auto shown = [&](const std::string &relative) {
        return relative.empty() ? name : name + QLatin1Char('/') + QString::fromStdString(relative);
    };
    // Paths first: a missing or extra file also moves its folder's mtime, and the file is the news.
    auto s = source.begin();
    auto c = copy.begin();
    while (s != source.end() || c != copy.end()) {
        if (c == copy.end() || (s != source.end() && s->first < c->first)) {
            check.mismatch = shown(s->first) + QStringLiteral(" is missing");
            return check;
        }
        if (s == source.end() || c->first < s->first) {
            check.mismatch = shown(c->first) + QStringLiteral(" is there but not in the source");
            return check;
        }
        ++s;
        ++c;
    }
    for (s = source.begin(), c = copy.begin(); s != source.end(); ++s, ++c) {
        const Entry &from = s->second;
        const Entry &to = c->second;
        const QString path = shown(s->first);
        if ((from.mode & S_IFMT) != (to.mode & S_IFMT)) {
            check.mismatch =
                QStringLiteral("%1 is %2, in the source %3").arg(path, typeName(to.mode), typeName(from.mode));
            return check;
        }
        if ((from.mode & 07777) != (to.mode & 07777)) {
            check.mismatch =
                QStringLiteral("%1 has mode %2, the source %3").arg(path, octal(to.mode), octal(from.mode));
            return check;
        }
        if (S_ISREG(from.mode) && from.size != to.size) {
            check.mismatch =
                QStringLiteral("%1 has %2 bytes, the source %3").arg(path).arg(qint64(to.size)).arg(qint64(from.size));
            return check;
        }
        if (from.mtime.tv_sec != to.mtime.tv_sec) {
            check.mismatch =
                QStringLiteral("%1 has mtime %2, the source %3").arg(path, stamp(to.mtime), stamp(from.mtime));
            return check;
        }
        if (from.mtime.tv_nsec != to.mtime.tv_nsec && check.nanoseconds++ == 0)
            check.firstNanoseconds =
                QStringLiteral("%1: %2, the source %3").arg(path, stamp(to.mtime), stamp(from.mtime));
        if (from.xattrs != to.xattrs) {
            QString which;
            for (const auto &[key, value] : from.xattrs) {
                const auto there = to.xattrs.find(key);
                if (there == to.xattrs.end() || there->second != value) {
                    which =
                        QString::fromStdString(key) + (there == to.xattrs.end() ? QStringLiteral(" is missing")
                                                                                : QStringLiteral(" has another value"));
                    break;
                }
            }
            if (which.isEmpty()) {
                for (const auto &[key, value] : to.xattrs) {
                    if (!from.xattrs.count(key)) {
                        which = QString::fromStdString(key) + QStringLiteral(" isn't in the source");
                        break;
                    }
                }
            }
            check.mismatch = QStringLiteral("%1: extended attribute %2").arg(path, which);
            return check;
        }
        if (S_ISREG(from.mode) && !sourceRoot.empty()) {
            const std::string tail = s->first.empty() ? std::string() : '/' + s->first;
            const long long differs = firstDifferentByte(sourceRoot + tail, copyRoot + tail);
            if (differs >= 0) {
                check.mismatch = QStringLiteral("%1: bytes differ from offset %2").arg(path).arg(differs);
                return check;
            }
        }
    }
    return check;
}

// ---- Clones ---------------------------------------------------------------------------------------------

struct FirstExtent {
    QString unknown; // why the file system couldn't tell; empty when it could
    bool mapped = false;
    quint64 physical = 0;
};

// The disk address of a file's first extent; a clone shares it with its source, a copy has one of its own.
FirstExtent firstExtent(const std::string &path)
{
    FirstExtent found;
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        failWith("can't open", path);
    alignas(fiemap) unsigned char buffer[sizeof(fiemap) + sizeof(fiemap_extent)] = {};
    auto *map = reinterpret_cast<fiemap *>(buffer);
    map->fm_start = 0;
    map->fm_length = FIEMAP_MAX_OFFSET;
    map->fm_flags = FIEMAP_FLAG_SYNC; // delayed allocation would leave a fresh copy without extents yet
    map->fm_extent_count = 1;
    if (::ioctl(fd, FS_IOC_FIEMAP, map) != 0) {
        found.unknown = QString::fromLocal8Bit(std::strerror(errno));
    } else if (map->fm_mapped_extents > 0) {
        const auto *extent = reinterpret_cast<const fiemap_extent *>(buffer + sizeof(fiemap));
        found.mapped = true;
        found.physical = extent->fe_physical;
    }
    ::close(fd);
    return found;
}

// How many of the non-empty files of a copy share their first extent with their source.
QString clones(const Tree &source, const std::string &sourceRoot, const std::string &copyRoot)
{
    int files = 0;
    int shared = 0;
    for (const auto &[relative, entry] : source) {
        if (!S_ISREG(entry.mode) || entry.size == 0)
            continue;
        ++files;
        const FirstExtent from = firstExtent(under(sourceRoot, relative));
        const FirstExtent to = firstExtent(under(copyRoot, relative));
        if (!from.unknown.isEmpty() || !to.unknown.isEmpty())
            return QStringLiteral("unknown (FIEMAP: %1)").arg(from.unknown.isEmpty() ? to.unknown : from.unknown);
        if (from.mapped && to.mapped && from.physical == to.physical)
            ++shared;
    }
    return QStringLiteral("%1 (%2 of %3 files share their first extent with the source)")
        .arg(shared == 0       ? QStringLiteral("no")
             : shared == files ? QStringLiteral("yes")
                               : QStringLiteral("partly"))
        .arg(shared)
        .arg(files);
}

// ---- The file system ------------------------------------------------------------------------------------

QString unescapeMount(const QString &field)
{
    // mountinfo writes space, tab, newline and backslash as \ooo.
    QString plain;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == QLatin1Char('\\') && i + 3 < field.size()) {
            bool ok = false;
            const int code = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok) {
                plain += QChar(code);
                i += 3;
                continue;
            }
        }
        plain += field[i];
    }
    return plain;
}

struct FileSystem {
    QString type;   // as the mount table names it
    QString device; // what is mounted
    QString mountedOn;
    long magic = 0; // statfs's f_type
    bool inMemory = false;
};

// The mount holding `folder`: the longest mount point of /proc/self/mountinfo that is a prefix of its path.
FileSystem fileSystemOf(const QString &folder)
{
    FileSystem found;
    struct statfs info {};
    if (::statfs(QFile::encodeName(folder).constData(), &info) == 0)
        found.magic = long(info.f_type);
    found.inMemory = found.magic == long(TMPFS_MAGIC) || found.magic == long(RAMFS_MAGIC);
    const QString path = QFileInfo(folder).canonicalFilePath();
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return found;
    for (const QByteArray &line : table.readAll().split('\n')) {
        const QStringList fields = QString::fromUtf8(line).split(QLatin1Char(' '));
        const qsizetype dash = fields.indexOf(QStringLiteral("-"));
        if (fields.size() < 5 || dash < 0 || dash + 2 >= fields.size())
            continue;
        const QString point = unescapeMount(fields[4]);
        const bool holds = point == QLatin1String("/") || path == point || path.startsWith(point + QLatin1Char('/'));
        if (holds && point.size() >= found.mountedOn.size()) {
            found.mountedOn = point;
            found.type = fields[dash + 1];
            found.device = unescapeMount(fields[dash + 2]);
        }
    }
    return found;
}

bool takesUserXattrs(const QString &folder)
{
    const std::string probe = QFile::encodeName(folder + QStringLiteral("/xattr-probe")).toStdString();
    const int fd = ::open(probe.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        failWith("can't create", probe);
    const bool takes = ::fsetxattr(fd, "user.probe", "1", 1, 0) == 0;
    ::close(fd);
    ::unlink(probe.c_str());
    return takes;
}

quint64 freeBytes(const QString &folder)
{
    struct statvfs info {};
    if (::statvfs(QFile::encodeName(folder).constData(), &info) != 0)
        return 0;
    return quint64(info.f_bavail) * info.f_frsize;
}

QString gigabytes(quint64 bytes)
{
    return bytes >= GiB ? QString::number(double(bytes) / double(GiB), 'f', 1) + QStringLiteral(" GiB")
                        : QString::number(double(bytes) / double(MiB), 'f', 1) + QStringLiteral(" MiB");
}

QString readText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The last lines a failed tool wrote on standard error, for the reader to see why.
QString tailOf(const QString &path)
{
    const QStringList lines = readText(path).trimmed().split(QLatin1Char('\n'));
    return lines.mid(std::max<qsizetype>(0, lines.size() - 8)).join(QStringLiteral("\n    "));
}

// ---- The tools ------------------------------------------------------------------------------------------

struct Tool {
    QString key;  // as --only names it
    QString name; // as the table shows it
};

const std::vector<Tool> &allTools()
{
    // rsync gets -X: -a alone drops extended attributes, which cp -a and Vantrel keep, so rsync would do
    // less work than the others and its copy couldn't pass the check.
    static const std::vector<Tool> tools{{QStringLiteral("vantrel"), QStringLiteral("vantrel")},
                                         {QStringLiteral("cp"), QStringLiteral("cp -a")},
                                         {QStringLiteral("rsync"), QStringLiteral("rsync -aX")}};
    return tools;
}

QStringList commandOf(const Tool &tool, const QString &vantrel, const QString &source, const QString &destination)
{
    if (tool.key == QLatin1String("vantrel"))
        return {vantrel,
                QStringLiteral("run"),
                QStringLiteral("smart-mover"),
                source,
                QStringLiteral("--dest"),
                destination,
                QStringLiteral("--yes"),
                QStringLiteral("--set"),
                QStringLiteral("annotateSourceComments=false"),
                QStringLiteral("--json")};
    if (tool.key == QLatin1String("cp"))
        return {QStringLiteral("cp"), QStringLiteral("-a"), source, destination + QLatin1Char('/')};
    return {QStringLiteral("rsync"), QStringLiteral("-aX"), source, destination + QLatin1Char('/')};
}

// Vantrel's own account of the copy: every item of its report has to say "copied".
QString vantrelReportProblem(const QString &stdoutFile)
{
    QJsonParseError error{};
    const QByteArray text = [&] {
        QFile file(stdoutFile);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return QStringLiteral("vantrel's output isn't JSON (%1): %2")
            .arg(error.errorString(), QString::fromUtf8(text.left(200)));
    const QJsonArray items = document.object()[QStringLiteral("report")][QStringLiteral("items")].toArray();
    if (items.isEmpty())
        return QStringLiteral("vantrel's report has no items: %1").arg(QString::fromUtf8(text.left(200)));
    for (const QJsonValue item : items) {
        const QString badge = item[QStringLiteral("badge")].toString();
        if (badge != QLatin1String("copied"))
            return QStringLiteral("vantrel reported \"%1\" for %2")
                .arg(badge, QString::fromUtf8(QJsonDocument(item.toObject()).toJson(QJsonDocument::Compact).left(300)));
    }
    return {};
}

struct CorpusPlan {
    QString title;
    QString folderName;
    quint64 estimate; // bytes it takes on the disk, for the free-space check
    Built (*build)(const std::string &, quint64, bool);
    quint64 amount; // files for the small corpus, bytes per file for the large one
    bool clones;
};

QString ratioText(double ratio)
{
    return QString::number(ratio, 'f', 2) + (ratio > 1.1 ? QStringLiteral("  MISSED") : QString());
}

int usage(QTextStream &out)
{
    out << "Usage: bench_transfer [SCALE] [--dir FOLDER] [--keep] [--only vantrel,cp,rsync]\n";
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    const Launcher launcher;
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    double scale = 1;
    QString base;
    bool keep = false;
    QStringList only;
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--dir") && i + 1 < arguments.size()) {
            base = arguments[++i];
        } else if (arguments[i] == QLatin1String("--keep")) {
            keep = true;
        } else if (arguments[i] == QLatin1String("--only") && i + 1 < arguments.size()) {
            only = arguments[++i].split(QLatin1Char(','), Qt::SkipEmptyParts);
        } else {
            bool ok = false;
            scale = arguments[i].toDouble(&ok);
            if (!ok)
                return usage(out);
        }
    }
    std::vector<Tool> tools;
    for (const Tool &tool : allTools()) {
        if (only.isEmpty() || only.contains(tool.key))
            tools.push_back(tool);
    }
    for (const QString &key : only) {
        if (std::none_of(allTools().begin(), allTools().end(), [&](const Tool &tool) { return tool.key == key; }))
            return usage(out);
    }
    if (scale <= 0 || tools.empty())
        return usage(out);
    const auto runs = [&](const char *key) {
        return std::any_of(tools.begin(), tools.end(),
                           [&](const Tool &tool) { return tool.key == QLatin1String(key); });
    };

    const QString vantrel = QCoreApplication::applicationDirPath() + QStringLiteral("/vantrel");
    // Checked before gigabytes of corpus are written for nothing.
    if (runs("vantrel") && !QFileInfo(vantrel).isExecutable()) {
        std::fprintf(stderr, "%s: %s isn't built; the bench compares it with cp and rsync.\n", bench,
                     qPrintable(vantrel));
        return 2;
    }
    QStringList peers;
    for (const Tool &tool : tools) {
        if (tool.key != QLatin1String("vantrel"))
            peers.append(tool.key);
    }
    if (!Peers::installed(bench, peers))
        return Peers::peerFailed;

    // The copies are timed where they would happen, on a disk: /tmp is often tmpfs, which copies memory.
    QString fellBack;
    if (base.isEmpty()) {
        base = QStringLiteral("/var/tmp");
        if (!QFileInfo(base).isWritable())
            fellBack = QStringLiteral(" (/var/tmp isn't writable)");
        else if (const FileSystem tmp = fileSystemOf(base); tmp.inMemory)
            fellBack = QStringLiteral(" (/var/tmp is %1, in memory)").arg(tmp.type);
        if (!fellBack.isEmpty())
            base = QDir::currentPath();
    }
    const FileSystem where = fileSystemOf(base);
    QTemporaryDir temporary(base + QStringLiteral("/bench-transfer-XXXXXX"));
    if (!temporary.isValid()) {
        std::fprintf(stderr, "%s: can't make a folder in %s: %s.\n", bench, qPrintable(base),
                     qPrintable(temporary.errorString()));
        return 2;
    }
    temporary.setAutoRemove(!keep);
    const QString root = temporary.path();
    out << "Working in " << root << fellBack << (keep ? ", kept when done" : "") << "\n";
    out << "File system: " << (where.type.isEmpty() ? QStringLiteral("unknown") : where.type) << " (" << where.device
        << " on " << where.mountedOn << ", statfs type 0x" << QString::number(where.magic, 16) << ")\n";
    if (where.inMemory)
        out << "WARNING: " << where.type << " keeps its files in memory: these times say nothing of a disk.\n";

    try {
        const bool xattrs = takesUserXattrs(root);
        out << "user.* extended attributes: "
            << (xattrs ? "on about 5% of the files" : "not taken by this file system; the corpora have none") << "\n";
        const bool cold = dropCaches();
        out << "Page cache: " << (cold ? "dropped before each run (cold reads)" : "not droppable; runs read warm")
            << "\n";
        const QString scratch = root + QStringLiteral("/scratch");
        QDir().mkpath(scratch);
        for (const Tool &tool : tools) {
            if (tool.key == QLatin1String("vantrel"))
                continue;
            const QString version = scratch + QStringLiteral("/version");
            launcher.run({tool.key, QStringLiteral("--version")}, {}, version, version, scratch);
            out << tool.key << ": " << readText(version).section(QLatin1Char('\n'), 0, 0) << "\n";
        }
        if (!only.isEmpty())
            out << "--only " << only.join(QLatin1Char(',')) << ": a debugging run"
                << (runs("vantrel") && runs("cp") ? "" : ", with no ratio without both vantrel and cp") << "\n";
        out << "goal: ≤ 1.1× cp -a\n";
        out.flush();

        const quint64 smallFiles = std::max<quint64>(1, quint64(std::llround(100'000 * scale)));
        const quint64 largeSize = std::max<quint64>(1, quint64(std::llround(double(2 * GiB) * scale)));
        const std::vector<CorpusPlan> plans{
            {QStringLiteral("small: %1 files of 0-64 KiB in nested folders, hidden files, modes 0644/0600/0755")
                 .arg(smallFiles),
             QStringLiteral("small-files"), smallFiles * 40 * 1024, &buildSmall, smallFiles, false},
            {QStringLiteral("large: 4 files of %1").arg(gigabytes(largeSize)), QStringLiteral("large-files"),
             4 * (largeSize + MiB), &buildLarge, largeSize, true},
        };
        for (const CorpusPlan &plan : plans) {
            // The source and one copy at a time, or every copy when they are kept.
            const quint64 needed = plan.estimate * (1 + (keep ? tools.size() : 1));
            if (freeBytes(root) < needed) {
                std::fprintf(stderr, "%s: the %s corpus needs about %s free in %s, which has %s.\n", bench,
                             qPrintable(plan.folderName), qPrintable(gigabytes(needed)), qPrintable(root),
                             qPrintable(gigabytes(freeBytes(root))));
                return 2;
            }
            const QString source = root + QStringLiteral("/source/") + plan.folderName;
            QDir().mkpath(root + QStringLiteral("/source"));
            const std::string sourceRoot = QFile::encodeName(source).toStdString();
            QElapsedTimer building;
            building.start();
            const Built built = plan.build(sourceRoot, plan.amount, xattrs);
            const Tree snapshot = walk(sourceRoot);
            out << "\n"
                << plan.title << "\n  " << built.files << " files (" << built.hidden << " hidden, " << built.withXattrs
                << " with user.* attributes) in " << built.folders << (built.folders == 1 ? " folder, " : " folders, ")
                << gigabytes(built.bytes) << ", built in " << QString::number(double(building.elapsed()) / 1000, 'f', 1)
                << " s\n";
            out << QStringLiteral("  %1 %2 %3 %4  %5\n")
                       .arg(QStringLiteral("tool"), -10)
                       .arg(QStringLiteral("seconds"), 9)
                       .arg(QStringLiteral("+ sync"), 9)
                       .arg(QStringLiteral("peak MiB"), 9)
                       .arg(QStringLiteral("copy"));
            out.flush();
            std::map<QString, Measure> times;
            QString vantrelClones;
            // The first program after a corpus is written runs slower, whichever it is: each tool runs
            // twice, the second round in the opposite order, and its better time counts.
            std::vector<Tool> order(tools.begin(), tools.end());
            order.insert(order.end(), tools.rbegin(), tools.rend());
            for (const Tool &tool : order) {
                const QString destination =
                    root + QStringLiteral("/copies/") + tool.key + QLatin1Char('-') + plan.folderName;
                QDir().mkpath(destination);
                QStringList environment;
                if (tool.key == QLatin1String("vantrel")) {
                    // A home of its own for every run: Vantrel writes its defaults there, and the user's
                    // settings stay out of the measure.
                    const QString home = root + QStringLiteral("/home-") + plan.folderName;
                    QDir(home).removeRecursively();
                    for (const char *sub : {"", "/.config", "/.local/share", "/.cache", "/.local/state", "/runtime"})
                        QDir().mkpath(home + QLatin1String(sub));
                    QFile::setPermissions(home + QStringLiteral("/runtime"),
                                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
                    environment =
                        QStringList{QStringLiteral("HOME=") + home,
                                    QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/.config"),
                                    QStringLiteral("XDG_DATA_HOME=") + home + QStringLiteral("/.local/share"),
                                    QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/.cache"),
                                    QStringLiteral("XDG_STATE_HOME=") + home + QStringLiteral("/.local/state"),
                                    QStringLiteral("XDG_RUNTIME_DIR=") + home + QStringLiteral("/runtime")};
                }
                if (cold)
                    dropCaches();
                else
                    ::sync();
                const QString output = scratch + QLatin1Char('/') + tool.key + QStringLiteral(".out");
                const QString errors = scratch + QLatin1Char('/') + tool.key + QStringLiteral(".err");
                const Measure run =
                    launcher.run(commandOf(tool, vantrel, source, destination), environment, output, errors, scratch);
                const bool ours = tool.key == QLatin1String("vantrel");
                // A time is only worth comparing for a run that ended well and left a faithful copy.
                const auto refuse = [&](const QString &why) {
                    out << QStringLiteral("  %1 %2\n").arg(tool.name, -10).arg(why);
                    out.flush();
                    int status = 1;
                    if (ours)
                        std::fprintf(stderr, "%s: %s%s\n", bench, qPrintable(why),
                                     why.endsWith(QLatin1Char('.')) ? "" : ".");
                    else
                        status = Peers::failed(bench, why);
                    if (keep)
                        std::fprintf(stderr, "%s: the corpus and the copies stay in %s.\n", bench, qPrintable(root));
                    else
                        std::fprintf(stderr, "%s: with --keep the corpus and the copies would stay for a look.\n",
                                     bench);
                    return status;
                };
                if (run.status != 0)
                    return refuse(
                        QStringLiteral("%1 failed (exit %2): %3\n    %4")
                            .arg(tool.name)
                            .arg(run.status)
                            .arg(commandOf(tool, vantrel, source, destination).join(QLatin1Char(' ')), tailOf(errors)));
                if (ours) {
                    const QString problem = vantrelReportProblem(output);
                    if (!problem.isEmpty())
                        return refuse(problem);
                }
                const Check untouched = compareTrees(snapshot, walk(sourceRoot), plan.folderName);
                if (!untouched.mismatch.isEmpty() || untouched.nanoseconds > 0)
                    return refuse(QStringLiteral("%1 changed its source: %2")
                                      .arg(tool.name, untouched.mismatch.isEmpty() ? untouched.firstNanoseconds
                                                                                   : untouched.mismatch));
                const QString copy = destination + QLatin1Char('/') + plan.folderName;
                if (!QFileInfo::exists(copy))
                    return refuse(QStringLiteral("%1 left no %2").arg(tool.name, copy));
                const std::string copyRoot = QFile::encodeName(copy).toStdString();
                const Check check = compareTrees(snapshot, walk(copyRoot), plan.folderName, sourceRoot, copyRoot);
                if (!check.mismatch.isEmpty())
                    return refuse(
                        QStringLiteral("%1's copy differs from its source: %2").arg(tool.name, check.mismatch));
                QString verdict = QStringLiteral("matches");
                if (check.nanoseconds > 0)
                    verdict += QStringLiteral("; mtimes agree to the second only on %1 of %2 (first %3)")
                                   .arg(check.nanoseconds)
                                   .arg(snapshot.size())
                                   .arg(check.firstNanoseconds);
                else
                    verdict += QStringLiteral(", mtimes to the nanosecond");
                if (plan.clones) {
                    const QString cloned = clones(snapshot, sourceRoot, copyRoot);
                    verdict += QStringLiteral("; clones: ") + cloned;
                    if (ours)
                        vantrelClones = cloned;
                }
                out << QStringLiteral("  %1 %2 %3 %4  %5\n")
                           .arg(tool.name, -10)
                           .arg(run.seconds, 9, 'f', 2)
                           .arg(run.synced, 9, 'f', 2)
                           .arg(double(run.peakKiB) / 1024, 9, 'f', 1)
                           .arg(verdict);
                out.flush();
                if (const auto seen = times.find(tool.key); seen == times.end() || run.seconds < seen->second.seconds)
                    times[tool.key] = run;
                if (!keep)
                    QDir(destination).removeRecursively();
            }
            if (!vantrelClones.isEmpty())
                out << "  clones (reflinks) used by vantrel: " << vantrelClones << "\n";
            const auto ours = times.find(QStringLiteral("vantrel"));
            out << "  each tool's better run counts:\n";
            for (const Tool &peer : tools) {
                const auto theirs = times.find(peer.key);
                if (ours == times.end() || peer.key == QLatin1String("vantrel") || theirs == times.end())
                    continue;
                out << "  vantrel / " << peer.name << ": " << ratioText(ours->second.seconds / theirs->second.seconds)
                    << "  (to the disk, with sync: " << ratioText(ours->second.synced / theirs->second.synced) << ")\n";
            }
            out << "  goal: ≤ 1.1× cp -a\n";
            out.flush();
            if (!keep)
                QDir(source).removeRecursively();
        }
    } catch (const Failure &failure) {
        std::fprintf(stderr, "%s: %s.\n", bench, failure.what());
        return 2;
    }
    out << "\nEvery copy matched its source.\n";
    return 0;
}
