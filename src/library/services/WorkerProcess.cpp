#include "WorkerProcess.h"

#include "PictureMemory.h"
#include "ResultFile.h"
#include "ServicesLog.h"
#include "WorkerChild.h"
#include "WorkerProgram.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <utility>

#include <QJsonDocument>
#include <QPointer>

#include <sys/stat.h>
#include <sys/wait.h>

namespace Korvel::PDF {

namespace Key = WorkerProtocol::Key;
namespace Operation = WorkerProtocol::Operation;
using WorkerProtocol::FailureAnswer;
using WorkerProtocol::Reason;
using WorkerProtocol::WordFor;

namespace {

constexpr int notLoadedExitCode = 127; // the system's loader found no room for the libraries, say
constexpr std::chrono::milliseconds lastCall(1);
constexpr std::chrono::milliseconds longestAlarm(std::numeric_limits<int>::max());
constexpr int longestAnswer = 4 * 1024 * 1024;

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

/** Whether it ended as one may that a document rules, or has tried to. */
bool IsCrash(int status)
{
    return WIFSIGNALED(status) && WTERMSIG(status) != SIGKILL && WTERMSIG(status) != SIGXCPU;
}

} // namespace

WorkerProcess::WorkerProcess(const WorkerSettings& settings)
    : WorkerProcess(std::make_shared<WorkerServer>(settings))
{
}

WorkerProcess::WorkerProcess(std::shared_ptr<WorkerServer> shared)
    : server(std::move(shared)), settings(server->Settings()), alarm(this)
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
    return FindWorkerProgram();
}

void WorkerProcess::Prepare()
{
    if (!child)
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

void WorkerProcess::Start()
{
    fileInHand.clear();
    lastComplaint.clear();
    QString why;
    child = server->NewChild(why);
    if (child) {
        whenAnswers = Watch(child->Lines(), QSocketNotifier::Read, &WorkerProcess::ReadAnswers);
        whenRoom = Watch(child->Lines(), QSocketNotifier::Write, &WorkerProcess::SendRest);
        whenRoom->setEnabled(false);
        whenComplaints =
            Watch(child->Complaints(), QSocketNotifier::Read, &WorkerProcess::ReadComplaints);
        whenEnded = Watch(child->Control(), QSocketNotifier::Read, &WorkerProcess::ProcessEnded);
        return;
    }
    const auto fail = [this, why] {
        if (!child)
            Fail(WordFor(Reason::NotStarted), why);
    };
    QMetaObject::invokeMethod(this, fail, Qt::QueuedConnection);
}

/**
 * Calls a slot when something comes or goes. That is queued: receivers may destroy the process or
 * run an event loop, neither of which they may inside one of its signals. What comes late is
 * harmless, as the slots go by the state of the process that is there.
 */
std::unique_ptr<QSocketNotifier> WorkerProcess::Watch(int descriptor, QSocketNotifier::Type what,
                                                      void (WorkerProcess::*slot)())
{
    // A child of this, so that it moves to other threads along with it.
    auto notifier = std::make_unique<QSocketNotifier>(descriptor, what, this);
    connect(notifier.get(), &QSocketNotifier::activated, this, [this, slot] {
        QMetaObject::invokeMethod(
            this, [this, slot] { (this->*slot)(); }, Qt::QueuedConnection);
    });
    return notifier;
}

void WorkerProcess::Discard()
{
    alarm.stop();
    if (child)
        child->End();
    LetGo();
}

/** Has the process end, and does not wait for that. */
void WorkerProcess::LetGo()
{
    whenAnswers.reset();
    whenRoom.reset();
    whenComplaints.reset();
    whenEnded.reset();
    child.reset();
    received = QByteArray();
    unsent = QByteArray(); // its memory may hold a password
}

void WorkerProcess::SendRequest(const Request& request)
{
    if (const QString file = FileOf(request.message); !file.isEmpty())
        fileInHand = file;
    if (!child)
        return; // which is told later
    if (request.memory)
        child->SendMemory(request.id, request.memory->Descriptor());
    unsent = QJsonDocument(request.message).toJson(QJsonDocument::Compact) + '\n';
    SendRest();
}

void WorkerProcess::SendRest()
{
    if (!child)
        return;
    unsent.remove(0, int(child->Send({unsent.constData(), std::size_t(unsent.size())})));
    if (unsent.isEmpty())
        unsent = QByteArray(); // its memory may have held a password
    whenRoom->setEnabled(!unsent.isEmpty());
}

/** Takes a new process in place of one that has looked at a file. */
void WorkerProcess::Renew()
{
    LetGo();
    Start();
}

void WorkerProcess::SendNext()
{
    while (!waiting && !requests.empty() && requests.front().isRelease) {
        requests.pop_front();
        if (child && !fileInHand.isEmpty())
            Renew();
    }
    if (waiting || requests.empty())
        return;
    waiting = true;
    if (!child || child->HasEnded()) {
        Discard();
        Start();
    }
    const QString file = FileOf(requests.front().message);
    if (!file.isEmpty() && !fileInHand.isEmpty() && file != fileInHand)
        Renew();
    SendRequest(requests.front());
    isLate = false;
    alarm.start(std::min(settings.deadline, longestAlarm));
}

void WorkerProcess::Release()
{
    if (!child || fileInHand.isEmpty())
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

/** The next line of those that have come; empty when none is whole yet. */
QByteArray WorkerProcess::NextLine()
{
    int end = 0;
    while ((end = int(received.indexOf('\n'))) < 0 && received.size() <= longestAnswer) {
        bool isAtEnd = false;
        const QByteArray more = child->ReadLines(isAtEnd);
        if (isAtEnd) {
            whenAnswers->setEnabled(false); // else it would never fall silent
            child->Kill();                  // it has ended, or can answer nothing any more
        }
        if (more.isEmpty())
            return {};
        received += more;
    }
    QByteArray line = received.left(end + 1);
    received.remove(0, end + 1);
    return line;
}

void WorkerProcess::ReadAnswers()
{
    while (child) {
        const QByteArray line = NextLine();
        if (line.isEmpty())
            break;
        const QJsonObject answer = QJsonDocument::fromJson(line).object();
        if (!IsAwaited(answer)) {
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
    if (child && received.size() > longestAnswer)
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
    if (!child)
        return;
    bool isAtEnd = false;
    const QByteArray text = child->ReadComplaints(isAtEnd); // also when nobody logs it
    if (isAtEnd)
        whenComplaints->setEnabled(false); // else it would never fall silent
    if (text.isEmpty())
        return;
    lastComplaint = QString::fromUtf8(text).trimmed();
    qCDebug(servicesLog) << "worker:" << text;
}

QString WorkerProcess::LastComplaint()
{
    ReadComplaints();
    if (lastComplaint.isEmpty() && child) // others share the program, and may have read it
        lastComplaint = QString::fromUtf8(child->Program()->LastComplaint()).trimmed();
    return lastComplaint.section(QStringLiteral("cannot start: "), -1);
}

void WorkerProcess::Answer(const QJsonObject& answer)
{
    ReadComplaints(); // those of the program, too, which nothing else tells of
    alarm.stop();
    waiting = false;
    const Request request = std::move(requests.front());
    requests.pop_front();
    if (answer[Key::worn].toBool())
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

void WorkerProcess::ProcessEnded()
{
    const QPointer<WorkerProcess> self(this);
    ReadAnswers(); // its last words
    if (!self || !child || !child->IsToldOfEnd())
        return;
    const int status = child->Status();
    if (IsCrash(status))
        server->Retire(*child);
    const int code = WIFSIGNALED(status) ? -1 : WEXITSTATUS(status);
    if (code == WorkerProtocol::notStartedExitCode || code == notLoadedExitCode)
        Fail(WordFor(Reason::NotStarted),
             QStringLiteral("cannot start a worker: ") + LastComplaint());
    else if (settings.requiresSandbox && code == WorkerProtocol::unconfinedExitCode)
        Fail(WordFor(Reason::Unconfined), LastComplaint());
    else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)
        Fail(WordFor(Reason::TimedOut), "the worker used up its CPU time");
    else if (code == WorkerProtocol::outOfMemoryExitCode)
        Fail(WordFor(Reason::OutOfMemory), "the worker ran out of memory");
    else if (code == WorkerProtocol::changedExitCode)
        Fail(WordFor(Reason::Changed), "the file was shortened while it was read");
    else
        Fail(WordFor(Reason::Died), QStringLiteral("the worker ended with code %1")
                                        .arg(WIFSIGNALED(status) ? WTERMSIG(status) : code));
}

} // namespace Korvel::PDF
