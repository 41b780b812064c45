#include "Batch.h"
#include "CommandLine.h"
#include "Interruption.h"
#include "Logging.h"
#include "Report.h"

#include <cstdio>
#include <cstring>

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

/** Overwrites a password among the arguments, which the list of processes shows. */
void HidePassword(int argc, char** argv)
{
    constexpr char option[] = "--password";
    constexpr std::size_t length = sizeof option - 1;
    for (int i = 1; i < argc; ++i) {
        char* value = nullptr;
        if (std::strcmp(argv[i], option) == 0 && i + 1 < argc)
            value = argv[i + 1];
        else if (std::strncmp(argv[i], option, length) == 0 && argv[i][length] == '=')
            value = argv[i] + length + 1;
        if (value)
            std::memset(value, '*', std::strlen(value));
    }
}

int Convert(const CommandLine& commandLine, Interruption& interruption)
{
    Report report(commandLine.quiet, commandLine.verbosity == 0);
    try {
        return int(Batch(commandLine, report, interruption).Run());
    } catch (const Failure& failure) {
        report.Complain(failure.what());
        return int(failure.code);
    } catch (const Interrupted& interrupted) {
        report.Complain(interrupted.what());
        return 128 + interruption.Signal();
    } catch (const std::exception& error) {
        report.Complain(std::string("unexpected error: ") + error.what());
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
    return Convert(*parsed.commandLine, interruption);
}
