// Line 1: how many pages there are. Line 2: page ranges.

#include "Failure.h"
#include "Fuzzing.h"
#include "PageRanges.h"

#include <algorithm>
#include <optional>
#include <set>

using namespace Korvel;

namespace {

using Pages = std::vector<int>;

std::optional<Pages> Choose(const std::string& ranges, int pageCount)
{
    try {
        return App::PageRanges::Parse(ranges).Choose(pageCount);
    } catch (const App::Failure& failure) {
        Fuzz::Require(failure.code == App::ExitCode::Usage, "refused as a usage error");
        return std::nullopt;
    }
}

std::string Written(const Pages& pages)
{
    std::string text;
    for (const int page : pages)
        text += (text.empty() ? "" : ",") + std::to_string(page);
    return text;
}

Pages PieceByPiece(const std::string& ranges, int pageCount)
{
    std::set<int> pages;
    std::istringstream stream(ranges);
    for (std::string piece; std::getline(stream, piece, ',');) {
        const auto chosen = Choose(piece, pageCount);
        Fuzz::Require(chosen.has_value(), "every piece of ranges is one that is understood alone");
        pages.insert(chosen->begin(), chosen->end());
    }
    return {pages.begin(), pages.end()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto lines = Fuzz::Lines(Fuzz::Text(data, size), 2);
    const int pageCount = std::clamp(std::atoi(lines[0].c_str()), 1, 300);
    const auto pages = Choose(lines[1], pageCount);
    if (!pages)
        return 0;
    Fuzz::Require(!pages->empty(), "some pages are chosen");
    Fuzz::Require(pages->front() >= 1 && pages->back() <= pageCount, "the document has the pages");
    Fuzz::Require(std::adjacent_find(pages->begin(), pages->end(), std::greater_equal<>()) ==
                      pages->end(),
                  "the pages rise");
    Fuzz::Require(Choose(Written(*pages), pageCount) == pages, "pages one by one are the same");
    if (!lines[1].empty() && lines[1].find(':') == std::string::npos)
        Fuzz::Require(PieceByPiece(lines[1], pageCount) == *pages, "commas unite");
    return 0;
}
