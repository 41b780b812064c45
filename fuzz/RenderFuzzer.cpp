// A PDF, of which the first pages are drawn, small, and written as text.

#include "MemoryOutput.h"
#include "PageRenderer.h"
#include "RequestError.h"
#include "WorkerFolder.h"
#include "WritePicture.h"

#include <algorithm>
#include <new>

#include <QCoreApplication>
#include <QImage>

using namespace Korvel;

namespace {

const std::string file = std::string(Fuzz::currentFolder) + "document.pdf";
constexpr QSize bounds(60, 80);

QImage ToPicture(const Worker::MemoryOutput& bytes, const char* format)
{
    return QImage::fromData(QByteArray::fromStdString(bytes.Bytes()), format);
}

QImage DrawPage(Worker::PageRenderer& renderer, qint64 page)
{
    Worker::PictureLook look;
    look.size = bounds;
    look.encoding.format = QStringLiteral("bmp");
    Worker::MemoryOutput bmp;
    renderer.Write(bmp, page, look);
    return ToPicture(bmp, "BMP").convertToFormat(QImage::Format_RGB32);
}

/** Our own writer and Qt's reader agree, however many rows come at once. */
void RequireSamePixels(const QImage& picture, int rowsAtOnce)
{
    const Worker::PictureShape shape = {picture.width(), picture.height(),
                                        Worker::PixelFormat::Bgrx, 72};
    Worker::MemoryOutput png;
    Worker::WritePicture(png, shape, {QStringLiteral("png")}, [&](int first) {
        return Worker::Rows{picture.constScanLine(first), picture.bytesPerLine(),
                            std::min(rowsAtOnce, picture.height() - first)};
    });
    Fuzz::Require(ToPicture(png, "PNG").convertToFormat(picture.format()) == picture,
                  "a PNG has the pixels of its picture");
}

void RenderPage(Worker::PageRenderer& renderer, qint64 page)
{
    try {
        const QImage picture = DrawPage(renderer, page);
        Fuzz::Require(picture.width() <= bounds.width() && picture.height() <= bounds.height(),
                      "the picture fits into the size");
        for (const int rowsAtOnce : {picture.height(), 7})
            RequireSamePixels(picture, rowsAtOnce);
    } catch (const Worker::RequestError&) {
        // the page's fault
    }
    try {
        Fuzz::Require(renderer.Text({page}, {}).text.endsWith('\f'), "a page's text is ended");
    } catch (const Worker::RequestError&) {
        // the page's fault
    }
}

void RenderDocument()
{
    Worker::PageRenderer renderer(file);
    for (const qint64 page : {0, 1, 2})
        RenderPage(renderer, page);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication application(*argc, *argv);
    Fuzz::EnterTempFolder();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::WriteFile(file, Fuzz::Text(data, size));
    try {
        RenderDocument();
    } catch (const Worker::RequestError&) {
        // the document's fault
    } catch (const std::bad_alloc&) {
        // ends a worker, by its memory limit
    } catch (const std::exception&) {
        // of libqpdf; a worker answers that it cannot render
    } catch (...) {
        Fuzz::Require(false, "what is thrown is an exception");
    }
    return 0;
}
