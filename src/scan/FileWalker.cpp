#include "scan/FileWalker.h"

#include "platform/NativeNames.h"
#include "platform/Packages.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The walk is the inner loop of every scan, on folders of hundreds of thousands of files, so it works on
// the system calls directly: each folder is opened relative to its parent's descriptor and read with
// readdir, whose entry type spares a stat for links, hidden names and plain folders; the one stat a file
// needs is fstatat relative to its folder, so the kernel never resolves the full path again. A path is
// built as a QString once, straight from the entry's bytes. Each folder is read whole and its entries
// sorted by name before any is visited, which costs a sort of names already in memory and makes the
// walk's order, and so every scan's, the same on every run.

namespace {

using FileWalker::WalkedFile;

std::optional<QDateTime> modificationDate(const struct stat &info)
{
    // tv_nsec is never negative, so this also rounds dates before 1970 down to the millisecond.
    const qint64 ms = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1'000'000;
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

// A folder's path with exactly one "/" at its end, so that "/" itself doesn't give "//name".
QString folderPrefix(const QString &path)
{
    return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
}

// The last component of a path, ignoring "/" at its end.
QStringView lastComponent(QStringView path)
{
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path.sliced(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// One folder's visible entries, in the order of their names' bytes. The names live end to end in one
// buffer, and the buffers of each depth are kept for the next folder at that depth, so a walk of
// thousands of folders allocates for the first few only.
class Listing {
public:
    struct Item {
        std::size_t offset = 0;
        unsigned char type = DT_UNKNOWN;
    };

    // Reads the whole folder. Hidden names, "." and "..", which all begin with a dot, are left out, and so
    // are links, pipes, sockets and devices, which the entry's type already tells.
    void read(DIR *dir)
    {
        names.clear();
        items.clear();
        while (const dirent *entry = ::readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            const unsigned char type = entry->d_type;
            if (type != DT_REG && type != DT_DIR && type != DT_UNKNOWN)
                continue;
            const std::size_t length = std::strlen(entry->d_name);
            items.push_back({names.size(), type});
            names.insert(names.end(), entry->d_name, entry->d_name + length + 1);
        }
        // By name bytes, so every run and every machine walks the same tree the same way, whatever order
        // the file system lists it in; strcmp compares as unsigned char.
        const char *base = names.data();
        std::sort(items.begin(), items.end(),
                  [base](const Item &a, const Item &b) { return std::strcmp(base + a.offset, base + b.offset) < 0; });
    }

    const std::vector<Item> &entries() const { return items; }
    const char *name(const Item &item) const { return names.data() + item.offset; }

private:
    std::vector<char> names;
    std::vector<Item> items;
};

class Walk {
public:
    Walk(const std::stop_token &stop, qsizetype limit) : stop(stop), limit(limit) {}

    QList<WalkedFile> files;

    void selected(const QString &url);

private:
    // Each open folder holds a descriptor until its tree is done. A folder nested deeper than this is read
    // whole and closed before its subfolders are entered, so no depth of nesting runs out of descriptors.
    static constexpr int heldDepth = 64;

    struct Entry {
        QString path;
        unsigned char type = DT_UNKNOWN;
        bool package = false;
        bool statted = false;
        struct stat info {};
    };

    bool done() const { return files.size() >= limit || stop.stop_requested(); }
    static QString childPath(const QString &prefix, const char *name);
    // Stats an entry that needs it, and says whether it adds to the walk at all.
    static bool classify(int dirFd, const char *name, Entry &entry);
    // Adds a file or a package.
    void add(Entry &entry);
    Listing &listingAt(int depth);
    void folder(int fd, const QString &path, int depth);
    void deepFolder(int fd, const QString &path, int depth);
    void descend(int parentFd, const char *name, const QString &path, int depth);

    const std::stop_token &stop;
    const qsizetype limit;
    std::vector<std::unique_ptr<Listing>> listings; // one per depth held open
};

QString Walk::childPath(const QString &prefix, const char *name)
{
    // One allocation: the prefix is copied and the name decoded straight behind it. A name keeps every
    // byte, UTF-8 or not, so the path always leads back to the file.
    const qsizetype length = qsizetype(std::strlen(name));
    QString path(prefix.size() + length, Qt::Uninitialized);
    QChar *out = path.data();
    std::memcpy(out, prefix.constData(), size_t(prefix.size()) * sizeof(QChar));
    QChar *end = NativeNames::decodeInto(out + prefix.size(), QByteArrayView(name, length));
    path.truncate(end - out);
    return path;
}

bool Walk::classify(int dirFd, const char *name, Entry &entry)
{
    entry.statted = false;
    entry.package = false;
    switch (entry.type) {
    case DT_REG:
        break;
    case DT_DIR:
        // A plain folder needs no stat; a package needs its date.
        entry.package = Packages::isPackageName(lastComponent(entry.path));
        if (!entry.package)
            return true;
        break;
    case DT_UNKNOWN:
        // Some file systems don't fill in the type; the stat tells it.
        break;
    default:
        // Symbolic links, pipes, sockets, devices.
        return false;
    }
    if (::fstatat(dirFd, name, &entry.info, AT_SYMLINK_NOFOLLOW) != 0)
        return entry.package; // gone, or a package whose date can't be read
    entry.statted = true;
    if (S_ISREG(entry.info.st_mode)) {
        entry.type = DT_REG;
        entry.package = false;
    } else if (S_ISDIR(entry.info.st_mode)) {
        entry.type = DT_DIR;
        entry.package = Packages::isPackageName(lastComponent(entry.path));
    } else {
        return false;
    }
    return true;
}

void Walk::add(Entry &entry)
{
    if (entry.package)
        files.append({std::move(entry.path), 0, entry.statted ? modificationDate(entry.info) : std::nullopt});
    else
        files.append({std::move(entry.path), quint64(entry.info.st_size), modificationDate(entry.info)});
}

Listing &Walk::listingAt(int depth)
{
    while (listings.size() <= std::size_t(depth))
        listings.push_back(std::make_unique<Listing>());
    return *listings[std::size_t(depth)];
}

void Walk::descend(int parentFd, const char *name, const QString &path, int depth)
{
    if (done())
        return;
    // O_NOFOLLOW: a folder swapped for a link since it was listed is not followed.
    const int fd = ::openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return; // unreadable: passed over
    if (depth < heldDepth)
        folder(fd, path, depth);
    else
        deepFolder(fd, path, depth);
}

void Walk::folder(int fd, const QString &path, int depth)
{
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    // Listed whole first, then visited in name order; the folder stays open so that its entries are
    // still reached relative to it.
    Listing &listing = listingAt(depth);
    listing.read(dir);
    const QString prefix = folderPrefix(path);
    Entry entry;
    for (const Listing::Item &item : listing.entries()) {
        if (done())
            break;
        const char *name = listing.name(item);
        entry.type = item.type;
        entry.path = childPath(prefix, name);
        if (!classify(fd, name, entry))
            continue;
        if (entry.type == DT_DIR && !entry.package)
            descend(fd, name, entry.path, depth + 1);
        else
            add(entry);
    }
    ::closedir(dir);
}

void Walk::deepFolder(int fd, const QString &path, int depth)
{
    // Read and classify every entry while the folder is open, then close it and go down by full path.
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    Listing listing;
    listing.read(dir);
    const QString prefix = folderPrefix(path);
    std::vector<Entry> entries;
    for (const Listing::Item &item : listing.entries()) {
        Entry entry;
        entry.type = item.type;
        entry.path = childPath(prefix, listing.name(item));
        if (classify(fd, listing.name(item), entry))
            entries.push_back(std::move(entry));
    }
    ::closedir(dir);
    for (Entry &entry : entries) {
        if (done())
            break;
        if (entry.type == DT_DIR && !entry.package)
            descend(AT_FDCWD, NativeNames::encode(entry.path).constData(), entry.path, depth + 1);
        else
            add(entry);
    }
}

void Walk::selected(const QString &url)
{
    if (done())
        return;
    const QByteArray encoded = NativeNames::encode(url);
    struct stat info {};
    // stat follows links: a selected link is judged, and walked, as what it points at.
    if (::stat(encoded.constData(), &info) != 0)
        return;
    if (!S_ISDIR(info.st_mode)) {
        files.append({url, quint64(info.st_size), modificationDate(info)});
        return;
    }
    if (Packages::isPackageName(lastComponent(url))) {
        files.append({url, 0, modificationDate(info)});
        return;
    }
    const int fd = ::open(encoded.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0)
        folder(fd, url, 0);
}

} // namespace

QList<WalkedFile> FileWalker::walk(const QStringList &urls, std::stop_token stop)
{
    Walk walk(stop, std::numeric_limits<qsizetype>::max());
    for (const QString &url : urls)
        walk.selected(url);
    return std::move(walk.files);
}

std::optional<WalkedFile> FileWalker::firstFile(const QString &url)
{
    const std::stop_token never;
    Walk walk(never, 1);
    walk.selected(url);
    if (walk.files.isEmpty())
        return std::nullopt;
    return walk.files.first();
}
