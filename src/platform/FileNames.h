#pragma once

#include <QString>

#include <optional>

// What a single file name may be on this system. Every rename asks here first, so that text typed
// by a user (or given on a command line) can never reach another folder: "../../X" as a name would
// move the file two folders up, and "/" or NUL can't be in a name at all.
namespace FileNames {

// The longest name a Linux or macOS file system takes, in bytes of its encoding.
constexpr int maximumBytes = 255;

// Why `name` can't be one file's name: empty, "." or "..", holding "/" or NUL, or longer than
// `maximumBytes`. Nothing when it can.
std::optional<QString> problem(const QString &name);

// Why `text` can't go into a file name as a part of it (a prefix, a suffix, a replacement):
// it holds "/" or NUL. Nothing when it can; "." alone is a fine part of a name.
std::optional<QString> partProblem(const QString &text);

} // namespace FileNames
