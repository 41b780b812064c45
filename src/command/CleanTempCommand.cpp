#include "CleanTempCommand.h"

#include "FailureMessages.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace Korvel::App {

namespace {

void RequireFolder(const std::string& path)
{
    std::error_code problem;
    const std::filesystem::directory_iterator opened(path, problem);
    if (problem)
        throw Failure(ExitCode::Output, "no-temporary-folder",
                      "cannot look for temporary files in " + path + ": " + problem.message());
}

void PrintLines(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines)
        std::printf("%s\n", line.c_str());
}

} // namespace

ExitCode CleanTemp(const std::string& tempFolder, const std::vector<std::string>& targets)
{
    RequireFolder(tempFolder);
    std::for_each(targets.begin(), targets.end(), RequireFolder);
    PrintLines(PDF::SessionFolder::Sweep(tempFolder));
    for (const std::string& target : targets)
        PrintLines(PDF::LocalFileSystem::Sweep(target));
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw StandardOutputFailure();
    return ExitCode::Done;
}

} // namespace Korvel::App
