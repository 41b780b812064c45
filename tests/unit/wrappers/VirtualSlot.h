#pragma once

#include <cstddef>
#include <cstring>

namespace Korvel::PDF::Test {

/**
 * The place of a virtual operation in its class's table of virtual functions, counted from 0.
 *
 * A program built against the library calls by that place, so the order of the declarations must
 * never change. The Itanium C++ ABI stores it in the pointer to member: the distance in bytes, or
 * one more, by which some processors' compilers know a virtual operation.
 */
template <typename Member>
std::size_t VirtualSlot(Member member)
{
    std::size_t distance = 0;
    std::memcpy(&distance, &member, sizeof(distance));
    return distance / sizeof(void*);
}

} // namespace Korvel::PDF::Test
