#include "World.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace Korvel::PDF::Test {

namespace fs = std::filesystem;

NumberedFiles::~NumberedFiles()
{
    for (const std::string& path : realFiles)
        ::unlink(path.c_str());
}

void NumberedFiles::Add(const std::string& path)
{
    files[path] = "added";
    MakeReal(path);
}

bool NumberedFiles::Move(const ioPath& from, const ioPath& to)
{
    const bool moved = FakeFileSystem::Move(from, to);
    if (moved)
        MakeReal(to.utf8string());
    return moved;
}

void NumberedFiles::MakeReal(const std::string& path)
{
    const int file = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (file < 0)
        return;
    ::close(file);
    realFiles.push_back(path);
}

std::vector<std::string> World::Copies()
{
    std::vector<std::string> copies;
    for (const fs::directory_entry& entry : fs::directory_iterator("tmp"))
        copies.push_back(entry.path().string());
    std::sort(copies.begin(), copies.end());
    return copies;
}

void World::GiveUpShares()
{
    names.reset();
    pdfs.reset();
    files.reset();
    converter.reset();
}

} // namespace Korvel::PDF::Test
