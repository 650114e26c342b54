#pragma once

#include "transfer/engine/TransferEngine.h"

#include <QDate>
#include <QJsonObject>
#include <QStringList>

#include <functional>
#include <stop_token>

// What happens to the originals once their copies stand: a comment saying where the copy went, then
// the Trash. Only sources whose copy was written are touched.
namespace SourceAnnotator {

struct Options {
    bool annotateSourceComments = false;
    bool deleteOriginals = false;
    // Linux keeps no cloud placeholders, so there is nothing to evict: the count stays 0.
    bool evictICloudSources = false;
    QString annotationFormat;
    bool operator==(const Options &) const = default;
};

struct Summary {
    int annotated = 0;
    int deleted = 0;
    int evicted = 0;
    QStringList errors;
    bool permissionDenied = false;
    bool operator==(const Summary &) const = default;
};
QJsonObject toJson(const Summary &summary);

// A destination as the texts show it: every occurrence of the home folder's path as "~".
QString withHomeAsTilde(const QString &path);
// "[Copied to {dest} on {date}]"
QString defaultFormat();
// The comment `format` (the default when empty) makes for copies in `destinationRoot` on `day`: the home
// folder shown as "~", the date as yyyy-MM-dd.
QString render(const QString &format, const QString &destinationRoot, const QDate &day);
// The source's comment with `text` added on a line of its own; unchanged when it already holds the text.
QString merged(const QString &current, const QString &text);
// Whether a comment write's error says the permission to write it is missing.
bool isPermissionDenied(const QString &error);

using Progress = std::function<void(int processed, int total)>;

// Blocking; called off the main thread. A stop request ends it before the next source.
Summary apply(const Options &options, const TransferEngine::Result &result, const Progress &progress = {},
              std::stop_token stop = {});

} // namespace SourceAnnotator
