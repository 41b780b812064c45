#include "WorkerPool.h"

#include "WorkerProtocol.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <QPointer>
#include <QSet>

namespace Korvel::PDF {

namespace {

/** In which one process does what it would take another one to open the document, fonts included.
 */
constexpr std::chrono::milliseconds timeToJoin(15);

} // namespace

WorkerPool::WorkerPool(const WorkerSettings& settings, int processes)
    : WorkerPool(std::make_shared<WorkerServer>(settings), processes)
{
}

WorkerPool::WorkerPool(const std::shared_ptr<WorkerServer>& server, int processes)
    : server(server), patience(this)
{
    patience.setSingleShot(true);
    patience.setTimerType(Qt::PreciseTimer);
    patience.setInterval(timeToJoin);
    connect(&patience, &QTimer::timeout, this, &WorkerPool::ServeByMore);
    for (int i = 0; i < processes; ++i) {
        workers.emplace_back();
        workers.back().process = std::make_unique<WorkerProcess>(server);
        workers.back().process->setParent(this); // so that it moves to another thread with the pool
    }
}

WorkerPool::~WorkerPool()
{
    do {
        while (!waiting.empty())
            End(waiting.front().asker);
        for (const Worker& worker : workers)
            worker.process->End();
    } while (!waiting.empty() || IsBusy()); // receivers may have asked for more meanwhile
}

std::unique_ptr<WorkerProcess> WorkerPool::Adopt(std::unique_ptr<WorkerProcess> process,
                                                 const QString& file)
{
    Worker* const place = process ? PlaceToAdopt() : nullptr;
    if (!place)
        return process;
    std::swap(place->process, process);
    place->process->setParent(this);
    place->file = file;
    place->isKept = true;
    place->isSound = true;
    place->isOut = false;
    process->setParent(nullptr);
    return process->IsStarted() ? std::move(process) : nullptr;
}

/** One where nothing is started, else one that is free; null for none. */
WorkerPool::Worker* WorkerPool::PlaceToAdopt()
{
    Worker* place = nullptr;
    for (Worker& worker : workers) {
        if (!worker.asker && !worker.process->IsStarted())
            return &worker;
        if (!worker.asker && !worker.isKept)
            place = &worker;
    }
    return place;
}

std::unique_ptr<WorkerProcess> WorkerPool::GiveAway()
{
    for (Worker& worker : workers) {
        if (worker.asker || worker.isKept || !worker.process->IsStarted())
            continue;
        auto given = std::make_unique<WorkerProcess>(server);
        std::swap(worker.process, given);
        worker.process->setParent(this);
        worker.file.clear();
        given->setParent(nullptr);
        return given;
    }
    return nullptr;
}

bool WorkerPool::IsBusy() const
{
    return std::any_of(workers.begin(), workers.end(),
                       [](const Worker& worker) { return worker.asker; });
}

void WorkerPool::Ask(const void* asker, const QJsonObject& request,
                     WorkerProcess::Receiver receiver, std::shared_ptr<PictureMemory> memory)
{
    waiting.push_back({asker, request[WorkerProtocol::Key::file].toString(), request,
                       std::move(receiver), std::move(memory)});
    Serve();
}

void WorkerPool::End(const void* asker)
{
    Waiting ended;
    for (auto request = waiting.begin(); request != waiting.end();) {
        if (request->asker == asker) {
            ended.push_back(std::move(*request));
            request = waiting.erase(request);
        } else {
            ++request;
        }
    }
    // Receivers may ask again, or destroy this.
    std::vector<QPointer<WorkerProcess>> processes;
    for (const Worker& worker : workers) {
        if (worker.asker == asker)
            processes.emplace_back(worker.process.get());
    }
    for (const QPointer<WorkerProcess>& process : processes) {
        if (process)
            process->End();
    }
    for (const Request& request : ended)
        request.receiver(
            WorkerProtocol::FailureAnswer(WorkerProtocol::Reason::Ended, "the request was ended"));
}

/** The request that suits the worker best, and how well: 0 is another file's, 2 its own's. */
WorkerPool::Choice WorkerPool::ChooseFor(const Worker& worker)
{
    QSet<QString> files;
    for (const Worker& one : workers)
        files.insert(one.file);
    Choice best{waiting.begin(), 0};
    for (auto request = waiting.begin(); request != waiting.end(); ++request) {
        if (request->file == worker.file)
            return {request, 2};
        if (best.suitability == 0 && !files.contains(request->file))
            best = {request, 1};
    }
    return best;
}

/** Whether the process is free; of those that were not started, one alone unless more may be. */
bool WorkerPool::MayServe(const Worker& worker) const
{
    return !worker.asker && !worker.isOut &&
           (mayStartMore || worker.process->IsStarted() || !IsBusy());
}

bool WorkerPool::CanStartMore() const
{
    return std::any_of(workers.begin(), workers.end(), [](const Worker& worker) {
        return !worker.asker && !worker.isOut && !worker.process->IsStarted();
    });
}

void WorkerPool::ServeByMore()
{
    mayStartMore = true;
    Serve();
    mayStartMore = false;
}

/** Gives free processes requests, as long as there are both. */
void WorkerPool::Serve()
{
    while (!waiting.empty()) {
        Worker* chosen = nullptr;
        Choice best{waiting.begin(), -1};
        for (Worker& worker : workers) {
            if (!MayServe(worker))
                continue;
            if (const Choice choice = ChooseFor(worker); choice.suitability > best.suitability) {
                chosen = &worker;
                best = choice;
            }
        }
        if (!chosen)
            break;
        Request request = std::move(*best.request);
        waiting.erase(best.request);
        HandOut(*chosen, std::move(request));
    }
    if (!waiting.empty() && CanStartMore() && !patience.isActive())
        patience.start();
}

void WorkerPool::HandOut(Worker& worker, Request request)
{
    worker.isKept = false;
    worker.asker = request.asker;
    worker.file = request.file;
    QJsonObject message = request.message;
    std::shared_ptr<PictureMemory> memory = request.memory;
    const auto answered = [this, &worker, request = std::move(request)](const QJsonObject& answer) {
        worker.asker = nullptr;
        Answered(worker, request, answer);
    };
    worker.process->Ask(std::move(message), answered, std::move(memory));
}

void WorkerPool::Answered(Worker& worker, Request request, const QJsonObject& answer)
{
    const QPointer<WorkerPool> self(this);
    if (DoOthersWorkFor(worker, answer))
        waiting.push_front(std::move(request));
    else
        request.receiver(answer);
    // Requests are served later: whoever ends several would have others begun between them.
    if (self)
        QMetaObject::invokeMethod(
            this, [this] { Serve(); }, Qt::QueuedConnection);
}

/** Whether the process could not be started, and others have answered or are at work: one that is
 * at its first request may only be starting, and this one's is tried again where it fails. */
bool WorkerPool::DoOthersWorkFor(Worker& worker, const QJsonObject& answer)
{
    const auto reason = WorkerProtocol::ReasonOf(answer);
    const bool isNotStarted = reason == WorkerProtocol::Reason::NotStarted;
    if (reason == WorkerProtocol::Reason::Unconfined)
        whyNotStarted = answer[WorkerProtocol::Key::message].toString();
    worker.isSound = !isNotStarted;
    if (!isNotStarted)
        return false;
    worker.isOut = std::any_of(workers.begin(), workers.end(),
                               [](const Worker& other) { return other.isSound || other.asker; });
    if (worker.isOut)
        return true;
    whyNotStarted = answer[WorkerProtocol::Key::message].toString();
    for (Worker& other : workers)
        other.isOut = false; // there may be room again
    return false;
}

} // namespace Korvel::PDF
