#include "ServerProgram.h"

#include "SendDescriptors.h"
#include "WorkerProgram.h"

#include <array>
#include <csignal>
#include <string>

#include <QThread>

#include <fcntl.h>
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

/** The same under a number that is none of a standard stream, which the program has others of. */
FileDescriptor BeyondStreams(const FileDescriptor& descriptor)
{
    return FileDescriptor(::fcntl(descriptor.Number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

QString NoRoom()
{
    return QStringLiteral("cannot start a worker: the system has no room for another process");
}

} // namespace

SocketPair MakeSockets(int type)
{
    std::array<int, 2> ends = {-1, -1};
    ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data());
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
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
    const FileDescriptor forOrders = BeyondStreams(orders.second);
    const FileDescriptor forComplaints = BeyondStreams(complaints.second);
    if (!forOrders || !forComplaints) {
        why = QStringLiteral("cannot start a worker: too few files may be open at once");
        return nullptr;
    }
    pid_t process = -1;
    const int error = settings.program.isEmpty()
                          ? ENOENT
                          : Spawn(process, settings, forOrders.Number(), forComplaints.Number());
    if (error != 0) {
        why = error == EAGAIN || error == ENOMEM
                  ? NoRoom()
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
    ::close(orders.Release()); // by which the program is told to end
    WaitForEnd(timeToEnd);
}

bool ServerProgram::Order(const std::vector<int>& descriptors) const
{
    return SendDescriptors(orders.Number(), 0, descriptors);
}

bool ServerProgram::IsRunning()
{
    const std::lock_guard lock(mutex);
    return !HasEnded();
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

QByteArray ServerProgram::ReadComplaints() const
{
    bool isAtEnd = false; // so are its processes, which is told by those
    return ReadSome(complaints.Number(), isAtEnd);
}

/** The caller has the lock. */
bool ServerProgram::HasEnded()
{
    int ended = 0;
    // Where somebody else has waited for it there is no such child any more.
    if (!status && ::waitpid(process, &ended, WNOHANG) != 0)
        status = ended;
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
