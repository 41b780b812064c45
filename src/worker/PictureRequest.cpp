#include "PictureRequest.h"

#include "RequestError.h"
#include "RequestValues.h"
#include "ResultFormat.h"

#include <algorithm>
#include <iterator>

#include <QJsonArray>

namespace Korvel::Worker {

namespace Key = WorkerProtocol::Key;

namespace {

/** 0 where it follows from the other one. */
int Side(const QJsonValue& side)
{
    return side == 0 ? 0 : int(NumberWithin(side, Key::size, WorkerProtocol::longestSide));
}

/** The size in pixels into which a page is to be fitted. */
QSize Size(const QJsonObject& request)
{
    if (!request.contains(Key::size))
        return {};
    const QJsonArray sides = request[Key::size].toArray();
    if (sides.size() != 2 || (sides[0] == 0 && sides[1] == 0))
        Refuse(Key::size, " is no width and height");
    return {Side(sides[0]), Side(sides[1])};
}

Compression ToCompression(const QJsonValue& value)
{
    if (value == WorkerProtocol::CompressionWord::fast)
        return Compression::Fast;
    if (value == WorkerProtocol::CompressionWord::small)
        return Compression::Small;
    Refuse(Key::compression, " is neither fast nor small");
}

Encoding EncodingOf(const QJsonObject& request, const QString& format)
{
    Encoding encoding;
    encoding.format = format;
    if (request.contains(Key::quality))
        encoding.quality =
            int(NumberWithin(request[Key::quality], Key::quality, WorkerProtocol::highestQuality));
    if (request.contains(Key::compression))
        encoding.compression = ToCompression(request[Key::compression]);
    return encoding;
}

std::optional<BlackAndWhite> BlackAndWhiteOf(const QJsonObject& request)
{
    if (!request.contains(Key::mono))
        return std::nullopt;
    if (request[Key::mono] == WorkerProtocol::MonoWord::threshold)
        return BlackAndWhite::Threshold;
    if (request[Key::mono] == WorkerProtocol::MonoWord::dither)
        return BlackAndWhite::Dither;
    Refuse(Key::mono, " is neither threshold nor dither");
}

PixelFormat PixelsOf(const QJsonObject& request)
{
    const bool isGray = IsSet(request, Key::gray) || request.contains(Key::mono);
    const bool isTransparent = IsSet(request, Key::transparent);
    if (isGray && isTransparent)
        Refuse(Key::transparent, " does not go with gray and mono");
    if (isTransparent)
        return PixelFormat::Bgra;
    return isGray ? PixelFormat::Gray : PixelFormat::Bgrx;
}

PageView::Box BoxOf(const QJsonObject& request)
{
    if (!request.contains(Key::box))
        return PageView::Box::Crop;
    const auto begin = std::begin(WorkerProtocol::boxWords);
    const auto end = std::end(WorkerProtocol::boxWords);
    const auto found = std::find_if(
        begin, end, [box = request[Key::box]](const char* word) { return box == word; });
    if (found == end)
        Refuse(Key::box, " is none that is known");
    return PageView::Box(found - begin);
}

/** From the left, from the top, and how wide and high. */
QRectF Part(const QJsonObject& request)
{
    if (!request.contains(Key::crop))
        return {};
    const QJsonArray numbers = request[Key::crop].toArray();
    const bool areNumbers =
        std::all_of(numbers.begin(), numbers.end(), [](const QJsonValue& value) {
            return value.isDouble() && value.toDouble() >= 0 &&
                   value.toDouble() <= WorkerProtocol::mostPoints;
        });
    const QRectF part(numbers.at(0).toDouble(), numbers.at(1).toDouble(), numbers.at(2).toDouble(),
                      numbers.at(3).toDouble());
    if (numbers.size() != 4 || !areNumbers || part.isEmpty())
        Refuse(Key::crop, " is no part of a page");
    return part;
}

int Turns(const QJsonObject& request)
{
    constexpr int degreesATurn = 90;
    constexpr int fullTurn = 360;
    const qint64 degrees =
        request.contains(Key::rotate) ? WholeNumber(request[Key::rotate], Key::rotate) : 0;
    if (degrees < 0 || degrees >= fullTurn || degrees % degreesATurn != 0)
        Refuse(Key::rotate, " is none of 0, 90, 180 and 270");
    return int(degrees / degreesATurn);
}

} // namespace

PageView ViewOf(const QJsonObject& request)
{
    return {BoxOf(request), Part(request), Turns(request)};
}

PictureLook LookOf(const QJsonObject& request, const QString& format)
{
    PictureLook look;
    look.dotsPerInch = ResolutionOf(request);
    look.size = Size(request);
    look.pixels = PixelsOf(request);
    look.blackAndWhite = BlackAndWhiteOf(request);
    look.encoding = EncodingOf(request, format);
    if (look.blackAndWhite && !CanBeBlackAndWhite(format))
        throw RequestError(Reason::UnsupportedFormat, "no such format of black and white alone");
    if (look.pixels == PixelFormat::Bgra && !CanBeTransparent(format))
        throw RequestError(Reason::UnsupportedFormat, "no such format that is transparent");
    return look;
}

} // namespace Korvel::Worker
