#include "WorkerProcess.h"

#include "EngineWords.h"
#include "MemoryChannel.h"
#include "PictureMemory.h"
#include "ResultFile.h"
#include "ServicesLog.h"
#include "StartProcess.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <utility>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QPointer>
#include <QRandomGenerator>
#include <QThread>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace Argument = WorkerProtocol::Argument;
namespace Key = WorkerProtocol::Key;
namespace Operation = WorkerProtocol::Operation;
using WorkerProtocol::FailureAnswer;
using WorkerProtocol::Reason;
using WorkerProtocol::WordFor;

namespace {

constexpr int notLoadedExitCode = 127; // the system's loader found no room for the libraries, say
// Milliseconds, of which it takes one or two.
constexpr int timeToBeAsked = 4000;
constexpr int timeToEnd = 5000;
constexpr unsigned long pauseOfWaiting = 100; // microseconds
constexpr std::chrono::milliseconds lastCall(1);
constexpr std::chrono::milliseconds longestAlarm(std::numeric_limits<int>::max());
constexpr qint64 longestAnswer = qint64(4) * 1024 * 1024;

/** Whether the process has ended, also when the event loop has not told so yet. */
bool HasEnded(const QProcess& process)
{
    siginfo_t info = {};
    // Qt may have waited for it already, and then there is no such child any more.
    return process.state() == QProcess::NotRunning ||
           ::waitid(P_PID, id_t(process.processId()), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid != 0;
}

/**
 * Waits until the process has ended, and reads nothing of what it says meanwhile: that may have no
 * end, and Qt would keep all of it.
 */
bool WaitForEnd(const QProcess& process, const QDeadlineTimer& deadline)
{
    while (!HasEnded(process) && !deadline.hasExpired())
        QThread::usleep(pauseOfWaiting);
    return HasEnded(process);
}

/**
 * Tells the file that the request looks at from all others, one that was at its path before
 * included. Empty when it looks at none.
 */
QString FileOf(const QJsonObject& request)
{
    const QString operation = request[Key::op].toString();
    if (operation != Operation::open && operation != Operation::convert)
        return {};
    if (request.contains(Key::merge)) // its child may read files that no other request looks at
        return QStringLiteral("merge %1").arg(request[Key::id].toDouble());
    const QString path = request[Key::file].toString();
    struct stat status = {};
    ::stat(path.toStdString().c_str(), &status);
    return QStringLiteral("%1 %2 %3").arg(status.st_dev).arg(status.st_ino).arg(path);
}

/** The file that the request has made; empty for none. */
QString ResultOf(const QJsonObject& request)
{
    const QString operation = request[Key::op].toString();
    if (operation == Operation::convert)
        return request[Key::output].toString();
    return operation == Operation::save ? request[Key::file].toString() : QString();
}

/** What is amiss with the result that the answer says was made; nothing where it says of none. */
std::optional<Reason> ProblemOf(const QJsonObject& request, PictureMemory* memory,
                                const QJsonObject& answer, int largest)
{
    if (!answer[Key::ok].toBool())
        return std::nullopt;
    if (memory)
        return memory->Take(request, answer, largest);
    const QString result = ResultOf(request);
    return result.isEmpty() ? std::nullopt : ProblemOfResult(result, largest);
}

/**
 * The variables by which the worker's libraries are found and tuned, and a sanitizer where one is
 * built in. It sees nothing else of the environment.
 */
constexpr const char* passedOn[] = {"GLIBC_TUNABLES",    "LD_LIBRARY_PATH", "QT_PLUGIN_PATH",
                                    "PDFCONVERT_PDFIUM", "ASAN_OPTIONS",    "LSAN_OPTIONS",
                                    "TSAN_OPTIONS",      "UBSAN_OPTIONS"};

QProcessEnvironment Environment()
{
    const QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
    QProcessEnvironment environment;
    // The C library takes its memory in large pages: a page's pixels are first touched a tenth
    // sooner.
    environment.insert(QStringLiteral("GLIBC_TUNABLES"), QStringLiteral("glibc.malloc.hugetlb=1"));
    for (const char* const variable : passedOn) {
        const QString name = QLatin1String(variable);
        if (all.contains(name))
            environment.insert(name, all.value(name));
    }
    return environment;
}

WorkerSettings WithProgram(WorkerSettings settings)
{
    if (!settings.program.isEmpty())
        return settings;
    settings.program = WorkerProcess::FindProgram();
    // The program would become that one, and load its own libraries for nothing.
    const QFileInfo withQtPdf(settings.program + QStringLiteral("-qt"));
    const bool isFound = !settings.program.isEmpty(); // else it would be one of the working folder
    if (isFound && settings.engine == DrawingEngine::Qt && withQtPdf.isExecutable())
        settings.program = withQtPdf.filePath();
    return settings;
}

/** The folder of the shared library that this code was loaded from. */
QString LibraryFolder()
{
    Dl_info info;
    if (::dladdr(reinterpret_cast<const void*>(&LibraryFolder), &info) == 0)
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
}

/** Where the program is looked for, in this order. */
QStringList FoldersOfProgram()
{
    QStringList folders{QCoreApplication::applicationDirPath()};
    for (const char* const fromLibrary : {WORKER_FROM_LIBRARY})
        folders.append(QDir::cleanPath(LibraryFolder() + '/' + QLatin1String(fromLibrary)));
    return folders;
}

QString ProgramName()
{
    return QStringLiteral("pdfconvert-worker");
}

/** Why there is no process, as far as that is known before one is started. */
QString WhyNotStarted(const QString& program, const QString& error)
{
    if (!program.isEmpty())
        return "cannot start a worker: " + program + ": " + error;
    return "cannot start a worker: there is no program " + ProgramName() + " in " +
           FoldersOfProgram().join(QStringLiteral(", nor in "));
}

/** Qt 6.4 loses a descriptor with each that it fails to start. It looks for a bare name itself. */
bool IsNoProgram(const QString& program)
{
    return program.contains('/') && ::access(QFile::encodeName(program).constData(), X_OK) != 0;
}

} // namespace

WorkerProcess::WorkerProcess(const WorkerSettings& settings)
    : settings(WithProgram(settings)), alarm(this)
{
    alarm.setSingleShot(true);
    alarm.setTimerType(Qt::PreciseTimer);
    connect(&alarm, &QTimer::timeout, this, &WorkerProcess::TimeIsUp);
}

WorkerProcess::~WorkerProcess()
{
    do {
        End();
    } while (!requests.empty()); // receivers may have made more meanwhile
}

QString WorkerProcess::FindProgram()
{
    const QStringList folders = FoldersOfProgram();
    for (const QString& folder : folders) {
        const QFileInfo program(folder + '/' + ProgramName());
        if (program.isFile() && program.isExecutable())
            return program.filePath();
    }
    return {};
}

void WorkerProcess::Prepare()
{
    if (!process)
        Start();
}

void WorkerProcess::Ask(QJsonObject request, Receiver receiver,
                        std::shared_ptr<PictureMemory> memory)
{
    request[Key::id] = ++lastId;
    requests.push_back({lastId, false, request, std::move(receiver), std::move(memory)});
    SendNext();
}

void WorkerProcess::End()
{
    Discard();
    waiting = false;
    const auto open = std::exchange(requests, {});
    for (const Request& request : open)
        request.receiver(FailureAnswer(Reason::Ended, "the worker was ended"));
}

QStringList WorkerProcess::Arguments() const
{
    using std::chrono::ceil;
    using std::chrono::seconds;
    QStringList arguments{
        Argument::memoryLimit, QString::number(settings.memoryLimit),
        Argument::timeLimit,   QString::number(ceil<seconds>(settings.deadline).count()),
        Argument::fileLimit,   QString::number(settings.largestResult)};
    if (!settings.folder.isEmpty())
        arguments << Argument::folder << settings.folder;
    if (settings.requiresSandbox)
        arguments << Argument::requireSandbox;
    if (settings.engine != DrawingEngine::Auto)
        arguments << Argument::engine << Korvel::WordFor(settings.engine);
    return arguments;
}

void WorkerProcess::Start()
{
    fileInHand.clear();
    lastComplaint.clear();
    channel = std::make_unique<MemoryChannel>();
    process = std::make_unique<QProcess>(this); // moves to other threads along with this
    // Connections are queued: starting can fail inside start(), and receivers may destroy the
    // process or run an event loop, neither of which they may inside one of its signals. What comes
    // late is harmless, as the slots go by the state of the process that is there.
    const auto when = [this](auto signal, auto slot) {
        connect(process.get(), signal, this, slot, Qt::QueuedConnection);
    };
    when(&QProcess::readyReadStandardOutput, &WorkerProcess::ReadAnswers);
    when(&QProcess::readyReadStandardError, &WorkerProcess::ReadComplaints);
    when(&QProcess::errorOccurred, &WorkerProcess::ProcessChanged);
    when(qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &WorkerProcess::ProcessChanged);
    process->setProcessEnvironment(Environment());
    const auto tell = [this](const QString& why) {
        const auto fail = [this, why] {
            Fail(WordFor(Reason::NotStarted), why);
        };
        QMetaObject::invokeMethod(this, fail, Qt::QueuedConnection);
    };
    channel->LetInherit();
    if (IsNoProgram(settings.program))
        tell(WhyNotStarted(settings.program, qt_error_string()));
    else if (!StartProcess(process, settings.program, Arguments() + channel->Arguments()))
        tell("cannot start a worker: the system has no room for another process");
    channel->CloseEndOfWorker();
}

void WorkerProcess::Discard()
{
    alarm.stop();
    if (!process)
        return;
    if (process->state() != QProcess::NotRunning) {
        const QDeadlineTimer end(timeToEnd);
        process->terminate(); // it ends its child, which may be writing, before itself
        if (!WaitForEnd(*process, QDeadlineTimer(timeToBeAsked)))
            process->kill();
        if (WaitForEnd(*process, end))
            process->waitForFinished();
    }
    process.reset();
}

/**
 * Has the process look at nothing any more. It is told by a signal and answers with a number that
 * nobody else knows, since a document may have taken over whoever answers requests.
 */
void WorkerProcess::SendRelease()
{
    // QProcess keeps the memory that requests were sent from: a password that may have stood there
    // is overwritten by blanks, which the next request may begin with.
    process->write(QByteArray(std::exchange(longestLine, 0), ' '));
    fileInHand.clear();
    releaseNumber = int(QRandomGenerator::system()->generate() >> 1);
    sigval number = {};
    number.sival_int = releaseNumber;
    if (::sigqueue(pid_t(process->processId()), SIGRTMIN, number) != 0)
        process->kill(); // too many are queued; the next request starts another one
}

void WorkerProcess::SendRequest(const Request& request)
{
    if (const QString file = FileOf(request.message); !file.isEmpty())
        fileInHand = file;
    if (request.memory)
        channel->Send(request.id, request.memory->Descriptor());
    const QByteArray line = QJsonDocument(request.message).toJson(QJsonDocument::Compact) + '\n';
    longestLine = std::max(longestLine, int(line.size()));
    if (process->isOpen()) // else starting has failed, which is told later
        process->write(line);
}

void WorkerProcess::SendNext()
{
    if (waiting || requests.empty())
        return;
    waiting = true;
    if (!process || HasEnded(*process)) {
        Discard();
        Start();
    }
    const QString file = FileOf(requests.front().message);
    if (!file.isEmpty() && !fileInHand.isEmpty() && file != fileInHand)
        requests.push_front(ToRelease());
    if (requests.front().isRelease)
        SendRelease();
    else
        SendRequest(requests.front());
    isLate = false;
    alarm.start(std::min(settings.deadline, longestAlarm));
}

void WorkerProcess::Release()
{
    if (!process || fileInHand.isEmpty())
        return;
    requests.push_back(ToRelease());
    SendNext();
}

WorkerProcess::Request WorkerProcess::ToRelease()
{
    return {++lastId, true, {}, [](const QJsonObject&) {
            }};
}

bool WorkerProcess::IsAwaited(const QJsonObject& answer) const
{
    return waiting && answer[Key::id].toDouble(-1) == double(requests.front().id) &&
           answer[Key::ok].isBool();
}

void WorkerProcess::ReadAnswers()
{
    while (process && process->canReadLine()) {
        const QJsonObject answer = QJsonDocument::fromJson(process->readLine()).object();
        const bool isReleasing = waiting && requests.front().isRelease;
        if (isReleasing && answer[Key::released].toDouble(-1) != releaseNumber)
            continue; // what the child had still to say
        if (!isReleasing && !IsAwaited(answer)) {
            Fail(WordFor(Reason::Rubbish), "the worker's answer makes no sense");
            return;
        }
        const Request& request = requests.front();
        if (const auto problem =
                ProblemOf(request.message, request.memory.get(), answer, settings.largestResult)) {
            Fail(WordFor(*problem), "the worker's result is not as the worker says");
            return;
        }
        const QPointer<WorkerProcess> self(this);
        Answer(answer);
        if (!self)
            return;
    }
    if (process && process->bytesAvailable() > longestAnswer)
        Fail(WordFor(Reason::Rubbish), "the worker's answer has no end");
}

void WorkerProcess::TimeIsUp()
{
    // It may have answered while this thread was busy with something else, and is heard once more.
    if (!std::exchange(isLate, true)) {
        alarm.start(lastCall);
        return;
    }
    const QPointer<WorkerProcess> self(this);
    ReadAnswers();
    if (self && waiting && !alarm.isActive())
        Fail(WordFor(Reason::TimedOut), "the worker did not answer in time");
}

void WorkerProcess::ReadComplaints()
{
    if (!process)
        return;
    const QByteArray text = process->readAllStandardError(); // also when nobody logs it
    if (!text.isEmpty())
        lastComplaint = QString::fromUtf8(text).trimmed();
    qCDebug(servicesLog) << "worker:" << text;
}

QString WorkerProcess::LastComplaint()
{
    ReadComplaints();
    return lastComplaint.section(QStringLiteral("cannot start: "), -1);
}

void WorkerProcess::Answer(const QJsonObject& answer)
{
    alarm.stop();
    waiting = false;
    const Request request = std::move(requests.front());
    requests.pop_front();
    if (answer[Key::worn].toBool() && process && !fileInHand.isEmpty())
        requests.push_front(ToRelease());
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
        Answer(FailureAnswer(reason, message));
}

void WorkerProcess::ProcessChanged()
{
    const QPointer<WorkerProcess> self(this);
    ReadAnswers(); // its last words
    if (!self || !process || process->state() != QProcess::NotRunning)
        return;
    if (process->error() == QProcess::FailedToStart)
        Fail(WordFor(Reason::NotStarted), WhyNotStarted(settings.program, process->errorString()));
    else if (process->exitStatus() == QProcess::NormalExit &&
             (process->exitCode() == WorkerProtocol::notStartedExitCode ||
              process->exitCode() == notLoadedExitCode))
        Fail(WordFor(Reason::NotStarted),
             QStringLiteral("cannot start a worker: ") + LastComplaint());
    else if (process->exitStatus() == QProcess::NormalExit && settings.requiresSandbox &&
             process->exitCode() == WorkerProtocol::unconfinedExitCode)
        Fail(WordFor(Reason::Unconfined), LastComplaint());
    else if (process->exitStatus() == QProcess::CrashExit && process->exitCode() == SIGXCPU)
        Fail(WordFor(Reason::TimedOut), "the worker used up its CPU time");
    else if (process->exitStatus() == QProcess::NormalExit &&
             process->exitCode() == WorkerProtocol::outOfMemoryExitCode)
        Fail(WordFor(Reason::OutOfMemory), "the worker ran out of memory");
    else if (process->exitStatus() == QProcess::NormalExit &&
             process->exitCode() == WorkerProtocol::changedExitCode)
        Fail(WordFor(Reason::Changed), "the file was shortened while it was read");
    else
        Fail(WordFor(Reason::Died),
             QStringLiteral("the worker ended with code %1").arg(process->exitCode()));
}

} // namespace Korvel::PDF
