#include "PageFanOut.h"

#include "CopiedDocuments.h"
#include "OptionError.h"
#include "ServicesLog.h"
#include "TaskOptions.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include <QPointer>

namespace Korvel::PDF::Converter {

namespace {

/** Why the converter does not take the task; the event loop asks, which nothing thrown may leave.
 */
std::optional<AbstractConverter::ErrorType> Refusal(AbstractConverter& converter,
                                                    const AbstractConverter::Task& task)
{
    try {
        if (converter.ConvertFile(task))
            return std::nullopt;
    } catch (const OptionError& error) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(task.source)
                               << error.what();
        return AbstractConverter::InvalidOption;
    } catch (const std::exception& error) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(task.source)
                               << error.what();
    }
    return AbstractConverter::Unknown;
}

/** Whether other pages of the document may do better. */
bool IsOfPage(AbstractConverter::ErrorType error)
{
    return error == AbstractConverter::CannotRender || error == AbstractConverter::OutOfMemory ||
           error == AbstractConverter::ResultTooLarge;
}

} // namespace

struct PageFanOut::Impl
{
    /** A document in hand. */
    struct Document
    {
        quint64 number = 0;
        Task task;
        std::vector<PageTask> pages;
        QStringList results;
        std::size_t handedOut = 0;
        std::size_t running = 0;
        std::size_t finished = 0;
        bool started = false;
        double progress = 0;
        std::optional<ErrorType> error;
        /** Told of a page that fails alone; empty where that ends the document. */
        OnPageFailure pageFailed;
        /** How many have, and the error of the first. */
        std::size_t failed = 0;
        ErrorType firstFailure = Unknown;

        bool HasPagesLeft() const { return !error && handedOut < pages.size(); }
        bool HasEnded() const { return running == 0 && !HasPagesLeft(); }
    };

    /** An inner converter and the page that it works on. */
    struct Chain : std::enable_shared_from_this<Chain>
    {
        std::shared_ptr<AbstractConverter> converter;
        /** Number of the document that it serves; 0 when it has served none. */
        quint64 document = 0;
        bool busy = false;
        /** Whether a page has failed, of which wrappers keep what they were told. */
        bool isSpent = false;
        QString source;
        int index = 0;
        double progress = 0;
        /** Why its page has failed, as far as the converter says so. */
        QString why;

        bool WorksOn(const QString& other) const { return busy && source == other; }
    };

    using Tell = std::function<void(const QString&)>;

    Impl(PageFanOut* fanOut, MakeChain makeChain) : fanOut(fanOut), makeChain(std::move(makeChain))
    {
    }

    std::shared_ptr<Chain> Make();
    void Connect(const std::shared_ptr<Chain>& chain);
    void PageStarted(Chain& chain, const QString& source);
    void PageProgress(Chain& chain, const QString& source, double progress);
    void PageFinished(Chain& chain, const QString& source, const QString& result);
    void PageFinishedWithAll(Chain& chain, const QString& source, const QStringList& results);
    void PageFailed(Chain& chain, const QString& source, ErrorType error);

    Document& Release(Chain& chain);
    bool IsWhole(const Chain& chain) const;
    double Progress(const QString& source) const;
    void ProceedLater();
    void Proceed();
    void HandOut(std::shared_ptr<Chain>& place);
    bool Serve(Document& document, std::shared_ptr<Chain>& place);
    Task TakePage(Chain& chain, const QString& source);
    static Tell TellToo(Chain& chain, const Tell* own);
    void End(const QString& source);

    PageFanOut* const fanOut;
    const MakeChain makeChain;
    /** As many as pages are converted at once. */
    std::vector<std::shared_ptr<Chain>> chains;
    quint64 lastDocument = 0;
    std::map<QString, Document> documents;
    /** Sources of the documents that have not ended, in the order in which they came. */
    QStringList order;
};

/** A new inner converter, connected; throws what making it throws. */
std::shared_ptr<PageFanOut::Impl::Chain> PageFanOut::Impl::Make()
{
    auto chain = std::make_shared<Chain>();
    chain->converter = makeChain();
    Connect(chain);
    return chain;
}

void PageFanOut::Impl::Connect(const std::shared_ptr<Chain>& chain)
{
    const AbstractConverter* const sender = chain->converter.get();
    // What is emitted on another thread may arrive when the chain has been replaced.
    const auto when = [this, sender, weak = std::weak_ptr<Chain>(chain)](auto signal, auto slot) {
        connect(sender, signal, fanOut,
                [this, weak, slot](const QString& source, const auto&... told) {
                    if (const std::shared_ptr<Chain> receiver = weak.lock())
                        (this->*slot)(*receiver, source, told...);
                });
    };
    connect(sender, &AbstractConverter::UploadProgress, fanOut, &AbstractConverter::UploadProgress);
    connect(sender, &AbstractConverter::DownloadProgress, fanOut,
            &AbstractConverter::DownloadProgress);
    when(&AbstractConverter::ConvertationStarted, &Impl::PageStarted);
    when(&AbstractConverter::ConvertationProgress, &Impl::PageProgress);
    // The end of a page is not the document's: that one is emitted when all pages have ended.
    connect(sender, &AbstractConverter::ConvertationFinished, fanOut, [](const QString&) {});
    when(&AbstractConverter::Failed, &Impl::PageFailed);
    when(qOverload<const QString&, QString>(&AbstractConverter::Finished), &Impl::PageFinished);
    when(qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
         &Impl::PageFinishedWithAll);
}

void PageFanOut::Impl::PageStarted(Chain& chain, const QString& source)
{
    if (!chain.WorksOn(source) || documents.at(source).started)
        return;
    const QString document = source;
    documents.at(document).started = true;
    Q_EMIT fanOut->ConvertationStarted(document);
}

void PageFanOut::Impl::PageProgress(Chain& chain, const QString& source, double progress)
{
    if (!chain.WorksOn(source))
        return;
    const QString reported = source;
    Document& document = documents.at(source);
    chain.progress = std::clamp(progress, 0.0, 1.0);
    // Progress never goes back: chains may count as they like, and a failed page takes its part
    // away.
    document.progress = std::max(document.progress, Progress(source));
    Q_EMIT fanOut->ConvertationProgress(reported, document.progress);
}

void PageFanOut::Impl::PageFinished(Chain& chain, const QString& source, const QString& result)
{
    if (!chain.WorksOn(source))
        return;
    Document& document = Release(chain);
    document.results[chain.index] = result;
    ++document.finished;
}

void PageFanOut::Impl::PageFinishedWithAll(Chain& chain, const QString& source,
                                           const QStringList& results)
{
    PageFinished(chain, source, results.value(0));
}

void PageFanOut::Impl::PageFailed(Chain& chain, const QString& source, ErrorType error)
{
    if (!chain.WorksOn(source))
        return;
    Document& document = Release(chain);
    if (document.error)
        return;
    if (!document.pageFailed || !IsOfPage(error)) {
        document.error = error;
        return;
    }
    chain.isSpent = true;
    ++document.finished;
    if (document.failed++ == 0)
        document.firstFailure = error;
    if (document.failed == document.pages.size())
        document.error = document.firstFailure;
    const OnPageFailure tell = document.pageFailed; // which may do anything
    tell({document.pages[std::size_t(chain.index)].page, error, chain.why});
}

/** Takes the page off the chain, and answers the document that it belongs to. */
PageFanOut::Impl::Document& PageFanOut::Impl::Release(Chain& chain)
{
    chain.busy = false;
    chain.progress = 0;
    ProceedLater();
    Document& document = documents.at(chain.source);
    --document.running;
    return document;
}

/** Whether the chain works on a document as a whole. */
bool PageFanOut::Impl::IsWhole(const Chain& chain) const
{
    const Document& document = documents.at(chain.source);
    return document.pages[std::size_t(chain.index)].page == 0;
}

double PageFanOut::Impl::Progress(const QString& source) const
{
    const Document& document = documents.at(source);
    double pages = double(document.finished);
    for (const std::shared_ptr<Chain>& chain : chains) {
        if (chain->WorksOn(source))
            pages += chain->progress;
    }
    return pages / double(document.pages.size());
}

void PageFanOut::Impl::ProceedLater()
{
    QMetaObject::invokeMethod(
        fanOut, [this] { Proceed(); }, Qt::QueuedConnection);
}

/** Gives every idle chain a page, and reports the documents that have ended. */
void PageFanOut::Impl::Proceed()
{
    const QPointer<PageFanOut> self(fanOut);
    for (std::size_t place = 0; self && place < chains.size(); ++place) {
        if (!chains[place]->busy)
            HandOut(chains[place]);
    }
    if (!self)
        return;
    const auto ended = std::find_if(order.cbegin(), order.cend(), [this](const QString& source) {
        return documents.at(source).HasEnded();
    });
    if (ended == order.cend())
        return;
    ProceedLater(); // for further ones: a receiver may do anything, so one at a time
    End(QString(*ended));
}

void PageFanOut::Impl::HandOut(std::shared_ptr<Chain>& place)
{
    const auto next = std::find_if(order.cbegin(), order.cend(), [this](const QString& source) {
        return documents.at(source).HasPagesLeft();
    });
    if (next == order.cend())
        return;
    const QString source = *next;
    if (!Serve(documents.at(source), place))
        return;
    const std::shared_ptr<Chain> chain = place;
    const Task task = TakePage(*chain, source);
    const QPointer<PageFanOut> self(fanOut);
    const std::optional<ErrorType> refusal = Refusal(*chain->converter, task);
    if (refusal && self)
        PageFailed(*chain, source, *refusal);
}

/** Whether there is a chain for the document in that place, which a new one may take. */
bool PageFanOut::Impl::Serve(Document& document, std::shared_ptr<Chain>& place)
{
    try {
        const bool isOfAnother = place->document != 0 && place->document != document.number;
        if (isOfAnother || place->isSpent) {
            const std::shared_ptr<Chain> chain = Make();
            disconnect(place->converter.get(), nullptr, fanOut, nullptr);
            place = chain;
        }
        place->document = document.number;
        return true;
    } catch (const std::exception& error) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(document.task.source)
                               << error.what();
        document.error = Unknown;
        ProceedLater();
        return false;
    }
}

/** The document's next page, on which the chain works from now on. */
AbstractConverter::Task PageFanOut::Impl::TakePage(Chain& chain, const QString& source)
{
    Document& document = documents.at(source);
    const std::size_t index = document.handedOut++;
    ++document.running;
    chain.busy = true;
    chain.source = source;
    chain.index = int(index);

    Task task = document.task;
    task.destination = document.pages[index].destination;
    if (document.pages[index].page > 0)
        task.options["page"] = document.pages[index].page;
    chain.why.clear();
    if (document.pageFailed)
        task.options["why_failed"] =
            TellToo(chain, std::any_cast<Tell>(&task.options["why_failed"]));
    return task;
}

/** Tells the chain as well what the document's own receiver is told. */
PageFanOut::Impl::Tell PageFanOut::Impl::TellToo(Chain& chain, const Tell* own)
{
    return [weak = chain.weak_from_this(), tell = own ? *own : Tell()](const QString& why) {
        if (const std::shared_ptr<Chain> told = weak.lock())
            told->why = why;
        if (tell)
            tell(why);
    };
}

/** Reports the end of a document. Touches nothing after the last emission. */
void PageFanOut::Impl::End(const QString& source)
{
    const QString ended = source;
    order.removeOne(ended); // so that nobody ends it again

    const QPointer<PageFanOut> self(fanOut);
    Q_EMIT self->ConvertationFinished(ended);
    if (!self)
        return;
    const Document document = std::move(documents.at(ended));
    documents.erase(ended);
    if (document.error)
        Q_EMIT self->Failed(ended, *document.error);
    else
        Q_EMIT self->Finished(ended, document.results);
}

PageFanOut::PageFanOut(MakeChain makeChain, int pagesAtOnce)
    : impl(new Impl(this, std::move(makeChain)))
{
    for (int place = 0; place < pagesAtOnce; ++place)
        impl->chains.push_back(impl->Make());
}

PageFanOut::~PageFanOut()
{
    // Connections go first: an inner converter that emits from its destructor would find no record.
    for (const std::shared_ptr<Impl::Chain>& chain : impl->chains)
        disconnect(chain->converter.get(), nullptr, this, nullptr);
}

bool PageFanOut::ConvertFile(const Task& task)
{
    if (impl->documents.count(task.source) > 0)
        return false;
    Impl::Document document;
    document.number = ++impl->lastDocument;
    document.task = task;
    document.pages = {PageTask{0, task.destination}};
    TaskOptions options(task.options);
    if (auto pages = options.Find<std::vector<PageTask>>("page_tasks"))
        document.pages = std::move(*pages);
    if (auto told = options.Find<OnPageFailure>("page_failed"))
        document.pageFailed = std::move(*told);
    document.task.options.erase("page_tasks");
    document.task.options.erase("page_failed");
    if (document.pages.empty())
        return false;
    for (std::size_t page = 0; page < document.pages.size(); ++page)
        document.results.append(QString());
    impl->documents.emplace(task.source, std::move(document));
    impl->order.append(task.source);
    impl->ProceedLater();
    return true;
}

void PageFanOut::StopAfterRunningPages()
{
    for (auto& document : impl->documents) {
        if (!document.second.error)
            document.second.error = Cancelled;
    }
    impl->ProceedLater();
    // No page of a document that is one result is whole before all are.
    const auto chains = impl->chains;
    const QPointer<PageFanOut> self(this);
    for (const std::shared_ptr<Impl::Chain>& chain : chains) {
        if (self && chain->busy && impl->IsWhole(*chain))
            chain->converter->CancelConvertation();
    }
}

bool PageFanOut::CancelConvertation()
{
    StopAfterRunningPages();
    bool asked = true;
    for (std::size_t place = 0; place < impl->chains.size(); ++place) {
        const std::shared_ptr<AbstractConverter> converter = impl->chains[place]->converter;
        const QPointer<PageFanOut> self(this);
        asked = converter->CancelConvertation() && asked;
        if (!self)
            return asked;
    }
    return asked;
}

std::map<QString, QStringList> PageFanOut::GetSupportedFormats() const
{
    return impl->chains.front()->converter->GetSupportedFormats();
}

bool PageFanOut::DoesServiceAvailable()
{
    return std::all_of(impl->chains.begin(), impl->chains.end(),
                       [](const auto& chain) { return chain->converter->DoesServiceAvailable(); });
}

} // namespace Korvel::PDF::Converter
