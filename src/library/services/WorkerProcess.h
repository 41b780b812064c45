#pragma once

#include "ConverterServicesExport.h"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>

#include <QJsonObject>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QTimer>

namespace Korvel::PDF {

/**
 * A process of the program `pdfconvert-worker`, which opens PDFs so that nobody else has to.
 *
 * Requests and answers are JSON objects, a line each, over the process's standard input and output
 * (docs/worker-protocol.md). Requests are sent one by one in the order in which they were asked.
 * The process is started by the first request, and again by the next one after it has died or was
 * ended; what it held open is gone then. A request that had been sent to it before is answered with
 * its death.
 *
 *     worker.Ask({{"op", "convert"}, ...}, [](const QJsonObject& answer) {
 *         if (!answer["ok"].toBool()) qWarning() << answer["reason"].toString();
 *     });
 *
 * Every request is answered exactly once. Besides the worker's own, an answer "failed" can have one
 * of these reasons: "not-started", "died", "rubbish" (the answer was not understood), "timed-out"
 * (silent past the deadline), "out-of-memory", "ended" (by End or the destructor).
 *
 * Used on the thread that owns it, whose event loop must run.
 */
class CONVERTERSERVICES_EXPORT WorkerProcess : public QObject
{
    Q_OBJECT

public:
    /** Receives the answer to one request, on the thread that owns the WorkerProcess. */
    using Receiver = std::function<void(const QJsonObject& answer)>;

    /** How long a request may take unless told otherwise. */
    static constexpr std::chrono::minutes defaultDeadline{10};

    /** How much address space a process has unless told otherwise, in MiB. */
    static constexpr int defaultMemoryLimit = 4096;

    /**
     * @param program      path of the worker program; empty to have it looked for
     * @param deadline     how long one request may take before the process is ended
     * @param memoryLimit  how much address space the process may have, in MiB, from 1; it needs
     * about 100 before it has opened anything
     */
    explicit WorkerProcess(const QString& program = {},
                           std::chrono::milliseconds deadline = defaultDeadline,
                           int memoryLimit = defaultMemoryLimit);

    /** Ends the process; requests still open are answered before the destructor returns. */
    ~WorkerProcess() override;

    /** Sends `request`, to which an "id" is added, when those before it are answered. */
    void Ask(QJsonObject request, Receiver receiver);

    /**
     * Ends the process at once; requests still open are answered before End returns. A later Ask
     * starts it again.
     */
    void End();

    /**
     * The worker program, looked for beside the running program and in the libexec folder that was
     * installed with this library; empty when it is in neither.
     */
    static QString FindProgram();

private:
    Q_DISABLE_COPY_MOVE(WorkerProcess)

    struct Request
    {
        qint64 id;
        QByteArray line;
        Receiver receiver;
    };

    void Start();
    void Discard();
    void SendNext();
    void ReadAnswers();
    void ReadComplaints();
    void Answer(const QJsonObject& answer);
    void Fail(const QString& reason, const QString& message);
    void ProcessChanged();

    const QString program;
    const std::chrono::milliseconds deadline;
    const int memoryLimit;
    /** The process that runs, or has ended unnoticed; else null. */
    std::unique_ptr<QProcess> process;
    std::deque<Request> requests;
    bool waiting = false;
    qint64 lastId = 0;
    QTimer alarm;
};

} // namespace Korvel::PDF
