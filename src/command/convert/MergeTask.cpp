#include "MergeTask.h"

#include "ConverterFactory.h"
#include "PageRanges.h"
#include "PlannedDocument.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <QFileInfo>

namespace Korvel::App {

using PDF::Converter::WorkerConverter;

namespace {

/** Saves a document without encryption and damage; throws why it cannot be. */
void Copy(const Document& document, const std::string& to, ConverterFactory& factory)
{
    const ioPath source(document.GetInput().path.toStdString());
    PDF::WorkerPdfProvider& provider = factory.PdfProvider();
    const PDF::DocumentHandle handle = provider.OpenDocument(source, document.Password()).get();
    factory.CheckForSignal();
    if (handle.id < 0)
        throw factory.WhyNotOpened(source.utf8string());
    const bool isSaved = provider.SaveDocument(handle, ioPath(to)).get();
    provider.CloseDocument(handle);
    factory.CheckForSignal();
    if (!isSaved)
        throw FailureOf(provider.WhySaveFailed(source));
}

/** The path of the document, or of its copy where it takes one. */
QString SourceOf(const Document& document, ConverterFactory& factory)
{
    QString path = document.GetInput().path;
    if (!document.NeedsCopy())
        return path;
    try {
        const std::string copy =
            factory.MakePrivateFolder() + '/' + QFileInfo(path).fileName().toStdString();
        Copy(document, copy, factory);
        return QString::fromStdString(copy);
    } catch (const Failure& failure) {
        throw Failure(failure.code, failure.reason,
                      document.Name().toStdString() + ": " + failure.what());
    }
}

} // namespace

void MergeInto(PDF::Converter::AbstractConverter::Task& task, const PlannedDocument& planned,
               const std::string& ranges, ConverterFactory& factory)
{
    std::vector<WorkerConverter::MergedSource> sources;
    for (const Document* const document : planned.All()) {
        const int pages = document->Info().pages;
        sources.push_back(
            {SourceOf(*document, factory),
             ranges.empty() ? std::vector<int>() : PageRanges::Parse(ranges).Choose(pages)});
    }
    task.source = sources.front().source;
    if (!ranges.empty())
        task.options["pages"] = sources.front().pages;
    sources.erase(sources.begin());
    task.options["merge"] = sources;
}

} // namespace Korvel::App
