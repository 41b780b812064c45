#include "ConversionEngine.h"

#include "ConversionServices.h"
#include "OptionError.h"
#include "SessionFolder.h"
#include "ToText.h"
#include "WorkerPdfProvider.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace Korvel::PDF::Converter {

namespace {

ConversionFailure Cancelled(const ConversionRequest& request)
{
    return {AbstractConverter::Cancelled,
            request.document + QLatin1Char(' ') + ToText(AbstractConverter::Cancelled)};
}

ConversionFailure FailureOf(const std::exception& problem, const QString& document)
{
    if (const auto* const failure = dynamic_cast<const ConversionFailure*>(&problem))
        return *failure;
    const bool isOfOption = dynamic_cast<const OptionError*>(&problem) != nullptr;
    return {isOfOption ? AbstractConverter::InvalidOption : AbstractConverter::Unknown,
            document + QStringLiteral(": ") + QString::fromUtf8(problem.what())};
}

std::shared_ptr<const SessionFolder> MakeSession(const PdfConverter::Settings& settings)
{
    const std::string parent = settings.tempFolder.isEmpty() ? SessionFolder::DefaultParent()
                                                             : settings.tempFolder.toStdString();
    std::string error;
    std::shared_ptr<const SessionFolder> session = SessionFolder::Create(parent, error);
    if (!session)
        throw ConversionFailure(
            AbstractConverter::CannotWrite,
            QStringLiteral("there is no folder for temporary files in %1: %2")
                .arg(QString::fromStdString(parent), QString::fromStdString(error)));
    return session;
}

void Clear(std::string& password)
{
    ::explicit_bzero(password.data(), password.size());
    password.clear();
}

} // namespace

ConversionEngine::ConversionEngine(const PdfConverter::Settings& settings)
    : settings(settings), thread(mutex), context(std::make_unique<QObject>()), asides(*context)
{
    thread.setObjectName(QStringLiteral("PdfConverter"));
    context->moveToThread(&thread);
}

ConversionEngine::~ConversionEngine()
{
    Stop();
}

quint64 ConversionEngine::NewNumber()
{
    const std::lock_guard lock(mutex);
    return ++lastNumber;
}

/** Whether the thread runs, which the first conversion starts; the caller has the lock. */
bool ConversionEngine::IsStarted()
{
    if (!isStopped && !thread.isRunning())
        thread.start();
    return !isStopped && thread.isRunning();
}

void ConversionEngine::Submit(quint64 number, const ConversionRequest& request,
                              const std::shared_ptr<ConversionListener>& listener)
{
    std::unique_lock lock(mutex);
    if (!IsStarted()) {
        ConversionResult result;
        result.error = isStopped ? AbstractConverter::Cancelled : AbstractConverter::Unknown;
        result.errorText = isStopped
                               ? Cancelled(request).text
                               : request.document + QStringLiteral(" was not opened, as there is "
                                                                   "no room for another thread");
        lock.unlock();
        listener->Ended(result);
        return;
    }
    Post([this, number, request, listener] {
        entries[number].job = std::make_unique<ConversionJob>(request, listener);
        if (request.opened) // somebody waits for just this page
            waiting.push_front(number);
        else
            waiting.push_back(number);
        Serve();
    });
}

void ConversionEngine::Post(std::function<void()> function)
{
    QMetaObject::invokeMethod(context.get(), std::move(function), Qt::QueuedConnection);
}

void ConversionEngine::Cancel(quint64 number)
{
    Post([this, number] { CancelNow(number); });
}

void ConversionEngine::GivePassword(quint64 number, std::optional<std::string> password)
{
    Post([this, number, password = std::move(password)] { TakePassword(number, password); });
}

/** Begins conversions that wait, as long as there is room. */
void ConversionEngine::Serve()
{
    while (working < ProcessesFor(settings.processes)) {
        // Why a document was not opened is told by its path, so that is opened once at a time.
        const auto next = std::find_if(waiting.begin(), waiting.end(), [this](quint64 number) {
            return !IsBeingOpened(entries.at(number).job->Request().document);
        });
        if (next == waiting.end())
            return;
        const quint64 number = *next;
        waiting.erase(next);
        Begin(entries.at(number), number);
    }
}

bool ConversionEngine::IsBeingOpened(const QString& document) const
{
    return std::any_of(openings.begin(), openings.end(), [&document](const auto& other) {
        return other.second->document == document;
    });
}

void ConversionEngine::Begin(Entry& entry, quint64 number)
{
    entry.isWorking = true;
    ++working;
    try {
        if (!services)
            services = std::make_shared<ConversionServices>(MakeSession(settings), settings.worker,
                                                            ProcessesFor(settings.processes));
        Open(entry, number);
    } catch (const std::exception& problem) {
        const QString& document = entry.job->Request().document;
        Fail(number,
             {FailureOf(problem, document).error,
              document + QStringLiteral(" was not opened: ") + QString::fromUtf8(problem.what())});
    }
}

void ConversionEngine::Open(Entry& entry, quint64 number)
{
    const ConversionRequest& wanted = entry.job->Request();
    const auto opening = std::make_shared<Opening>(wanted.document);
    CallAside([this, number, request = wanted, password = std::exchange(entry.password, {}),
               shared = services, opening]() mutable {
        // The outcome goes with the call, so that it ends on the thread that uses it.
        Post([this, number,
              outcome = std::make_shared<Outcome>(TryToPrepare(
                  request, password, *shared, *opening))] { Prepared(number, *outcome); });
    });
    if (!wanted.opened) // no mark stays where there is no room for the thread
        openings[number] = opening;
}

ConversionEngine::Outcome ConversionEngine::TryToPrepare(const ConversionRequest& request,
                                                         std::string& password,
                                                         ConversionServices& services,
                                                         const Opening& opening)
{
    Outcome outcome;
    try {
        outcome.document = Prepare(request, password, services, opening.isGivenUp);
    } catch (const std::exception& problem) {
        outcome.failure.emplace(FailureOf(problem, request.document));
    }
    Clear(password);
    return outcome;
}

void ConversionEngine::Prepared(quint64 number, Outcome& outcome)
{
    openings.erase(number);
    const auto found = entries.find(number);
    if (found == entries.end()) {
        Serve(); // cancelled; the document may be wanted by another conversion
        return;
    }
    Entry& entry = found->second;
    if (outcome.document)
        Convert(entry, number, std::move(*outcome.document));
    else if (outcome.failure->error == AbstractConverter::PasswordRequiredOrWrong &&
             entry.job->Request().askForPassword)
        AskForPassword(entry, outcome.failure->text);
    else
        Fail(number, *outcome.failure);
    Serve();
}

void ConversionEngine::AskForPassword(Entry& entry, const QString& refusal)
{
    entry.refusal = refusal;
    entry.isWorking = false;
    --working;
    entry.job->Listener()->PasswordWanted(++entry.attempts);
}

void ConversionEngine::TakePassword(quint64 number, std::optional<std::string> password)
{
    const auto found = entries.find(number);
    if (found == entries.end())
        return; // cancelled
    if (!password) {
        Fail(number, {AbstractConverter::PasswordRequiredOrWrong, found->second.refusal});
        return;
    }
    found->second.password = std::move(*password);
    waiting.push_front(number);
    Serve();
}

void ConversionEngine::Convert(Entry& entry, quint64 number, PreparedDocument document)
{
    ConversionJob& job = *entry.job;
    try {
        job.TakeUp(std::move(document));
        if (job.Request().opensOnly)
            End(number);
        else
            job.Convert(services, [this, number] { End(number); });
    } catch (const std::exception& problem) {
        Fail(number, FailureOf(problem, job.Request().document));
    }
}

void ConversionEngine::CancelNow(quint64 number)
{
    const auto found = entries.find(number);
    if (found == entries.end() || found->second.job->CancelChain())
        return;
    const ConversionRequest& request = found->second.job->Request();
    if (const auto opening = openings.find(number); opening != openings.end()) {
        opening->second->isGivenUp = true;
        services->provider->GiveUp(ioPath(request.document.toStdString()));
    }
    Fail(number, Cancelled(request));
}

void ConversionEngine::Fail(quint64 number, const ConversionFailure& failure)
{
    entries.at(number).job->Fail(failure.error, failure.text);
    End(number);
}

void ConversionEngine::End(quint64 number)
{
    auto ended = entries.extract(number);
    Entry& entry = ended.mapped();
    if (entry.isWorking)
        --working;
    Clear(entry.password);
    waiting.erase(std::remove(waiting.begin(), waiting.end(), number), waiting.end());
    const std::shared_ptr<ConversionListener> listener = entry.job->Listener();
    const ConversionResult result = entry.job->TakeResult();
    entry.job.reset(); // so that nothing temporary is left when its end is told
    listener->Ended(result);
    Post([this] { Serve(); });
}

void ConversionEngine::EndAll()
{
    while (!entries.empty()) {
        const quint64 number = entries.begin()->first;
        Fail(number, Cancelled(entries.at(number).job->Request()));
    }
    if (services)
        services->provider->Shutdown();
    asides.Wait();
    services.reset();
    thread.quit();
}

void ConversionEngine::Stop()
{
    {
        const std::lock_guard lock(mutex);
        if (std::exchange(isStopped, true) || !thread.isRunning())
            return;
    }
    Post([this] { EndAll(); });
    thread.wait();
    const std::lock_guard lock(mutex);
}

void ConversionEngine::Thread::run()
{
    exec();
    const std::lock_guard lock(mutex);
}

} // namespace Korvel::PDF::Converter
