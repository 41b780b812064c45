#include "WritePicture.h"

#include "BmpWriter.h"
#include "JpegWriter.h"
#include "PngWriter.h"
#include "RequestError.h"
#include "ResultFormat.h"
#include "TiffWriter.h"
#include "WebpWriter.h"

#include <algorithm>
#include <iterator>

namespace Korvel::Worker {

namespace Format = WorkerProtocol::Format;

bool IsPictureFormat(const QString& format)
{
    return std::any_of(
        std::begin(resultFormats), std::end(resultFormats),
        [&format](const ResultFormat& known) { return known.isPicture && format == known.name; });
}

void WritePicture(Output& into, const PictureShape& shape, const Encoding& encoding,
                  const DrawRows& draw)
{
    const QString& format = encoding.format;
    if (format == Format::png)
        WritePng(into, shape, encoding.compression, draw);
    else if (format == Format::jpg)
        WriteJpeg(into, shape, encoding.quality, draw);
    else if (format == Format::tif)
        WriteTiff(into, shape, draw);
    else if (format == Format::webp)
        WriteWebp(into, shape, encoding.quality, draw);
    else if (format == Format::bmp)
        WriteBmp(into, shape, draw);
    else
        throw RequestError(Reason::UnsupportedFormat, "no such format of pictures");
}

} // namespace Korvel::Worker
