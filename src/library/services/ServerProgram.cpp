#include "ServerProgram.h"

#include "SendDescriptors.h"
#include "WorkerProgram.h"
#include "WorkerProtocol.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#include <QThread>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

// Milliseconds, of which it takes one or two.
constexpr int timeToEnd = 4000;
constexpr int timeToDie = 5000;
constexpr unsigned long pauseOfWaiting = 100; // microseconds

/** Which descriptors the program is to have as its standard streams, and no others of ours. */
class Streams
{
public:
    Streams(int orders, int complaints)
    {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, complaints, STDERR_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, orders, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    }
    ~Streams() { ::posix_spawn_file_actions_destroy(&actions); }

    const posix_spawn_file_actions_t* Actions() const { return &actions; }

private:
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    posix_spawn_file_actions_t actions = {};
};

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/** Zero, or why the program could not be started. */
int Spawn(pid_t& process, const WorkerSettings& settings, int orders, int complaints)
{
    const Streams streams(orders, complaints);
    std::vector<std::string> command = WorkerCommand(settings);
    std::vector<std::string> environment = WorkerEnvironment();
    return ::posix_spawnp(&process, command.front().c_str(), streams.Actions(), nullptr,
                          Pointers(command).data(), Pointers(environment).data());
}

/** The same under a number that is none of a standard stream. */
FileDescriptor BeyondStreams(FileDescriptor descriptor)
{
    if (descriptor.Number() > STDERR_FILENO)
        return descriptor;
    return FileDescriptor(::fcntl(descriptor.Number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

} // namespace

SocketPair MakeSockets(int type)
{
    std::array<int, 2> ends = {-1, -1};
    ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data());
    return {BeyondStreams(FileDescriptor(ends[0])), BeyondStreams(FileDescriptor(ends[1]))};
}

QByteArray ReadSome(int socket, bool& isAtEnd)
{
    QByteArray text(65536, Qt::Uninitialized);
    const ssize_t size = ::recv(socket, text.data(), std::size_t(text.size()), MSG_DONTWAIT);
    isAtEnd = size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR);
    text.resize(size > 0 ? int(size) : 0);
    return text;
}

std::shared_ptr<ServerProgram> ServerProgram::Start(const WorkerSettings& settings, QString& why)
{
    SocketPair orders = MakeSockets(SOCK_SEQPACKET);
    SocketPair complaints = MakeSockets(SOCK_STREAM);
    if (!orders.second || !complaints.second) {
        why = NoFilesForWorker();
        return nullptr;
    }
    pid_t process = -1;
    const int error = settings.program.isEmpty() ? ENOENT
                                                 : Spawn(process, settings, orders.second.Number(),
                                                         complaints.second.Number());
    if (error != 0) {
        why = error == EAGAIN || error == ENOMEM
                  ? NoRoomForWorker()
                  : WhyNoWorker(settings.program, qt_error_string(error));
        return nullptr;
    }
    return std::shared_ptr<ServerProgram>(
        new ServerProgram(process, std::move(orders.first), std::move(complaints.first)));
}

ServerProgram::ServerProgram(pid_t process, FileDescriptor orders, FileDescriptor complaints)
    : process(process), orders(std::move(orders)), complaints(std::move(complaints))
{
}

ServerProgram::~ServerProgram()
{
    // The program is told to end by this, also where a copy of this process has them open as well.
    ::shutdown(orders.Number(), SHUT_RDWR);
    WaitForEnd(timeToEnd);
}

bool ServerProgram::Order(const std::vector<int>& descriptors) const
{
    return SendDescriptors(orders.Number(), 0, descriptors) || errno == EPIPE;
}

bool ServerProgram::IsRunning()
{
    pollfd watched = {orders.Number(), 0, 0};
    const bool isHungUp = ::poll(&watched, 1, 0) > 0; // it is about to end
    const std::lock_guard lock(mutex);
    return !isHungUp && !HasEnded();
}

int ServerProgram::WaitForEnd(int milliseconds)
{
    const std::lock_guard lock(mutex);
    if (!HasEndedBefore(QDeadlineTimer(milliseconds))) {
        ::kill(process, SIGKILL);
        HasEndedBefore(QDeadlineTimer(timeToDie));
    }
    return status.value_or(SIGKILL);
}

QByteArray ServerProgram::ReadComplaints()
{
    const std::lock_guard lock(mutexOfComplaints);
    bool isAtEnd = false; // so are its processes, which is told by those
    QByteArray text = ReadSome(complaints.Number(), isAtEnd);
    if (!text.isEmpty())
        lastComplaint = text;
    return text;
}

QByteArray ServerProgram::LastComplaint()
{
    ReadComplaints();
    const std::lock_guard lock(mutexOfComplaints);
    return lastComplaint;
}

/** How it has ended, of which the system tells nothing. */
int ServerProgram::WhatIsLikely()
{
    const bool wasNotStarted = LastComplaint().contains("cannot start: ");
    return wasNotStarted ? W_EXITCODE(WorkerProtocol::notStartedExitCode, 0) : SIGKILL;
}

/** The caller has the lock. */
bool ServerProgram::HasEnded()
{
    int ended = 0;
    const pid_t found = status ? 0 : ::waitpid(process, &ended, WNOHANG);
    if (found > 0)
        status = ended;
    else if (found < 0) // somebody else has waited for it, or this process ignores SIGCHLD
        status = WhatIsLikely();
    return status.has_value();
}

/** Reads nothing of what it says meanwhile, which may have no end. The caller has the lock. */
bool ServerProgram::HasEndedBefore(const QDeadlineTimer& deadline)
{
    while (!HasEnded() && !deadline.hasExpired())
        QThread::usleep(pauseOfWaiting);
    return status.has_value();
}

} // namespace Korvel::PDF
