#include "Arguments.h"
#include "Channel.h"
#include "Memory.h"
#include "Requests.h"
#include "Sandbox.h"

#include <cstdio>
#include <iostream>
#include <new>
#include <string>

#include <QCoreApplication>
#include <QTextCodec>

using namespace Korvel::Worker;

namespace {

/** Tells what is in force by entering the sandbox. */
int PrintVersion(Sandbox& sandbox)
{
    sandbox.Enter({});
    std::puts("pdfconvert-worker " PROJECT_VERSION);
    for (const Measure& measure : sandbox.Measures())
        std::printf("%s: %s\n", measure.name, measure.isInForce ? "yes" : "no");
    return std::fflush(stdout) == 0 ? 0 : 1;
}

/** False when an answer could not be sent. */
bool AnswerAll(std::FILE* answers, Sandbox& sandbox)
{
    Requests requests([&sandbox](const std::string& file) { sandbox.Enter(file); });
    for (std::string line; ReadLine(line);) {
        sandbox.LimitTime();
        if (!Send(answers, requests.Answer(QByteArray::fromStdString(line))))
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const auto arguments = ParseArguments(argc, argv);
    if (!arguments) {
        std::puts("usage: pdfconvert-worker [--memory-limit MIB] [--time-limit SECONDS] "
                  "[--folder DIR] [--version]");
        return 2;
    }
    // First, as a descriptor that is missing would become that of something else.
    std::FILE* const answers = arguments->wantsVersion ? stdout : TakeStandardOutput();
    Sandbox sandbox(arguments->settings);
    QCoreApplication application(argc, argv);
    // File names are UTF-8 whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    std::ios::sync_with_stdio(false);

    try {
        if (arguments->wantsVersion)
            return PrintVersion(sandbox);
        return answers && AnswerAll(answers, sandbox) ? 0 : 1;
    } catch (const std::bad_alloc&) { // by which Qt tells that it has no memory
        EndForLackOfMemory();
    }
}
