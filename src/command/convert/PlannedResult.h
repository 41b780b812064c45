#pragma once

#include "Result.h"

#include <vector>

#include <QString>

namespace Korvel::App {

/** One result to make. */
struct PlannedResult
{
    /** The page, from 1; 0 for the document as a whole. */
    int page = 0;
    /** Where it goes when nothing is there. */
    QString wanted;
    /** Where it goes, or has gone; empty when it is left away. */
    QString path;
};

/** The results that are not left away. */
std::vector<Result> ResultsOf(const std::vector<PlannedResult>& planned);

} // namespace Korvel::App
