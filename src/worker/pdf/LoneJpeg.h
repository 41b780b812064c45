#pragma once

#include <memory>

#include <qpdf/Buffer.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

namespace Korvel::Worker {

/**
 * The JPEG that a page is nothing but: upright and whole, as large as what is shown of the page to
 * less than one of its pixels, in gray or RGB, neither masked nor of optional content, and nothing
 * else is drawn, annotations included. Text that is invisible, as programs that recognise letters
 * lay it over scans, is nothing drawn.
 *
 * @return the bytes of the JPEG, as a file of it has them; null where the page is another one
 * @throws std::exception  libqpdf's own: the page cannot be read
 */
std::shared_ptr<Buffer> LoneJpeg(QPDFPageObjectHelper page);

} // namespace Korvel::Worker
