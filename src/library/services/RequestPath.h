#pragma once

#include <string>

#include <QString>

namespace Korvel::PDF {

/**
 * `path` as a request to the worker carries it: absolute, since the worker may run in another
 * folder. Nothing is cleaned up: a ".." behind a link means something else than its text.
 *
 * @return null for a path that names no file there: one that is empty, holds a NUL, is no UTF-8, or
 *         is relative to a working folder that is none or that is gone
 */
QString RequestPath(const std::string& path);

/** A path with a lone surrogate names no file either. */
QString RequestPath(const QString& path);

} // namespace Korvel::PDF
