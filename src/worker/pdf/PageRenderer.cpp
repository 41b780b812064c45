#include "PageRenderer.h"

#include "PlainText.h"
#include "ReadPage.h"
#include "RequestError.h"
#include "WritePicture.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Korvel::Worker {

namespace {

constexpr double pointsPerInch = 72;
// Sizes come with single precision: the 595.2 points of a scan would be a little more than its 2480
// pixels, and to draw it on one more would blur it.
constexpr double smallestRest = 0.01;

double InPixels(double points, double dotsPerInch)
{
    const double pixels = points * dotsPerInch / pointsPerInch;
    return pixels > 0 ? std::max(1.0, std::ceil(pixels - smallestRest)) : 0;
}

QSize SizeInPixels(const QSizeF& points, double dotsPerInch)
{
    const double width = InPixels(points.width(), dotsPerInch);
    const double height = InPixels(points.height(), dotsPerInch);
    if (!(width >= 1 && height >= 1))
        throw RequestError(Reason::CannotRender,
                           "its crop box lies outside of its media box, or is empty");
    if (width > WorkerProtocol::longestSide || height > WorkerProtocol::longestSide)
        throw RequestError(Reason::CannotRender, "the page is too large at this resolution");
    return {int(width), int(height)};
}

} // namespace

PageRenderer::PageRenderer(const std::string& path)
    : PageRenderer(path, PdfDocument(path, std::string()))
{
}

PageRenderer::PageRenderer(const std::string& path, PdfDocument&& opened)
    : path(path), file(opened.File().State()), engine(MakePageEngine())
{
    const bool wantsPreparation = opened.IsEncrypted() || opened.IsRepaired() || opened.HasForm() ||
                                  opened.HidesAnnotations();
    if (!wantsPreparation && engine->Open(path))
        return;
    if (!engine->Open(opened.ForRendering()))
        throw RequestError(Reason::Damaged, "it cannot be opened to be drawn");
}

bool PageRenderer::Serves(const std::string& other) const
{
    return other == path && file.IsStillThatOf(path) && !engine->HasFailed();
}

/** Fails where reading has failed: engines draw what they can read, and nothing for the rest. */
void PageRenderer::RequireWhatWasRead() const
{
    if (engine->HasFailed())
        throw RequestError(Reason::Unreadable, "the file could not be read whole");
}

int PageRenderer::Check(qint64 page) const
{
    if (page < 1 || page > engine->PageCount())
        throw RequestError(Reason::NoSuchPage, "there is no page " + std::to_string(page));
    return int(page - 1);
}

double PageRenderer::ResolutionToFit(qint64 page, const QSize& pixels) const
{
    const QSizeF points = engine->PageSize(Check(page));
    RequireWhatWasRead();
    return pointsPerInch *
           std::min(pixels.width() / points.width(), pixels.height() / points.height());
}

void PageRenderer::Write(Output& into, qint64 page, double dotsPerInch, PixelFormat pixels,
                         const Encoding& encoding)
{
    const int index = Check(page);
    const QSize size = SizeInPixels(engine->PageSize(index), dotsPerInch);
    const PictureShape shape = {size.width(), size.height(), pixels, dotsPerInch};
    WritePicture(into, shape, encoding, engine->Draw(index, shape));
    RequireWhatWasRead();
}

QByteArray PageRenderer::Text(const std::vector<qint64>& pages)
{
    std::vector<qint64> wanted = pages;
    if (wanted.empty()) {
        wanted.resize(std::size_t(engine->PageCount()));
        std::iota(wanted.begin(), wanted.end(), 1);
    }
    QByteArray text;
    for (const qint64 page : wanted)
        text += PlainText(ReadPage(*engine, Check(page), false), true) + '\f';
    RequireWhatWasRead();
    return text;
}

} // namespace Korvel::Worker
