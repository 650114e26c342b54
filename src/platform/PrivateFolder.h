#pragma once

#include <QString>

#include <optional>

// A folder only this user can enter, for what another account must never reach or stand in for
// (the instance socket). In a shared place like /tmp anyone can make a folder first, or a link to
// one of their own, so what is there is looked at, never trusted: a real folder, not a symbolic
// link, owned by this user, mode exactly 0700.
namespace PrivateFolder {

enum class Status { missing, safe, unsafe };

struct Check {
    Status status = Status::missing;
    // Why the folder isn't safe, and what to do about it; empty otherwise.
    QString problem;
};

Check check(const QString &path);

// Makes the folder (mode 0700) when it is missing, then checks it. The reason when it can't be
// used; nothing when it can. A folder that was there already is never changed.
std::optional<QString> prepare(const QString &path);

} // namespace PrivateFolder
