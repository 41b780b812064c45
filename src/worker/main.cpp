#include "Requests.h"

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

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool limitsAddressSpace = false; // sanitizers reserve terabytes of it
#else
constexpr bool limitsAddressSpace = true;
#endif

/** The program looks at documents that nobody vouches for. */
void RestrictProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_DUMPABLE, 0);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const rlimit addressSpace = {rlim_t(4) << 30, rlim_t(4) << 30};
    if (limitsAddressSpace)
        setrlimit(RLIMIT_AS, &addressSpace);
    // libqpdf would take the exception and save an incomplete file as a success.
    std::set_new_handler([] { _exit(outOfMemoryExitCode); });
    std::signal(SIGPIPE, SIG_IGN);
}

/** The channel for answers. What a library prints goes to standard error instead. */
std::FILE* TakeStandardOutput()
{
    const int channel = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return fdopen(channel, "w");
}

bool Send(std::FILE* answers, const QJsonObject& answer)
{
    const QByteArray line = QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
    return std::fwrite(line.constData(), 1, std::size_t(line.size()), answers) ==
               std::size_t(line.size()) &&
           std::fflush(answers) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::puts("pdfconvert-worker " PROJECT_VERSION);
        return 0;
    }
    RestrictProcess();
    std::FILE* const answers = TakeStandardOutput();
    QCoreApplication application(argc, argv);
    // File names are UTF-8 whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    std::ios::sync_with_stdio(false);

    Korvel::Worker::Requests requests;
    for (std::string line; std::getline(std::cin, line);) {
        if (!Send(answers, requests.Answer(QByteArray::fromStdString(line))))
            return 1;
    }
    return 0;
}
