#include "Arguments.h"

#include "EngineWords.h"

#include <cstdio>
#include <string_view>

#include <QByteArray>

#include <getopt.h>

namespace Korvel::Worker {

namespace {

namespace Argument = WorkerProtocol::Argument;

constexpr char usage[] = "usage: pdfconvert-worker [--memory-limit MIB] [--time-limit SECONDS] "
                         "[--file-limit MIB] [--folder DIR] [--require-sandbox] "
                         "[--engine auto|pdfium|qt] [--pdfium FILE] [--version]\n";

/** The name as getopt_long wants it, without the dashes. */
constexpr option WithValue(const char* name)
{
    return {name + 2, required_argument, nullptr, 'v'};
}

constexpr option options[] = {WithValue(Argument::memoryLimit),
                              WithValue(Argument::timeLimit),
                              WithValue(Argument::fileLimit),
                              WithValue(Argument::folder),
                              option{Argument::requireSandbox + 2, no_argument, nullptr, 's'},
                              WithValue(Argument::engine),
                              WithValue(Argument::pdfium),
                              option{"version", no_argument, nullptr, 'V'},
                              option{}};

bool Set(int& number, const char* text, int least)
{
    bool isNumber = false;
    number = QByteArray(text).toInt(&isNumber);
    return isNumber && number >= least;
}

/** Sets an absolute path. */
bool Set(std::string& path, const char* text)
{
    path = text;
    return *text == '/';
}

bool Set(PDF::DrawingEngine& choice, std::string_view word)
{
    const auto named = EngineFor(word);
    choice = named.value_or(choice);
    return named.has_value();
}

bool SetOption(Arguments& arguments, std::string_view name, const char* value)
{
    SandboxSettings& settings = arguments.settings;
    if (name == Argument::engine)
        return Set(arguments.engine.choice, value);
    if (name == Argument::pdfium)
        return Set(arguments.engine.library, value);
    if (name == Argument::memoryLimit)
        return Set(settings.memoryLimit, value, 1);
    if (name == Argument::timeLimit)
        return Set(settings.timeLimit, value, 1);
    if (name == Argument::fileLimit)
        return Set(settings.fileLimit, value, 0);
    return name == Argument::folder && Set(settings.folder, value);
}

/** Whether the argument at hand was an option in full: what is short today means another tomorrow.
 */
bool TakeOption(Arguments& arguments, int argc, char** argv)
{
    const std::string_view argument = argv[optind];
    int index = 0;
    const int kind = ::getopt_long(argc, argv, "+", options, &index);
    if (kind == '?')
        return false;
    const std::string name = std::string("--") + options[index].name;
    arguments.wantsVersion = kind == 'V' && argc == 2; // it stands alone
    arguments.settings.requiresAll = arguments.settings.requiresAll || kind == 's';
    const bool isTaken =
        argument.substr(0, argument.find('=')) == name &&
        (arguments.wantsVersion || kind == 's' || SetOption(arguments, name, optarg));
    if (!isTaken)
        std::fprintf(stderr, "%s: not understood: %s\n", argv[0], argument.data());
    return isTaken;
}

} // namespace

std::optional<Arguments> ParseArguments(int argc, char** argv)
{
    Arguments arguments;
    bool isUnderstood = true;
    while (isUnderstood && optind < argc)
        isUnderstood = TakeOption(arguments, argc, argv);
    if (isUnderstood)
        return arguments;
    std::fputs(usage, stderr);
    return std::nullopt;
}

} // namespace Korvel::Worker
