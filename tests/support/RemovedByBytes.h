#pragma once

#include "platform/FileCopy.h"

#include <QByteArray>

#include <utility>

// Removes a test's folder by the bytes of its names when it goes. QTemporaryDir removes by UTF-8 names and
// leaves behind a name that isn't UTF-8, and the folder holding it; declared after the folder's owner,
// this empties it first.
struct RemovedByBytes {
    explicit RemovedByBytes(QByteArray folder = {}) : path(std::move(folder)) {}
    RemovedByBytes(const RemovedByBytes &) = delete;
    RemovedByBytes &operator=(const RemovedByBytes &) = delete;
    ~RemovedByBytes()
    {
        if (!path.isEmpty())
            FileCopy::removeTree(path);
    }

    QByteArray path;
};
