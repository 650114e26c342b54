#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>

#include <optional>

// Reading the selected images: their pixel size from the header alone, and the
// pixels themselves one image at a time. Qt's readers cover PNG, JPEG, GIF,
// BMP, TIFF and WebP; HEIC goes through libheif when the build has it.
namespace ImageSource {

// Whether `path` is a regular file (following a link): pipes and devices are never read as images.
bool isRegularFile(const QString &path);

// Width and height as displayed (EXIF orientation applied), without decoding.
std::optional<QSize> pixelSize(const QString &path);

// The decoded image, upright; scaled on the way when `scaledSize` is valid,
// which lets JPEG decode at a fraction of its size. Null when unreadable.
QImage decode(const QString &path, QSize scaledSize = {});

// A JPEG that can go into a PDF byte for byte: upright as stored, and the
// number of colour components its frame header names (1 or 3).
struct EmbeddableJPEG {
    QSize size;
    int components = 3;
};
std::optional<EmbeddableJPEG> embeddableJPEG(const QString &path, const QByteArray &bytes);

} // namespace ImageSource
