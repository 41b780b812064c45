#include "ImageEncoder.h"

#include "Pixels.h"
#include "PngEncoder.h"
#include "RequestError.h"
#include "ResultFormat.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <QBuffer>
#include <QDataStream>
#include <QImageWriter>
#include <webp/mux.h>

namespace Korvel::Worker {

namespace Format = WorkerProtocol::Format;

namespace {

/** Exif metadata that say nothing but the resolution, in tenths of a dot per inch. */
QByteArray ExifResolution(quint32 tenths)
{
    enum : quint16 { XResolution = 0x011a, YResolution = 0x011b, ResolutionUnit = 0x0128 };
    enum : quint16 { Short = 3, Rational = 5, Inch = 2 };
    constexpr quint32 firstEntry = 8;
    constexpr quint32 valuesAt = firstEntry + 2 + 3 * 12 + 4;

    QByteArray exif;
    QDataStream out(&exif, QIODevice::WriteOnly);
    out.writeRawData("MM\0*", 4);
    out << firstEntry << quint16(3);
    out << quint16(XResolution) << quint16(Rational) << quint32(1) << valuesAt;
    out << quint16(YResolution) << quint16(Rational) << quint32(1) << valuesAt;
    out << quint16(ResolutionUnit) << quint16(Short) << quint32(1) << quint16(Inch) << quint16(0);
    out << quint32(0) << tenths << quint32(10);
    return exif;
}

/** Adds the resolution to a WebP, into which Qt writes none. */
QByteArray WithResolution(const QByteArray& webp, const QImage& picture)
{
    const QByteArray exif =
        ExifResolution(quint32(qRound(picture.dotsPerMeterX() * metresPerInch * 10)));
    const auto bytes = [](const QByteArray& data) {
        return WebPData{reinterpret_cast<const uint8_t*>(data.constData()),
                        std::size_t(data.size())};
    };
    const WebPData plain = bytes(webp);
    const WebPData chunk = bytes(exif);
    WebPData whole = {};
    WebPMux* const mux = WebPMuxCreate(&plain, 0);
    const bool done = mux && WebPMuxSetChunk(mux, "EXIF", &chunk, 0) == WEBP_MUX_OK &&
                      WebPMuxAssemble(mux, &whole) == WEBP_MUX_OK;
    WebPMuxDelete(mux);
    QByteArray result(reinterpret_cast<const char*>(whole.bytes), int(whole.size));
    WebPDataClear(&whole);
    if (!done)
        throw RequestError(Reason::CannotRender, "the resolution cannot be put into the WebP");
    return result;
}

/**
 * A JPEG has 16 bits for its resolution. Qt counts by the inch or, where that rounds less, the
 * centimetre.
 */
void FitResolutionOfJpeg(QImage& picture)
{
    constexpr int most = 65'535;
    constexpr int centimetresPerMetre = 100;
    if (picture.dotsPerMeterX() * metresPerInch <= most)
        return;
    const int perCentimetre = std::min(picture.dotsPerMeterX() / centimetresPerMetre, most);
    picture.setDotsPerMeterX(perCentimetre * centimetresPerMetre);
    picture.setDotsPerMeterY(perCentimetre * centimetresPerMetre);
}

} // namespace

bool IsPictureFormat(const QString& format)
{
    return std::any_of(
        std::begin(resultFormats), std::end(resultFormats),
        [&format](const ResultFormat& known) { return known.isPicture && format == known.name; });
}

QByteArray Encode(QImage picture, const Encoding& encoding)
{
    const QString& format = encoding.format;
    if (format == Format::png)
        return EncodePng(std::move(picture), encoding.compression);
    if (format == Format::jpg)
        FitResolutionOfJpeg(picture);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format.toLatin1());
    if (format == Format::jpg || format == Format::webp)
        writer.setQuality(encoding.quality);
    if (format == Format::tif)
        writer.setCompression(1); // LZW
    if (!writer.write(picture))
        throw RequestError(Reason::CannotRender, "the picture cannot be written as " +
                                                     format.toStdString() + ": " +
                                                     writer.errorString().toStdString());
    return format == Format::webp ? WithResolution(buffer.data(), picture) : buffer.data();
}

} // namespace Korvel::Worker
