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

/** Of a type as socketpair() takes it; without ends where there is no room for them. */
SocketPair MakeSockets(int type);

/** A run of the worker's program, which children are ordered of. Thread-safe. */
class ServerProgram
{
public:
    /** Starts the program; null where that fails, and then `why` tells it. */
    static std::shared_ptr<ServerProgram> Start(const WorkerSettings& settings, QString& why);

    /** Ends the program, which ends its children, and waits for it. */
    ~ServerProgram();

    /** Orders a child that gets these descriptors; false when that cannot be. */
    bool Order(const std::vector<int>& descriptors) const;

    bool IsRunning();

    /** Kills the program, unless it ends by itself in that time; how it has ended. */
    int WaitForEnd(int milliseconds);

    /** What it has written to standard error since it was last asked. */
    QByteArray ReadComplaints() const;

private:
    ServerProgram(pid_t process, FileDescriptor orders, FileDescriptor complaints);
    ServerProgram(const ServerProgram&) = delete;
    ServerProgram& operator=(const ServerProgram&) = delete;

    bool HasEnded();
    bool HasEndedBefore(const QDeadlineTimer& deadline);

    const pid_t process;
    FileDescriptor orders;
    const FileDescriptor complaints;
    std::mutex mutex;
    /** How it has ended, as waitpid tells it. */
    std::optional<int> status;
};

/** What there is to read, up to some thousands of bytes; `isAtEnd` when nothing more will come. */
QByteArray ReadSome(int socket, bool& isAtEnd);

} // namespace Korvel::PDF
