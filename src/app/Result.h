#pragma once

#include <vector>

#include <QJsonArray>
#include <QString>

namespace Korvel::App {

/** A file that was made, or is to be made. */
struct Result
{
    /** From 1; 0 for the document as a whole. */
    int page;
    QString path;
};

/** Objects with path, page and, of files that are there, bytes, as docs/command.md describes. */
QJsonArray ToJson(const std::vector<Result>& results);

} // namespace Korvel::App
