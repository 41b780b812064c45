#include "WorkerProcess.h"

#include "ServicesLog.h"

#include <utility>

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonDocument>
#include <QPointer>

#include <dlfcn.h>

namespace Korvel::PDF {

namespace {

constexpr int outOfMemoryExitCode = 77;
constexpr qint64 longestAnswer = 64 * 1024 * 1024;

QJsonObject Failure(const QString& reason, const QString& message)
{
    return {{QStringLiteral("ok"), false},
            {QStringLiteral("reason"), reason},
            {QStringLiteral("message"), message}};
}

/** The folder of the shared library that this code was loaded from. */
QString LibraryFolder()
{
    Dl_info info;
    if (::dladdr(reinterpret_cast<const void*>(&LibraryFolder), &info) == 0)
        return {};
    return QFileInfo(QString::fromUtf8(info.dli_fname)).absolutePath();
}

} // namespace

WorkerProcess::WorkerProcess(const QString& program, std::chrono::milliseconds deadline)
    : program(program.isEmpty() ? FindProgram() : program), deadline(deadline), alarm(this)
{
    alarm.setSingleShot(true);
    connect(&alarm, &QTimer::timeout, this, [this] {
        Fail(QStringLiteral("timed-out"), QStringLiteral("the worker did not answer in time"));
    });
}

WorkerProcess::~WorkerProcess()
{
    End();
}

QString WorkerProcess::FindProgram()
{
    const QString name = QStringLiteral("/pdfconvert-worker");
    const QString libexec = LibraryFolder() + QStringLiteral("/" LIBEXEC_FROM_LIBRARY);
    for (const QString& folder : {QCoreApplication::applicationDirPath(), libexec}) {
        if (QFileInfo(folder + name).isExecutable())
            return folder + name;
    }
    return {};
}

void WorkerProcess::Ask(QJsonObject request, Receiver receiver)
{
    const qint64 id = ++lastId;
    request[QStringLiteral("id")] = id;
    const QByteArray line = QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n';
    requests.push_back({id, line, std::move(receiver)});
    SendNext();
}

void WorkerProcess::End()
{
    Discard();
    waiting = false;
    const auto open = std::exchange(requests, {});
    for (const Request& request : open)
        request.receiver(Failure(QStringLiteral("ended"), QStringLiteral("the worker was ended")));
}

void WorkerProcess::Start()
{
    process = new QProcess(this);
    QProcess* const started = process;
    connect(started, &QProcess::readyReadStandardOutput, this, &WorkerProcess::ReadAnswers);
    connect(started, &QProcess::readyReadStandardError, this,
            [started] { qCDebug(servicesLog) << "worker:" << started->readAllStandardError(); });
    connect(started, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            &WorkerProcess::ProcessEnded);
    // Queued, since starting can fail inside start(): an answer never comes before Ask returns.
    connect(
        started, &QProcess::errorOccurred, this,
        [this, started](QProcess::ProcessError error) {
            if (started == process && error == QProcess::FailedToStart)
                Fail(QStringLiteral("not-started"),
                     QStringLiteral("cannot start the worker: ") + started->errorString());
        },
        Qt::QueuedConnection);
    process->start(program, QStringList());
}

void WorkerProcess::Discard()
{
    alarm.stop();
    if (!process)
        return;
    process->disconnect(this);
    process->kill();
    process->waitForFinished();
    // Not deleted here: this may run inside one of its signals.
    std::exchange(process, nullptr)->deleteLater();
}

void WorkerProcess::SendNext()
{
    if (waiting || requests.empty())
        return;
    waiting = true;
    if (!process)
        Start();
    process->write(requests.front().line);
    alarm.start(deadline);
}

void WorkerProcess::ReadAnswers()
{
    while (process && process->canReadLine()) {
        const QJsonObject answer = QJsonDocument::fromJson(process->readLine()).object();
        if (!waiting || answer[QStringLiteral("id")].toDouble(-1) != double(requests.front().id) ||
            !answer[QStringLiteral("ok")].isBool()) {
            Fail(QStringLiteral("rubbish"), QStringLiteral("the worker's answer makes no sense"));
            return;
        }
        const QPointer<WorkerProcess> self(this);
        Answer(answer);
        if (!self)
            return;
    }
    if (process && process->bytesAvailable() > longestAnswer)
        Fail(QStringLiteral("rubbish"), QStringLiteral("the worker's answer has no end"));
}

void WorkerProcess::Answer(const QJsonObject& answer)
{
    alarm.stop();
    waiting = false;
    const Request request = std::move(requests.front());
    requests.pop_front();
    const QPointer<WorkerProcess> self(this);
    request.receiver(answer);
    if (self)
        SendNext();
}

void WorkerProcess::Fail(const QString& reason, const QString& message)
{
    qCWarning(servicesLog) << message;
    Discard();
    if (waiting)
        Answer(Failure(reason, message));
}

void WorkerProcess::ProcessEnded(int exitCode, QProcess::ExitStatus status)
{
    const QPointer<WorkerProcess> self(this);
    const QProcess* const ended = process;
    ReadAnswers();
    if (!self || process != ended)
        return;
    if (status == QProcess::NormalExit && exitCode == outOfMemoryExitCode)
        Fail(QStringLiteral("out-of-memory"), QStringLiteral("the worker ran out of memory"));
    else
        Fail(QStringLiteral("died"), QStringLiteral("the worker ended with code %1").arg(exitCode));
}

} // namespace Korvel::PDF
