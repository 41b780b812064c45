#pragma once

#include "ConverterServicesExport.h"

#include <any>
#include <string>

namespace Korvel::PDF::Converter {

/**
 * An option of a task that a converter cannot take: its name is unknown, or its value is of another
 * type than the name has.
 *
 *     try {
 *         converter.ConvertFile(task);
 *     } catch (const OptionError& error) {
 *         qWarning("%s", error.what()); // the option "gray" must be of the type bool, and is
 * QString
 *     }
 */
class CONVERTERSERVICES_EXPORT OptionError : public std::bad_any_cast
{
public:
    /**
     * @param option  the option's name, UTF-8
     * @param what    what is wrong with it, a sentence that names it
     */
    OptionError(std::string option, std::string what);
    ~OptionError() override;

    /** The sentence, UTF-8. */
    const char* what() const noexcept override { return text.c_str(); }

    /** The option's name, UTF-8. */
    const std::string& Option() const noexcept { return option; }

private:
    std::string option;
    std::string text;
};

} // namespace Korvel::PDF::Converter
