#include "PictureOptions.h"

namespace Korvel::PDF::Converter {

namespace {

using Box = PictureOptions::Box;
using Color = PictureOptions::Color;

QString WordFor(Box box)
{
    switch (box) {
    case Box::Crop:
        return QStringLiteral("crop");
    case Box::Media:
        return QStringLiteral("media");
    case Box::Trim:
        return QStringLiteral("trim");
    case Box::Bleed:
        return QStringLiteral("bleed");
    case Box::Art:
        break;
    }
    return QStringLiteral("art");
}

void PutColor(Color color, AbstractConverter::Task& task)
{
    if (color == Color::Gray)
        task.options["gray"] = true;
    if (color == Color::Threshold)
        task.options["mono"] = QStringLiteral("threshold");
    if (color == Color::Dither)
        task.options["mono"] = QStringLiteral("dither");
    if (color == Color::Transparent)
        task.options["transparent"] = true;
}

template <typename T>
void Put(const std::optional<T>& value, const char* name, AbstractConverter::Task& task)
{
    if (value)
        task.options[name] = *value;
}

} // namespace

void PictureOptions::PutInto(AbstractConverter::Task& task) const
{
    Put(resolution, "resolution", task);
    Put(size, "size", task);
    Put(crop, "crop", task);
    Put(rotate, "rotate", task);
    Put(quality, "quality", task);
    if (box)
        task.options["box"] = WordFor(*box);
    PutColor(color, task);
    if (isSmall)
        task.options["compression"] = QStringLiteral("small");
}

} // namespace Korvel::PDF::Converter
