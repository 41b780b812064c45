#pragma once

#include <optional>
#include <string>

#include <QRectF>
#include <QString>

namespace Korvel::App {

/** A part of pages as the user measures it, such as "20,30,100,50mm". */
struct PagePart
{
    enum class Unit { Points, Millimetres, Pixels };

    /** From the top left of what is shown of a page. */
    QRectF rectangle;
    Unit unit = Unit::Points;

    /**
     * Understands X,Y,W,H, behind which, or behind each of which, stands "pt", "mm" or "px"; points
     * without. Nothing where it is no part of a page.
     */
    static std::optional<PagePart> Parse(const std::string& text);

    /**
     * In points.
     *
     * @param dotsPerInch  of the pixels that it is measured in, if it is
     */
    QRectF InPoints(double dotsPerInch) const;

    /** As it can be parsed again. */
    QString ToText() const;
};

} // namespace Korvel::App
