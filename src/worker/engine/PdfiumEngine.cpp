#include "PdfiumEngine.h"

#include "RequestError.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace Korvel::Worker {

namespace {

// Rows beyond each end of a band: where a bitmap cuts shapes off, their edges have other shades.
constexpr int rowsBeyond = 1;

constexpr int turnsInAll = 4;

// PDFium keeps some 5 kB of each page that it has loaded until the document is closed.
constexpr int mostPagesOfADocument = 500;

int BytesAPixel(PixelFormat format)
{
    return format == PixelFormat::Gray ? 1 : 4;
}

/** Bytes from one row to the next, which PDFium wants to begin at a multiple of four. */
std::size_t StrideOf(const PictureShape& shape)
{
    return (std::size_t(shape.width) * std::size_t(BytesAPixel(shape.pixels)) + 3) / 4 * 4;
}

int ReadBlock(void* file, unsigned long position, unsigned char* into, unsigned long size)
{
    auto& source = *static_cast<WatchedFile*>(file);
    const bool wasRead = source.seek(qint64(position)) &&
                         source.read(reinterpret_cast<char*>(into), qint64(size)) == qint64(size);
    return wasRead ? 1 : 0;
}

} // namespace

PdfiumEngine::~PdfiumEngine()
{
    CloseDocument();
}

bool PdfiumEngine::Open(const std::string& path)
{
    file.setFileName(QString::fromStdString(path));
    return file.open(QIODevice::ReadOnly) && OpenDocument();
}

bool PdfiumEngine::Open(const QByteArray& content)
{
    file.close();
    bytes = content; // PDFium reads from there as long as the document is open
    return OpenDocument();
}

bool PdfiumEngine::OpenDocument()
{
    loads = 0;
    if (file.isOpen()) {
        Pdfium::FileAccess access;
        access.fileLength = static_cast<unsigned long>(file.size());
        access.getBlock = ReadBlock;
        access.parameter = &file;
        document = pdfium.LoadCustomDocument(&access, nullptr);
    } else {
        document = pdfium.LoadMemDocument(bytes.constData(), bytes.size(), nullptr);
    }
    return document;
}

void PdfiumEngine::CloseDocument()
{
    Close();
    if (document)
        pdfium.CloseDocument(std::exchange(document, nullptr));
}

int PdfiumEngine::PageCount() const
{
    return pdfium.GetPageCount(document);
}

QSizeF PdfiumEngine::PageSize(int page)
{
    double width = 0;
    double height = 0;
    pdfium.GetPageSizeByIndex(document, page, &width, &height);
    return {width, height};
}

/** Closes the page before only then: fonts that both have need not be loaded again. */
void PdfiumEngine::Load(int page)
{
    if (page == index)
        return;
    if (++loads > mostPagesOfADocument) {
        CloseDocument();
        OpenDocument();
    }
    const Pdfium::Page next = document ? pdfium.LoadPage(document, page) : nullptr;
    if (!next)
        throw RequestError(Reason::CannotRender,
                           "page " + std::to_string(page + 1) + " cannot be loaded");
    Close();
    loaded = next;
    index = page;
    size = PageSize(page);
    turnsOfPage = std::max(0, pdfium.PageGetRotation(loaded));
}

void PdfiumEngine::LoadText(int page)
{
    Load(page);
    if (!text)
        text = pdfium.TextLoadPage(loaded);
    if (!text)
        throw RequestError(Reason::CannotRender,
                           "the text of page " + std::to_string(page + 1) + " cannot be read");
}

void PdfiumEngine::Close()
{
    CloseText();
    if (loaded)
        pdfium.ClosePage(std::exchange(loaded, nullptr));
    index = -1;
}

void PdfiumEngine::CloseText()
{
    if (text)
        pdfium.TextClosePage(std::exchange(text, nullptr));
}

DrawRows PdfiumEngine::Draw(int page, const PictureShape& shape)
{
    Load(page);
    const std::size_t stride = StrideOf(shape);
    const int most = std::clamp(int(mostAtOnce / stride), 1, shape.height);
    const std::shared_ptr<unsigned char[]> band(
        new unsigned char[stride * std::size_t(most + 2 * rowsBeyond)]);
    return [this, shape, most, stride, band, drawn = -1](int first) mutable {
        const int begin = first / most * most;
        const int count = std::min(most, shape.height - begin);
        if (begin != drawn) {
            DrawBand(shape, begin - rowsBeyond,
                     {band.get(), std::ptrdiff_t(stride), count + 2 * rowsBeyond});
            drawn = begin;
        }
        const int row = first - begin;
        return Rows{band.get() + stride * std::size_t(rowsBeyond + row), std::ptrdiff_t(stride),
                    count - row};
    };
}

void PdfiumEngine::DrawBand(const PictureShape& shape, int first, const Rows& into)
{
    auto* const pixels = const_cast<unsigned char*>(into.first);
    std::memset(pixels, 0xff, std::size_t(into.stride) * std::size_t(into.count)); // white
    const int format = shape.pixels == PixelFormat::Gray ? Pdfium::Gray : Pdfium::Bgrx;
    const Pdfium::Bitmap bitmap =
        pdfium.BitmapCreateEx(shape.width, into.count, format, pixels, int(into.stride));
    if (!bitmap)
        throw std::bad_alloc();
    pdfium.RenderPageBitmap(bitmap, loaded, 0, -first, shape.width, shape.height, 0,
                            Pdfium::Annotations);
    pdfium.BitmapDestroy(bitmap);
}

DrawnText PdfiumEngine::Text(int page)
{
    LoadText(page);
    return Text(page, 0, pdfium.TextCountChars(text));
}

DrawnText PdfiumEngine::Text(int page, int start, int length)
{
    LoadText(page);
    if (length <= 0)
        return {};
    std::vector<unsigned short> codes(std::size_t(length) * 2 + 1); // some may take two
    const int written = pdfium.TextGetText(text, start, length, codes.data());
    DrawnText drawn;
    drawn.text = QString::fromUtf16(codes.data(), std::max(0, written - 1));
    const int count = pdfium.TextCountRects(text, start, length);
    for (int i = 0; i < count; ++i) {
        Sides sides;
        pdfium.TextGetRect(text, i, &sides.left, &sides.top, &sides.right, &sides.bottom);
        drawn.boxes.push_back(Box(sides, turnsInAll - turnsOfPage));
    }
    return drawn;
}

std::vector<TextCharacter> PdfiumEngine::Characters(int page)
{
    LoadText(page);
    std::vector<TextCharacter> characters;
    const int count = pdfium.TextCountChars(text);
    for (int i = 0; i < count; ++i) {
        Sides sides;
        pdfium.TextGetCharBox(text, i, &sides.left, &sides.right, &sides.bottom, &sides.top);
        characters.push_back({char32_t(pdfium.TextGetUnicode(text, i)), Box(sides, 0),
                              pdfium.TextGetFontSize(text, i)});
    }
    return characters;
}

/** A box in points from the top left of the page as it is shown when turned so often once more. */
QRectF PdfiumEngine::Box(const Sides& sides, int turns) const
{
    return QRectF(Point(sides.left, sides.top, turns), Point(sides.right, sides.bottom, turns))
        .normalized();
}

QPointF PdfiumEngine::Point(double x, double y, int turns) const
{
    // The interface answers in whole numbers, so it is asked for a picture as large as can be.
    constexpr int side = 1 << 24;
    int right = 0;
    int down = 0;
    pdfium.PageToDevice(loaded, 0, 0, side, side, turns % turnsInAll, x, y, &right, &down);
    const QSizeF turned = turns % 2 == 0 ? size : size.transposed();
    return {right * turned.width() / side, down * turned.height() / side};
}

} // namespace Korvel::Worker
