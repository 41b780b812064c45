#pragma once

#include <QRectF>

namespace Korvel::Worker {

/**
 * A character that can be seen. The box, the baseline and the em are in the frame in which its text
 * is upright: it goes on to the right or to the left, and the next line is below.
 */
struct Glyph
{
    /** What there is between it and what is drawn before it. */
    enum class Before {
        Nothing,
        Gap,  ///< one that the engine takes for a space
        Space ///< a space that is drawn
    };

    char32_t code = 0;
    QRectF box;
    /** The middle of its ink along the line, or of its box where that is not known. */
    double middle = 0;
    double baseline = 0;
    double em = 0;
    Before before = Before::Nothing;
    int font = -1;
};

} // namespace Korvel::Worker
