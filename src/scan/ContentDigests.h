#pragma once

#include "scan/FileWalker.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <array>
#include <functional>
#include <optional>
#include <stop_token>
#include <vector>

// Which files of a walk hold the same content. The answer is the one that hashing every file whole with
// SHA-256 would give, but reached reading as little as it needs: files of a size no other file has are
// never opened; files past a few kilobytes are first told apart by their first and last blocks; only files
// that still look alike are read whole. Reads run on several threads, each with one fixed buffer, so memory
// grows with the number of files and not with their size.
namespace ContentDigests {

using Digest = std::array<unsigned char, 32>;

// 64 lower-case hexadecimal characters.
QString hexText(const Digest &digest);

// The SHA-256 of a file's whole content. Nothing when it isn't a regular file or can't be opened or read
// to its end; an empty file has the digest of no bytes.
std::optional<Digest> sha256(const QString &path);

struct Options {
    int threads = 0; // 0: chosen from the machine
};

// Called from the reading threads with how many of the files have been settled (found alike or not, or
// unreadable), so that a long run publishes about 60 times: every step-th count and the last.
using Progress = std::function<void(int processed, int total)>;

// Each inner list holds the indices into `files` of one content found in two or more entries, ascending.
// The lists come in no particular order. A path that stands twice in `files` is read once and counts as
// two entries; a file that can't be read belongs to no list. Nothing when stopped.
std::optional<std::vector<std::vector<int>>> identicalGroups(const QList<FileWalker::WalkedFile> &files,
                                                             std::stop_token stop, const Progress &progress = {},
                                                             Options options = {});

} // namespace ContentDigests
