#include "GetNextAvaliableIndex.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <dirent.h>
#include <sys/random.h>

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

bool IsPlainCharacter(char c)
{
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ' ' || c == '_' ||
           c == '-';
}

bool IsPlain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), IsPlainCharacter);
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

/** Which names take their numbers. The pattern is asked once for all that share head and tail. */
class Series
{
public:
    explicit Series(const std::regex& pattern) : pattern(pattern) {}

    bool TakeNumber(const NumberedName& name)
    {
        if (name.head != head || name.tail != tail) // most folders hold one series
            TurnTo(name);
        return takes;
    }

private:
    void TurnTo(const NumberedName& name)
    {
        head = name.head;
        tail = name.tail;
        const auto [answer, isNew] = answers.try_emplace(head + "(2)." + tail);
        if (isNew)
            answer->second = !IsPlain(head) || !IsPlain(tail) || IsDescribed(answer->first);
        takes = answer->second;
    }

    bool IsDescribed(const std::string& name) const
    {
        std::smatch match;
        return std::regex_match(name, match, pattern) && match.str(1) == "2";
    }

    const std::regex& pattern;
    std::string head;
    std::string tail = "."; // no name's: none has been seen
    bool takes = false;
    /** By the name that has the number 2. */
    std::unordered_map<std::string, bool> answers;
};

/** The number that `digits` write; 0, too, where it has leading zeros or does not fit. */
std::uint64_t ParseNumber(std::string_view digits)
{
    std::uint64_t number = 0;
    if (digits.substr(0, 1) != "0")
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

/** Null at the end, with errno 0, and where reading failed. */
const dirent* ReadEntry(DIR* folder)
{
    errno = 0;
    return ::readdir(folder);
}

/** Nothing when the folder could not be listed to its end. */
std::optional<std::vector<std::uint64_t>> TakenNumbers(const std::string& folder,
                                                       const std::regex& pattern)
{
    std::vector<std::uint64_t> taken;
    Series series(pattern);
    const std::unique_ptr<DIR, CloseFolder> entries(::opendir(folder.c_str()));
    if (!entries && (errno == ENOENT || errno == ENOTDIR))
        return taken;
    if (!entries)
        return std::nullopt;
    while (const dirent* entry = ReadEntry(entries.get())) {
        const auto name = SplitNumberedName(entry->d_name);
        if (name && series.TakeNumber(*name))
            taken.push_back(ParseNumber(name->number));
    }
    if (errno != 0)
        return std::nullopt;
    return taken;
}

std::uint64_t FirstFree(const std::vector<std::uint64_t>& taken)
{
    std::vector<bool> isTaken(taken.size() + 2); // up to where they reach without a gap
    for (const std::uint64_t number : taken) {
        if (number < isTaken.size())
            isTaken[number] = true;
    }
    return std::uint64_t(std::find(isTaken.begin() + 2, isTaken.end(), false) - isTaken.begin());
}

/** Of fifteen digits, the most that a text holds without memory of its own. */
std::uint64_t NumberOfNoFile()
{
    constexpr std::uint64_t smallest = 100'000'000'000'000;
    std::uint64_t random = 0;
    [[maybe_unused]] const ssize_t size = ::getrandom(&random, sizeof random, 0);
    return smallest + random % (9 * smallest);
}

} // namespace

std::string GetNextAvaliableIndex(const ioPath& folder, const std::regex& pattern)
{
    try {
        if (const auto taken = TakenNumbers(folder.utf8string(), pattern))
            return std::to_string(FirstFree(*taken));
    } catch (...) {
        // Without memory, say, the folder has not been listed either.
    }
    return std::to_string(NumberOfNoFile());
}

} // namespace Korvel::PDF::Util
