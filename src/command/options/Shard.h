#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Korvel::App {

/**
 * One of so many shares of a list, which several runs convert one each, on one machine or many.
 *
 * A path falls into a share by what it is called alone: where the list grows or is sorted
 * otherwise, no document moves to another share.
 */
class Shard
{
public:
    /** Reads "3/8", the third of eight; nothing where that is no share, such as "0/8" or "9/8". */
    static std::optional<Shard> Parse(const std::string& text);

    /** Whether the share has the file of this path, spelled as in the list: XXH3 modulo count. */
    bool Has(std::string_view path) const;

private:
    Shard(std::uint64_t number, std::uint64_t count) : number(number), count(count) {}

    /** The share's number, from 1. */
    std::uint64_t number;
    std::uint64_t count;
};

} // namespace Korvel::App
