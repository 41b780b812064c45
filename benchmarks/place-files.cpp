// How a file system bears many results:
//
//     place-files SESSIONS FOLDER FILES PER-FOLDER [--without-rename]
//
// Makes empty files in a session folder and moves them into FOLDER as the command does, PER-FOLDER
// to a folder in there, all into one with 0. Prints a line of JSON whenever ten times as many are
// there.

#include "LocalFileSystem.h"
#include "SessionFolder.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <seccomp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Korvel;

constexpr int firstReport = 10'000;
constexpr int timed = 10'000;

/** As on network folders, where files are linked to their new names and unlinked from the old. */
void RefuseToRenameWithoutReplacing()
{
    const scmp_filter_ctx filter = ::seccomp_init(SCMP_ACT_ALLOW);
    if (filter == nullptr ||
        ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(renameat2), 0) != 0 ||
        ::seccomp_load(filter) != 0)
        throw std::runtime_error("cannot refuse renameat2");
    ::seccomp_release(filter);
}

double Seconds(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/** The files, numbered from 0. */
class Files
{
public:
    Files(const std::string& sessions, std::string folder, int perFolder)
        : folder(std::move(folder)),
          perFolder(perFolder),
          session(PDF::SessionFolder::Create(sessions, error))
    {
        if (!session)
            throw std::runtime_error(error);
    }

    std::string Path(int number) const { return FolderOf(number) + Name("document", number); }
    std::string Missing(int number) const { return FolderOf(number) + Name("missing", number); }

    void Place(int number)
    {
        if (perFolder != 0 && number % perFolder == 0 &&
            ::mkdir(FolderOf(number).c_str(), S_IRWXU) != 0)
            throw std::runtime_error("cannot make " + FolderOf(number));
        const std::string made = session->Path() + "/page.png";
        ::close(::open(made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!fileSystem.Move(made, Path(number)))
            throw std::runtime_error("cannot place " + Path(number) + ": " + std::strerror(errno));
    }

private:
    std::string FolderOf(int number) const
    {
        return perFolder == 0 ? folder + "/"
                              : folder + "/" + Name("part", number / perFolder) + "/";
    }

    static std::string Name(const char* kind, int number)
    {
        char name[32];
        std::snprintf(name, sizeof name, "%s-%08d", kind, number);
        return name;
    }

    const std::string folder;
    const int perFolder;
    std::string error;
    const std::shared_ptr<PDF::SessionFolder> session;
    PDF::LocalFileSystem fileSystem{session};
};

/** Looks, so many times a second, for files picked at random; `isThere` tells what is expected. */
double LookUps(int count, bool isThere, const std::function<std::string(int)>& path)
{
    std::mt19937 random(1);
    const double seconds = Seconds([&] {
        for (int i = 0; i < timed; ++i) {
            struct stat status;
            const std::string looked = path(int(random() % unsigned(count)));
            if ((::lstat(looked.c_str(), &status) == 0) != isThere)
                throw std::runtime_error("not as expected: " + looked);
        }
    });
    return timed / seconds;
}

void Measure(Files& files, int count)
{
    int placed = 0;
    for (int goal = std::min(firstReport, count); placed < count;
         goal = std::min(count, 10 * goal)) {
        const int before = placed;
        const double seconds = Seconds([&] {
            while (placed < goal)
                files.Place(placed++);
        });
        const auto found = LookUps(placed, true, [&](int number) { return files.Path(number); });
        const auto missed =
            LookUps(placed, false, [&](int number) { return files.Missing(number); });
        std::printf("{\"entries\": %d, \"placed\": %.0f, \"found\": %.0f, \"missed\": %.0f}\n",
                    placed, (placed - before) / seconds, found, missed);
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const bool links = argc == 6 && std::strcmp(argv[5], "--without-rename") == 0;
    if (argc != 5 && !links) {
        std::fputs("usage: place-files SESSIONS FOLDER FILES PER-FOLDER [--without-rename]\n",
                   stderr);
        return 2;
    }
    try {
        if (links)
            RefuseToRenameWithoutReplacing();
        Files files(argv[1], argv[2], std::atoi(argv[4]));
        Measure(files, std::atoi(argv[3]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "place-files: %s\n", error.what());
        return 1;
    }
}
