#pragma once

#include <cstddef>

namespace Korvel::Worker {

/** Rows of a picture, from top to bottom, in memory that belongs to somebody else. */
struct Rows
{
    const unsigned char* first = nullptr;
    /** Bytes from one row to the next. */
    std::ptrdiff_t stride = 0;
    int count = 0;
};

} // namespace Korvel::Worker
