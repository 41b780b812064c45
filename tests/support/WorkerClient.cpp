#include "WorkerClient.h"

#include <csignal>

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr int patience = 60'000;
constexpr int releaseNumber = 4711;

bool HasPdfium()
{
    QProcess worker;
    worker.start(QStringLiteral(WORKER), {QStringLiteral("--version")});
    worker.waitForFinished();
    return worker.readAllStandardOutput().contains("\nengine: PDFium");
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
    process.start(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"),
         preparation + QStringLiteral("; exec \"$0\" --engine %1 \"$@\"").arg(EngineUnderTest()),
         QStringLiteral(WORKER)});
    process.waitForStarted();
}

WorkerClient::~WorkerClient()
{
    Finish();
}

void WorkerClient::Restart()
{
    Finish();
    Start();
}

void WorkerClient::Send(const QByteArray& line)
{
    process.write(line + '\n');
    while (process.bytesToWrite() > 0 && process.waitForBytesWritten(patience)) {
    }
}

void WorkerClient::Send(const QJsonObject& request)
{
    Send(QJsonDocument(request).toJson(QJsonDocument::Compact));
}

QJsonObject WorkerClient::Receive()
{
    while (!process.canReadLine() && process.waitForReadyRead(patience)) {
    }
    return QJsonDocument::fromJson(process.readLine()).object();
}

QJsonObject WorkerClient::Ask(const QJsonObject& request)
{
    Send(request);
    return Receive();
}

void WorkerClient::SendRelease()
{
    sigval value = {};
    value.sival_int = releaseNumber;
    ::sigqueue(pid_t(process.processId()), SIGRTMIN, value);
}

bool WorkerClient::ReceiveRelease()
{
    while (process.canReadLine() || process.waitForReadyRead(patience)) {
        if (Receive()["released"].toInt() == releaseNumber)
            return true;
    }
    return false;
}

bool WorkerClient::Release()
{
    SendRelease();
    return ReceiveRelease();
}

int WorkerClient::Finish()
{
    process.closeWriteChannel();
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(patience))
        process.kill();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

void WorkerClient::Terminate()
{
    process.terminate();
    process.waitForFinished(patience);
}

void WorkerClient::SignalFromElsewhere(const QString& signal)
{
    QProcess::execute(QStringLiteral("sh"),
                      {"-c", "kill \"$@\"", "sh", "-" + signal,
                       QString::number(process.processId()), QString::number(ProcessId())});
}

QByteArray WorkerClient::Complaints()
{
    return process.readAllStandardError();
}

qint64 WorkerClient::ProcessId() const
{
    const QString server = QString::number(process.processId());
    QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(server));
    while (children.open(QIODevice::ReadOnly)) {
        if (const qint64 child = children.readAll().trimmed().toLongLong())
            return child;
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
