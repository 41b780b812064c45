#include "VersionCommand.h"

#include "FailureMessages.h"
#include "StartProcess.h"
#include "WorkerProcess.h"

#include <cstdio>

#include <QRegularExpression>

namespace Korvel::App {

namespace {

/** What the worker program tells of itself. */
QByteArray VersionOfWorker()
{
    auto worker = std::make_unique<QProcess>();
    if (!StartProcess(worker, PDF::WorkerProcess::FindProgram(), {"--version"}) ||
        !worker->waitForFinished() || worker->exitStatus() != QProcess::NormalExit ||
        worker->exitCode() != 0)
        throw BrokenInstallation();
    return worker->readAllStandardOutput();
}

} // namespace

ExitCode PrintVersion()
{
    std::puts("pdfconvert " PROJECT_VERSION);
    std::fputs(VersionOfWorker().constData(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw StandardOutputFailure();
    return ExitCode::Done;
}

void RequireSandbox()
{
    const QRegularExpression no(QStringLiteral(": no$"));
    QStringList missing = QString::fromUtf8(VersionOfWorker()).split('\n').filter(no);
    if (!missing.isEmpty())
        throw UnconfinedFailure(QStringLiteral("not in force here: ") +
                                missing.replaceInStrings(no, QString()).join(", "));
}

} // namespace Korvel::App
