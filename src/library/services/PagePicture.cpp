#include "PagePicture.h"

#include "WorkerProtocol.h"

#include <utility>

namespace Korvel::PDF::Converter {

PagePicture::PagePicture(int width, int height, Format format, std::shared_ptr<const uchar> pixels)
    : width(width), height(height), format(format), pixels(std::move(pixels))
{
}

int PagePicture::BytesPerLine() const
{
    return int(WorkerProtocol::BytesOfRow(width, format == Format::Gray));
}

} // namespace Korvel::PDF::Converter
