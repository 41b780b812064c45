#pragma once

#include <QRectF>

namespace Korvel::Worker {

/** What is shown of each page, and which way up. */
struct PageView
{
    enum class Box { Crop, Media, Trim, Bleed, Art };

    /** Where a page lacks it, or where it is none, its crop box. */
    Box box = Box::Crop;
    /** In points from the top left of the box as the page says that it is turned; null for all. */
    QRectF part;
    /** By how many quarters the page is turned clockwise beyond that, from 0 to 3. */
    int turns = 0;

    /** Whether pages are shown as they say. */
    bool IsPlain() const { return box == Box::Crop && part.isNull() && turns == 0; }
};

inline bool operator==(const PageView& a, const PageView& b)
{
    return a.box == b.box && a.part == b.part && a.turns == b.turns;
}

} // namespace Korvel::Worker
