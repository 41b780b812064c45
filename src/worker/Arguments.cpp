#include "Arguments.h"

#include <cstring>
#include <string_view>

#include <QByteArray>

namespace Korvel::Worker {

namespace {

bool Set(int& number, const char* text)
{
    number = QByteArray(text).toInt();
    return number > 0;
}

bool Set(std::string& folder, const char* text)
{
    folder = text;
    return *text == '/';
}

bool SetOption(SandboxSettings& settings, std::string_view name, const char* value)
{
    namespace Argument = WorkerProtocol::Argument;
    if (name == Argument::memoryLimit)
        return Set(settings.memoryLimit, value);
    if (name == Argument::timeLimit)
        return Set(settings.timeLimit, value);
    return name == Argument::folder && Set(settings.folder, value);
}

} // namespace

std::optional<Arguments> ParseArguments(int argc, const char* const* argv)
{
    Arguments arguments;
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        arguments.wantsVersion = true;
        return arguments;
    }
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc || !SetOption(arguments.settings, argv[i], argv[i + 1]))
            return std::nullopt;
    }
    return arguments;
}

} // namespace Korvel::Worker
