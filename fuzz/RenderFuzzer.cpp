// A PDF, of which the first pages are drawn, small, and written as text.

#include "ImageEncoder.h"
#include "PageRenderer.h"
#include "RequestError.h"
#include "WorkerFolder.h"

#include <new>

#include <QCoreApplication>

using namespace Korvel;

namespace {

const std::string file = std::string(Fuzz::currentFolder) + "document.pdf";
constexpr QSize bounds(60, 80);

/** Our own writer and Qt's reader agree. */
void RequireSamePixels(const QImage& picture)
{
    const QByteArray png = Worker::Encode(picture, {QStringLiteral("png")});
    Fuzz::Require(QImage::fromData(png, "PNG").convertToFormat(picture.format()) == picture,
                  "a PNG has the pixels of its picture");
}

void RenderPage(Worker::PageRenderer& renderer, qint64 page)
{
    try {
        const double dotsPerInch = renderer.ResolutionToFit(page, bounds);
        const QImage picture = renderer.Render(page, dotsPerInch, QImage::Format_RGB32);
        Fuzz::Require(picture.width() <= bounds.width() && picture.height() <= bounds.height(),
                      "the picture fits into the size");
        RequireSamePixels(picture);
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
