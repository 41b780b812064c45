#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QJsonObject>
#include <QString>

#include <unistd.h>

namespace Korvel::PDF {
class WorkerProcess;
}

namespace Korvel::PDF::Test {

/** The stand-in for the worker that does what requests tell it to (ScriptedWorker.cpp). */
QString ScriptedWorker();

/** A file in a folder of this process's own, with some bytes; its path. */
QString MakeFile(const QString& name, const QByteArray& content = "content");

/** The path of a file in that folder that results may go to. */
QString ResultPath();

/** The worker of the product, as on a machine without some measures (Deprive.cpp). */
QString WorkerWithout(const QString& measures);

/** Asks, and runs the event loop until the answer is there. */
QJsonObject AskAndWait(WorkerProcess& worker, const QJsonObject& request);

/** A request that tells the scripted worker what to do. */
QJsonObject Do(const QString& what);

/** Runs the event loop until `condition` holds; whether it came to hold within a minute. */
bool WaitUntil(const std::function<bool()>& condition);

/** The process that is its parent; -1 where it has ended and was waited for. */
int ParentOf(int pid);

/** The children of a process, ended ones that nobody has waited for included. */
std::vector<int> ChildProcesses(int parent = ::getpid());

/** The processes that look at documents: the children of the programs that this process runs. */
std::vector<int> Workers();

/** Whether this child has ended, seen without waiting for it. */
bool HasEnded(int pid);

/** How many descriptors this process has open. */
int CountOpenDescriptors();

/** Collects all messages of Qt's log as long as it lives, from every thread. */
class MessageCapture
{
public:
    MessageCapture();
    ~MessageCapture();

    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    /** All messages so far, a line each. */
    std::string Text() const;
};

} // namespace Korvel::PDF::Test
