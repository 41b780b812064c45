#include "WorkerClient.h"

#include "SendDescriptors.h"

#include <array>

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr int patience = 60'000;

bool HasPdfium()
{
    QProcess worker;
    worker.start(QStringLiteral(WORKER), {QStringLiteral("--version")});
    worker.waitForFinished();
    return worker.readAllStandardOutput().contains("\nengine: PDFium");
}

/** Two sockets, of which programs inherit neither; the first one waits a while at most. */
std::array<int, 2> MakeSockets(int type)
{
    std::array<int, 2> numbers = {-1, -1};
    ::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, numbers.data());
    const timeval longest = {patience / 1000, 0};
    ::setsockopt(numbers[0], SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
    return numbers;
}

} // namespace

QString EngineUnderTest()
{
    static const QString engine = qEnvironmentVariable("ENGINE", HasPdfium() ? "pdfium" : "qt");
    return engine;
}

bool HasEngineUnderTest()
{
    static const bool has = EngineUnderTest() == QLatin1String("qt") || HasPdfium();
    return has;
}

WorkerClient::WorkerClient(const QString& preparation) : preparation(preparation)
{
    Start();
}

void WorkerClient::Start()
{
    const std::array<int, 2> numbers = MakeSockets(SOCK_SEQPACKET);
    orders = std::make_unique<PDF::FileDescriptor>(numbers[0]);
    const PDF::FileDescriptor theirs(numbers[1]);
    const PDF::FileDescriptor input(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    ::dup2(theirs.Number(), STDIN_FILENO);
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    process.start(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"),
         preparation + QStringLiteral("; exec \"$0\" --engine %1 \"$@\"").arg(EngineUnderTest()),
         QStringLiteral(WORKER)});
    process.waitForStarted();
    ::dup2(input.Number(), STDIN_FILENO);
    Order();
}

void WorkerClient::Order()
{
    const std::array<int, 2> lines = MakeSockets(SOCK_STREAM);
    const std::array<int, 2> complaints = MakeSockets(SOCK_STREAM);
    const std::array<int, 2> memory = MakeSockets(SOCK_SEQPACKET);
    const std::array<int, 2> control = MakeSockets(SOCK_SEQPACKET);
    const std::vector<int> given{lines[1], complaints[1], memory[1], control[1]};
    SendDescriptors(orders->Number(), 0, given);
    for (const int number : given)
        ::close(number);
    received.clear();
    ends.reset(new Ends{PDF::FileDescriptor(lines[0]), PDF::FileDescriptor(complaints[0]),
                        PDF::FileDescriptor(memory[0]), PDF::FileDescriptor(control[0])});
}

WorkerClient::~WorkerClient()
{
    Finish();
    Close();
}

void WorkerClient::Restart()
{
    Finish();
    Close();
    Start();
}

void WorkerClient::Renew()
{
    Terminate();
    Order();
}

void WorkerClient::Send(const QByteArray& line)
{
    const QByteArray text = line + '\n';
    for (int sent = 0; sent < text.size();) {
        const ssize_t size = ::send(ends->lines.Number(), text.constData() + sent,
                                    std::size_t(text.size() - sent), MSG_NOSIGNAL);
        if (size < 0)
            break;
        sent += int(size);
    }
}

void WorkerClient::Send(const QJsonObject& request)
{
    Send(QJsonDocument(request).toJson(QJsonDocument::Compact));
}

QByteArray WorkerClient::NextLine()
{
    char bytes[65536];
    while (!received.contains('\n')) {
        const ssize_t size = ::recv(ends->lines.Number(), bytes, sizeof bytes, 0);
        if (size <= 0)
            break;
        received.append(bytes, int(size));
    }
    const QByteArray line = received.left(received.indexOf('\n') + 1);
    received.remove(0, line.size());
    return line;
}

void WorkerClient::SendMemory(qint64 id, int memory)
{
    SendDescriptors(ends->memory.Number(), id, {memory});
}

QJsonObject WorkerClient::Receive()
{
    return QJsonDocument::fromJson(NextLine()).object();
}

QJsonObject WorkerClient::Ask(const QJsonObject& request)
{
    Send(request);
    return Receive();
}

/** How the worker has ended, or its program. */
int WorkerClient::WaitForEnd()
{
    int status = 0;
    if (::recv(ends->control.Number(), &status, sizeof status, MSG_PEEK) == sizeof status)
        return status;
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(patience))
        process.kill();
    return process.exitStatus() == QProcess::NormalExit ? W_EXITCODE(process.exitCode(), 0)
                                                        : process.exitCode();
}

int WorkerClient::Finish()
{
    ::shutdown(ends->lines.Number(), SHUT_WR);
    const int status = WaitForEnd();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int WorkerClient::Terminate()
{
    ::shutdown(ends->control.Number(), SHUT_WR);
    return WaitForEnd();
}

int WorkerClient::Close()
{
    orders.reset();
    process.waitForFinished(patience);
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

void WorkerClient::StopListening()
{
    ::shutdown(ends->lines.Number(), SHUT_RD);
}

void WorkerClient::SignalFromElsewhere(const QString& signal)
{
    QProcess::execute(QStringLiteral("sh"),
                      {"-c", "kill \"$@\"", "sh", "-" + signal,
                       QString::number(process.processId()), QString::number(ProcessId())});
}

QByteArray WorkerClient::Complaints()
{
    QByteArray text = process.readAllStandardError();
    char bytes[65536];
    for (ssize_t size = 0;
         (size = ::recv(ends->complaints.Number(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;)
        text.append(bytes, int(size));
    return text;
}

qint64 WorkerClient::ProcessId() const
{
    const QString server = QString::number(process.processId());
    QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(server));
    while (children.open(QIODevice::ReadOnly)) {
        if (const qint64 child = children.readAll().trimmed().toLongLong())
            return child;
        int status = 0;
        if (::recv(ends->control.Number(), &status, sizeof status, MSG_PEEK | MSG_DONTWAIT) >= 0)
            break;
        children.close(); // not there yet
    }
    return 0;
}

qint64 WorkerClient::Bytes(const char* member) const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(ProcessId()));
    status.open(QIODevice::ReadOnly);
    const QRegularExpression line(QStringLiteral("%1:\\s*(\\d+) kB").arg(QLatin1String(member)));
    return line.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong() * 1024;
}

qint64 WorkerClient::PeakMemory() const
{
    return Bytes("VmHWM");
}

qint64 WorkerClient::Memory() const
{
    return Bytes("RssAnon");
}

double WorkerClient::ProcessorTime() const
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(ProcessId()));
    file.open(QIODevice::ReadOnly);
    const QString state = QString::fromLatin1(file.readAll()).section(QStringLiteral(") "), 1);
    const auto ticks = [&state](int field) {
        return state.section(' ', field, field).toDouble();
    };
    return (ticks(11) + ticks(12)) / double(::sysconf(_SC_CLK_TCK));
}

} // namespace Korvel::Worker
