#include "WorkerPool.h"

#include <algorithm>
#include <utility>

#include <QPointer>
#include <QSet>

namespace Korvel::PDF {

namespace {

QJsonObject Ended()
{
    return {{QStringLiteral("ok"), false},
            {QStringLiteral("reason"), QStringLiteral("ended")},
            {QStringLiteral("message"), QStringLiteral("the request was ended")}};
}

} // namespace

WorkerPool::WorkerPool(const WorkerSettings& settings, int processes)
{
    for (int i = 0; i < processes; ++i) {
        workers.emplace_back();
        workers.back().process = std::make_unique<WorkerProcess>(settings);
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
    } while (!waiting.empty() || IsBusy()); // with what receivers have asked for meanwhile
}

bool WorkerPool::IsBusy() const
{
    return std::any_of(workers.begin(), workers.end(),
                       [](const Worker& worker) { return worker.asker; });
}

void WorkerPool::Ask(const void* asker, const QJsonObject& request,
                     WorkerProcess::Receiver receiver)
{
    waiting.push_back(
        {asker, request[QStringLiteral("file")].toString(), request, std::move(receiver)});
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
        request.receiver(Ended());
}

/** The request that suits the worker best, and how well: from 0, another file's, to 2, its own's.
 */
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

/** Gives free processes requests, as long as there are both. */
void WorkerPool::Serve()
{
    while (!waiting.empty()) {
        Worker* chosen = nullptr;
        Choice best{waiting.begin(), -1};
        for (Worker& worker : workers) {
            if (worker.asker)
                continue;
            if (const Choice choice = ChooseFor(worker); choice.suitability > best.suitability) {
                chosen = &worker;
                best = choice;
            }
        }
        if (!chosen)
            return;
        Request request = std::move(*best.request);
        waiting.erase(best.request);
        HandOut(*chosen, std::move(request));
    }
}

void WorkerPool::HandOut(Worker& worker, Request request)
{
    worker.asker = request.asker;
    worker.file = request.file;
    const auto answered = [this, &worker,
                           receiver = std::move(request.receiver)](const QJsonObject& answer) {
        worker.asker = nullptr;
        const QPointer<WorkerPool> self(this);
        receiver(answer);
        // Later: whoever ends requests one after the other would have others begun between them.
        if (self)
            QMetaObject::invokeMethod(
                this, [this] { Serve(); }, Qt::QueuedConnection);
    };
    worker.process->Ask(std::move(request.message), answered);
}

} // namespace Korvel::PDF
