#pragma once

#include "PictureShape.h"
#include "PngForm.h"

#include <cstddef>
#include <vector>

namespace Korvel::Worker {

/** Makes the rows of a picture to those of a PNG, from top to bottom. */
class PngRows
{
public:
    PngRows(const PictureShape& shape, const PngForm& form);

    /** Bytes of a row and its filter. */
    std::size_t Length() const { return 1 + length; }

    /**
     * Writes a row and its filter.
     *
     * @return false where the row is not of the form; no more rows can be written then
     */
    bool Write(const unsigned char* pixels, unsigned char* into);

    /** Likewise, from what is known of its pixels: a gray, or a number of the palette, for each. */
    void WriteKnown(const unsigned char* values, unsigned char* into);

private:
    bool Copy(const unsigned char* pixels, unsigned char* into);
    bool CopyValues(const unsigned char* pixels);
    void Filter(unsigned char* row);

    const PictureShape& shape;
    PngForm form;
    const std::size_t width;
    const std::size_t length;
    std::vector<unsigned char> values;
    std::vector<unsigned char> current;
    std::vector<unsigned char> above;
};

} // namespace Korvel::Worker
