#pragma once

#include <cstddef>

#include <QImage>

namespace Korvel::Worker {

/** People count dots by the inch, pictures by the metre. */
inline constexpr double metresPerInch = 0.0254;

/** Puts white behind a picture of the format ARGB32, which becomes one of the format RGB32. */
void PutOnWhite(QImage& picture);

/** Whether red, green and blue are alike everywhere in a picture of the format RGB32. */
bool IsGray(const QImage& picture);

/** One byte for each of so many gray pixels. */
void CopyGray(const QRgb* pixels, std::size_t count, char* into);

} // namespace Korvel::Worker
