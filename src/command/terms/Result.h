#pragma once

#include <vector>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

namespace Korvel::App {

/** A file that was made, or is to be made. */
struct Result
{
    /** The page, from 1; 0 for the document as a whole. */
    int page;
    QString path;
};

/** An object with path and page, as docs/command.md describes. */
QJsonObject ToJson(const Result& result);

/** Such objects of results that are only planned. */
QJsonArray PlannedToJson(const std::vector<Result>& results);

/** Such objects with, of files that are there, bytes as well. */
QJsonArray ToJson(const std::vector<Result>& results);

} // namespace Korvel::App
