#include "VersionCommand.h"

#include "FailureMessages.h"
#include "StartProcess.h"
#include "WorkerProcess.h"

#include <cstdio>

namespace Korvel::App {

ExitCode PrintVersion()
{
    std::puts("pdfconvert " PROJECT_VERSION);
    auto worker = std::make_unique<QProcess>();
    if (!StartProcess(worker, PDF::WorkerProcess::FindProgram(), {"--version"}) ||
        !worker->waitForFinished() || worker->exitStatus() != QProcess::NormalExit ||
        worker->exitCode() != 0)
        throw BrokenInstallation();
    std::fputs(worker->readAllStandardOutput().constData(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw StandardOutputFailure();
    return ExitCode::Done;
}

} // namespace Korvel::App
