#include "WorkerServer.h"

#include "ServerProgram.h"
#include "WorkerChild.h"
#include "WorkerProgram.h"

namespace Korvel::PDF {

namespace {

WorkerSettings WithProgram(WorkerSettings settings)
{
    settings.program = WorkerProgramOf(settings);
    return settings;
}

} // namespace

WorkerServer::WorkerServer(const WorkerSettings& settings) : settings(WithProgram(settings)) {}

WorkerServer::~WorkerServer() = default;

void WorkerServer::Prepare()
{
    QString why;
    Running(why);
}

std::shared_ptr<ServerProgram> WorkerServer::Running(QString& why)
{
    const std::lock_guard lock(mutex);
    if (!program || !program->IsRunning())
        program = ServerProgram::Start(settings, why);
    return program;
}

/** Null where there is none to be had, and then `why` tells it. */
std::unique_ptr<WorkerChild> WorkerServer::NewChild(QString& why)
{
    const std::shared_ptr<ServerProgram> running = Running(why);
    if (!running)
        return nullptr;
    std::unique_ptr<WorkerChild> child = WorkerChild::Order(running);
    if (!child)
        why = QStringLiteral("cannot start a worker: the system has no room for another process");
    return child;
}

} // namespace Korvel::PDF
