#pragma once

#include "ConversionRequest.h"
#include "PlannedPaths.h"
#include "PlannedResult.h"

#include <vector>

namespace Korvel::PDF {
class LocalFileSystem;
}

namespace Korvel::PDF::Converter {

/** Where the results of a document go: literally, and where nothing is. */
class ResultPlan
{
public:
    /** Of nothing. */
    ResultPlan() = default;

    /**
     * @param pages  how many the document has
     * @throws ConversionFailure  the format is none, or a path names no file
     * @throws OptionError        the document has no such pages
     */
    ResultPlan(const ConversionRequest& request, int pages, LocalFileSystem& files);

    /** The format by the worker's name of it. */
    const QString& Format() const { return format; }

    const std::vector<PlannedResult>& Results() const { return results; }
    std::vector<PlannedResult>& Results() { return results; }

    /** The pages that one result is to have; empty where each result has its own. */
    const std::vector<int>& JoinedPages() const { return joinedPages; }

    /** Chooses another place for a result, as somebody has put a file there. */
    void PlanAnew(PlannedResult& result, LocalFileSystem& files);

private:
    void AddForEachPage(const ConversionRequest& request, const std::vector<int>& chosen,
                        int pages);

    QString format;
    std::vector<PlannedResult> results;
    /** Where results go, or were to go. */
    PlannedPaths planned;
    std::vector<int> joinedPages;
};

} // namespace Korvel::PDF::Converter
