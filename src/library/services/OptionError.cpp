#include "OptionError.h"

#include <utility>

namespace Korvel::PDF::Converter {

OptionError::OptionError(std::string option, std::string what)
    : option(std::move(option)), text(std::move(what))
{
}

OptionError::~OptionError() = default;

} // namespace Korvel::PDF::Converter
