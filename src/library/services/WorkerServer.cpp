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
    return running ? WorkerChild::Order(running, why) : nullptr;
}

/** Has the program of this process make no more of them; those that it has made stay. */
void WorkerServer::Retire(const WorkerChild& child)
{
    const std::lock_guard lock(mutex);
    if (program == child.Program())
        program.reset();
}

} // namespace Korvel::PDF
