#include "Requests.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>
#include <string>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextCodec>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int outOfMemoryExitCode = 77;
constexpr std::size_t longestLine = std::size_t(16) << 20;

#ifndef __has_feature // Clang's way to ask
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) ||                               \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool limitsAddressSpace = false; // sanitizers reserve terabytes of it
#else
constexpr bool limitsAddressSpace = true;
#endif

/** Unless the limit is lower already. */
void LowerLimit(__rlimit_resource_t resource, rlim_t value)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_max = std::min(limit.rlim_max, value);
    limit.rlim_cur = std::min(limit.rlim_cur, value);
    setrlimit(resource, &limit);
}

/** The program looks at documents that nobody vouches for. */
void RestrictProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_DUMPABLE, 0);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    LowerLimit(RLIMIT_CORE, 0);
    if (limitsAddressSpace)
        LowerLimit(RLIMIT_AS, rlim_t(4) << 30);
    // libqpdf would take the exception and save an incomplete file as a success.
    std::set_new_handler([] { _exit(outOfMemoryExitCode); });
    std::signal(SIGPIPE, SIG_IGN);
    // A terminal sends these to all its programs; whoever started this one ends it.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a write that fails says more than a process that died
}

/** The channel for answers. What a library prints goes to standard error instead, if there is one.
 */
std::FILE* TakeStandardOutput()
{
    const int channel = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (fcntl(STDERR_FILENO, F_GETFD) < 0)
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return channel < 0 ? nullptr : fdopen(channel, "w");
}

/** The next line; an empty one for one that is too long. False at the end of the input. */
bool ReadLine(std::string& line)
{
    std::streambuf& input = *std::cin.rdbuf();
    line.clear();
    int next = input.sbumpc();
    if (next == EOF)
        return false;
    for (; next != '\n' && next != EOF; next = input.sbumpc()) {
        if (line.size() <= longestLine)
            line.push_back(char(next));
    }
    if (line.size() > longestLine)
        std::string().swap(line);
    return true;
}

bool Send(std::FILE* answers, const QJsonObject& answer)
{
    const QByteArray line = QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
    return std::fwrite(line.constData(), 1, std::size_t(line.size()), answers) ==
               std::size_t(line.size()) &&
           std::fflush(answers) == 0;
}

/** False when an answer could not be sent. */
bool AnswerAll(std::FILE* answers)
{
    Korvel::Worker::Requests requests;
    for (std::string line; ReadLine(line);) {
        if (!Send(answers, requests.Answer(QByteArray::fromStdString(line))))
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1) {
        const bool asksForVersion = argc == 2 && std::strcmp(argv[1], "--version") == 0;
        std::puts(asksForVersion ? "pdfconvert-worker " PROJECT_VERSION
                                 : "usage: pdfconvert-worker [--version]");
        return asksForVersion ? 0 : 2;
    }
    RestrictProcess();
    std::FILE* const answers = TakeStandardOutput();
    QCoreApplication application(argc, argv);
    // File names are UTF-8 whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    std::ios::sync_with_stdio(false);

    try {
        return answers && AnswerAll(answers) ? 0 : 1;
    } catch (const std::bad_alloc&) { // by which Qt tells that it has no memory
        _exit(outOfMemoryExitCode);
    }
}
