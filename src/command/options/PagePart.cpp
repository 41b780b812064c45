#include "PagePart.h"

#include "WorkerProtocol.h"

#include <algorithm>
#include <array>

#include <QRegularExpression>
#include <QStringList>

namespace Korvel::App {

namespace {

constexpr double pointsPerInch = 72;
constexpr double millimetresPerInch = 25.4;
constexpr std::array<const char*, 3> units{"pt", "mm", "px"}; // in the order of Unit

} // namespace

std::optional<PagePart> PagePart::Parse(const std::string& text)
{
    static const QRegularExpression form("^([0-9]{1,6}(?:\\.[0-9]{1,6})?)(pt|mm|px)?$");
    const QStringList pieces = QString::fromStdString(text).split(',');
    std::array<double, 4> numbers{};
    QStringList named;
    for (int i = 0; i < pieces.size(); ++i) {
        const auto match = form.match(pieces[i]);
        if (pieces.size() != int(numbers.size()) || !match.hasMatch())
            return std::nullopt;
        numbers[std::size_t(i)] = match.captured(1).toDouble();
        named.append(match.captured(2));
    }
    const QString unit = named.last();
    const bool isOneForAll = named.mid(0, 3) == QStringList{"", "", ""};
    PagePart part;
    part.rectangle = {numbers[0], numbers[1], numbers[2], numbers[3]};
    if (part.rectangle.isEmpty() || (!isOneForAll && named.count(unit) != named.size()))
        return std::nullopt;
    if (!unit.isEmpty())
        part.unit = Unit(std::find(units.begin(), units.end(), unit) - units.begin());
    return part;
}

QRectF PagePart::InPoints(double dotsPerInch) const
{
    const double unitsPerInch = unit == Unit::Points        ? pointsPerInch
                                : unit == Unit::Millimetres ? millimetresPerInch
                                                            : dotsPerInch;
    const double points = pointsPerInch / unitsPerInch;
    return {rectangle.topLeft() * points, rectangle.size() * points};
}

QString PagePart::ToText() const
{
    QStringList numbers;
    for (const double number :
         {rectangle.x(), rectangle.y(), rectangle.width(), rectangle.height()})
        numbers.append(QString::number(number, 'g', 12));
    return numbers.join(',') + units.at(std::size_t(unit));
}

} // namespace Korvel::App
