#include "AnswerChannel.h"
#include "Arguments.h"
#include "Engine.h"
#include "FileNames.h"
#include "FileState.h"
#include "ForkServer.h"
#include "NotStarted.h"
#include "OutOfMemory.h"
#include "RequestHandler.h"
#include "Sandbox.h"
#include "Sanitizers.h"
#include "WarmUp.h"

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Korvel::Worker;

namespace {

/** Qt and GLib abort without some of their own. */
void CheckDescriptors()
{
    constexpr rlim_t fewest = 16;
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < fewest)
        EndAsNotStarted("too few files may be open at once");
}

/** Closes whatever whoever started it had open, and has the standard streams be open. */
void KeepStandardStreams()
{
    ::closefrom(STDERR_FILENO + 1);
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (::fcntl(number, F_GETFD) < 0)
            ::open("/dev/null", O_RDWR); // takes the lowest number that is free
    }
}

/** Another descriptor for it, as children have a standard input of their own. */
int TakeStandardInput()
{
    const int orders = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (orders < 0)
        EndAsNotStarted("too few files may be open at once");
    return orders;
}

/** Whether the limit of processes, which is none for root, leaves another one to be had. */
bool CanStartProcess()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    return child > 0 && ::waitpid(child, nullptr, 0) == child;
}

const char* StateOf(const Measure& measure, bool isProcessLimitBinding)
{
    if (!measure.isInForce)
        return "no";
    const bool isBinding = std::string_view(measure.name) != processLimit || isProcessLimitBinding;
    return isBinding ? "yes" : "not as root";
}

/** Tells what is in force by entering the sandbox. */
int PrintVersion(Sandbox& sandbox)
{
    sandbox.SetLimits();
    const bool isProcessLimitBinding = !CanStartProcess();
    sandbox.Enter({});
    std::puts("pdfconvert-worker " PROJECT_VERSION);
    std::printf("engine: %s\n", EngineName().c_str());
    for (const Measure& measure : sandbox.Measures())
        std::printf("%s: %s\n", measure.name, StateOf(measure, isProcessLimitBinding));
    return std::fflush(stdout) == 0 ? 0 : 1;
}

/** In bytes. */
std::uint64_t LargestFile(const SandboxSettings& settings)
{
    return settings.fileLimit == 0 ? std::numeric_limits<std::uint64_t>::max()
                                   : std::uint64_t(settings.fileLimit) << 20;
}

/** The answer, and what of the sandbox is missing; the machine is not at fault in other builds. */
QJsonObject WithMissing(QJsonObject answer, const Sandbox& sandbox)
{
    QJsonArray missing;
    for (const std::string& name : sandbox.Missing())
        missing.append(QString::fromStdString(name));
    if (!IS_SANITIZED && !missing.isEmpty())
        answer[Korvel::WorkerProtocol::Key::missing] = missing;
    return answer;
}

/** Answers all requests for one document, and gives the exit code. */
int AnswerAll(RequestHandler& requests, std::FILE* answers, const Sandbox& sandbox)
{
    for (std::string line; ReadLine(line);) {
        sandbox.LimitTime();
        const QJsonObject answer = requests.Answer(QByteArray::fromStdString(line));
        if (!Send(answers, WithMissing(answer, sandbox)))
            return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const auto arguments = ParseArguments(argc, argv);
    if (!arguments)
        return 2;
    KeepStandardStreams();
    CheckDescriptors();
    StartEngine(arguments->engine, argv);
    Korvel::NameFilesInUtf8();
    QCoreApplication application(argc, argv);
    std::ios::sync_with_stdio(false);
    SandboxSettings settings = arguments->settings;
    settings.hasThreadOfPool = UsesThreadOfPool();
    if (!arguments->wantsVersion)
        settings.memoryChannel = TakeStandardInput();
    Sandbox sandbox(settings);

    try {
        if (arguments->wantsVersion)
            return PrintVersion(sandbox);
        WarmUp();
        EndWhereSourceIsShortened();
        std::FILE* const answers = ::fdopen(ForkForEachDocument(settings.memoryChannel), "w");
        if (!answers)
            EndAsNotStarted("there is no memory to answer from");
        sandbox.SetLimits();
        RequestHandler requests(
            [&sandbox](const std::vector<std::string>& files) { sandbox.Enter(files); },
            LargestFile(settings), settings.memoryChannel);
        const int code = AnswerAll(requests, answers, sandbox);
        // The end of the process gives the document's memory back most quickly.
        if (!IS_SANITIZED)
            ::_exit(code);
        return code;
    } catch (const std::bad_alloc&) { // by which Qt tells that it has no memory
        EndForLackOfMemory();
    }
}
