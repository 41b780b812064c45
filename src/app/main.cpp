#include "Batch.h"
#include "CommandLine.h"
#include "Interruption.h"
#include "Report.h"

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

void LogQtMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtDebugMsg || type == QtInfoMsg)
        LOG(INFO) << text.toStdString();
    else
        LOG(WARNING) << text.toStdString();
}

/** To standard error alone: log files in the folder for temporary ones can be read by all. */
void StartLogging(const char* program, int verbosity)
{
    FLAGS_logtostderr = true;
    FLAGS_v = verbosity;
    FLAGS_minloglevel = verbosity > 0 ? google::INFO : google::FATAL;
    google::InitGoogleLogging(program);
    qInstallMessageHandler(LogQtMessage);
}

int Convert(const CommandLine& commandLine, Interruption& interruption)
{
    Report report(!commandLine.quiet && commandLine.verbosity == 0);
    try {
        Batch(commandLine, report, interruption).Run();
        return int(ExitCode::Done);
    } catch (const Failure& failure) {
        report.Complain(failure.what());
        return int(failure.code);
    } catch (const Interrupted&) {
        report.Complain(commandLine.input.toStdString() + ": interrupted");
        return 128 + interruption.Signal();
    } catch (const std::exception& error) {
        report.Complain(commandLine.input.toStdString() + ": unexpected error: " + error.what());
        return int(ExitCode::Internal);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const ParseResult parsed = ParseCommandLine(argc, argv);
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
    return Convert(*parsed.commandLine, interruption);
}
