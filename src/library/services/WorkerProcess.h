#pragma once

#include "ConverterServicesExport.h"
#include "WorkerSettings.h"

#include <deque>
#include <functional>
#include <memory>

#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QTimer>

namespace Korvel::PDF {

class MemoryChannel;
class PictureMemory;

/**
 * A process of the program `pdfconvert-worker`, which opens PDFs so that nobody else has to.
 *
 * Requests and answers are JSON objects, a line each, over the process's standard input and output
 * (docs/worker-protocol.md). Requests are sent one by one in the order in which they were asked.
 * The process is started by the first request, and again by the next one after it has died or was
 * ended; what it held open is gone then. A request that had been sent to it before is answered with
 * its death.
 *
 * It looks at one file at a time, in a child process that gives up the right to read any other one
 * before. A request to open or convert another file, or one that has taken its place, therefore
 * gets a new child, and so does what comes after Release; what the old one held open is gone. No
 * document can stay beyond that: the process, which looks at none itself, kills its child. A new
 * child is ready in a millisecond or two, while a process takes many times as long to start:
 * objects of this class are worth keeping. Of the environment it is given nothing but what its
 * libraries are found and tuned by (docs/reliability.md).
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
 * Used on the thread that owns it, whose event loop must run. It may be moved to another thread; a
 * process that runs then dies with the thread on which it was started.
 */
class CONVERTERSERVICES_EXPORT WorkerProcess : public QObject
{
    Q_OBJECT

public:
    /** Receives the answer to one request, on the thread that owns the WorkerProcess. */
    using Receiver = std::function<void(const QJsonObject& answer)>;

    /** Starts nothing yet; the first Ask or Prepare does. */
    explicit WorkerProcess(const WorkerSettings& settings = {});

    /** Ends the process; requests still open are answered before the destructor returns. */
    ~WorkerProcess() override;

    /** Path of the program that is run; empty when none was found. */
    QString Program() const { return settings.program; }

    /** Whether there is a process, which may have ended unnoticed. */
    bool IsStarted() const { return process != nullptr; }

    /** Starts the process, so that the first request need not wait for that. */
    void Prepare();

    /**
     * Sends `request`, to which an "id" is added, when those before it are answered.
     *
     * @param request   what is wanted (docs/worker-protocol.md)
     * @param receiver  called with the answer
     * @param memory    what the page of a request for "pixels" is drawn into, which the library's
     *                  own classes make; null for others
     */
    void Ask(QJsonObject request, Receiver receiver,
             std::shared_ptr<PictureMemory> memory = nullptr);

    /**
     * Has the process let go of its file when the requests so far are answered; what it held open
     * is gone then.
     */
    void Release();

    /**
     * Ends the process at once, and waits for that: a millisecond or two, or, should it not heed
     * SIGTERM, five seconds at most. Requests still open are answered before End returns. A later
     * Ask starts it again.
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

    QStringList Arguments() const;
    void Start();
    void Discard();
    void SendRelease();
    void SendRequest(const Request& request);
    Request ToRelease();
    void SendNext();
    bool IsAwaited(const QJsonObject& answer) const;
    void ReadAnswers();
    void TimeIsUp();
    void ReadComplaints();
    QString LastComplaint();
    void Answer(const QJsonObject& answer);
    void Fail(const QString& reason, const QString& message);
    void ProcessChanged();

    const WorkerSettings settings;
    /** The process that runs, or has ended unnoticed; else null. */
    std::unique_ptr<QProcess> process;
    /** By which it is given memory for pictures; there when it is. */
    std::unique_ptr<MemoryChannel> channel;
    /** Which file the process looks at; empty for none. */
    QString fileInHand;
    std::deque<Request> requests;
    QString lastComplaint;
    /** The longest line sent since the process was released. */
    int longestLine = 0;
    /** The number that the process answers with when it is released. */
    int releaseNumber = 0;
    bool waiting = false;
    /** Whether the time for the request is up, and its answer may have come nevertheless. */
    bool isLate = false;
    qint64 lastId = 0;
    QTimer alarm;
};

} // namespace Korvel::PDF
