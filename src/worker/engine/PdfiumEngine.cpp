#include "PdfiumEngine.h"

#include "RequestError.h"
#include "Script.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include <QtMath>

namespace Korvel::Worker {

namespace {

// Rows beyond each end of a band: where a bitmap cuts shapes off, their edges have other shades.
constexpr int rowsBeyond = 1;

// PDFium keeps some 5 kB of each page that it has loaded until the document is closed.
constexpr int mostPagesOfADocument = 500;

// As most fonts have them, in ems.
constexpr double ascent = 0.8;
constexpr double descent = 0.2;

// Fonts of which a document has some letters alone are called "ABCDEF+Name".
constexpr std::size_t subsetTag = 7;

int BitmapFormatOf(PixelFormat format)
{
    if (format == PixelFormat::Gray)
        return Pdfium::Gray;
    return format == PixelFormat::Bgra ? Pdfium::Bgra : Pdfium::Bgrx;
}

int BytesAPixel(PixelFormat format)
{
    return format == PixelFormat::Gray ? 1 : 4;
}

/** Bytes from one row to the next, which PDFium wants to begin at a multiple of four. */
std::size_t StrideOf(const PictureShape& shape)
{
    return (std::size_t(shape.width) * std::size_t(BytesAPixel(shape.pixels)) + 3) / 4 * 4;
}

/** Whether it is an arrow, a shape or a dingbat, or none but a code. */
bool IsSign(char32_t code)
{
    return (code >= 0x2190 && code <= 0x27bf) || (code >= 0x80 && code < 0xa0);
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
        document = pdfium.LoadMemDocument(bytes.constData(), int(bytes.size()), nullptr);
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
    const int ground = shape.IsTransparent() ? 0 : 0xff; // nothing, or white
    std::memset(pixels, ground, std::size_t(into.stride) * std::size_t(into.count));
    const Pdfium::Bitmap bitmap = pdfium.BitmapCreateEx(
        shape.width, into.count, BitmapFormatOf(shape.pixels), pixels, int(into.stride));
    if (!bitmap)
        throw std::bad_alloc();
    pdfium.RenderPageBitmap(bitmap, loaded, 0, -first, shape.width, shape.height, 0,
                            Pdfium::Annotations);
    pdfium.BitmapDestroy(bitmap);
}

QString PdfiumEngine::Text(int page)
{
    LoadText(page);
    const int count = pdfium.TextCountChars(text);
    if (count <= 0)
        return {};
    std::vector<unsigned short> codes(std::size_t(count) * 2 + 1); // some may take two
    const int written = pdfium.TextGetText(text, 0, count, codes.data());
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(codes.data()),
                              std::max(0, written - 1));
}

DrawnCharacters PdfiumEngine::Characters(int page, bool wantsFonts)
{
    LoadText(page);
    DrawnCharacters drawn;
    const Affine shown = Shown();
    const double turnOfPage = std::atan2(shown.along.y(), shown.along.x());
    const int count = pdfium.TextCountChars(text);
    drawn.characters.reserve(std::size_t(std::max(0, count)));
    double ascentBefore = 0;
    bool wasOfTexSymbols = false;
    for (int i = 0; i < count; ++i) {
        TextCharacter character = Character(i, shown, turnOfPage);
        // Letters of one font are of one ascent, so that few are asked for theirs.
        const double ascentNow = character.origin.y() - character.box.top();
        character.isOfTexSymbols =
            (wasOfTexSymbols || ascentNow != ascentBefore) && IsOfTexSymbols(i);
        wasOfTexSymbols = character.isOfTexSymbols;
        ascentBefore = ascentNow;
        character.isOfBitmaps = IsSign(character.code) && !HasNamedFont(i);
        if (wantsFonts) {
            const std::string font = FontOf(i);
            const auto known = std::find(drawn.fonts.begin(), drawn.fonts.end(), font);
            character.font = int(known - drawn.fonts.begin());
            if (known == drawn.fonts.end())
                drawn.fonts.push_back(font);
        }
        drawn.characters.push_back(character);
    }
    return drawn;
}

TextCharacter PdfiumEngine::Character(int number, const Affine& shown, double turnOfPage) const
{
    TextCharacter character;
    character.code = char32_t(pdfium.TextGetUnicode(text, number));
    double x = 0;
    double y = 0;
    pdfium.TextGetCharOrigin(text, number, &x, &y);
    character.origin = shown.Map(QPointF(x, y));
    const double angle = AngleOf(number);
    constexpr int round = 360;
    const int turned = int(std::lround(qRadiansToDegrees(turnOfPage + angle))) % round;
    character.turned = (turned + round) % round;
    if (angle == 0 || (std::abs(std::sin(angle)) < 0.01 && std::cos(angle) > 0))
        PlaceUpright(character, number, y, shown);
    else
        PlaceTurned(character, number, shown);
    return character;
}

/** How far its baseline is turned, clockwise in radians. */
double PdfiumEngine::AngleOf(int character) const
{
    if (pdfium.TextGetCharAngle(text, character) == 0)
        return 0;
    Pdfium::Matrix matrix; // as that of letters that lean is told from how far they do
    pdfium.TextGetMatrix(text, character, &matrix);
    return std::atan2(-double(matrix.b), double(matrix.a));
}

/** Places a character whose baseline is level as long as the page is not turned. */
void PdfiumEngine::PlaceUpright(TextCharacter& character, int number, double baseline,
                                const Affine& shown) const
{
    Pdfium::FloatRectangle loose;
    pdfium.TextGetLooseCharBox(text, number, &loose);
    const auto [left, right] = std::minmax({double(loose.left), double(loose.right)});
    const auto [top, bottom] = std::minmax({double(loose.bottom), double(loose.top)});
    QRectF box(left, top, right - left, bottom - top);
    const QRectF inked = Inked(number);
    const double middle = inked.center().y();
    constexpr double slightly = 0.06; // in ems
    constexpr double farBelow = 0.5;
    if (box.height() < inked.height() / 2) // fonts of type 3 say nothing of their height
        box |= inked;
    else if (!inked.isEmpty() && (middle < box.top() || middle > box.bottom()))
        box.moveTop(baseline - descent * box.height()); // some that were made from others lie
    if (box.width() <= 0 && inked.width() > 0) {
        if (IsBrahmic(character.code)) {
            box.setLeft(inked.left());
            box.setRight(inked.right());
        } else if (IsCombining(character.code)) {
            character.inkedAt = shown.Map(inked.center());
        }
    }
    character.fontSize = box.height();
    character.box = shown.Map(box);
    if (!inked.isEmpty() && inked.bottom() <= baseline + slightly * box.height() &&
        inked.height() >= farBelow * box.height())
        character.hang = (baseline - inked.top()) / box.height();
}

/** Places another one, whose box the engine makes no sense of but for what is inked. */
void PdfiumEngine::PlaceTurned(TextCharacter& character, int number, const Affine& shown) const
{
    Pdfium::Matrix matrix;
    pdfium.TextGetMatrix(text, number, &matrix);
    character.fontSize =
        pdfium.TextGetFontSize(text, number) * std::hypot(double(matrix.c), double(matrix.d));
    const Affine upright = Affine::Turned(-character.turned);
    const QPointF origin = upright.Map(character.origin);
    const QRectF inked = upright.Map(shown.Map(Inked(number)));
    const QRectF box(origin.x(), origin.y() - ascent * character.fontSize,
                     std::max(0.0, inked.right() - origin.x()), character.fontSize);
    character.box = Affine::Turned(character.turned).Map(box);
}

QRectF PdfiumEngine::Inked(int character) const
{
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
    pdfium.TextGetCharBox(text, character, &left, &right, &bottom, &top);
    return QRectF(QPointF(left, top), QPointF(right, bottom)).normalized();
}

std::string PdfiumEngine::FontOf(int character) const
{
    std::array<char, 256> name = {};
    int flags = 0;
    pdfium.TextGetFontInfo(text, character, name.data(), name.size() - 1, &flags);
    QString printable = QString::fromUtf8(name.data());
    const auto isControl = [](QChar one) {
        return one.category() == QChar::Other_Control;
    };
    printable.resize(
        int(std::remove_if(printable.begin(), printable.end(), isControl) - printable.begin()));
    const std::string whole = printable.toStdString();
    const bool isOfSubset = whole.size() > subsetTag && whole[subsetTag - 1] == '+';
    return isOfSubset ? whole.substr(subsetTag) : whole;
}

bool PdfiumEngine::IsOfTexSymbols(int character) const
{
    std::array<char, 64> name = {};
    int flags = 0;
    pdfium.TextGetFontInfo(text, character, name.data(), name.size() - 1, &flags);
    return std::strstr(name.data(), "CMSY") || std::strstr(name.data(), "CMBSY");
}

bool PdfiumEngine::HasNamedFont(int character) const
{
    int flags = 0;
    return pdfium.TextGetFontInfo(text, character, nullptr, 0, &flags) > 1; // it ends in a NUL
}

/** What takes points of the page to points from the top left of what is shown. */
Affine PdfiumEngine::Shown() const
{
    const double along = std::max(size.width(), size.height());
    const QPointF origin = Point(0, 0);
    const QPointF right = (Point(along, 0) - origin) / along;
    const QPointF up = (Point(0, along) - origin) / along;
    return {right, up, origin};
}

QPointF PdfiumEngine::Point(double x, double y) const
{
    // The interface answers in whole numbers, so it is asked for a large picture.
    constexpr int side = 1 << 22;
    int right = 0;
    int down = 0;
    pdfium.PageToDevice(loaded, 0, 0, side, side, 0, x, y, &right, &down);
    return {right * size.width() / side, down * size.height() / side};
}

} // namespace Korvel::Worker
