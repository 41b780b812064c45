#include "Batch.h"
#include "CommandLine.h"
#include "Interruption.h"
#include "Logging.h"
#include "Report.h"
#include "Services.h"
#include "SummaryCommand.h"
#include "Version.h"

#include <cstdio>

#include <QCoreApplication>
#include <QTextCodec>

#include <glog/logging.h>
#include <sys/resource.h>

using namespace Korvel::App;

namespace {

/** Ends the program in good order when an exception leaves a slot. */
class Application : public QCoreApplication
{
public:
    using QCoreApplication::QCoreApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        try {
            return QCoreApplication::notify(receiver, event);
        } catch (const std::exception& error) {
            LOG(ERROR) << "exception in a slot: " << error.what();
            exit(int(ExitCode::Internal));
            return false;
        }
    }
};

int Run(const CommandLine& commandLine, Report& report, Interruption& interruption)
{
    try {
        if (commandLine.version)
            return int(PrintVersion());
        if (commandLine.cleanTemp)
            return int(Services::CleanUp(commandLine));
        if (commandLine.summary)
            return int(SummaryCommand(*commandLine.summary, report, interruption).Run());
        return int(Batch(commandLine, report, interruption).Run());
    } catch (const Failure& failure) {
        report.Failed({}, failure);
        return int(failure.code);
    } catch (const Interrupted&) {
        return 128 + interruption.Signal();
    } catch (const std::exception& error) {
        report.Failed({}, Failure(ExitCode::Internal, "internal",
                                  std::string("unexpected error: ") + error.what()));
        return int(ExitCode::Internal);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const ParseResult parsed = ParseCommandLine(argc, argv);
    HidePassword(argc, argv);
    if (!parsed.commandLine) {
        std::fputs(parsed.text.c_str(), parsed.code == ExitCode::Done ? stdout : stderr);
        return int(parsed.code);
    }
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    Interruption interruption;
    Application application(argc, argv);
    // File names are UTF-8 whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    StartLogging(argv[0], parsed.commandLine->verbosity);
    Report report(*parsed.commandLine);
    const int code = Run(*parsed.commandLine, report, interruption);
    return report.Close(code) ? code : int(ExitCode::Output);
}
