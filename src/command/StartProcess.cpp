#include "StartProcess.h"

#include <mutex>
#include <vector>

namespace Korvel::App {

namespace {

/** Its destructor would kill what it takes for its process. */
void Abandon(std::unique_ptr<QProcess> process)
{
    static std::mutex mutex;
    static auto* const abandoned = new std::vector<QProcess*>; // reachable, for leak checkers
    const std::lock_guard lock(mutex);
    process->disconnect();
    process->setParent(nullptr);
    abandoned->push_back(process.release());
}

} // namespace

bool StartProcess(std::unique_ptr<QProcess>& process, const QString& program,
                  const QStringList& arguments)
{
    process->start(program, arguments);
    if (process->processId() >= 0)
        return true;
    QObject* const parent = process->parent();
    Abandon(std::move(process));
    process = std::make_unique<QProcess>(parent);
    return false;
}

} // namespace Korvel::App
