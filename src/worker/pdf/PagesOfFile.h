#pragma once

#include <set>
#include <string>

#include <QtGlobal>

namespace Korvel::Worker {

/** A file, and the pages that are wanted of it. */
struct PagesOfFile
{
    std::string file;
    /** From 1; all of them when there are none. */
    std::set<qint64> pages;
};

} // namespace Korvel::Worker
