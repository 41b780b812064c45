#include "Batch.h"
#include "CleanTempCommand.h"
#include "CommandLine.h"
#include "Console.h"
#include "Descriptors.h"
#include "FailureMessages.h"
#include "FileNames.h"
#include "Interruption.h"
#include "Logging.h"
#include "RawArguments.h"
#include "ReportCommand.h"
#include "VersionCommand.h"

#include <csignal>
#include <cstdio>
#include <new>
#include <system_error>

#include <QCoreApplication>

#include <fcntl.h>
#include <glog/logging.h>
#include <sys/resource.h>
#include <unistd.h>

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

/**
 * Opens the standard streams that are closed, since the next files that are opened would get their
 * numbers, and be read and written in their place. Each is opened for what it is not used for, so
 * that whoever uses it fails.
 */
void OpenStandardStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

/** Prints help, or what is wrong with the command line. */
int Tell(const ParseResult& parsed)
{
    const bool isHelp = parsed.code == ExitCode::Done;
    std::FILE* const stream = isHelp ? stdout : stderr;
    const bool isTold = std::fputs(parsed.text.c_str(), stream) >= 0 && std::fflush(stream) == 0;
    if (isTold || !isHelp)
        return int(parsed.code);
    const Failure failure = StandardOutputFailure();
    std::fprintf(stderr, "pdfconvert: %s\n", failure.what());
    return int(failure.code);
}

int CarryOut(const Options& options, Console& console, Interruption& interruption)
{
    try {
        switch (options.command) {
        case Options::Command::Version:
            return int(PrintVersion());
        case Options::Command::CleanTemp:
            return int(CleanTemp(options.run.tempFolder, options.input.paths));
        case Options::Command::Report:
            return int(ReportCommand(options.report, console, interruption).Run());
        case Options::Command::Convert:
            break;
        }
        if (options.run.requiresSandbox)
            RequireSandbox();
        return int(Batch(options, console, interruption).Convert());
    } catch (const Failure& failure) {
        console.Failed({}, failure);
        return int(failure.code);
    } catch (const Interrupted&) {
        return 128 + interruption.Signal();
    } catch (const std::exception& error) {
        console.Failed({}, Failure(ExitCode::Internal, "internal",
                                   std::string("unexpected error: ") + error.what()));
        return int(ExitCode::Internal);
    }
}

int Start(int argc, char** argv)
{
    constexpr int fewestDescriptors = 32; // Qt and GLib abort without some of their own
    const ParseResult parsed = ParseCommandLine(argc, argv);
    HidePassword(argc, argv);
    if (!parsed.options)
        return Tell(parsed);
    NeedDescriptors(fewestDescriptors);
    std::signal(SIGPIPE, SIG_IGN); // from here on something would be left behind
    Korvel::NameFilesInUtf8();
    Interruption interruption;
    Application application(argc, argv);
    StartLogging(argv[0], parsed.options->console.verbosity);
    Console console(parsed.options->console, interruption);
    const int code = CarryOut(*parsed.options, console, interruption);
    if (console.Close(code) || interruption.Signal() != 0)
        return code;
    console.Failed({}, StandardOutputFailure());
    return int(ExitCode::Output);
}

int FailToStart(const char* why)
{
    std::fprintf(stderr, "pdfconvert: %s\n", why);
    return int(ExitCode::Internal);
}

} // namespace

int main(int argc, char** argv)
{
    OpenStandardStreams();
    std::signal(SIGCHLD, SIG_DFL); // ignored by whoever started it, ends would not be told
    std::signal(SIGXFSZ, SIG_IGN); // a write that fails says more than a process that died
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    try {
        return Start(argc, argv);
    } catch (const std::bad_alloc&) {
        return FailToStart("cannot start: there is too little memory");
    } catch (const std::system_error&) {
        return FailToStart("cannot start: there is no room for another thread");
    } catch (const std::exception& error) {
        return FailToStart(error.what());
    }
}
