#pragma once

#include "FileDescriptor.h"
#include "WorkerSettings.h"

#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

#include <sys/types.h>

namespace Korvel::PDF {

/** The two ends of a pair of sockets. */
using SocketPair = std::pair<FileDescriptor, FileDescriptor>;

/**
 * Of a type as socketpair() takes it, with numbers that are none of a standard stream, which
 * libraries may write to; without ends where there is no room for them.
 */
SocketPair MakeSockets(int type);

/** A run of the worker's program, which children are ordered of. Thread-safe. */
class ServerProgram
{
public:
    /** Starts the program; null where that fails, and then `why` tells it. */
    static std::shared_ptr<ServerProgram> Start(const WorkerSettings& settings, QString& why);

    /** Ends the program, which ends its children, and waits for it. */
    ~ServerProgram();

    /**
     * Orders a child that gets these descriptors; false when that cannot be. Where the program has
     * just ended, the child ends with it.
     */
    bool Order(const std::vector<int>& descriptors) const;

    /** Whether it takes orders. */
    bool IsRunning();

    /** Kills the program, unless it ends by itself in that time; how it has ended. */
    int WaitForEnd(int milliseconds);

    /** What it has written to standard error since somebody last asked. */
    QByteArray ReadComplaints();

    /** What it has written last, whoever has read it. */
    QByteArray LastComplaint();

private:
    ServerProgram(pid_t process, FileDescriptor orders, FileDescriptor complaints);
    ServerProgram(const ServerProgram&) = delete;
    ServerProgram& operator=(const ServerProgram&) = delete;

    int WhatIsLikely();
    bool HasEnded();
    bool HasEndedBefore(const QDeadlineTimer& deadline);

    const pid_t process;
    const FileDescriptor orders;
    const FileDescriptor complaints;
    std::mutex mutex;
    /** How it has ended, as waitpid tells it. */
    std::optional<int> status;
    std::mutex mutexOfComplaints;
    QByteArray lastComplaint;
};

/** What there is to read, up to some thousands of bytes; `isAtEnd` when nothing more will come. */
QByteArray ReadSome(int socket, bool& isAtEnd);

} // namespace Korvel::PDF
