// Moving results to their names, and finding free ones.

#include "GetNextAvaliableIndex.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <QFile>
#include <QTemporaryDir>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace Korvel;

/** A folder in memory, and a file system of ours. */
class Files
{
public:
    std::string Path(const std::string& name) const
    {
        return folder.path().toStdString() + "/" + name;
    }

    std::string error;
    const QTemporaryDir folder{QStringLiteral("/dev/shm/benchmark-XXXXXX")};
    const std::shared_ptr<PDF::IFileSystem> fileSystem = std::make_shared<PDF::LocalFileSystem>(
        PDF::SessionFolder::Create(folder.path().toStdString(), error));
};

void MoveOnOneVolume(benchmark::State& state)
{
    Files files;
    ioPath from(files.Path("a.png"));
    ioPath to(files.Path("b.png"));
    std::ofstream(from.utf8string()) << "content";
    for (auto step : state) {
        if (!files.fileSystem->Move(from, to))
            state.SkipWithError("not moved");
        std::swap(from, to);
    }
}

BENCHMARK(MoveOnOneVolume);

void BareRename(benchmark::State& state)
{
    Files files;
    std::string from = files.Path("a.png");
    std::string to = files.Path("b.png");
    std::ofstream(from) << "content";
    for (auto step : state) {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
            state.SkipWithError("not moved");
        std::swap(from, to);
    }
}

BENCHMARK(BareRename);

/** With the same promise: nothing but a regular file is moved. */
void LookAndRename(benchmark::State& state)
{
    Files files;
    std::string from = files.Path("a.png");
    std::string to = files.Path("b.png");
    std::ofstream(from) << "content";
    for (auto step : state) {
        struct stat status = {};
        if (::lstat(from.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
            ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
            state.SkipWithError("not moved");
        std::swap(from, to);
    }
}

BENCHMARK(LookAndRename);

// Across volumes, so many megabytes.

enum Way { ToDisk, ToMemory };

using MoveBetween = bool (*)(const Files& files, const std::string& from, const std::string& to);

void MoveAcross(benchmark::State& state, MoveBetween move, Way way)
{
    const Files files;
    const QTemporaryDir disk(QStringLiteral("/var/tmp/benchmark-XXXXXX"));
    const std::string inMemory = files.Path("page.bmp");
    const std::string onDisk = disk.path().toStdString() + "/page.bmp";
    const std::string& from = way == ToDisk ? inMemory : onDisk;
    const std::string& to = way == ToDisk ? onDisk : inMemory;
    const std::string content(std::size_t(state.range(0)) << 20, 'x');
    for (auto step : state) {
        state.PauseTiming();
        ::unlink(to.c_str());
        std::ofstream(from) << content;
        state.ResumeTiming();
        if (!move(files, from, to))
            state.SkipWithError("not moved");
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(content.size()));
}

bool MoveByService(const Files& files, const std::string& from, const std::string& to)
{
    return files.fileSystem->Move(ioPath(from), ioPath(to));
}

bool FlushFolderOf(const std::string& file)
{
    const int folder =
        ::open(file.substr(0, file.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isDone = ::fsync(folder) == 0;
    ::close(folder);
    return isDone;
}

/** With or without the promise that the bytes and the name are on the disk. */
template <bool flushes>
bool MoveBySendfile(const Files&, const std::string& from, const std::string& to)
{
    const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    const int target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    ssize_t count = 0;
    do
        count = ::sendfile(target, source, nullptr, std::size_t(1) << 30);
    while (count > 0);
    const bool isDone = count == 0 && (!flushes || (::fsync(target) == 0 && FlushFolderOf(to)));
    ::close(source);
    ::close(target);
    return isDone && ::unlink(from.c_str()) == 0;
}

/** Without that promise. */
bool MoveByQt(const Files&, const std::string& from, const std::string& to)
{
    return QFile::rename(QString::fromStdString(from), QString::fromStdString(to));
}

void Sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(32)->Arg(256)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(MoveAcross, OursToDisk, MoveByService, ToDisk)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, SendfileToDisk, MoveBySendfile<true>, ToDisk)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, SendfileToDiskUnflushed, MoveBySendfile<false>, ToDisk)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, QtToDiskUnflushed, MoveByQt, ToDisk)->Apply(Sizes);
// In memory, flushing does nothing.
BENCHMARK_CAPTURE(MoveAcross, OursToMemory, MoveByService, ToMemory)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, SendfileToMemory, MoveBySendfile<false>, ToMemory)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, QtToMemory, MoveByQt, ToMemory)->Apply(Sizes);

/** A folder of page(2).png, page(3).png and so on, made in any order. */
void FillFolder(const Files& files, int count)
{
    std::vector<int> numbers;
    for (int number = 2; number < 2 + count; ++number)
        numbers.push_back(number);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (const int number : numbers)
        std::ofstream(files.Path("page(" + std::to_string(number) + ").png"));
}

void FreeNumber(benchmark::State& state)
{
    Files files;
    FillFolder(files, int(state.range(0)));
    const ioPath folder(files.folder.path().toStdString());
    const std::regex pattern("page\\(([0-9]+)\\)\\.png");
    for (auto step : state) {
        if (PDF::Util::GetNextAvaliableIndex(folder, pattern) != std::to_string(2 + state.range(0)))
            state.SkipWithError("another number");
    }
}

BENCHMARK(FreeNumber)->Arg(100'000)->Unit(benchmark::kMillisecond);

void ReadFolder(benchmark::State& state)
{
    Files files;
    FillFolder(files, int(state.range(0)));
    std::vector<char> buffer(1 << 15);
    for (auto step : state) {
        const int folder = ::open(files.folder.path().toUtf8().constData(), O_RDONLY | O_DIRECTORY);
        while (::syscall(SYS_getdents64, folder, buffer.data(), buffer.size()) > 0) {
        }
        ::close(folder);
    }
}

BENCHMARK(ReadFolder)->Arg(100'000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
