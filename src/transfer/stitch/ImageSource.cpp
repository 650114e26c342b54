#include "transfer/stitch/ImageSource.h"

#include "platform/NativeNames.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>

#if VANTREL_HAS_LIBHEIF
#include <libheif/heif.h>
#endif

#include <sys/stat.h>

namespace {

bool isHEIF(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("heic") || suffix == QLatin1String("heif");
}

#if VANTREL_HAS_LIBHEIF
// Owns a libheif context and its primary image handle.
struct HeifFile {
    heif_context *context = heif_context_alloc();
    heif_image_handle *handle = nullptr;

    explicit HeifFile(const QString &path)
    {
        if (heif_context_read_from_file(context, NativeNames::encode(path).constData(), nullptr).code !=
                heif_error_Ok ||
            heif_context_get_primary_image_handle(context, &handle).code != heif_error_Ok)
            handle = nullptr;
    }
    ~HeifFile()
    {
        if (handle)
            heif_image_handle_release(handle);
        heif_context_free(context);
    }
    HeifFile(const HeifFile &) = delete;
    HeifFile &operator=(const HeifFile &) = delete;
};

std::optional<QSize> heifSize(const QString &path)
{
    const HeifFile file(path);
    if (!file.handle)
        return std::nullopt;
    return QSize(heif_image_handle_get_width(file.handle), heif_image_handle_get_height(file.handle));
}

QImage heifDecode(const QString &path)
{
    const HeifFile file(path);
    if (!file.handle)
        return {};
    heif_image *image = nullptr;
    if (heif_decode_image(file.handle, &image, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, nullptr).code !=
        heif_error_Ok)
        return {};
    int stride = 0;
    const uint8_t *data = heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    QImage result;
    if (data)
        result = QImage(data, heif_image_get_width(image, heif_channel_interleaved),
                        heif_image_get_height(image, heif_channel_interleaved), stride, QImage::Format_RGBA8888)
                     .copy();
    heif_image_release(image);
    return result;
}
#else
std::optional<QSize> heifSize(const QString &)
{
    return std::nullopt;
}
QImage heifDecode(const QString &)
{
    return {};
}
#endif

// The frame header's component count, or 0 when none is found.
int jpegComponents(const QByteArray &bytes)
{
    qsizetype i = 2;
    while (i + 9 < bytes.size()) {
        if (uchar(bytes[i]) != 0xFF)
            return 0;
        const uchar marker = uchar(bytes[i + 1]);
        const int length = (uchar(bytes[i + 2]) << 8) | uchar(bytes[i + 3]);
        // SOF0–SOF15 except DHT (C4), JPG (C8) and DAC (CC).
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC)
            return uchar(bytes[i + 9]);
        i += 2 + length;
    }
    return 0;
}

} // namespace

bool ImageSource::isRegularFile(const QString &path)
{
    // A FIFO would block the reader for ever and a device never ends; only files are images.
    struct stat info {};
    return ::stat(NativeNames::encode(path).constData(), &info) == 0 && S_ISREG(info.st_mode);
}

std::optional<QSize> ImageSource::pixelSize(const QString &path)
{
    if (!isRegularFile(path))
        return std::nullopt;
    if (isHEIF(path))
        return heifSize(path);
    QImageReader reader(path);
    reader.setAutoTransform(true);
    if (!reader.canRead())
        return std::nullopt;
    QSize size = reader.size();
    if (!size.isValid())
        return std::nullopt;
    if (reader.transformation() & QImageIOHandler::TransformationRotate90)
        size.transpose();
    return size;
}

QImage ImageSource::decode(const QString &path, QSize scaledSize)
{
    if (!isRegularFile(path))
        return {};
    if (isHEIF(path)) {
        QImage image = heifDecode(path);
        if (!image.isNull() && scaledSize.isValid() && scaledSize != image.size())
            image = image.scaled(scaledSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        return image;
    }
    QImageReader reader(path);
    reader.setAutoTransform(true);
    if (scaledSize.isValid()) {
        // The reader scales before it turns the image upright.
        if (reader.transformation() & QImageIOHandler::TransformationRotate90)
            scaledSize.transpose();
        reader.setScaledSize(scaledSize);
    }
    return reader.read();
}

std::optional<ImageSource::EmbeddableJPEG> ImageSource::embeddableJPEG(const QString &path, const QByteArray &bytes)
{
    if (bytes.size() < 4 || uchar(bytes[0]) != 0xFF || uchar(bytes[1]) != 0xD8)
        return std::nullopt;
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (reader.format() != "jpeg" || !size.isValid() || reader.transformation() != QImageIOHandler::TransformationNone)
        return std::nullopt;
    const int components = jpegComponents(bytes);
    // CMYK JPEGs often store inverted values; they take the decoding road.
    if (components != 1 && components != 3)
        return std::nullopt;
    return EmbeddableJPEG{size, components};
}
