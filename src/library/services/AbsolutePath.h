#pragma once

#include <QDir>
#include <QString>

namespace Korvel::PDF {

/**
 * `path` as the worker needs it, which may run in another folder. Nothing is cleaned up: a ".."
 * behind a link means something else than its text.
 */
inline QString AbsolutePath(const QString& path)
{
    return QDir::isAbsolutePath(path) ? path : QDir::currentPath() + QLatin1Char('/') + path;
}

} // namespace Korvel::PDF
