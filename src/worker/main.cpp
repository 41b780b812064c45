#include "Limits.h"
#include "Memory.h"
#include "Requests.h"

#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>
#include <string>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextCodec>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::size_t longestLine = std::size_t(16) << 20;

/** In MiB; 0 where the arguments are not understood. */
int MemoryLimit(int argc, char** argv)
{
    if (argc == 1)
        return Korvel::Worker::defaultMemoryLimit;
    if (argc != 3 || std::strcmp(argv[1], "--memory-limit") != 0)
        return 0;
    return QByteArray(argv[2]).toInt();
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
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::puts("pdfconvert-worker " PROJECT_VERSION);
        return 0;
    }
    const int memoryLimit = MemoryLimit(argc, argv);
    if (memoryLimit < 1) {
        std::puts("usage: pdfconvert-worker [--memory-limit MIB | --version]");
        return 2;
    }
    Korvel::Worker::RestrictProcess();
    Korvel::Worker::LimitMemory(memoryLimit);
    std::FILE* const answers = TakeStandardOutput();
    QCoreApplication application(argc, argv);
    // File names are UTF-8 whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    std::ios::sync_with_stdio(false);

    try {
        return answers && AnswerAll(answers) ? 0 : 1;
    } catch (const std::bad_alloc&) { // by which Qt tells that it has no memory
        Korvel::Worker::EndForLackOfMemory();
    }
}
