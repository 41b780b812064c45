#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"

#include <functional>
#include <memory>
#include <vector>

namespace Korvel::PDF::Converter {

/**
 * Converts the pages of a document through several inner converters at once.
 *
 * A document task carries the option "page_tasks" (`std::vector<PageFanOut::PageTask>`): which page
 * is wanted where. Each page becomes a task of its own for an inner converter that has none: the
 * document's type, source and other options, the page's destination and the option "page". Without
 * "page_tasks" the task is handed to one inner converter as it is.
 *
 *     auto fanOut = std::make_shared<PageFanOut>(makeChain, 4);
 *     task.options["page_tasks"] = std::vector<PageFanOut::PageTask>{{1, "/out/1.png"}, ...};
 *
 * An inner converter gets its next page after it has ended the one before, so the source, which the
 * pages of a document share, tells there which page is meant. It serves one document, until a page
 * fails: wrappers keep what they were told of a source whose task has failed, and would give its
 * path to the next page that has the source. That one gets an inner converter of its own.
 *
 * Signals of a document, with its source:
 * - ConvertationStarted once, ConvertationProgress from 0 to 1 over all its pages and never back,
 *   both passed on while it runs; DownloadProgress and UploadProgress as the inner converters emit
 *   them
 * - ConvertationFinished once, and then one of
 * - Finished with the final path of every page, in the order of "page_tasks"; the path is empty for
 *   a result that was made and could not be put in its place
 * - Failed with the first error of a page; InvalidOption for one whose options an inner converter
 *   did not take, Unknown for one that it refused or threw at otherwise. No page is started after
 *   it; pages that were finished before stay where they are.
 *
 * The document as a whole, which is page 0, ends at once where pages are stopped.
 *
 * With the option "page_failed" (`PageFanOut::OnPageFailure`), a page that cannot be rendered,
 * takes too much memory or is too large does not end its document: the function is told, the other
 * pages are converted, and the page's path in Finished is empty. Failed comes when no page was
 * left.
 *
 * Ownership: shares the inner converters, and has no parent. Those of a document that has ended
 * stay until pages of another one are handed out, and so does what they clear away when they end.
 * Thread: used on the thread that owns it, whose event loop must run: pages are handed out from
 * there, so neither many pages nor many documents deepen the stack.
 */
class CONVERTERSERVICES_EXPORT PageFanOut : public AbstractConverter
{
    Q_OBJECT

public:
    /** One page of a document and where its result is wanted. */
    struct PageTask
    {
        /** From 1; 0 for the document as a whole. */
        int page = 0;
        /** Path of the wanted result, as in Task::destination. */
        QString destination;
    };

    /** A page that has failed for a reason of its own. */
    struct PageFailure
    {
        /** From 1; 0 for the document as a whole. */
        int page;
        /** Why it failed. */
        ErrorType error;
        /** What a WorkerConverter was told by its worker; empty for other inner converters. */
        QString why;
    };

    /** Called from the inner converter's Failed, on the thread that owns the fan-out. */
    using OnPageFailure = std::function<void(const PageFailure& failure)>;

    /** Answers a new inner converter, not null. A page for which it throws ends with Unknown. */
    using MakeChain = std::function<std::shared_ptr<AbstractConverter>()>;

    /**
     * Makes the inner converters of the first document.
     *
     * @param makeChain    called here, and later from the event loop
     * @param pagesAtOnce  how many pages are converted at once, and so how many inner converters a
     *                     document has, at least one
     */
    PageFanOut(MakeChain makeChain, int pagesAtOnce);

    /** Documents in hand end without a signal; their pages in work are not cancelled. */
    ~PageFanOut() override;

    /**
     * Starts a document.
     *
     * @return false when a document with this source is in hand, or "page_tasks" is empty
     * @throws OptionError  "page_tasks" or "page_failed" holds a value of another type
     */
    bool ConvertFile(const Task& task) override;

    /** Every document in hand ends with Failed; whether all inner converters could be asked. */
    bool CancelConvertation() override;

    /**
     * Starts no further page. Every document in hand ends with Failed and `Cancelled` once the
     * pages that are being converted have ended; these are whole.
     */
    void StopAfterRunningPages();

    /** The first inner converter's answer. */
    std::map<QString, QStringList> GetSupportedFormats() const override;

    /** Whether all inner converters can work. */
    bool DoesServiceAvailable() override;

private:
    Q_DISABLE_COPY_MOVE(PageFanOut)

    struct CONVERTERSERVICES_NO_EXPORT Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace Korvel::PDF::Converter
