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

#include <algorithm>
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

/** Closes whatever whoever started it had open, but the standard streams and this one. */
void CloseAllBut(int channel)
{
    for (int number = STDERR_FILENO + 1; number < channel; ++number)
        ::close(number);
    ::closefrom(std::max(STDERR_FILENO, channel) + 1);
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
    CloseAllBut(arguments->settings.memoryChannel);
    CheckDescriptors();
    StartEngine(arguments->engine, argv);
    // The channel is taken before files are opened: a missing descriptor would become that of a
    // file.
    std::FILE* const answers = arguments->wantsVersion ? stdout : TakeStandardOutput();
    if (!answers)
        return 1;
    Korvel::NameFilesInUtf8();
    QCoreApplication application(argc, argv);
    std::ios::sync_with_stdio(false);
    SandboxSettings settings = arguments->settings;
    settings.hasThreadOfPool = UsesThreadOfPool();
    Sandbox sandbox(settings);

    try {
        if (arguments->wantsVersion)
            return PrintVersion(sandbox);
        WarmUp();
        EndWhereSourceIsShortened();
        ForkForEachDocument(::fileno(answers));
        sandbox.SetLimits();
        RequestHandler requests(
            [&sandbox](const std::vector<std::string>& files) { sandbox.Enter(files); },
            LargestFile(arguments->settings), arguments->settings.memoryChannel);
        const int code = AnswerAll(requests, answers, sandbox);
        // The end of the process gives the document's memory back most quickly.
        if (!IS_SANITIZED)
            ::_exit(code);
        return code;
    } catch (const std::bad_alloc&) { // by which Qt tells that it has no memory
        EndForLackOfMemory();
    }
}
