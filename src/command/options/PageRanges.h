#pragma once

#include <string>
#include <vector>

namespace Korvel::App {

/** A choice of pages, such as "1-3,7,9-,last". */
class PageRanges
{
public:
    /**
     * Understands numbers from 1, "last", ranges "a-b" and open ranges "a-", separated by commas.
     * The empty text means all pages.
     *
     * @throws Failure  Usage, naming the piece that is not understood
     */
    static PageRanges Parse(const std::string& text);

    /**
     * The chosen pages of a document, in rising order and each once.
     *
     * @throws Failure  Usage, when a page is named that the document does not have
     */
    std::vector<int> Choose(int pageCount) const;

private:
    struct Range
    {
        /** The first page and the last; 0 for the document's last page. */
        int first;
        int last;
    };

    std::vector<Range> ranges;
};

} // namespace Korvel::App
