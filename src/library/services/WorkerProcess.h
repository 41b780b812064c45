#pragma once

#include "ConverterServicesExport.h"
#include "WorkerServer.h"

#include <deque>
#include <functional>
#include <memory>

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

namespace Korvel::PDF {

class PictureMemory;
class WorkerChild;

/**
 * A process of a WorkerServer's program, which opens PDFs so that nobody else has to.
 *
 * Requests and answers are JSON objects, a line each (docs/worker-protocol.md). Requests are sent
 * one by one in the order in which they were asked. The process is ordered of the program by the
 * first request, and again by the next one after it has died or was ended; what it held open is
 * gone then. A request that had been sent to it before is answered with its death.
 *
 * It looks at one file at a time, and gives up the right to read any other one before. A request to
 * open or convert another file, or one that has taken its place, therefore gets a new process, and
 * so does what comes after Release; what the old one held open is gone. No document can stay beyond
 * that: the program, which looks at none itself, kills the process. A new one is ready in about a
 * millisecond.
 *
 *     worker.Ask({{"op", "convert"}, ...}, [](const QJsonObject& answer) {
 *         if (!answer["ok"].toBool()) qWarning() << answer["reason"].toString();
 *     });
 *
 * Every request is answered exactly once. Besides the worker's own, an answer "failed" can have one
 * of these reasons: "not-started", "unconfined" (it lacks measures of the sandbox that are
 * required), "died", "rubbish" (the answer was not understood, or its result is no file with
 * something in it), "too-large" (its result), "timed-out" (silent past the deadline, or busy for as
 * much CPU time), "out-of-memory", "changed" (the file was shortened while it was read), "ended"
 * (by End or the destructor).
 *
 * Used on the thread that owns it, whose event loop must run. It may be moved to another thread.
 */
class CONVERTERSERVICES_EXPORT WorkerProcess : public QObject
{
    Q_OBJECT

public:
    /** Receives the answer to one request, on the thread that owns the WorkerProcess. */
    using Receiver = std::function<void(const QJsonObject& answer)>;

    /** With a server of its own. Starts nothing yet; the first Ask or Prepare does. */
    explicit WorkerProcess(const WorkerSettings& settings = {});

    /** With a server that others share. Starts nothing yet. */
    explicit WorkerProcess(std::shared_ptr<WorkerServer> server);

    /** Ends the process; requests still open are answered before the destructor returns. */
    ~WorkerProcess() override;

    /** Path of the program that is run; empty when none was found. */
    QString Program() const { return settings.program; }

    /** Whether there is a process, which may have ended unnoticed. */
    bool IsStarted() const { return child != nullptr; }

    /** Starts the process, so that the first request need not wait for that. */
    void Prepare();

    /**
     * Sends `request`, to which an "id" is added, when those before it are answered.
     *
     * @param request   what is wanted (docs/worker-protocol.md)
     * @param receiver  called with the answer
     * @param memory    what the picture of a page is put into by a request without "output", which
     *                  the library's own classes make; null for others
     */
    void Ask(QJsonObject request, Receiver receiver,
             std::shared_ptr<PictureMemory> memory = nullptr);

    /**
     * Has the process let go of its file when the requests so far are answered; what it held open
     * is gone then.
     */
    void Release();

    /**
     * Ends the process at once, and waits for that: a millisecond or two, or, should the program
     * not do as it is told, ten seconds at most, and then it is killed with all processes that it
     * has made. Requests still open are answered before End returns. A later Ask starts it again.
     */
    void End();

    /**
     * The worker program, looked for beside the running program and in the libexec folder that was
     * installed with this library; of a library that was built within another project, where that
     * has its programs made, too. Empty when it is nowhere; a request that fails for that says
     * where it was looked for.
     */
    static QString FindProgram();

private:
    Q_DISABLE_COPY_MOVE(WorkerProcess)

    struct Request
    {
        qint64 id;
        /** Whether the process is to be released; such a request has no message. */
        bool isRelease;
        QJsonObject message;
        Receiver receiver;
        std::shared_ptr<PictureMemory> memory = nullptr;
    };

    void Start();
    std::unique_ptr<QSocketNotifier> Watch(int descriptor, QSocketNotifier::Type what,
                                           void (WorkerProcess::*slot)());
    void Discard();
    void LetGo();
    void Renew();
    void SendRequest(const Request& request);
    void SendRest();
    Request ToRelease();
    void SendNext();
    bool IsAwaited(const QJsonObject& answer) const;
    QByteArray NextLine();
    void ReadAnswers();
    void TimeIsUp();
    void ReadComplaints();
    QString LastComplaint();
    void Answer(const QJsonObject& answer);
    void Fail(const QString& reason, const QString& message);
    void ProcessEnded();

    const std::shared_ptr<WorkerServer> server;
    const WorkerSettings& settings;
    /** The process that runs, or has ended unnoticed; else null. */
    std::unique_ptr<WorkerChild> child;
    std::unique_ptr<QSocketNotifier> whenAnswers;
    std::unique_ptr<QSocketNotifier> whenRoom;
    std::unique_ptr<QSocketNotifier> whenComplaints;
    std::unique_ptr<QSocketNotifier> whenEnded;
    /** What has come of answers, and was not read yet. */
    QByteArray received;
    /** What there was no room for yet of the request in hand. */
    QByteArray unsent;
    /** Which file the process looks at; empty for none. */
    QString fileInHand;
    std::deque<Request> requests;
    QString lastComplaint;
    bool waiting = false;
    /** Whether the time for the request is up, and its answer may have come nevertheless. */
    bool isLate = false;
    qint64 lastId = 0;
    QTimer alarm;
};

} // namespace Korvel::PDF
