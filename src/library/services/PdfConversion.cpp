#include "PdfConversion.h"

#include "ConversionEngine.h"
#include "ConversionListener.h"
#include "PdfConverter.h"
#include "ToText.h"

#include <functional>
#include <mutex>
#include <utility>

#include <QPointer>

namespace Korvel::PDF::Converter {

struct PdfConversion::Impl
{
    class Mailbox;

    Impl(PdfConversion& conversion, const std::shared_ptr<ConversionEngine>& engine,
         ConversionRequest request);

    void Told(const DocumentInfo& document);
    void Told(const ConversionResult::Page& page);
    void Told(const ConversionResult::Failure& failure);
    void Told(const ConversionResult::Note& note);
    void Ask(int attempt);
    void Ended(const ConversionResult& whole);

    PdfConversion& conversion;
    const std::weak_ptr<ConversionEngine> engine;
    const ConversionRequest request;
    const std::shared_ptr<Mailbox> mailbox;
    ConversionResult result;
    quint64 number = 0;
    bool isRunning = false;
};

/** Hands on what the engine tells, to the conversion's thread, as long as there is one. */
class PdfConversion::Impl::Mailbox : public ConversionListener
{
public:
    explicit Mailbox(PdfConversion& receiver) : receiver(&receiver) {}

    void Close()
    {
        const std::lock_guard lock(mutex);
        receiver = nullptr;
    }

    void Opened(const DocumentInfo& document) override
    {
        Post([document](PdfConversion& to) { to.impl->Told(document); });
    }
    void Progressed(double part) override
    {
        Post([part](PdfConversion& to) { Q_EMIT to.Progress(part); });
    }
    void PageFinished(const ConversionResult::Page& page) override
    {
        Post([page](PdfConversion& to) { to.impl->Told(page); });
    }
    void PageFailed(const ConversionResult::Failure& failure) override
    {
        Post([failure](PdfConversion& to) { to.impl->Told(failure); });
    }
    void Warned(const ConversionResult::Note& note) override
    {
        Post([note](PdfConversion& to) { to.impl->Told(note); });
    }
    void PasswordWanted(int attempt) override
    {
        Post([attempt](PdfConversion& to) { to.impl->Ask(attempt); });
    }
    void Ended(const ConversionResult& whole) override
    {
        Post([whole](PdfConversion& to) { to.impl->Ended(whole); });
    }

private:
    /** What was posted goes with the receiver. */
    template <typename Call>
    void Post(Call call)
    {
        const std::lock_guard lock(mutex);
        if (receiver)
            QMetaObject::invokeMethod(
                receiver, [to = receiver, call] { call(*to); }, Qt::QueuedConnection);
    }

    std::mutex mutex;
    PdfConversion* receiver;
};

PdfConversion::Impl::Impl(PdfConversion& conversion,
                          const std::shared_ptr<ConversionEngine>& engine,
                          ConversionRequest request)
    : conversion(conversion),
      engine(engine),
      request(std::move(request)),
      mailbox(std::make_shared<Mailbox>(conversion))
{
}

// A receiver may destroy the conversion, so nothing comes after an emission.

void PdfConversion::Impl::Told(const DocumentInfo& document)
{
    result.document = document;
    Q_EMIT conversion.Opened(document);
}

void PdfConversion::Impl::Told(const ConversionResult::Page& page)
{
    result.pages.push_back(page);
    if (!page.picture.IsNull())
        Q_EMIT conversion.PictureMade(page.page, page.picture);
    else if (request.isInMemory)
        Q_EMIT conversion.PageMade(page.page, page.bytes);
    else
        Q_EMIT conversion.PageFinished(page.page, page.path);
}

void PdfConversion::Impl::Told(const ConversionResult::Failure& failure)
{
    result.failures.push_back(failure);
    Q_EMIT conversion.PageFailed(failure.page, failure.error, failure.text);
}

void PdfConversion::Impl::Told(const ConversionResult::Note& note)
{
    result.warnings.push_back(note);
    Q_EMIT conversion.Warned(note.warning, note.text);
}

void PdfConversion::Impl::Ask(int attempt)
{
    const auto ask = request.askForPassword; // may run an event loop, and the conversion go
    const auto answered = number;
    const std::weak_ptr<ConversionEngine> asking = engine;
    const std::optional<std::string> password = ask(attempt);
    if (const std::shared_ptr<ConversionEngine> open = asking.lock())
        open->GivePassword(answered, password);
}

void PdfConversion::Impl::Ended(const ConversionResult& whole)
{
    result = whole;
    isRunning = false;
    Q_EMIT conversion.Ended();
}

PdfConversion::PdfConversion(PdfConverter& converter, ConversionRequest request, QObject* parent)
    : QObject(parent), impl(new Impl(*this, converter.engine, std::move(request)))
{
    // What a queued connection looks the types of the signals up by.
    qRegisterMetaType<AbstractConverter::ErrorType>(
        "Korvel::PDF::Converter::AbstractConverter::ErrorType");
    qRegisterMetaType<DocumentInfo>("Korvel::PDF::DocumentInfo");
    qRegisterMetaType<PagePicture>("Korvel::PDF::Converter::PagePicture");
    qRegisterMetaType<ConversionResult::Warning>("Korvel::PDF::Converter::ConversionResult::"
                                                 "Warning");
}

PdfConversion::~PdfConversion()
{
    impl->mailbox->Close();
    Cancel();
}

bool PdfConversion::Start()
{
    if (impl->isRunning)
        return false;
    impl->isRunning = true;
    impl->result = {};
    if (const std::shared_ptr<ConversionEngine> engine = impl->engine.lock()) {
        impl->number = engine->NewNumber();
        engine->Submit(impl->number, impl->request, impl->mailbox);
        return true;
    }
    ConversionResult result;
    result.error = AbstractConverter::Cancelled;
    result.errorText =
        impl->request.document + QLatin1Char(' ') + ToText(AbstractConverter::Cancelled);
    impl->mailbox->Ended(result);
    return true;
}

void PdfConversion::Cancel()
{
    const std::shared_ptr<ConversionEngine> engine = impl->engine.lock();
    if (impl->isRunning && engine)
        engine->Cancel(impl->number);
}

bool PdfConversion::IsRunning() const
{
    return impl->isRunning;
}

const ConversionRequest& PdfConversion::Request() const
{
    return impl->request;
}

const ConversionResult& PdfConversion::Result() const
{
    return impl->result;
}

} // namespace Korvel::PDF::Converter
