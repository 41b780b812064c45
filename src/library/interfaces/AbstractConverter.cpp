#include "AbstractConverter.h"

namespace Korvel::PDF::Converter {

AbstractConverter::AbstractConverter()
{
    // A queued signal-to-signal relay looks its argument types up by the spelling in the signal's
    // declaration; the full name that Q_ENUM registers is not found by it.
    qRegisterMetaType<ErrorType>("ErrorType");
}

AbstractConverter::~AbstractConverter() = default;

} // namespace Korvel::PDF::Converter
