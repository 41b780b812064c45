#include "WorkerPdfProvider.h"

#include "CopiedDocuments.h"
#include "DocumentInfoJson.h"
#include "RequestPath.h"
#include "ServicesLog.h"
#include "ToErrorType.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include <QJsonArray>
#include <QThread>

#include <sys/stat.h>

namespace Korvel::PDF {

namespace Key = WorkerProtocol::Key;
namespace Operation = WorkerProtocol::Operation;
using WorkerProtocol::Reason;

namespace {

constexpr qint64 mostObjects = 8'388'607; // in a PDF

/** A promise that answers `failure` when it is dropped without an answer. */
template <typename T>
class Reply
{
public:
    /** @param answered  called after the answer */
    explicit Reply(T failure, std::function<void()> answered = {})
        : value(failure), answered(std::move(answered))
    {
    }

    ~Reply()
    {
        promise.set_value(value);
        if (answered)
            answered();
    }

    std::future<T> Future() { return promise.get_future(); }

    /** Sets what is answered when the last holder lets go. */
    void Set(T answer) { value = answer; }

private:
    Q_DISABLE_COPY_MOVE(Reply)

    std::promise<T> promise;
    T value;
    const std::function<void()> answered;
};

/** Why an answer says that a request failed: an answer without a known reason is the worker's
 * fault. */
Reason ReasonOf(const QJsonObject& answer)
{
    return WorkerProtocol::ReasonOf(answer).value_or(Reason::Rubbish);
}

/** How many pages a file can have at most: each takes a byte, however they are packed. */
qint64 MostPages(const QJsonObject& request)
{
    struct stat status = {};
    const std::string path = request[Key::file].toString().toStdString();
    return ::stat(path.c_str(), &status) == 0 ? std::min<qint64>(status.st_size, mostObjects) : 0;
}

/** The answer, or a failure in its place when it says that more pages are there than can be. */
QJsonObject WithPossiblePages(const QJsonObject& answer, qint64 most)
{
    using WorkerProtocol::FailureAnswer;
    const int pages = answer[Key::pages].toInt();
    if (!answer[Key::ok].toBool() || (pages > 0 && pages <= most))
        return answer;
    return pages > most ? FailureAnswer(Reason::TooManyPages, "there are more pages than bytes")
                        : FailureAnswer(Reason::Rubbish, "there is no number of pages");
}

/** Whether a document is open now. */
bool IsOpened(const QJsonObject& answer)
{
    return answer[Key::ok].toBool();
}

} // namespace

struct WorkerPdfProvider::Impl
{
    /** The processes by the documents that they hold. Lives on the provider's thread. */
    struct Workers : QObject
    {
        ~Workers() override { EndAll(); }

        void Ask(qint64 document, const QJsonObject& request,
                 const WorkerProcess::Receiver& receiver)
        {
            const auto worker = byDocument.find(document);
            if (worker == byDocument.end())
                receiver({});
            else
                worker->second->Ask(request, receiver);
        }

        /** A process for the document, one that is there and has none if possible. */
        void Engage(qint64 document, const std::shared_ptr<WorkerServer>& ofNewOne)
        {
            std::unique_ptr<WorkerProcess>& worker = byDocument[document];
            if (idle.empty()) {
                worker = std::make_unique<WorkerProcess>(ofNewOne);
            } else {
                worker = std::move(idle.back());
                idle.pop_back();
            }
        }

        /** Has the process let go of the document. A receiver of the process's own may call it. */
        void Release(qint64 document)
        {
            if (auto released = byDocument.extract(document))
                KeepIdle(std::move(released.mapped()));
        }

        void KeepIdle(std::unique_ptr<WorkerProcess> worker)
        {
            if (!worker->IsStarted() || int(idle.size()) >= QThread::idealThreadCount())
                return;
            worker->Release();
            idle.push_back(std::move(worker));
        }

        /** Gives the process of a document away, to another thread; null where it has none. */
        std::unique_ptr<WorkerProcess> GiveAway(qint64 document, QThread* to)
        {
            auto given = byDocument.extract(document);
            if (!given || !given.mapped()->IsStarted())
                return nullptr;
            given.mapped()->moveToThread(to);
            return std::move(given.mapped());
        }

        /** Ends all processes; takes them out first, as receivers release their documents. */
        void EndAll()
        {
            std::exchange(byDocument, {});
            std::exchange(idle, {});
        }

        std::map<qint64, std::unique_ptr<WorkerProcess>> byDocument;
        std::vector<std::unique_ptr<WorkerProcess>> idle;
    };

    explicit Impl(const std::shared_ptr<WorkerServer>& server)
        : server(server), workers(new Workers)
    {
        thread.setObjectName(QStringLiteral("WorkerPdfProvider"));
        workers->moveToThread(&thread);
        QObject::connect(&thread, &QThread::finished, workers, &QObject::deleteLater);
        thread.start();
        if (!thread.isRunning()) // the system has no room for another one
            delete std::exchange(workers, nullptr);
    }

    ~Impl()
    {
        thread.quit();
        thread.wait();
    }

    /**
     * Runs `function` on the provider's thread. What is dropped on the way, since the provider is
     * destroyed or its thread could not be started, drops with it the reply that its receiver
     * holds, which is an answer, too.
     */
    template <typename Function>
    void Later(Function function)
    {
        if (workers)
            QMetaObject::invokeMethod(workers, std::move(function), Qt::QueuedConnection);
    }

    /** Has a process open the document; it serves no other one as long as this one is open. */
    void AskToOpen(qint64 document, const QJsonObject& request, WorkerProcess::Receiver receiver)
    {
        Later([this, document, request, receiver = std::move(receiver)] {
            if (!shutDown)
                workers->Engage(document, server);
            const auto tell = [this, document, receiver,
                               most = MostPages(request)](const QJsonObject& given) {
                KeepMissing(given[Key::missing].toArray());
                const QJsonObject answer = WithPossiblePages(given, most);
                receiver(answer);
                if (!IsOpened(answer))
                    workers->Release(document);
            };
            // Once more when the file was changed while it was read.
            workers->Ask(document, request,
                         [this, document, request, tell](const QJsonObject& answer) {
                             if (WorkerProtocol::ReasonOf(answer) == Reason::Changed)
                                 workers->Ask(document, request, tell);
                             else
                                 tell(answer);
                         });
        });
    }

    void Ask(qint64 document, const QJsonObject& request, WorkerProcess::Receiver receiver)
    {
        Later([this, document, request, receiver = std::move(receiver)] {
            workers->Ask(document, request, receiver);
        });
    }

    void KeepOpening(qint64 id, const std::string& file)
    {
        const std::lock_guard lock(mutex);
        documents[id] = {std::nullopt, file};
    }

    void KeepOpened(qint64 id, const DocumentInfo& info, const std::string& file)
    {
        const std::lock_guard lock(mutex);
        documents[id] = {info, file};
        openFailures.erase(file);
        saveFailures.erase(file);
    }

    void TellOpened() const
    {
        const std::lock_guard lock(mutexOfTelling);
        if (tellOpened)
            tellOpened();
    }

    void Forget(const DocumentHandle& document)
    {
        const std::lock_guard lock(mutex);
        documents.erase(document.id);
    }

    static QJsonObject CloseRequest(const DocumentHandle& document)
    {
        return {{Key::op, Operation::close}, {Key::document, qint64(document.id)}};
    }

    void KeepEngine(const QString& name)
    {
        const std::lock_guard lock(mutex);
        if (engine.isEmpty())
            engine = name;
    }

    void KeepOpenFailure(const std::string& file, OpenFailure failure, const QString& message)
    {
        const std::lock_guard lock(mutex);
        openFailures[file] = failure;
        if (failure == OpenFailure::NotStarted || failure == OpenFailure::Unconfined)
            whyNotStarted = message;
    }

    void KeepMissing(const QJsonArray& names)
    {
        const std::lock_guard lock(mutex);
        missing.clear();
        for (const QJsonValue name : names)
            missing.append(name.toString());
    }

    /** Under which path a document that is open was opened; none when it is not. */
    std::string SourceOf(const DocumentHandle& document) const
    {
        const std::lock_guard lock(mutex);
        const auto opened = documents.find(document.id);
        return opened == documents.end() ? std::string() : opened->second.file;
    }

    void KeepSaved(const std::string& source)
    {
        const std::lock_guard lock(mutex);
        saveFailures.erase(source);
    }

    void KeepSaveFailure(const std::string& source, SaveFailure failure)
    {
        const std::lock_guard lock(mutex);
        saveFailures[source] = failure;
    }

    struct Opened
    {
        /** Nothing while it is being opened. */
        std::optional<DocumentInfo> info;
        std::string file;
    };

    const std::shared_ptr<WorkerServer> server;
    QThread thread;
    /** Deleted on the thread, when the thread ends; null when that could not be started. */
    Workers* workers;
    std::atomic<bool> shutDown{false};
    std::atomic<qint64> lastDocument{0};

    mutable std::mutex mutexOfTelling;
    std::function<void()> tellOpened;
    mutable std::mutex mutex;
    std::map<qint64, Opened> documents;
    std::map<std::string, OpenFailure> openFailures;
    QString whyNotStarted;
    QStringList missing;
    QString engine;
    /** The failures by the path that the document was opened from. */
    std::map<std::string, SaveFailure> saveFailures;
};

WorkerPdfProvider::WorkerPdfProvider(const WorkerSettings& settings)
    : WorkerPdfProvider(std::make_shared<WorkerServer>(settings))
{
}

WorkerPdfProvider::WorkerPdfProvider(const std::shared_ptr<WorkerServer>& server)
    : impl(new Impl(server))
{
}

WorkerPdfProvider::~WorkerPdfProvider() = default;

void WorkerPdfProvider::Prepare()
{
    impl->Later([state = impl.get()] {
        if (!state->shutDown && state->workers->idle.empty())
            state->workers->idle.push_back(std::make_unique<WorkerProcess>(state->server));
        if (!state->workers->idle.empty())
            state->workers->idle.back()->Prepare();
    });
}

std::future<DocumentHandle> WorkerPdfProvider::OpenDocument(const ioPath& file,
                                                            const std::string& password)
{
    const auto reply = std::make_shared<Reply<DocumentHandle>>(
        DocumentHandle{}, [state = impl.get()] { state->TellOpened(); });
    std::future<DocumentHandle> opened = reply->Future();
    const std::string name = file.utf8string();
    const QString path = RequestPath(name);
    if (path.isNull() || !impl->workers) {
        impl->KeepOpenFailure(
            name, path.isNull() ? OpenFailure::Unreadable : OpenFailure::NotStarted,
            QStringLiteral("cannot start a worker: there is no room for another thread"));
        return opened;
    }

    const qint64 id = ++impl->lastDocument;
    const QByteArray secret = QByteArray::fromStdString(password).toBase64();
    QJsonObject request{{Key::op, Operation::open},
                        {Key::document, id},
                        {Key::file, path},
                        {Key::password, QString::fromLatin1(secret)}};
    if (impl->server->Settings().wantsDetails)
        request[Key::details] = true;
    impl->KeepOpening(id, name);
    impl->AskToOpen(id, request, [state = impl.get(), reply, id, name](const QJsonObject& answer) {
        if (!IsOpened(answer)) {
            state->Forget({id, 0});
            state->KeepOpenFailure(name, ToOpenFailure(ReasonOf(answer)),
                                   answer[Key::message].toString());
            return;
        }
        state->KeepOpened(id, ToDocumentInfo(answer), name);
        state->KeepEngine(answer[Key::engine].toString());
        reply->Set({id, 0});
    });
    return opened;
}

void WorkerPdfProvider::WhenOpened(std::function<void()> told)
{
    const std::lock_guard lock(impl->mutexOfTelling);
    impl->tellOpened = std::move(told);
}

void WorkerPdfProvider::GiveUp(const ioPath& file)
{
    const std::string path = file.utf8string();
    std::vector<qint64> there;
    const std::lock_guard lock(impl->mutex);
    for (const auto& [id, document] : impl->documents) {
        if (document.file == path)
            there.push_back(id);
    }
    impl->Later([state = impl.get(), given = std::move(there)] {
        for (const qint64 document : given) // taken out first, as receivers release their documents
            state->workers->byDocument.extract(document);
    });
}

std::future<bool> WorkerPdfProvider::SaveDocument(const DocumentHandle& document,
                                                  const ioPath& file)
{
    const auto reply = std::make_shared<Reply<bool>>(false);
    std::future<bool> saved = reply->Future();
    const std::string source = impl->SourceOf(document);
    const QString path = RequestPath(file.utf8string());
    if (path.isNull()) {
        impl->KeepSaveFailure(source, SaveFailure::CannotWrite);
        return saved;
    }

    impl->Ask(document.id,
              {{Key::op, Operation::save}, {Key::document, qint64(document.id)}, {Key::file, path}},
              [state = impl.get(), reply, source, copy = file](const QJsonObject& answer) {
                  if (!answer[Key::ok].toBool()) {
                      qCWarning(servicesLog) << "cannot save" << QString::fromStdString(source)
                                             << answer[Key::message].toString();
                      state->KeepSaveFailure(source, ToSaveFailure(ReasonOf(answer)));
                      return;
                  }
                  CopiedDocuments::Remember(copy.utf8string(), source);
                  state->KeepSaved(source);
                  reply->Set(true);
              });
    return saved;
}

std::future<bool> WorkerPdfProvider::CloseDocument(const DocumentHandle& document)
{
    const auto reply = std::make_shared<Reply<bool>>(false);
    std::future<bool> closed = reply->Future();
    impl->Forget(document);
    impl->Ask(document.id, impl->CloseRequest(document),
              [state = impl.get(), reply, id = document.id](const QJsonObject& answer) {
                  reply->Set(answer[Key::ok].toBool());
                  state->workers->Release(id);
              });
    return closed;
}

std::unique_ptr<WorkerProcess> WorkerPdfProvider::TakeWorker(const DocumentHandle& document)
{
    using Given = std::unique_ptr<WorkerProcess>;
    const auto given = std::make_shared<Given>();
    auto reply = std::make_shared<Reply<bool>>(false);
    std::future<bool> isGiven = reply->Future();
    impl->Forget(document);
    impl->Ask(document.id, impl->CloseRequest(document),
              [state = impl.get(), given, reply = std::move(reply), id = document.id,
               to = QThread::currentThread()](const QJsonObject& answer) {
                  if (!answer[Key::ok].toBool()) {
                      state->workers->Release(id);
                      return;
                  }
                  // Later, as the process has still to come back from telling this.
                  state->Later([state, given, reply, id, to] {
                      *given = state->workers->GiveAway(id, to);
                      reply->Set(true);
                  });
              });
    return isGiven.get() ? std::move(*given) : nullptr;
}

void WorkerPdfProvider::TakeBack(std::unique_ptr<WorkerProcess> worker)
{
    if (!worker)
        return;
    worker->moveToThread(&impl->thread);
    impl->Later([state = impl.get(),
                 given = std::make_shared<std::unique_ptr<WorkerProcess>>(std::move(worker))] {
        if (!state->shutDown)
            state->workers->KeepIdle(std::move(*given));
        given->reset();
    });
}

std::optional<DocumentInfo> WorkerPdfProvider::Describe(const DocumentHandle& document) const
{
    const std::lock_guard lock(impl->mutex);
    const auto info = impl->documents.find(document.id);
    if (info == impl->documents.end())
        return std::nullopt;
    return info->second.info;
}

OpenFailure WorkerPdfProvider::WhyOpenFailed(const ioPath& file) const
{
    const std::lock_guard lock(impl->mutex);
    const auto failure = impl->openFailures.find(file.utf8string());
    return failure == impl->openFailures.end() ? OpenFailure::None : failure->second;
}

QString WorkerPdfProvider::Engine() const
{
    const std::lock_guard lock(impl->mutex);
    return impl->engine;
}

QString WorkerPdfProvider::WhyNotStarted() const
{
    const std::lock_guard lock(impl->mutex);
    return impl->whyNotStarted;
}

QStringList WorkerPdfProvider::MissingMeasures() const
{
    const std::lock_guard lock(impl->mutex);
    return impl->missing;
}

SaveFailure WorkerPdfProvider::WhySaveFailed(const ioPath& source) const
{
    const std::lock_guard lock(impl->mutex);
    const auto failure = impl->saveFailures.find(source.utf8string());
    return failure == impl->saveFailures.end() ? SaveFailure::None : failure->second;
}

void WorkerPdfProvider::Shutdown()
{
    impl->shutDown = true;
    impl->Later([workers = impl->workers] { workers->EndAll(); });
}

} // namespace Korvel::PDF
