#pragma once

#include "AbstractConverter.h"

#include <stdexcept>

#include <QString>

namespace Korvel::PDF::Converter {

/** Why a conversion ends before its pages do. */
class ConversionFailure : public std::runtime_error
{
public:
    /** @param text  what to tell people, which names the document */
    ConversionFailure(AbstractConverter::ErrorType error, const QString& text)
        : std::runtime_error(text.toStdString()), error(error), text(text)
    {
    }

    const AbstractConverter::ErrorType error;
    const QString text;
};

} // namespace Korvel::PDF::Converter
