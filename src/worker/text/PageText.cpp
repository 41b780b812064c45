#include "PageText.h"

#include "HocrText.h"
#include "JsonText.h"
#include "LaidOutText.h"
#include "PlainText.h"
#include "TsvText.h"

namespace Korvel::Worker {

namespace Format = WorkerProtocol::Format;

bool NeedsPlaces(const TextLook& look)
{
    return look.isLaidOut || look.format == Format::hocr;
}

bool NeedsFonts(const TextLook& look)
{
    return look.format != Format::txt;
}

QByteArray PageText(const TextPage& page, qint64 number, const TextLook& look)
{
    if (look.format == Format::json)
        return JsonText(page, number);
    if (look.format == Format::tsv)
        return TsvText(page, number);
    if (look.format == Format::hocr)
        return HocrText(page, number, look.dotsPerInch);
    return (look.isLaidOut ? LaidOutText(page) : PlainText(page, look.dehyphenates)) + '\f';
}

} // namespace Korvel::Worker
