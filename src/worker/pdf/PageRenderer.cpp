#include "PageRenderer.h"

#include "PageText.h"
#include "PixelsWriter.h"
#include "ReadPage.h"
#include "RequestError.h"
#include "ShowPages.h"
#include "TextFrame.h"
#include "TiffWriter.h"
#include "WritePicture.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Korvel::Worker {

namespace {

constexpr double pointsPerInch = 72;
// Sizes come with single precision: the 595.2 points of a scan would be a little more than its 2480
// pixels, and to draw it on one more would blur it.
constexpr double smallestRest = 0.01;

// One character of ten: some that say nothing are on many pages.
constexpr int leastUnmapped = 10;

// A scan shows at any size; a thin line or a dot leaves a trace of gray on a larger pixel.
constexpr double enoughToSeeAnything = 18;

bool IsWhite(unsigned char gray)
{
    return gray == 255;
}

double InPixels(double points, double dotsPerInch)
{
    const double pixels = points * dotsPerInch / pointsPerInch;
    return pixels > 0 ? std::max(1.0, std::ceil(pixels - smallestRest)) : 0;
}

QSize SizeInPixels(const QSizeF& points, double dotsPerInch)
{
    const double width = InPixels(points.width(), dotsPerInch);
    const double height = InPixels(points.height(), dotsPerInch);
    if (width > WorkerProtocol::longestSide || height > WorkerProtocol::longestSide)
        throw RequestError(Reason::CannotRender, "the page is too large at this resolution");
    return {int(width), int(height)};
}

/** The resolution at which a page is as large as fits into so many pixels, of which one may be 0.
 */
double ResolutionToFit(const QSizeF& points, const QSize& pixels)
{
    const double across = pixels.width() / points.width();
    const double down = pixels.height() / points.height();
    const bool isOneOpen = pixels.width() == 0 || pixels.height() == 0;
    return pointsPerInch * (isOneOpen ? std::max(across, down) : std::min(across, down));
}

/** Throws where pixels would take more memory than is allowed, and names the way out. */
void RequireRoom(const PictureShape& shape, std::uint64_t largest)
{
    constexpr double bytesOfMebibyte = 1 << 20;
    const double bytes = double(BytesOfPixels(shape));
    if (bytes <= double(largest))
        return;
    const auto mebibytes = [](double count) {
        return std::to_string(qint64(std::ceil(count / bytesOfMebibyte))) + " MiB";
    };
    const double fitting = shape.dotsPerInch * std::sqrt(double(largest) / bytes);
    throw RequestError(Reason::TooLarge, "its pixels would take " + mebibytes(bytes) + ", and " +
                                             mebibytes(double(largest)) +
                                             " are allowed; they fit at " +
                                             std::to_string(int(fitting)) + " dots per inch");
}

} // namespace

PageRenderer::PageRenderer(const std::string& path, const PageView& view, PageUse use)
    : PageRenderer(path, view, use, PdfDocument(path, std::string()))
{
}

PageRenderer::PageRenderer(const std::string& path, const PageView& view, PageUse use,
                           PdfDocument&& opened)
    : path(path), view(view), use(use), file(opened.File().State()), engine(MakePageEngine())
{
    const bool isForText = use == PageUse::Text;
    const bool wantsPreparation = opened.IsEncrypted() || opened.IsRepaired() || opened.HasForm() ||
                                  opened.HidesAnnotations() || !view.IsPlain() ||
                                  (isForText && opened.HasOtherText());
    if (!wantsPreparation && engine->Open(path))
        return;
    if (!engine->Open(isForText ? opened.ForReading() : opened.ForRendering(view)))
        throw RequestError(Reason::Damaged, "it cannot be opened to be drawn");
}

bool PageRenderer::Serves(const std::string& otherPath, const PageView& wantedView,
                          PageUse wantedUse) const
{
    return otherPath == path && wantedView == view && wantedUse == use &&
           file.IsStillThatOf(path) && !engine->HasFailed();
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

PictureShape PageRenderer::ShapeOf(int index, const PictureLook& look)
{
    const QSizeF points = engine->PageSize(index);
    RequireWhatWasRead();
    if (!(points.width() > 0 && points.height() > 0))
        throw RequestError(Reason::CannotRender, WhyNothingIsShown(view));
    const double dotsPerInch =
        look.size.isValid() ? ResolutionToFit(points, look.size) : look.dotsPerInch;
    const QSize size = SizeInPixels(points, dotsPerInch);
    return {size.width(), size.height(), look.pixels, dotsPerInch, bool(look.blackAndWhite)};
}

DrawRows PageRenderer::Draw(int index, const PictureShape& shape, const PictureLook& look)
{
    DrawRows rows = engine->Draw(index, shape);
    if (!look.blackAndWhite)
        return rows;
    return InBlackAndWhite(shape.width, *look.blackAndWhite, std::move(rows));
}

void PageRenderer::Write(Output& into, qint64 page, const PictureLook& look)
{
    const int index = Check(page);
    const PictureShape shape = ShapeOf(index, look);
    WritePicture(into, shape, look.encoding, Draw(index, shape, look));
    RequireWhatWasRead();
}

PictureShape PageRenderer::WritePixels(int into, qint64 page, const PictureLook& look,
                                       std::uint64_t largest)
{
    const int index = Check(page);
    const PictureShape shape = ShapeOf(index, look);
    RequireRoom(shape, largest);
    Worker::WritePixels(into, shape, Draw(index, shape, look));
    RequireWhatWasRead();
    return shape;
}

/** How many bytes a TIFF of these pages can have. */
std::uint64_t PageRenderer::MostBytes(const std::vector<qint64>& pages, const PictureLook& look)
{
    std::uint64_t bytes = 0;
    for (const qint64 page : pages) {
        try {
            bytes += TiffWriter::MostBytes(ShapeOf(Check(page), look));
        } catch (const RequestError&) {
            // it will be missing
        }
    }
    return bytes;
}

std::vector<FailedPage> PageRenderer::WriteTiff(Output& into, const std::vector<qint64>& pages,
                                                const PictureLook& look, std::uint64_t largest)
{
    const std::vector<qint64> wanted = AllUnlessNamed(pages);
    const bool isBig =
        TiffWriter::WantsBig(largest) && TiffWriter::WantsBig(MostBytes(wanted, look));
    TiffWriter tiff(into, isBig);
    std::vector<FailedPage> failed;
    for (const qint64 page : wanted) {
        const int index = Check(page);
        try {
            const PictureShape shape = ShapeOf(index, look);
            tiff.Add(shape, Draw(index, shape, look));
        } catch (const RequestError& failure) {
            if (failure.reason != Reason::CannotRender || !tiff.IsWhole())
                throw;
            failed.push_back({page, failure.reason, failure.what()});
        }
        RequireWhatWasRead();
    }
    if (failed.size() == wanted.size())
        throw RequestError(Reason::CannotRender, "page " + std::to_string(wanted.front()) + ": " +
                                                     failed.front().message);
    return failed;
}

std::vector<qint64> PageRenderer::AllUnlessNamed(const std::vector<qint64>& pages) const
{
    if (!pages.empty())
        return pages;
    std::vector<qint64> all(std::size_t(engine->PageCount()));
    std::iota(all.begin(), all.end(), 1);
    return all;
}

/** Whether a page shows nothing at all; one that cannot be drawn may show something. */
bool PageRenderer::IsBlank(int index)
{
    PictureLook look;
    look.pixels = PixelFormat::Gray;
    look.dotsPerInch = enoughToSeeAnything;
    try {
        const PictureShape shape = ShapeOf(index, look);
        bool isBlank = true;
        ForEachPiece(shape, engine->Draw(index, shape), [&](int, const Rows& rows) {
            for (int row = 0; row < rows.count; ++row) {
                const unsigned char* const pixels = rows.first + row * rows.stride;
                isBlank &= std::all_of(pixels, pixels + shape.width, IsWhite);
            }
        });
        return isBlank;
    } catch (const RequestError&) {
        return false;
    }
}

PagesText PageRenderer::Text(const std::vector<qint64>& pages, const TextLook& look)
{
    if (NeedsPlaces(look) && !engine->KnowsPlaces())
        throw RequestError(Reason::CannotRender,
                           "Qt PDF does not tell where characters stand; use PDFium");
    const TextFrame& frame = *FindTextFrame(look.format);
    PagesText read;
    if (!look.isPart)
        read.text = frame.head;
    bool isFirst = true;
    for (const qint64 page : AllUnlessNamed(pages)) {
        const TextPage text = ReadPage(*engine, Check(page), NeedsFonts(look));
        if (!std::exchange(isFirst, false))
            read.text += frame.between;
        read.text += PageText(text, page, look);
        if (text.drawn == 0 && !IsBlank(Check(page)))
            read.withoutText.push_back(page);
        else if (text.unmapped * leastUnmapped > text.drawn)
            read.unmapped.push_back(page);
    }
    if (!look.isPart)
        read.text += frame.foot;
    RequireWhatWasRead();
    return read;
}

} // namespace Korvel::Worker
