#pragma once

#include "ServerProgram.h"

#include <memory>
#include <optional>
#include <string_view>

#include <QByteArray>

namespace Korvel::PDF {

/** A process that looks at a document: the ends of all that leads there. */
class WorkerChild
{
public:
    /** Has the program make one; null when that cannot be, and then `why` tells it. */
    static std::unique_ptr<WorkerChild> Order(std::shared_ptr<ServerProgram> program, QString& why);

    /** Has the process ended, and does not wait for that. */
    ~WorkerChild() { Kill(); }

    /** What there is something to read from when there are answers. */
    int Lines() const { return ends.lines.Number(); }

    /** The same when there are complaints. */
    int Complaints() const { return ends.complaints.Number(); }

    /** The same when it is told that the process has ended. */
    int Control() const { return ends.control.Number(); }

    /** What has come of answers; empty when nothing has, and `isAtEnd` when nothing will. */
    QByteArray ReadLines(bool& isAtEnd) const { return ReadSome(Lines(), isAtEnd); }

    /** What it and its program have written to standard error. */
    QByteArray ReadComplaints(bool& isAtEnd) const;

    /** The program that it is a child of. */
    const std::shared_ptr<ServerProgram>& Program() const { return program; }

    /**
     * Sends as much as there is room for; how many bytes that is. Kills one that cannot listen, and
     * counts all as sent.
     */
    std::size_t Send(std::string_view text) const;

    /** Sends memory for a request that follows; a process that was sent none says so. */
    void SendMemory(qint64 request, int memory) const;

    /** Whether it has ended, also when that has not been told yet. */
    bool HasEnded() const;

    /** Whether it has been told that the process has ended, or its program. */
    bool IsToldOfEnd() const;

    /** How that has ended, once that is told, as waitpid tells it. */
    int Status();

    /** Has it ended at once, unless it has, and does not wait for that, which will be told. */
    void Kill() const;

    /** Ends it at once, and waits for that, as it may be writing. */
    void End();

private:
    struct Ends
    {
        FileDescriptor lines;
        FileDescriptor complaints;
        FileDescriptor memory;
        FileDescriptor control;
    };

    WorkerChild(std::shared_ptr<ServerProgram> program, Ends ends);
    WorkerChild(const WorkerChild&) = delete;
    WorkerChild& operator=(const WorkerChild&) = delete;

    std::optional<int> ReadStatus() const;
    int WaitForProgram(int milliseconds) const;

    /** Ended behind what belongs to the process. */
    const std::shared_ptr<ServerProgram> program;
    const Ends ends;
    bool isGone = false;
};

} // namespace Korvel::PDF
