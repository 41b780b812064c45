#include "VersionCommand.h"

#include "ChildProcess.h"
#include "FailureMessages.h"
#include "WorkerProcess.h"

#include <cstdio>

namespace Korvel::App {

ExitCode PrintVersion()
{
    std::puts("pdfconvert " PROJECT_VERSION);
    ChildProcess worker;
    worker.start(PDF::WorkerProcess::FindProgram(), {"--version"});
    if (!worker.waitForFinished() || worker.exitStatus() != QProcess::NormalExit ||
        worker.exitCode() != 0)
        throw BrokenInstallation();
    std::fputs(worker.readAllStandardOutput().constData(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw StandardOutputFailure();
    return ExitCode::Done;
}

} // namespace Korvel::App
