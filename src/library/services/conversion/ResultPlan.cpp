#include "ResultPlan.h"

#include "ConversionFailure.h"
#include "LocalFileSystem.h"
#include "PathText.h"
#include "RequestPath.h"
#include "ResultFormat.h"

namespace Korvel::PDF::Converter {

namespace {

constexpr ResultFormat pixels = {"pixels", WorkerProtocol::Format::pixels, true};

QString NumberedPath(const QString& path, int page, int lastPage)
{
    const auto digits = QString::number(lastPage).size();
    const QString number = QString::number(page).rightJustified(digits, QLatin1Char('0'));
    const QString suffix = SuffixOf(path);
    return path.left(path.size() - suffix.size()) + QLatin1Char('-') + number + suffix;
}

const ResultFormat& FormatOf(const ConversionRequest& request)
{
    const QString example = request.resultOfPage ? request.resultOfPage(1) : request.result;
    const QString wanted =
        (request.format.isEmpty() ? SuffixOf(example).mid(1) : request.format).toLower();
    const ResultFormat* const format = FindResultFormat(wanted);
    if (request.isInMemory && wanted == QLatin1String(pixels.name))
        return pixels;
    if (!format)
        throw ConversionFailure(
            AbstractConverter::UnsupportedFormat,
            request.format.isEmpty()
                ? QStringLiteral("the suffix of %1 is that of no format").arg(example)
                : QStringLiteral("there is no format %1").arg(request.format));
    return *format;
}

void RequireName(const QString& path)
{
    if (RequestPath(path).isNull())
        throw ConversionFailure(AbstractConverter::CannotWrite,
                                QStringLiteral("no result can be called \"%1\"").arg(path));
}

} // namespace

ResultPlan::ResultPlan(const ConversionRequest& request, int pages, LocalFileSystem& files)
{
    const ResultFormat& known = FormatOf(request);
    format = known.name;
    const std::vector<int> chosen = request.pages.Of(pages);
    const bool joins = !known.isPicture || format == QLatin1String(WorkerProtocol::Format::tif);
    const bool isOfEach = request.resultOfPage && !request.isInMemory;
    if (isOfEach || (!joins && chosen.size() != 1)) {
        AddForEachPage(request, chosen, pages);
    } else if (known.isPicture && chosen.size() == 1) {
        results.push_back({chosen.front(), request.result, {}});
    } else {
        results.push_back({0, request.result, {}});
        if (format != QLatin1String(WorkerProtocol::Format::pdf) || !request.pages.pages.empty())
            joinedPages = chosen;
    }
    for (PlannedResult& result : results) {
        result.isInMemory = request.isInMemory;
        if (result.isInMemory) {
            result.path = QStringLiteral("%1.%2").arg(result.page).arg(QLatin1String(known.suffix));
            continue;
        }
        RequireName(result.wanted);
        PlanAnew(result, files);
    }
}

void ResultPlan::AddForEachPage(const ConversionRequest& request, const std::vector<int>& chosen,
                                int pages)
{
    for (const int page : chosen) {
        const QString path = request.resultOfPage ? request.resultOfPage(page)
                                                  : NumberedPath(request.result, page, pages);
        results.push_back({page, path, {}});
    }
}

void ResultPlan::PlanAnew(PlannedResult& result, LocalFileSystem& files)
{
    result.path = planned.FindFree(result.wanted, &files);
    planned.Add(result.path, {});
}

} // namespace Korvel::PDF::Converter
