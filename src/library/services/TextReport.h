#pragma once

#include <functional>
#include <vector>

namespace Korvel::PDF::Converter {

/** What a reader of a document's text should know of its pages, from 1, in rising order. */
struct TextReport
{
    /** Pages on which no text is drawn: pictures of text, or none. */
    std::vector<int> withoutText;
    /** Pages whose fonts do not say which characters they draw. */
    std::vector<int> unmapped;
};

/** Called with it before the task ends, on the thread that owns the converter. */
using OnTextReport = std::function<void(const TextReport& report)>;

} // namespace Korvel::PDF::Converter
