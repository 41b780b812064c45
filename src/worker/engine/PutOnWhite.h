#pragma once

#include <QImage>

namespace Korvel::Worker {

/** Puts white behind a picture of the format ARGB32, which becomes one of the format RGB32. */
void PutOnWhite(QImage& picture);

} // namespace Korvel::Worker
