#pragma once

#include "Rows.h"

#include <cstddef>

/** Loops over pixels; those that are named "Bgrx" have four bytes. */
namespace Korvel::Worker {

/** Whether blue, green and red are alike everywhere in rows of so many pixels. */
bool IsGray(const Rows& bgrx, int width);

/** One byte for each of so many pixels; answers whether all of them are gray. */
bool CopyGray(const unsigned char* bgrx, std::size_t count, unsigned char* into);

/** Red, green and blue of so many pixels. */
void CopyRgb(const unsigned char* bgrx, std::size_t count, unsigned char* into);

/** Blue, green and red of so many pixels. */
void CopyBgr(const unsigned char* bgrx, std::size_t count, unsigned char* into);

} // namespace Korvel::Worker
