#pragma once

#include "ConverterServicesExport.h"
#include "WorkerProcess.h"

#include <deque>
#include <memory>
#include <vector>

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QTimer>

namespace Korvel::PDF {

/**
 * Worker processes that any number of askers share, each busy with one request at a time.
 *
 * A request waits until a process is free. A free process takes the oldest request for the file
 * that it looks at already, else the oldest one for a file that no other process looks at, else the
 * oldest one: so several documents are worked on side by side, and each is opened by few processes.
 * The first process is started when it is needed. Others, each of which has to open the document
 * first, are started where a request has waited for about the time that this takes. Where the
 * system has no room for one, its request waits for those that work; only where there is none it
 * fails.
 *
 *     auto pool = std::make_shared<WorkerPool>(settings, QThread::idealThreadCount());
 *     std::vector<std::shared_ptr<AbstractConverter>> converters;
 *     for (int i = 0; i < pages; ++i)
 *         converters.push_back(std::make_shared<WorkerConverter>(pool));
 *
 * Every request is answered exactly once, as by a WorkerProcess. Used on the thread that owns the
 * pool, whose event loop must run.
 */
class CONVERTERSERVICES_EXPORT WorkerPool : public QObject
{
    Q_OBJECT

public:
    /** With a server of its own. @param processes  how many there are at most, at least one */
    WorkerPool(const WorkerSettings& settings, int processes);

    /** With a server that others share. */
    WorkerPool(const std::shared_ptr<WorkerServer>& server, int processes);

    /** Ends the processes; requests still open are answered before the destructor returns. */
    ~WorkerPool() override;

    /** Path of the program that is run; empty when none was found. */
    QString Program() const { return server->Settings().program; }

    /** How many processes there are at most. */
    int Processes() const { return int(workers.size()); }

    /** WorkerSettings::largestResult */
    int LargestResult() const { return server->Settings().largestResult; }

    /** Starts a process, if there is none, so that the first request need not wait for that. */
    void Prepare() { workers.front().process->Prepare(); }

    /**
     * Takes a process that runs, and serves this thread, for a free one, or for one that is not
     * started yet. It is kept for requests for its file.
     *
     * @param process  null for none
     * @param file     what it has in hand, as requests name it
     * @return the process whose place it has got, if that was started, or it itself where none is
     *         free; null for none
     */
    std::unique_ptr<WorkerProcess> Adopt(std::unique_ptr<WorkerProcess> process,
                                         const QString& file);

    /** Gives a free process away that is started; null for none. */
    std::unique_ptr<WorkerProcess> GiveAway();

    /**
     * What a request failed with that no process could be started for, or none that has all
     * measures of the sandbox where they are required; empty when none has.
     */
    QString WhyNotStarted() const { return whyNotStarted; }

    /**
     * Sends a request of the operation "convert" when a process is free.
     *
     * @param asker     whose request it is
     * @param request   as for a WorkerProcess
     * @param receiver  called with the answer
     * @param memory    as for a WorkerProcess
     */
    void Ask(const void* asker, const QJsonObject& request, WorkerProcess::Receiver receiver,
             std::shared_ptr<PictureMemory> memory = nullptr);

    /** Ends all requests of the asker at once; they are answered before End returns. */
    void End(const void* asker);

private:
    Q_DISABLE_COPY_MOVE(WorkerPool)

    struct Request
    {
        const void* asker;
        QString file;
        QJsonObject message;
        WorkerProcess::Receiver receiver;
        std::shared_ptr<PictureMemory> memory;
    };

    struct Worker
    {
        std::unique_ptr<WorkerProcess> process;
        /** Whose request it works on; null for none. */
        const void* asker = nullptr;
        /** Path of the file that it looks at. */
        QString file;
        /** It was adopted, and has not been asked since. */
        bool isKept = false;
        /** It has answered since it was started. */
        bool isSound = false;
        /** It could not be started, and others do its work. */
        bool isOut = false;
    };

    using Waiting = std::deque<Request>;

    struct Choice
    {
        Waiting::iterator request;
        int suitability;
    };

    bool IsBusy() const;
    Worker* PlaceToAdopt();
    Choice ChooseFor(const Worker& worker);
    bool MayServe(const Worker& worker) const;
    bool CanStartMore() const;
    void Serve();
    void ServeByMore();
    void HandOut(Worker& worker, Request request);
    void Answered(Worker& worker, Request request, const QJsonObject& answer);
    bool DoOthersWorkFor(Worker& worker, const QJsonObject& answer);

    const std::shared_ptr<WorkerServer> server;
    std::vector<Worker> workers;
    /** Runs while requests wait that a further process may be started for. */
    QTimer patience;
    bool mayStartMore = false;
    Waiting waiting;
    QString whyNotStarted;
};

} // namespace Korvel::PDF
