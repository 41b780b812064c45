// Line 1: the file to move, seen from a folder with some entries. Line 2: where to, seen from the
// same folder, or from its twin on another volume if line 3 is "far".

#include "Fuzzing.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "TempFolder.h"

#include <fstream>
#include <map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Korvel;

namespace {

namespace fs = std::filesystem;

void WriteFile(const std::string& path, const std::string& content)
{
    std::ofstream(path) << content;
}

void MakeEntries(const std::string& folder)
{
    fs::create_directories(folder + "/folder/below");
    WriteFile(folder + "/file", "one");
    WriteFile(folder + "/folder/file", "two");
    WriteFile(folder + "/empty", "");
    fs::create_symlink("file", folder + "/link");
    fs::create_symlink("nowhere", folder + "/dangling");
    fs::create_symlink("folder", folder + "/linked-folder");
    ::mkfifo((folder + "/fifo").c_str(), 0600);
}

/** Path -> kind, and the content of a file or the target of a link, of everything in a folder. */
using State = std::map<std::string, std::string>;

void Describe(const std::string& folder, State& state)
{
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const fs::file_status status = entry.symlink_status();
        std::string text = std::to_string(int(status.type())) + ' ';
        if (fs::is_regular_file(status))
            text += std::string(std::istreambuf_iterator<char>(std::ifstream(entry.path()).rdbuf()),
                                {});
        if (fs::is_symlink(status))
            text += fs::read_symlink(entry.path()).native();
        state[entry.path().native()] = text;
    }
}

bool StaysInside(const std::string& name)
{
    return name.find("..") == std::string::npos;
}

bool IsRegularFile(const std::string& path)
{
    struct stat status = {};
    return path.find('\0') == std::string::npos && ::lstat(path.c_str(), &status) == 0 &&
           S_ISREG(status.st_mode);
}

/** Whether a new file could be made there. */
bool IsFree(const std::string& path)
{
    const int file = path.find('\0') == std::string::npos
                         ? ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600)
                         : -1;
    if (file < 0)
        return false;
    ::close(file);
    ::unlink(path.c_str());
    return true;
}

class Folders
{
public:
    Folders()
        : near(Fuzz::MakeTempFolder()), far(Fuzz::MakeTempFolder(std::getenv("FUZZ_OTHER_VOLUME")))
    {
        std::string error;
        fileSystem = std::make_unique<PDF::LocalFileSystem>(
            PDF::SessionFolder::Create(Fuzz::MakeTempFolder(), error));
    }
    ~Folders() { Clear(); }

    const std::string near;
    const std::string far;
    std::unique_ptr<PDF::LocalFileSystem> fileSystem;

    void Fill() const
    {
        Clear();
        MakeEntries(near);
        MakeEntries(far);
    }

    State Now() const
    {
        State state;
        Describe(near, state);
        Describe(far, state);
        return state;
    }

private:
    void Clear() const
    {
        for (const std::string& folder : {near, far}) {
            for (const auto& entry : fs::directory_iterator(folder))
                fs::remove_all(entry.path());
        }
    }
};

/** The same entry under the path that the listing of its folder gives it. */
std::string Resolved(const std::string& path)
{
    return (fs::canonical(fs::path(path).parent_path()) / fs::path(path).filename()).native();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto lines = Fuzz::Lines(Fuzz::Text(data, size), 3);
    if (!StaysInside(lines[0]) || !StaysInside(lines[1]))
        return 0;
    static const Folders folders;
    folders.Fill();
    const std::string from = folders.near + '/' + lines[0];
    const std::string to = (lines[2] == "far" ? folders.far : folders.near) + '/' + lines[1];
    const bool possible = IsRegularFile(from) && IsFree(to);

    State expected = folders.Now();
    if (possible) {
        auto moved = expected.extract(Resolved(from));
        moved.key() = Resolved(to);
        expected.insert(std::move(moved));
    }
    Fuzz::Require(folders.fileSystem->Move(from, to) == possible, "moved where that is possible");
    Fuzz::Require(folders.Now() == expected, "the file lies at one path, and nothing else changed");
    return 0;
}
