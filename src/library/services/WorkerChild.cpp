#include "WorkerChild.h"

#include "SendDescriptors.h"
#include "WorkerProgram.h"
#include "WorkerProtocol.h"

#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

namespace Korvel::PDF {

namespace {

// Milliseconds, of which it takes one or two.
constexpr int timeToBeAsked = 4000;
constexpr int timeToDie = 1000;

/** What of `events`, or of ends and errors, has happened within that time; 0 for nothing. */
short WaitFor(const FileDescriptor& descriptor, short events, int milliseconds)
{
    pollfd watched = {descriptor.Number(), events, 0};
    while (::poll(&watched, 1, milliseconds) < 0 && errno == EINTR) {
    }
    return watched.revents;
}

} // namespace

std::unique_ptr<WorkerChild> WorkerChild::Order(std::shared_ptr<ServerProgram> program,
                                                QString& why)
{
    SocketPair lines = MakeSockets(SOCK_STREAM);
    SocketPair memory = MakeSockets(SOCK_SEQPACKET);
    SocketPair control = MakeSockets(SOCK_SEQPACKET);
    SocketPair complaints = MakeSockets(SOCK_STREAM);
    if (!lines.second || !memory.second || !control.second || !complaints.second) {
        why = NoFilesForWorker();
        return nullptr;
    }
    ::shutdown(memory.first.Number(), SHUT_RD); // nothing comes back
    std::vector<int> given(WorkerProtocol::Given::count);
    given[WorkerProtocol::Given::lines] = lines.second.Number();
    given[WorkerProtocol::Given::complaints] = complaints.second.Number();
    given[WorkerProtocol::Given::memory] = memory.second.Number();
    given[WorkerProtocol::Given::control] = control.second.Number();
    if (!program->Order(given)) {
        why = NoRoomForWorker();
        return nullptr;
    }
    return std::unique_ptr<WorkerChild>(
        new WorkerChild(std::move(program), {std::move(lines.first), std::move(complaints.first),
                                             std::move(memory.first), std::move(control.first)}));
}

WorkerChild::WorkerChild(std::shared_ptr<ServerProgram> program, Ends ends)
    : program(std::move(program)), ends(std::move(ends))
{
}

QByteArray WorkerChild::ReadComplaints(bool& isAtEnd) const
{
    return program->ReadComplaints() + ReadSome(Complaints(), isAtEnd);
}

std::size_t WorkerChild::Send(std::string_view text) const
{
    const ssize_t size = ::send(Lines(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size >= 0)
        return std::size_t(size);
    if (errno == EAGAIN || errno == EINTR)
        return 0;
    Kill();
    return text.size();
}

void WorkerChild::Kill() const
{
    ::shutdown(Control(), SHUT_WR);
}

void WorkerChild::SendMemory(qint64 request, int memory) const
{
    SendDescriptors(ends.memory.Number(), request, {memory});
}

bool WorkerChild::HasEnded() const
{
    return (WaitFor(ends.lines, 0, 0) & POLLHUP) != 0 || IsToldOfEnd();
}

bool WorkerChild::IsToldOfEnd() const
{
    return WaitFor(ends.control, POLLIN, 0) != 0;
}

/** How the process has ended; nothing where it was its program that did. */
std::optional<int> WorkerChild::ReadStatus() const
{
    int status = 0;
    if (::recv(Control(), &status, sizeof status, MSG_DONTWAIT) == sizeof status)
        return status;
    return std::nullopt;
}

/** How the program has ended, for which it is given that time; it takes the process along. */
int WorkerChild::WaitForProgram(int milliseconds) const
{
    const int status = program->WaitForEnd(milliseconds);
    WaitFor(ends.lines, 0, timeToDie);
    return status;
}

int WorkerChild::Status()
{
    isGone = true;
    if (const auto status = ReadStatus())
        return *status;
    return WaitForProgram(timeToDie);
}

void WorkerChild::End()
{
    if (isGone)
        return;
    Kill();
    const bool isToldOf = WaitFor(ends.control, POLLIN, timeToBeAsked) != 0;
    if (!ReadStatus())
        WaitForProgram(isToldOf ? timeToDie : 0);
    isGone = true;
}

} // namespace Korvel::PDF
