#include "CleanTempCommand.h"

#include "FailureMessages.h"
#include "SessionFolder.h"

#include <cstdio>
#include <filesystem>

namespace Korvel::App {

ExitCode CleanTemp(const std::string& tempFolder)
{
    std::error_code problem;
    const std::filesystem::directory_iterator opened(tempFolder, problem);
    if (problem)
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot look for temporary files in " + tempFolder + ": " +
                          problem.message());
    for (const std::string& removed : PDF::SessionFolder::Sweep(tempFolder))
        std::printf("%s\n", removed.c_str());
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw StandardOutputFailure();
    return ExitCode::Done;
}

} // namespace Korvel::App
