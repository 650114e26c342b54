#include "scan/ContentDigests.h"

#include "platform/Descriptor.h"
#include "platform/NativeNames.h"
#include "scan/ScanReport.h"

#include <QHash>

#include <openssl/evp.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using ContentDigests::Digest;
using FileWalker::WalkedFile;

// Large enough that a big file costs few system calls, small enough that the threads' buffers together
// stay far below what the file list itself takes for any real tree.
constexpr size_t bufferSize = size_t{256} * 1024;
// The blocks read at each end of a file to tell it apart before reading it whole.
constexpr qint64 probeBlock = 4096;
// Up to this size a file is read whole at once: its two probe blocks would cover it anyway.
constexpr quint64 wholeLimit = 2 * probeBlock;

const EVP_MD *sha256Algorithm()
{
    // Fetched once: an implicit fetch on every initialisation costs more than hashing a small file.
    static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> algorithm(EVP_MD_fetch(nullptr, "SHA256", nullptr),
                                                                           &EVP_MD_free);
    return algorithm.get();
}

// Opens a regular file for reading; anything else (a folder, a package, a pipe, a device) counts as
// unreadable, so that a selected /dev/zero can't keep a scan reading forever.
Descriptor openRegular(const QString &path)
{
    const QByteArray name = NativeNames::encode(path);
    // O_NONBLOCK keeps a pipe from blocking the open; O_NOATIME spares the disk a write per file read,
    // but only the owner may ask for it.
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    int fd = ::open(name.constData(), flags | O_NOATIME);
    if (fd < 0 && errno == EPERM)
        fd = ::open(name.constData(), flags);
    struct stat info {};
    if (fd >= 0 && (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))) {
        ::close(fd);
        fd = -1;
    }
    return Descriptor(fd);
}

// One reading thread's tools: a digest context and one buffer, reused for every file.
class FileReader {
public:
    FileReader() : context(EVP_MD_CTX_new()), buffer(new unsigned char[bufferSize]) {}
    ~FileReader() { EVP_MD_CTX_free(context); }
    FileReader(const FileReader &) = delete;
    FileReader &operator=(const FileReader &) = delete;

    // The whole content's digest; nothing when unreadable or stopped.
    std::optional<Digest> whole(const QString &path, const std::stop_token &stop)
    {
        const Descriptor file = openRegular(path);
        if (!file.isOpen() || !begin())
            return std::nullopt;
        ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
        for (;;) {
            if (stop.stop_requested())
                return std::nullopt;
            const ssize_t count = ::read(file.get(), buffer.get(), bufferSize);
            if (count < 0) {
                if (errno == EINTR)
                    continue;
                return std::nullopt;
            }
            if (count == 0)
                break;
            if (EVP_DigestUpdate(context, buffer.get(), size_t(count)) != 1)
                return std::nullopt;
        }
        return end();
    }

    // A key of the first and last blocks of a file larger than wholeLimit: files with the same content
    // always get the same key, and most files that differ get different ones.
    std::optional<Digest> probe(const QString &path, quint64 size)
    {
        const Descriptor file = openRegular(path);
        if (!file.isOpen() || !begin())
            return std::nullopt;
        const ssize_t head = readAt(file.get(), buffer.get(), 0);
        const ssize_t tail = readAt(file.get(), buffer.get() + probeBlock, qint64(size) - probeBlock);
        if (head < 0 || tail < 0)
            return std::nullopt;
        if (EVP_DigestUpdate(context, buffer.get(), size_t(head)) != 1 ||
            EVP_DigestUpdate(context, buffer.get() + probeBlock, size_t(tail)) != 1)
            return std::nullopt;
        return end();
    }

private:
    static ssize_t readAt(int fd, unsigned char *into, qint64 offset)
    {
        ssize_t count = 0;
        do {
            count = ::pread(fd, into, size_t(probeBlock), off_t(std::max<qint64>(0, offset)));
        } while (count < 0 && errno == EINTR);
        return count;
    }

    bool begin() { return EVP_DigestInit_ex2(context, sha256Algorithm(), nullptr) == 1; }

    std::optional<Digest> end()
    {
        Digest digest{};
        unsigned int length = 0;
        if (EVP_DigestFinal_ex(context, digest.data(), &length) != 1 || length != digest.size())
            return std::nullopt;
        return digest;
    }

    EVP_MD_CTX *context;
    std::unique_ptr<unsigned char[]> buffer;
};

// Counts the entries whose fate is known and publishes the count about 60 times, never going backwards,
// whichever thread settles what.
class SettledCounter {
public:
    SettledCounter(int total, const ContentDigests::Progress &progress)
        : total(total), step(ProgressThrottle(total).step()), progress(progress)
    {
    }

    void add(int count)
    {
        if (count <= 0 || !progress)
            return;
        const int now = done.fetch_add(count) + count;
        const int before = now - count;
        if (now != total && before / step == now / step)
            return;
        const std::lock_guard lock(publishing);
        if (now > published) {
            published = now;
            progress(now, total);
        }
    }

private:
    const int total;
    const int step;
    const ContentDigests::Progress &progress;
    std::atomic<int> done{0};
    std::mutex publishing;
    int published = 0;
};

// Runs `work(reader, task)` for every task on `threads` threads, the calling one among them. False when
// stopped.
template <typename Work>
bool forEachInParallel(const std::vector<int> &tasks, int threads, const std::stop_token &stop, const Work &work)
{
    std::atomic<size_t> next{0};
    const auto worker = [&] {
        FileReader reader;
        while (!stop.stop_requested()) {
            const size_t k = next.fetch_add(1);
            if (k >= tasks.size())
                return;
            work(reader, tasks[k]);
        }
    };
    const int count = int(std::min<size_t>(size_t(std::max(threads, 1)), tasks.size()));
    {
        std::vector<std::jthread> pool;
        for (int t = 1; t < count; ++t)
            pool.emplace_back(worker);
        worker();
    }
    return !stop.stop_requested();
}

int defaultThreads()
{
    // Reads from a warm cache are bound by the processors; reads from an SSD gain from a few requests in
    // flight at once. Twice the processors serves both without swamping a spinning disk.
    const int processors = int(std::max(1U, std::thread::hardware_concurrency()));
    return std::clamp(processors * 2, 2, 16);
}

struct DigestHash {
    size_t operator()(const Digest &digest) const
    {
        size_t value = 0;
        std::memcpy(&value, digest.data(), sizeof value);
        return value;
    }
};

} // namespace

QString ContentDigests::hexText(const Digest &digest)
{
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char *>(digest.data()), qsizetype(digest.size())).toHex());
}

std::optional<Digest> ContentDigests::sha256(const QString &path)
{
    FileReader reader;
    return reader.whole(path, std::stop_token());
}

std::optional<std::vector<std::vector<int>>> ContentDigests::identicalGroups(const QList<WalkedFile> &files,
                                                                             std::stop_token stop,
                                                                             const Progress &progress, Options options)
{
    enum class State : unsigned char { unread, probed, digested, unreadable };

    const int total = int(files.size());
    const int threads = options.threads > 0 ? options.threads : defaultThreads();
    SettledCounter settled(total, progress);

    // Equal content means equal size, so a size that only one entry has settles that entry unread. Within
    // a size, a path that stands twice is read once: `weight` counts the entries a read stands for.
    std::unordered_map<quint64, std::vector<int>> bySize;
    bySize.reserve(size_t(total));
    for (int i = 0; i < total; ++i)
        bySize[files[i].size].push_back(i);

    std::vector<int> canonical(static_cast<size_t>(total), -1);
    std::vector<int> weight(static_cast<size_t>(total), 0);
    std::vector<int> firstReads; // read whole now, or probed
    std::vector<int> wholeReads; // read whole after probing
    int unique = 0;
    for (const auto &[size, members] : bySize) {
        if (members.size() < 2) {
            ++unique;
            continue;
        }
        QHash<QString, int> firstOfPath;
        std::vector<int> reads;
        for (int member : members) {
            const auto found = firstOfPath.constFind(files[member].url);
            const int first = found == firstOfPath.constEnd() ? member : found.value();
            if (first == member) {
                firstOfPath.insert(files[member].url, member);
                reads.push_back(member);
            }
            canonical[size_t(member)] = first;
            ++weight[size_t(first)];
        }
        // One file reached twice has nothing to be told apart from: it goes straight to the whole read.
        std::vector<int> &into = size > wholeLimit && reads.size() == 1 ? wholeReads : firstReads;
        into.insert(into.end(), reads.begin(), reads.end());
    }
    settled.add(unique);

    std::vector<Digest> digests(static_cast<size_t>(total));
    std::vector<State> state(static_cast<size_t>(total), State::unread);
    const auto readWhole = [&](FileReader &reader, int index) {
        const std::optional<Digest> result = reader.whole(files[index].url, stop);
        if (stop.stop_requested())
            return;
        state[size_t(index)] = result ? State::digested : State::unreadable;
        if (result)
            digests[size_t(index)] = *result;
        settled.add(weight[size_t(index)]);
    };

    // Files are read in walk order, which keeps a folder's files together on the disk.
    std::sort(firstReads.begin(), firstReads.end());
    const bool firstDone = forEachInParallel(firstReads, threads, stop, [&](FileReader &reader, int index) {
        const quint64 size = files[index].size;
        if (size <= wholeLimit) {
            readWhole(reader, index);
            return;
        }
        const std::optional<Digest> key = reader.probe(files[index].url, size);
        state[size_t(index)] = key ? State::probed : State::unreadable;
        if (key)
            digests[size_t(index)] = *key;
        else
            settled.add(weight[size_t(index)]);
    });
    if (!firstDone)
        return std::nullopt;

    // Probed files of one size and one key may be alike and are read whole; the others are settled.
    std::map<std::pair<quint64, Digest>, std::vector<int>> byKey;
    for (int index : firstReads) {
        if (state[size_t(index)] == State::probed)
            byKey[{files[index].size, digests[size_t(index)]}].push_back(index);
    }
    for (const auto &[key, members] : byKey) {
        int entries = 0;
        for (int member : members)
            entries += weight[size_t(member)];
        if (entries >= 2)
            wholeReads.insert(wholeReads.end(), members.begin(), members.end());
        else
            settled.add(entries);
    }
    std::sort(wholeReads.begin(), wholeReads.end());
    if (!forEachInParallel(wholeReads, threads, stop, readWhole))
        return std::nullopt;

    std::unordered_map<Digest, std::vector<int>, DigestHash> byDigest;
    for (int i = 0; i < total; ++i) {
        const int first = canonical[size_t(i)];
        if (first >= 0 && state[size_t(first)] == State::digested)
            byDigest[digests[size_t(first)]].push_back(i);
    }
    std::vector<std::vector<int>> groups;
    for (auto &[key, members] : byDigest) {
        if (members.size() >= 2)
            groups.push_back(std::move(members));
    }
    return groups;
}
