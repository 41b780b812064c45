#include "PageRenderer.h"

#include "PageText.h"
#include "Pixels.h"
#include "RequestError.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>

namespace Korvel::Worker {

namespace {

constexpr double pointsPerInch = 72;
constexpr double mostPixels = 256.0 * 1024 * 1024; // a gigabyte at four bytes each
constexpr double mostDotsPerMetre = 1e9;           // of the smallest pages, within an int
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
        throw RequestError(Reason::CannotRender, "the page has no size");
    if (width > WorkerProtocol::longestSide || height > WorkerProtocol::longestSide ||
        width * height > mostPixels)
        throw RequestError(Reason::CannotRender, "the page is too large at this resolution");
    return {int(width), int(height)};
}

} // namespace

PageRenderer::PageRenderer(const std::string& path)
    : PageRenderer(path, PdfDocument(path, std::string()))
{
}

PageRenderer::PageRenderer(const std::string& path, PdfDocument&& opened)
    : path(path), file(opened.File().State()), source(QString::fromStdString(path))
{
    const bool wantsPreparation = opened.IsEncrypted() || opened.IsRepaired() || opened.HasForm() ||
                                  opened.HidesAnnotations();
    if (wantsPreparation || !LoadFromFile()) {
        prepared.setData(opened.ForRendering());
        prepared.open(QIODevice::ReadOnly);
        document.load(&prepared);
    }
    if (document.status() != QPdfDocument::Ready)
        throw RequestError(Reason::Damaged, "Qt PDF does not open it");
}

bool PageRenderer::LoadFromFile()
{
    if (!source.open(QIODevice::ReadOnly))
        return false;
    document.load(&source);
    return document.status() == QPdfDocument::Ready;
}

bool PageRenderer::Serves(const std::string& other) const
{
    return other == path && file.IsStillThatOf(path) && !source.HasFailed();
}

/** Fails where reading has failed: Qt PDF draws what it can read, and nothing for the rest. */
void PageRenderer::RequireWhatWasRead() const
{
    if (source.HasFailed())
        throw RequestError(Reason::Unreadable, "the file could not be read whole");
}

int PageRenderer::Check(qint64 page) const
{
    if (page < 1 || page > document.pageCount())
        throw RequestError(Reason::NoSuchPage, "there is no page " + std::to_string(page));
    return int(page - 1);
}

QImage PageRenderer::Draw(int index, const QSize& size)
{
    QPdfDocumentRenderOptions options;
    options.setRenderFlags(QPdf::RenderAnnotations);
    QImage picture = document.render(index, size, options);
    if (!picture.isNull())
        return picture.convertToFormat(QImage::Format_ARGB32); // as it is
    if (QImage(size, QImage::Format_ARGB32).isNull())
        throw std::bad_alloc();
    throw RequestError(Reason::CannotRender,
                       "page " + std::to_string(index + 1) + " cannot be drawn");
}

double PageRenderer::ResolutionToFit(qint64 page, const QSize& pixels) const
{
    const QSizeF points = document.pageSize(Check(page));
    RequireWhatWasRead();
    return pointsPerInch *
           std::min(pixels.width() / points.width(), pixels.height() / points.height());
}

QImage PageRenderer::Render(qint64 page, double dotsPerInch, QImage::Format format)
{
    const int index = Check(page);
    const QSize size = SizeInPixels(document.pageSize(index), dotsPerInch);
    QImage result = Draw(index, size);
    RequireWhatWasRead();
    PutOnWhite(result);
    if (result.format() != format)
        result = result.convertToFormat(format);
    if (result.isNull())
        throw std::bad_alloc();
    const int dotsPerMeter = qRound(std::min(dotsPerInch / metresPerInch, mostDotsPerMetre));
    result.setDotsPerMeterX(dotsPerMeter);
    result.setDotsPerMeterY(dotsPerMeter);
    return result;
}

QByteArray PageRenderer::Text(const std::vector<qint64>& pages)
{
    std::vector<qint64> wanted = pages;
    if (wanted.empty()) {
        wanted.resize(std::size_t(document.pageCount()));
        std::iota(wanted.begin(), wanted.end(), 1);
    }
    QByteArray text;
    for (const qint64 page : wanted)
        text += TextInReadingOrder(document, Check(page)).toUtf8() + "\n\f";
    RequireWhatWasRead();
    return text;
}

} // namespace Korvel::Worker
