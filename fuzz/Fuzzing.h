#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace Korvel::Fuzz {

/** Ends the process, which makes the input a finding, when a promise does not hold. */
inline void Require(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "ERROR: broken promise: %s\n", promise);
    std::abort();
}

inline std::string Text(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

/** The lines of `text`; at least `count`, of which those that it does not have are empty. */
inline std::vector<std::string> Lines(const std::string& text, std::size_t count = 0)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    lines.resize(std::max(lines.size(), count));
    return lines;
}

} // namespace Korvel::Fuzz
