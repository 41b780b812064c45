#include "QtPdfEngine.h"

#include "PutOnWhite.h"
#include "RequestError.h"

#include <algorithm>
#include <new>

#include <QImage>

namespace Korvel::Worker {

namespace {

constexpr int mostTexts = 128;               // of which each takes some 300 kB for good
constexpr int mostPicturesOfADocument = 500; // of which each takes some 5 kB until it is closed
constexpr double mostPixels = 256.0 * 1024 * 1024; // a gigabyte at four bytes each

#if QT_VERSION_MAJOR < 6
constexpr auto annotations = QPdf::RenderAnnotations;

QSizeF SizeOf(const QPdfDocument& document, int page)
{
    return document.pageSize(page);
}
#else
constexpr auto annotations = QPdfDocumentRenderOptions::RenderFlag::Annotations;

QSizeF SizeOf(const QPdfDocument& document, int page)
{
    return document.pagePointSize(page);
}
#endif

/** A page as it is drawn, on nothing. */
QImage DrawAlone(QPdfDocument& document, int page, const QSize& size)
{
    QPdfDocumentRenderOptions options;
    options.setRenderFlags(annotations);
    QImage picture = document.render(page, size, options);
    if (!picture.isNull())
        return picture.convertToFormat(QImage::Format_ARGB32); // as it is
    if (QImage(size, QImage::Format_ARGB32).isNull())
        throw std::bad_alloc();
    throw RequestError(Reason::CannotRender,
                       "page " + std::to_string(page + 1) + " cannot be drawn");
}

/** Each version of Qt weighs the colours in another way, and on threads of its own. */
QImage Gray(const QImage& picture)
{
    QImage gray(picture.size(), QImage::Format_Grayscale8);
    if (gray.isNull())
        throw std::bad_alloc();
    for (int row = 0; row < picture.height(); ++row) {
        const auto* const from = reinterpret_cast<const QRgb*>(picture.constScanLine(row));
        std::transform(from, from + picture.width(), gray.scanLine(row),
                       [](QRgb pixel) { return uchar(qGray(pixel)); });
    }
    return gray;
}

QImage DrawPage(QPdfDocument& document, int page, const PictureShape& shape)
{
    if (double(shape.width) * shape.height > mostPixels)
        throw RequestError(Reason::CannotRender, "the page is too large at this resolution");
    QImage picture = DrawAlone(document, page, {shape.width, shape.height});
    if (shape.IsTransparent())
        return picture;
    PutOnWhite(picture);
    return shape.IsGray() ? Gray(picture) : picture;
}

} // namespace

bool QtPdfEngine::Open(const std::string& path)
{
    file.setFileName(QString::fromStdString(path));
    return file.open(QIODevice::ReadOnly) && Load(file);
}

bool QtPdfEngine::Open(const QByteArray& bytes)
{
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return Load(buffer);
}

bool QtPdfEngine::Load(QIODevice& bytes)
{
    pictures = 0;
    document.load(&bytes);
    return document.status() == QPdfDocument::Status::Ready;
}

/** Gives back what Qt PDF has kept of the pages that it has drawn. */
void QtPdfEngine::LoadAnew()
{
    document.close();
    Load(file.isOpen() ? static_cast<QIODevice&>(file) : buffer); // what fails to draw tells of it
}

DrawRows QtPdfEngine::Draw(int page, const PictureShape& shape)
{
    if (++pictures > mostPicturesOfADocument)
        LoadAnew();
    return [this, page, shape, picture = QImage()](int first) mutable {
        if (picture.isNull())
            picture = DrawPage(document, page, shape);
        return Rows{picture.constScanLine(first), picture.bytesPerLine(), picture.height() - first};
    };
}

QSizeF QtPdfEngine::PageSize(int page)
{
    return SizeOf(document, page);
}

QString QtPdfEngine::Text(int page)
{
    ++texts;
    return document.getAllText(page).text();
}

bool QtPdfEngine::IsWorn() const
{
    return texts >= mostTexts;
}

} // namespace Korvel::Worker
