#include "TextOptions.h"

namespace Korvel::PDF::Converter {

void TextOptions::PutInto(AbstractConverter::Task& task) const
{
    if (!dehyphenates)
        task.options["dehyphenate"] = false;
    if (isLaidOut)
        task.options["layout"] = true;
}

} // namespace Korvel::PDF::Converter
