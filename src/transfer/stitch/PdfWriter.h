#pragma once

#include <QIODevice>
#include <QImage>
#include <QList>
#include <QSize>

// A PDF written page by page straight to a file, one image filling each page at
// one point per pixel. JPEG data goes in as it is; other images go in as
// compressed RGB. Only what one page needs is ever held in memory. The device
// is the caller's, who also makes sure it is complete before it is named.
class PdfWriter {
public:
    explicit PdfWriter(QIODevice *device);

    bool open();
    bool addJPEGPage(const QByteArray &jpeg, QSize size, int components);
    bool addImagePage(const QImage &image);
    // Writes the page tree, the cross-reference table and the trailer.
    bool finish();
    int pageCount() const { return int(pages.size()); }
    // Whether a write to the device failed; every later call then fails too.
    bool hasFailed() const { return failed; }

private:
    int beginObject();
    bool write(const QByteArray &bytes);
    bool addPage(const QByteArray &imageDictionary, const QByteArray &data, QSize size);

    QIODevice *out;
    qint64 position = 0;
    QList<qint64> offsets; // by object number - 1
    QList<int> pages;
    bool failed = false;
};
