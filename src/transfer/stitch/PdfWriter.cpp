#include "transfer/stitch/PdfWriter.h"

#include <QPainter>

namespace {

// Object 1 is the catalogue and object 2 the page tree, written last.
constexpr int catalogObject = 1;
constexpr int pagesObject = 2;

} // namespace

PdfWriter::PdfWriter(QIODevice *device) : out(device) {}

bool PdfWriter::open()
{
    offsets = {0, 0}; // filled in by finish()
    return write("%PDF-1.4\n%\xE2\xE3\xCF\xD3\n");
}

bool PdfWriter::write(const QByteArray &bytes)
{
    if (failed)
        return false;
    if (out->write(bytes) != bytes.size()) {
        failed = true;
        return false;
    }
    position += bytes.size();
    return true;
}

int PdfWriter::beginObject()
{
    offsets.append(position);
    const int number = int(offsets.size());
    write(QByteArray::number(number) + " 0 obj\n");
    return number;
}

bool PdfWriter::addPage(const QByteArray &imageDictionary, const QByteArray &data, QSize size)
{
    const int image = beginObject();
    write(imageDictionary + " /Length " + QByteArray::number(data.size()) + " >>\nstream\n");
    write(data);
    write("\nendstream\nendobj\n");

    const QByteArray drawing =
        "q " + QByteArray::number(size.width()) + " 0 0 " + QByteArray::number(size.height()) + " 0 0 cm /Im0 Do Q";
    const int content = beginObject();
    write("<< /Length " + QByteArray::number(drawing.size()) + " >>\nstream\n" + drawing + "\nendstream\nendobj\n");

    const int page = beginObject();
    write("<< /Type /Page /Parent " + QByteArray::number(pagesObject) + " 0 R /MediaBox [0 0 " +
          QByteArray::number(size.width()) + " " + QByteArray::number(size.height()) +
          "] /Resources << /XObject << /Im0 " + QByteArray::number(image) + " 0 R >> >> /Contents " +
          QByteArray::number(content) + " 0 R >>\nendobj\n");
    pages.append(page);
    return !failed;
}

bool PdfWriter::addJPEGPage(const QByteArray &jpeg, QSize size, int components)
{
    const QByteArray space = components == 1 ? "/DeviceGray" : "/DeviceRGB";
    return addPage("<< /Type /XObject /Subtype /Image /Width " + QByteArray::number(size.width()) + " /Height " +
                       QByteArray::number(size.height()) + " /ColorSpace " + space +
                       " /BitsPerComponent 8 /Filter /DCTDecode",
                   jpeg, size);
}

bool PdfWriter::addImagePage(const QImage &source)
{
    QImage image = source;
    if (image.hasAlphaChannel()) {
        // A page has no transparency of its own: what shows through is white paper.
        QImage flat(image.size(), QImage::Format_RGB888);
        flat.fill(Qt::white);
        QPainter painter(&flat);
        painter.drawImage(0, 0, image);
        painter.end();
        image = flat;
    } else {
        image = image.convertToFormat(QImage::Format_RGB888);
    }
    QByteArray rows;
    const qsizetype rowBytes = qsizetype(image.width()) * 3;
    rows.reserve(rowBytes * image.height());
    for (int y = 0; y < image.height(); ++y)
        rows.append(reinterpret_cast<const char *>(image.constScanLine(y)), rowBytes);
    // qCompress gives a zlib stream behind a four-byte length: the stream is what Flate wants.
    const QByteArray compressed = qCompress(rows, 6).mid(4);
    return addPage("<< /Type /XObject /Subtype /Image /Width " + QByteArray::number(image.width()) + " /Height " +
                       QByteArray::number(image.height()) +
                       " /ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /FlateDecode",
                   compressed, image.size());
}

bool PdfWriter::finish()
{
    offsets[pagesObject - 1] = position;
    QByteArray kids;
    for (const int page : pages)
        kids += QByteArray::number(page) + " 0 R ";
    write(QByteArray::number(pagesObject) + " 0 obj\n<< /Type /Pages /Kids [" + kids + "] /Count " +
          QByteArray::number(pages.size()) + " >>\nendobj\n");
    offsets[catalogObject - 1] = position;
    write(QByteArray::number(catalogObject) + " 0 obj\n<< /Type /Catalog /Pages " + QByteArray::number(pagesObject) +
          " 0 R >>\nendobj\n");

    const qint64 table = position;
    QByteArray xref = "xref\n0 " + QByteArray::number(offsets.size() + 1) + "\n0000000000 65535 f \n";
    for (const qint64 offset : offsets)
        xref += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    write(xref);
    write("trailer\n<< /Size " + QByteArray::number(offsets.size() + 1) + " /Root " +
          QByteArray::number(catalogObject) + " 0 R >>\nstartxref\n" + QByteArray::number(table) + "\n%%EOF\n");
    return !failed;
}
