#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QString>

namespace Korvel::App {

/** A choice of pages, such as "1-3,7,9-,last". */
class PageRanges
{
public:
    /**
     * Understands numbers from 1, numbers from the end ("r1" or "last", "r2", ...), ranges "a-b"
     * and open ranges "a-", separated by commas. Behind them ":odd" leaves the first, third, ... of
     * the pages chosen, ":even" the others; "odd" and "even" alone are of all pages. The empty text
     * means all pages.
     *
     * @throws Failure  Usage, naming the piece that is not understood
     */
    static PageRanges Parse(const std::string& text);

    /**
     * The chosen pages of a document, in rising order and each once. A range is cut to the pages
     * that there are.
     *
     * @throws Failure  Usage, when the document has none of the pages of a piece, or none is left
     */
    std::vector<int> Choose(int pageCount) const;

private:
    struct Range
    {
        /** As it was written. */
        std::string text;
        /** The first page and the last, or from the end: -1 is the document's last page. */
        int first;
        int last;
    };

    enum class Half { Odd, Even };

    static Range ParsePiece(const QString& piece);

    std::vector<Range> ranges;
    std::optional<Half> half;
};

} // namespace Korvel::App
