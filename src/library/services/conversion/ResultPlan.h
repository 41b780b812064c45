#pragma once

#include "ConversionRequest.h"
#include "PlannedPaths.h"

#include <vector>

namespace Korvel::PDF {
class LocalFileSystem;
}

namespace Korvel::PDF::Converter {

/** Where the results of a document go: literally, and where nothing is. */
class ResultPlan
{
public:
    /** One result. */
    struct Result
    {
        /** From 1; 0 for the document as a whole. */
        int page = 0;
        /** Where it goes when nothing is there. */
        QString wanted;
        /** Where it goes, or has gone. */
        QString path;
        bool isPlaced = false;
        /** What is in it, where it is wanted in memory. */
        QByteArray bytes = {};
    };

    /** Of nothing. */
    ResultPlan() = default;

    /**
     * @param pages  how many the document has
     * @throws ConversionFailure  the format is none, or a path names no file
     * @throws OptionError        the document has no such pages
     */
    ResultPlan(const ConversionRequest& request, int pages, LocalFileSystem& files);

    /** Whether results are handed over as bytes; their paths name nothing then. */
    bool IsInMemory() const { return isInMemory; }

    /** The format by the worker's name of it. */
    const QString& Format() const { return format; }

    const std::vector<Result>& Results() const { return results; }
    std::vector<Result>& Results() { return results; }

    /** The pages that one result is to have; empty where each result has its own. */
    const std::vector<int>& JoinedPages() const { return joinedPages; }

    /** Chooses another place for a result, as somebody has put a file there. */
    void PlanAnew(Result& result, LocalFileSystem& files);

private:
    void AddForEachPage(const ConversionRequest& request, const std::vector<int>& chosen,
                        int pages);

    bool isInMemory = false;
    QString format;
    std::vector<Result> results;
    /** Where results go, or were to go. */
    PlannedPaths planned;
    std::vector<int> joinedPages;
};

} // namespace Korvel::PDF::Converter
