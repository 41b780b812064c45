#pragma once

#include <algorithm>
#include <cmath>

#include <QPointF>
#include <QRectF>
#include <QtMath>

namespace Korvel::Worker {

/** What takes points of one plane to those of another. */
struct Affine
{
    /** Where the points (1, 0) and (0, 1) go, from where (0, 0) goes. */
    QPointF along{1, 0};
    QPointF across{0, 1};
    QPointF origin{0, 0};

    /** A turn by so many degrees, clockwise where y goes down. */
    static Affine Turned(double degrees)
    {
        const double cosine = std::cos(qDegreesToRadians(degrees));
        const double sine = std::sin(qDegreesToRadians(degrees));
        return {{cosine, sine}, {-sine, cosine}, {}};
    }

    QPointF Map(const QPointF& point) const
    {
        return origin + along * point.x() + across * point.y();
    }

    /** The smallest upright box around the box where it goes. */
    QRectF Map(const QRectF& box) const
    {
        const QPointF ends[] = {Map(box.topLeft()), Map(box.topRight()), Map(box.bottomLeft()),
                                Map(box.bottomRight())};
        const auto [left, right] =
            std::minmax({ends[0].x(), ends[1].x(), ends[2].x(), ends[3].x()});
        const auto [top, bottom] =
            std::minmax({ends[0].y(), ends[1].y(), ends[2].y(), ends[3].y()});
        return {left, top, right - left, bottom - top};
    }
};

} // namespace Korvel::Worker
