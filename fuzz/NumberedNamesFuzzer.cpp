// Line 1: a base name. Line 2: a suffix. Further lines: the entries of the folder. Letters in other
// encodings and whatever a file name may hold are welcome.

#include "Fuzzing.h"
#include "GetNextAvaliableIndex.h"
#include "TempFolder.h"

#include <algorithm>
#include <optional>
#include <regex>
#include <set>

#include <fcntl.h>
#include <unistd.h>

using namespace Korvel;

namespace {

// Names are patterns: nested repetitions take a time that doubles with every byte, and matching
// recurses once a byte. So names are short, few of them repeat something, and none refers back.
constexpr std::size_t longestName = 24;
constexpr std::size_t mostEntries = 12;
constexpr int mostRepetitions = 2;

bool IsTame(const std::string& name)
{
    const auto repeats = [](char c) {
        return std::string("*+?{").find(c) != std::string::npos;
    };
    return name.size() <= longestName && name.find('\\') == std::string::npos &&
           std::count_if(name.begin(), name.end(), repeats) <= mostRepetitions;
}

/** As the wrapper that moves results into place builds it. */
std::optional<std::regex> Pattern(const std::string& baseName, const std::string& suffix)
{
    try {
        return std::regex(baseName + R"(\((\d+)\)\.)" + suffix,
                          std::regex::ECMAScript | std::regex::icase);
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

std::set<std::string> MakeEntries(const std::string& folder, const std::vector<std::string>& names)
{
    std::set<std::string> made;
    for (const std::string& name : names) {
        if (made.size() == mostEntries || name.empty() || name.size() > longestName ||
            name.find('/') != std::string::npos)
            continue;
        // To the file system a name ends at its NUL.
        const std::string entry = name.c_str();
        const int file =
            ::open((folder + '/' + entry).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        if (file < 0)
            continue;
        ::close(file);
        made.insert(entry);
    }
    return made;
}

bool Takes(const std::string& entry, const std::string& number, const std::regex& pattern)
{
    static const std::regex numbered(R"(^([^]*)\(([0-9]+)\)\.([^.]*)$)");
    static const std::regex plain("[0-9a-zA-Z _-]*");
    std::smatch parts;
    if (!std::regex_match(entry, parts, numbered) || parts.str(2) != number)
        return false;
    if (!std::regex_match(parts.str(1), plain) || !std::regex_match(parts.str(3), plain))
        return true;
    const std::string second = parts.str(1) + "(2)." + parts.str(3);
    std::smatch described;
    return std::regex_match(second, described, pattern) && described.size() > 1 &&
           described.str(1) == "2";
}

/** The rule of GetNextAvaliableIndex.h, tried number by number. */
std::string FirstFree(const std::set<std::string>& entries, const std::regex& pattern)
{
    int number = 2;
    while (std::any_of(entries.begin(), entries.end(), [&](const std::string& entry) {
        return Takes(entry, std::to_string(number), pattern);
    }))
        ++number;
    return std::to_string(number);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string folder = Fuzz::MakeTempFolder();
    const auto lines = Fuzz::Lines(Fuzz::Text(data, size), 2);
    const auto pattern =
        IsTame(lines[0]) && IsTame(lines[1]) ? Pattern(lines[0], lines[1]) : std::nullopt;
    if (!pattern)
        return 0;
    const auto entries = MakeEntries(folder, {lines.begin() + 2, lines.end()});
    const std::string number = PDF::Util::GetNextAvaliableIndex(folder, *pattern);
    for (const std::string& entry : entries)
        ::unlink((folder + '/' + entry).c_str());
    Fuzz::Require(number == FirstFree(entries, *pattern), "the smallest number that is free");
    // A suffix has no dot, since it is what follows the last one.
    if (lines[1].find('.') == std::string::npos)
        Fuzz::Require(entries.count(lines[0] + '(' + number + ")." + lines[1]) == 0,
                      "nothing has the name that the number makes");
    return 0;
}
