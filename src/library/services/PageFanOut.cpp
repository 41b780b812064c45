#include "PageFanOut.h"

#include "ServicesLog.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include <QPointer>

namespace Korvel::PDF::Converter {

namespace {

/** Whether the converter takes the task; the event loop asks, which no exception must leave. */
bool Accepts(AbstractConverter& converter, const AbstractConverter::Task& task)
{
    try {
        return converter.ConvertFile(task);
    } catch (const std::exception& error) {
        qCWarning(servicesLog) << "cannot convert" << task.source << error.what();
        return false;
    }
}

} // namespace

struct PageFanOut::Impl
{
    /** A document in hand. */
    struct Document
    {
        Task task;
        std::vector<PageTask> pages;
        QStringList results;
        std::size_t handedOut = 0;
        std::size_t running = 0;
        std::size_t finished = 0;
        bool started = false;
        double progress = 0;
        std::optional<ErrorType> error;

        bool HasPagesLeft() const { return !error && handedOut < pages.size(); }
        bool HasEnded() const { return running == 0 && !HasPagesLeft(); }
    };

    /** An inner converter and the page that it works on. */
    struct Chain
    {
        std::shared_ptr<AbstractConverter> converter;
        bool busy = false;
        QString source;
        int index = 0;
        double progress = 0;
    };

    explicit Impl(PageFanOut* fanOut) : fanOut(fanOut) {}

    void Connect(std::size_t chain);
    bool WorksOn(std::size_t chain, const QString& source) const;
    void PageStarted(std::size_t chain, const QString& source);
    void PageProgress(std::size_t chain, const QString& source, double progress);
    void PageFinished(std::size_t chain, const QString& source, const QString& result);
    void PageFailed(std::size_t chain, const QString& source, ErrorType error);

    Document& Release(Chain& chain);
    double Progress(const QString& source) const;
    void ProceedLater();
    void Proceed();
    void HandOut(std::size_t chain);
    Task TakePage(std::size_t chain, const QString& source);
    void End(const QString& source);

    PageFanOut* const fanOut;
    std::vector<Chain> chains;
    std::map<QString, Document> documents;
    /** Sources of the documents that have not ended, in the order in which they came. */
    QStringList order;
};

void PageFanOut::Impl::Connect(std::size_t chain)
{
    const AbstractConverter* const sender = chains[chain].converter.get();
    connect(sender, &AbstractConverter::UploadProgress, fanOut, &AbstractConverter::UploadProgress);
    connect(sender, &AbstractConverter::DownloadProgress, fanOut,
            &AbstractConverter::DownloadProgress);
    connect(sender, &AbstractConverter::ConvertationStarted, fanOut,
            [this, chain](const QString& source) { PageStarted(chain, source); });
    connect(sender, &AbstractConverter::ConvertationProgress, fanOut,
            [this, chain](const QString& source, double progress) {
                PageProgress(chain, source, progress);
            });
    // The end of a page is not the document's: that one is emitted when all pages have ended.
    connect(sender, &AbstractConverter::ConvertationFinished, fanOut, [](const QString&) {});
    connect(sender, &AbstractConverter::Failed, fanOut,
            [this, chain](const QString& source, ErrorType error) {
                PageFailed(chain, source, error);
            });
    connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished), fanOut,
            [this, chain](const QString& source, const QString& result) {
                PageFinished(chain, source, result);
            });
    connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished), fanOut,
            [this, chain](const QString& source, const QStringList& results) {
                PageFinished(chain, source, results.value(0));
            });
}

bool PageFanOut::Impl::WorksOn(std::size_t chain, const QString& source) const
{
    return chains[chain].busy && chains[chain].source == source;
}

void PageFanOut::Impl::PageStarted(std::size_t chain, const QString& source)
{
    if (!WorksOn(chain, source) || documents.at(source).started)
        return;
    const QString document = source;
    documents.at(document).started = true;
    Q_EMIT fanOut->ConvertationStarted(document);
}

void PageFanOut::Impl::PageProgress(std::size_t chain, const QString& source, double progress)
{
    if (!WorksOn(chain, source))
        return;
    const QString reported = source;
    Document& document = documents.at(source);
    chains[chain].progress = std::clamp(progress, 0.0, 1.0);
    // Progress never goes back: chains may count as they like, and a failed page takes its part
    // away.
    document.progress = std::max(document.progress, Progress(source));
    Q_EMIT fanOut->ConvertationProgress(reported, document.progress);
}

void PageFanOut::Impl::PageFinished(std::size_t chain, const QString& source, const QString& result)
{
    if (!WorksOn(chain, source))
        return;
    const int index = chains[chain].index;
    Document& document = Release(chains[chain]);
    document.results[index] = result;
    ++document.finished;
}

void PageFanOut::Impl::PageFailed(std::size_t chain, const QString& source, ErrorType error)
{
    if (!WorksOn(chain, source))
        return;
    Document& document = Release(chains[chain]);
    if (!document.error)
        document.error = error;
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

double PageFanOut::Impl::Progress(const QString& source) const
{
    const Document& document = documents.at(source);
    double pages = double(document.finished);
    for (const Chain& chain : chains) {
        if (chain.busy && chain.source == source)
            pages += chain.progress;
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
    for (std::size_t chain = 0; self && chain < chains.size(); ++chain) {
        if (!chains[chain].busy)
            HandOut(chain);
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

void PageFanOut::Impl::HandOut(std::size_t chain)
{
    const auto next = std::find_if(order.cbegin(), order.cend(), [this](const QString& source) {
        return documents.at(source).HasPagesLeft();
    });
    if (next == order.cend())
        return;
    const QString source = *next;
    const Task task = TakePage(chain, source);
    const QPointer<PageFanOut> self(fanOut);
    const std::shared_ptr<AbstractConverter> converter = chains[chain].converter;
    if (!Accepts(*converter, task) && self)
        PageFailed(chain, source, Unknown);
}

/** The document's next page, on which the chain works from now on. */
AbstractConverter::Task PageFanOut::Impl::TakePage(std::size_t chain, const QString& source)
{
    Document& document = documents.at(source);
    const std::size_t index = document.handedOut++;
    ++document.running;
    chains[chain].busy = true;
    chains[chain].source = source;
    chains[chain].index = int(index);

    Task task = document.task;
    task.destination = document.pages[index].destination;
    if (document.pages[index].page > 0)
        task.options["page"] = document.pages[index].page;
    return task;
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

PageFanOut::PageFanOut(const std::vector<std::shared_ptr<AbstractConverter>>& chains)
    : impl(new Impl(this))
{
    for (const auto& converter : chains) {
        impl->chains.push_back({converter, false, {}, 0, 0});
        impl->Connect(impl->chains.size() - 1);
    }
}

PageFanOut::~PageFanOut()
{
    // Connections go first: an inner converter that emits from its destructor would find no record.
    for (const Impl::Chain& chain : impl->chains)
        disconnect(chain.converter.get(), nullptr, this, nullptr);
}

bool PageFanOut::ConvertFile(const Task& task)
{
    if (impl->documents.count(task.source) > 0)
        return false;
    Impl::Document document;
    document.task = task;
    document.pages = {PageTask{0, task.destination}};
    if (const auto pages = task.options.find("page_tasks"); pages != task.options.end()) {
        document.pages = std::any_cast<std::vector<PageTask>>(pages->second);
        document.task.options.erase("page_tasks");
    }
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
}

bool PageFanOut::CancelConvertation()
{
    StopAfterRunningPages();
    bool asked = true;
    for (std::size_t chain = 0; chain < impl->chains.size(); ++chain) {
        const std::shared_ptr<AbstractConverter> converter = impl->chains[chain].converter;
        const QPointer<PageFanOut> self(this);
        asked = converter->CancelConvertation() && asked;
        if (!self)
            return asked;
    }
    return asked;
}

std::map<QString, QStringList> PageFanOut::GetSupportedFormats() const
{
    return impl->chains.front().converter->GetSupportedFormats();
}

bool PageFanOut::DoesServiceAvailable()
{
    return std::all_of(impl->chains.begin(), impl->chains.end(), [](const Impl::Chain& chain) {
        return chain.converter->DoesServiceAvailable();
    });
}

} // namespace Korvel::PDF::Converter
