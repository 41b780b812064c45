#pragma once

#include "FileDescriptor.h"

#include <memory>
#include <vector>

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>

namespace Korvel::Worker {

/**
 * The engine of the workers that are tested, "pdfium" or "qt": what the environment's ENGINE says,
 * else the one that a worker takes for itself.
 */
QString EngineUnderTest();

/** Whether workers have that engine on this machine. */
bool HasEngineUnderTest();

/** A running worker of that engine, asked line by line. */
class WorkerClient
{
public:
    /**
     * @param preparation  what a shell does in the process before it becomes the worker's program,
     *                     whose arguments are those of the shell
     */
    explicit WorkerClient(const QString& preparation = QStringLiteral(":"));
    ~WorkerClient();

    /** Ends the worker, and starts it anew. */
    void Restart();

    /** Sends bytes as they are, a line feed after them. */
    void Send(const QByteArray& line);
    void Send(const QJsonObject& request);

    /** Sends memory for the request with this id, which comes later. */
    void SendMemory(qint64 id, int memory);

    /** The next answer; empty when the worker has ended. */
    QJsonObject Receive();

    /** Sends a request and gives its answer. */
    QJsonObject Ask(const QJsonObject& request);

    /** Has it ended, if it has not, and its program make a new one in its place. */
    void Renew();

    /** Has every answer be impossible from now on. */
    void StopListening();

    /** Ends the worker's input and waits: its exit code, or -1 when a signal ended it. */
    int Finish();

    /** Has the worker ended, and waits: how it has, as waitpid tells it. */
    int Terminate();

    /** Has the program ended by the end of orders, and waits: its exit code. */
    int Close();

    /** Of the program, which looks at no document. */
    qint64 ServerId() const { return process.processId(); }

    /** Sends a signal, "TERM" for example, to each of its processes from one that is not its
     * parent. */
    void SignalFromElsewhere(const QString& signal);

    /** What it has written to standard error, for a log. */
    QByteArray Complaints();

    /** Of the process that looks at the document; 0 when it has ended. */
    qint64 ProcessId() const;

    /** The most memory that it has held so far, in bytes. */
    qint64 PeakMemory() const;

    /** The memory that it holds now, without files, in bytes. */
    qint64 Memory() const;

    /** The CPU time that it has used, in seconds. */
    double ProcessorTime() const;

private:
    void Start();
    void Order();
    int WaitForEnd();
    QByteArray NextLine();
    qint64 Bytes(const char* member) const;

    struct Ends
    {
        PDF::FileDescriptor lines;
        PDF::FileDescriptor complaints;
        PDF::FileDescriptor memory;
        PDF::FileDescriptor control;
    };

    const QString preparation;
    QProcess process;
    std::unique_ptr<PDF::FileDescriptor> orders;
    std::unique_ptr<Ends> ends;
    QByteArray received;
};

} // namespace Korvel::Worker
