#include "HangHeadings.h"

#include <algorithm>

namespace Korvel::Worker {

namespace {

/** How many headings below one are seen; negative where they are folded away. */
long long CountOf(QPDFObjectHandle heading)
{
    QPDFObjectHandle count = heading.getKey("/Count");
    return count.isInteger() ? count.getIntValue() : 0;
}

} // namespace

QPDFObjectHandle LooseHeading(QPDF& pdf, QPDFObjectHandle heading)
{
    QPDFObjectHandle loose = pdf.makeIndirectObject(heading.shallowCopy());
    for (const char* const key : {"/Parent", "/Prev", "/Next", "/First", "/Last", "/Count", "/SE"})
        loose.removeKey(key);
    return loose;
}

void HangHeadings(const std::vector<QPDFObjectHandle>& headings, QPDFObjectHandle above,
                  bool isOpen)
{
    if (headings.empty())
        return;
    auto seen = static_cast<long long>(headings.size());
    for (std::size_t i = 0; i < headings.size(); ++i) {
        QPDFObjectHandle heading = headings[i];
        seen += std::max(0LL, CountOf(heading));
        heading.replaceKey("/Parent", above);
        if (i > 0)
            heading.replaceKey("/Prev", headings[i - 1]);
        if (i + 1 < headings.size())
            heading.replaceKey("/Next", headings[i + 1]);
    }
    above.replaceKey("/First", headings.front());
    above.replaceKey("/Last", headings.back());
    above.replaceKey("/Count", QPDFObjectHandle::newInteger(isOpen ? seen : -seen));
}

bool IsOpenHeading(const QPDFObjectHandle& heading)
{
    return CountOf(heading) > 0;
}

} // namespace Korvel::Worker
