#include "PageSelection.h"

#include "OptionError.h"

#include <numeric>
#include <string>

namespace Korvel::PDF::Converter {

std::vector<int> PageSelection::Of(int count) const
{
    for (const int page : pages) {
        if (page < 1 || page > count)
            throw OptionError("pages", "there is no page " + std::to_string(page) +
                                           "; the last one is " + std::to_string(count));
    }
    if (!pages.empty())
        return pages;
    std::vector<int> all(std::size_t(count < 0 ? 0 : count));
    std::iota(all.begin(), all.end(), 1);
    return all;
}

void PageSelection::PutInto(AbstractConverter::Task& task) const
{
    if (pages.empty())
        task.options.erase("pages");
    else
        task.options["pages"] = pages;
}

} // namespace Korvel::PDF::Converter
