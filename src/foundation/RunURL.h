#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// The run URL a Quick Action opens: vantrel://run/{workflow-id}?files={paths}.
// Each path is percent-encoded by itself before the paths are joined by "|", and
// the URL's own encoding of the query comes on top, so a "|" inside a path can
// never be taken for the separator.
namespace RunURL {

// Percent-encodes a path's bytes (NativeNames::encode), keeping what may stand in a URL path as it is.
QString encodePath(const QString &path);
// Removes percent encoding and reads the bytes as NativeNames::decode does, so that a byte that isn't
// UTF-8 stays that byte; nothing when a sequence is broken.
std::optional<QString> removePercentEncoding(const QString &text);

// The URL text for a run of `id` over `paths`, with the files item always present.
QString make(const QString &id, const QStringList &paths);
// The same without a files item when there are no paths.
QString makeWithOptionalFiles(const QString &id, const QStringList &paths);

// The parts of a URL as the runner reads them. The host keeps its case, which a
// parsed QUrl would fold.
struct Parts {
    QString scheme;               // lower-cased; empty when the text has none
    std::optional<QString> host;  // none when the URL has no authority or an empty host
    QString id;                   // the decoded path without leading and trailing "/"
    std::optional<QString> files; // the first "files" query item, decoded once
};
Parts split(const QString &urlText);

// The selected paths carried by a files value that the URL parser already decoded once.
QStringList decodePaths(const std::optional<QString> &files);

} // namespace RunURL
