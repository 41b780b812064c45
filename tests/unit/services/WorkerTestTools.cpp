#include "WorkerTestTools.h"

#include "WorkerProcess.h"

#include <fstream>
#include <mutex>
#include <optional>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QTimer>

namespace Korvel::PDF::Test {

namespace {

std::mutex messagesMutex;
std::string messages;

void KeepMessage(QtMsgType, const QMessageLogContext&, const QString& message)
{
    const std::lock_guard lock(messagesMutex);
    messages += message.toStdString() + '\n';
}

/** What stands in the process's stat file from the third field on: its state, then its parent. */
std::string StateOf(int pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t nameEnd = text.rfind(") ");
    return nameEnd == std::string::npos ? std::string() : text.substr(nameEnd + 2);
}

const QTemporaryDir& TestFolder()
{
    static const QTemporaryDir folder;
    return folder;
}

} // namespace

QString ScriptedWorker()
{
    return QStringLiteral(SCRIPTED_WORKER);
}

QString MakeFile(const QString& name, const QByteArray& content)
{
    QSaveFile file(TestFolder().filePath(name)); // whole whenever another thread looks at it
    const bool isThere = QFileInfo(file.fileName()).size() == content.size();
    if (!isThere && file.open(QFile::WriteOnly) && file.write(content) == content.size())
        file.commit();
    return file.fileName();
}

QString ResultPath()
{
    return TestFolder().filePath("result.png");
}

QString WorkerWithout(const QString& measures)
{
    const QString script = QStringLiteral("#!/bin/sh\nexec '%1' %2 '%3' \"$@\"\n");
    const QString file =
        MakeFile("worker-without-" + measures,
                 script.arg(QLatin1String(DEPRIVE), measures, QLatin1String(WORKER)).toUtf8());
    QFile::setPermissions(file, QFile::ReadUser | QFile::WriteUser | QFile::ExeUser);
    return file;
}

QJsonObject AskAndWait(WorkerProcess& worker, const QJsonObject& request)
{
    std::optional<QJsonObject> received;
    worker.Ask(request, [&received](const QJsonObject& answer) { received = answer; });
    WaitUntil([&received] { return received.has_value(); });
    return received.value();
}

QJsonObject Do(const QString& what)
{
    return {{"do", what}};
}

bool WaitUntil(const std::function<bool()>& condition)
{
    // Waits for events, not for a while: the tests ask thousands of requests.
    const QDeadlineTimer deadline(60'000);
    QTimer tick;
    tick.start(10);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

int ParentOf(int pid)
{
    const std::string state = StateOf(pid);
    return state.empty() ? -1 : std::stoi(state.substr(2));
}

std::vector<int> ChildProcesses(int parent)
{
    std::vector<int> children;
    for (const QString& name : QDir("/proc").entryList(QDir::Dirs)) {
        if (const int pid = name.toInt(); pid > 0 && ParentOf(pid) == parent)
            children.push_back(pid);
    }
    return children;
}

std::vector<int> Workers()
{
    std::vector<int> workers;
    for (const int program : ChildProcesses()) {
        const std::vector<int> itsOwn = ChildProcesses(program);
        workers.insert(workers.end(), itsOwn.begin(), itsOwn.end());
    }
    return workers;
}

bool HasEnded(int pid)
{
    const std::string state = StateOf(pid);
    return state.empty() || state.front() == 'Z' || state.front() == 'X'; // is being waited for
}

int CountOpenDescriptors()
{
    return int(QDir("/proc/self/fd")
                   .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                   .size());
}

MessageCapture::MessageCapture()
{
    const std::lock_guard lock(messagesMutex);
    messages.clear();
    QLoggingCategory::setFilterRules("korvel.*=true");
    qInstallMessageHandler(KeepMessage);
}

MessageCapture::~MessageCapture()
{
    qInstallMessageHandler(nullptr);
    QLoggingCategory::setFilterRules({});
}

std::string MessageCapture::Text() const
{
    const std::lock_guard lock(messagesMutex);
    return messages;
}

} // namespace Korvel::PDF::Test
