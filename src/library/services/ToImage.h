#pragma once

#include "PagePicture.h"

#include <memory>

#include <QImage>

namespace Korvel::PDF::Converter {

/**
 * The picture as an image that shares its memory: nothing is copied before somebody paints on it.
 * In a header alone, so that the library needs no Qt Gui. Any thread.
 *
 * @param picture  may go before the image
 * @return null for a picture of nothing, and for one that QImage cannot hold: beyond 2 GiB with Qt
 * 5
 */
inline QImage ToImage(const PagePicture& picture)
{
    using Pixels = std::shared_ptr<const uchar>;
    if (picture.IsNull())
        return {};
    QImage::Format format = QImage::Format_RGB32;
    if (picture.PixelFormat() == PagePicture::Format::Transparent)
        format = QImage::Format_ARGB32;
    else if (picture.PixelFormat() == PagePicture::Format::Gray)
        format = QImage::Format_Grayscale8;
    auto kept = std::make_unique<Pixels>(picture.Pixels());
    QImage image(
        kept->get(), picture.Width(), picture.Height(), picture.BytesPerLine(), format,
        [](void* pixels) { delete static_cast<Pixels*>(pixels); }, kept.get());
    if (!image.isNull())
        (void)kept.release(); // it is the image's now
    return image;
}

} // namespace Korvel::PDF::Converter
