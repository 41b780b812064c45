#include "TextRequest.h"

#include "RequestValues.h"

namespace Korvel::Worker {

namespace Key = WorkerProtocol::Key;

TextLook TextLookOf(const QJsonObject& request, const QString& format)
{
    TextLook look;
    look.format = format;
    look.dehyphenates = !request.contains(Key::dehyphenate) || IsSet(request, Key::dehyphenate);
    look.isLaidOut = IsSet(request, Key::layout);
    look.dotsPerInch = ResolutionOf(request);
    look.isPart = IsSet(request, Key::part);
    return look;
}

} // namespace Korvel::Worker
