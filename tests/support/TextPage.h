#pragma once

#include <QColor>
#include <QImage>
#include <QPainter>

namespace Korvel::PDF::Test {

/** A page full of text at 150 dots per inch, 2.1 megapixels. Needs a QGuiApplication. */
inline QImage TextPage(const QColor& color)
{
    constexpr QSize letter{1275, 1650};
    QImage page(letter, QImage::Format_RGB32);
    page.fill(Qt::white);
    QPainter painter(&page);
    painter.setPen(color);
    painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 18));
    for (int line = 0; line < 50; ++line)
        painter.drawText(100, 120 + 29 * line,
                         QStringLiteral("Line %1 of a page of text says what other lines say, "
                                        "and says %2 of it.")
                             .arg(line)
                             .arg(line * 7919 % 1000));
    return page;
}

} // namespace Korvel::PDF::Test
