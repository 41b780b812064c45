// A PDF, of which the first pages are drawn, small, and written as text.

#include "MemoryOutput.h"
#include "PageRenderer.h"
#include "RequestError.h"
#include "WorkerFolder.h"

#include <new>

#include <QCoreApplication>
#include <QImage>

using namespace Korvel;

namespace {

const std::string file = std::string(Fuzz::currentFolder) + "document.pdf";
constexpr QSize bounds(60, 80);

QImage Picture(Worker::PageRenderer& renderer, qint64 page, const QString& format)
{
    const double dotsPerInch = renderer.ResolutionToFit(page, bounds);
    Worker::MemoryOutput file;
    renderer.Write(file, page, dotsPerInch, Worker::PixelFormat::Bgrx, {format});
    return QImage::fromData(QByteArray::fromStdString(file.Bytes()), format.toLatin1());
}

void RenderPage(Worker::PageRenderer& renderer, qint64 page)
{
    try {
        const QImage packed = Picture(renderer, page, QStringLiteral("png"));
        Fuzz::Require(packed.width() <= bounds.width() && packed.height() <= bounds.height(),
                      "the picture fits into the size");
        const QImage plain = Picture(renderer, page, QStringLiteral("bmp"));
        Fuzz::Require(packed.convertToFormat(plain.format()) == plain,
                      "a PNG has the pixels of a BMP");
    } catch (const Worker::RequestError&) {
        // the page's fault
    }
    try {
        Fuzz::Require(renderer.Text({page}).endsWith("\n\f"), "a page's text is ended");
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
