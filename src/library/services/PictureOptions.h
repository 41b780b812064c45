#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"

#include <optional>

#include <QRectF>
#include <QSize>

namespace Korvel::PDF::Converter {

/**
 * How pictures of pages are to look: the options of a WorkerConverter's task by their types. What
 * is not set is as that converter has it when the option is absent.
 *
 *     PictureOptions options;
 *     options.resolution = 72;
 *     options.color = PictureOptions::Color::Gray;
 *     options.PutInto(task);
 */
struct CONVERTERSERVICES_EXPORT PictureOptions
{
    /** Which box of a page is shown. */
    enum class Box { Crop, Media, Trim, Bleed, Art };

    /** What a picture's pixels are. */
    enum class Color {
        Full,       ///< colors
        Gray,       ///< 8-bit gray
        Threshold,  ///< black or white, whichever is nearer; of the formats png and tif
        Dither,     ///< black or white dots; of the formats png and tif
        Transparent ///< colors on nothing in place of white; of the formats png, tif and webp
    };

    /** Dots per inch, from 1 to 4800. */
    std::optional<double> resolution = {};
    /** In place of the resolution, the pixels into which a page is to fit; one may be 0. */
    std::optional<QSize> size = {};
    /** The box that is shown. */
    std::optional<Box> box = {};
    /** The part of it that is shown, in points from its top left. */
    std::optional<QRectF> crop = {};
    /** By how many degrees what is shown is turned clockwise: 90, 180 or 270. */
    std::optional<int> rotate = {};
    /** What the pixels are. */
    Color color = Color::Full;
    /** From 1 to 100, of the formats jpg and webp. */
    std::optional<int> quality = {};
    /** Whether a PNG is to be a quarter smaller, in several times the time. */
    bool isSmall = false;

    /** Sets the options of a task; those that are not set here stay as they are there. */
    void PutInto(AbstractConverter::Task& task) const;
};

} // namespace Korvel::PDF::Converter
