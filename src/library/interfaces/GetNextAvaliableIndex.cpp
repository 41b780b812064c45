#include "GetNextAvaliableIndex.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include <dirent.h>

namespace Korvel::PDF::Util {

namespace {

struct CloseFolder
{
    void operator()(DIR* folder) const { ::closedir(folder); }
};

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsPlain(char c)
{
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ' ' || c == '_' ||
           c == '-';
}

/** The parts of a name of the form "head(number).tail". */
struct NumberedName
{
    std::string_view head;
    std::string_view number;
    std::string_view tail;
};

std::optional<NumberedName> SplitNumberedName(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || name[dot - 1] != ')')
        return std::nullopt;
    const std::size_t close = dot - 1;
    std::size_t first = close;
    while (first > 0 && IsDigit(name[first - 1]))
        --first;
    if (first == 0 || name[first - 1] != '(')
        return std::nullopt;
    return NumberedName{name.substr(0, first - 1), name.substr(first, close - first),
                        name.substr(dot + 1)};
}

/** Matches names, all in one piece of memory. */
class Matcher
{
public:
    explicit Matcher(const std::regex& pattern) : pattern(pattern) {}

    bool MatchesWithNumber(const char* name, std::string_view number)
    {
        return std::regex_match(name, match, pattern) && match.size() > 1 &&
               std::equal(match[1].first, match[1].second, number.begin(), number.end());
    }

private:
    const std::regex& pattern;
    std::cmatch match;
};

bool TakesItsNumber(const char* name, const NumberedName& parts, Matcher& matcher)
{
    const bool plain = std::all_of(parts.head.begin(), parts.head.end(), IsPlain) &&
                       std::all_of(parts.tail.begin(), parts.tail.end(), IsPlain);
    return !plain || matcher.MatchesWithNumber(name, parts.number);
}

std::set<std::string, std::less<>> TakenNumbers(const ioPath& folder, const std::regex& pattern)
{
    std::set<std::string, std::less<>> taken;
    Matcher matcher(pattern);
    const std::unique_ptr<DIR, CloseFolder> entries(::opendir(folder.utf8string().c_str()));
    if (!entries)
        return taken;
    while (const dirent* entry = ::readdir(entries.get())) {
        const auto parts = SplitNumberedName(entry->d_name);
        if (parts && taken.find(parts->number) == taken.end() &&
            TakesItsNumber(entry->d_name, *parts, matcher))
            taken.emplace(parts->number);
    }
    return taken;
}

} // namespace

std::string GetNextAvaliableIndex(const ioPath& folder, const std::regex& pattern) noexcept
{
    try {
        const auto taken = TakenNumbers(folder, pattern);
        std::uint64_t number = 2;
        while (taken.count(std::to_string(number)) > 0)
            ++number;
        return std::to_string(number);
    } catch (...) {
        return "2"; // out of memory, say; the move that follows does not replace
    }
}

} // namespace Korvel::PDF::Util
