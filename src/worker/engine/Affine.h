#pragma once

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
        const double width =
            std::abs(along.x() * box.width()) + std::abs(across.x() * box.height());
        const double height =
            std::abs(along.y() * box.width()) + std::abs(across.y() * box.height());
        const QPointF center = Map(box.center());
        return {center.x() - width / 2, center.y() - height / 2, width, height};
    }
};

} // namespace Korvel::Worker
