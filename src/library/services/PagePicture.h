#pragma once

#include "ConverterServicesExport.h"

#include <memory>

#include <QMetaType>
#include <QtGlobal>

namespace Korvel::PDF::Converter {

/**
 * The pixels of a page as a worker has drawn them, in memory that the two shared and that nobody
 * writes any more. A plain value: copies share the memory, which goes with the last one.
 *
 *     QImage image = ToImage(picture); // by ToImage.h, and without a copy
 */
class CONVERTERSERVICES_EXPORT PagePicture
{
public:
    /** What a pixel is. */
    enum class Format {
        Color,       ///< four bytes: blue, green, red, and 255
        Transparent, ///< four bytes: blue, green, red, and how opaque it is, by which none of the
                     ///< others is multiplied
        Gray         ///< a byte, from black to white
    };

    /** A picture of nothing. */
    PagePicture() = default;

    /**
     * @param width   in pixels, from 1
     * @param height  likewise
     * @param format  what a pixel is
     * @param pixels  rows from top to bottom, BytesPerLine() from one to the next
     */
    PagePicture(int width, int height, Format format, std::shared_ptr<const uchar> pixels);

    /** Whether it is of nothing. */
    bool IsNull() const { return !pixels; }

    /** In pixels; 0 of nothing. */
    int Width() const { return width; }

    /** In pixels; 0 of nothing. */
    int Height() const { return height; }

    /** What a pixel is. */
    Format PixelFormat() const { return format; }

    /** From the beginning of one row to that of the next: a multiple of four. */
    int BytesPerLine() const;

    /** The rows from top to bottom; whoever keeps this keeps the memory. */
    const std::shared_ptr<const uchar>& Pixels() const { return pixels; }

private:
    int width = 0;
    int height = 0;
    Format format = Format::Color;
    std::shared_ptr<const uchar> pixels;
};

} // namespace Korvel::PDF::Converter

Q_DECLARE_METATYPE(Korvel::PDF::Converter::PagePicture)
