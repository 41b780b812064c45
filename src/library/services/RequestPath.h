#pragma once

#include <QDir>
#include <QString>

namespace Korvel::PDF {

/**
 * `path` as a request to the worker carries it: absolute, since the worker may run in another
 * folder. Nothing is cleaned up: a ".." behind a link means something else than its text.
 *
 * @return null for a path that names no file there: one that is empty, holds a NUL, or does not
 *         survive UTF-8 as a lone surrogate does not
 */
inline QString RequestPath(const QString& path)
{
    if (path.isEmpty() || path.contains(QChar(u'\0')) || QString::fromUtf8(path.toUtf8()) != path)
        return {};
    return path.startsWith(QLatin1Char('/')) ? path : QDir::currentPath() + QLatin1Char('/') + path;
}

} // namespace Korvel::PDF
