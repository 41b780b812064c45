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

const QString memory = QStringLiteral("/dev/shm");
const QString disk = QStringLiteral("/var/tmp");

/** A folder, and a file system of ours. */
class Files
{
public:
    explicit Files(const QString& parent) : folder(parent + "/benchmark-XXXXXX") {}

    std::string Path(const std::string& name) const
    {
        return folder.path().toStdString() + "/" + name;
    }

    std::string error;
    const QTemporaryDir folder;
    const std::shared_ptr<PDF::IFileSystem> fileSystem = std::make_shared<PDF::LocalFileSystem>(
        PDF::SessionFolder::Create(folder.path().toStdString(), error));
};

/** Takes paths as `Path`. */
template <typename Path>
using MoveFile = bool (*)(const Files& files, const Path& from, const Path& to);

bool MoveByService(const Files& files, const ioPath& from, const ioPath& to)
{
    return files.fileSystem->Move(from, to);
}

bool BareRename(const Files&, const std::string& from, const std::string& to)
{
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

/** With the same promise: nothing but a regular file is moved. */
bool LookAndRename(const Files& files, const std::string& from, const std::string& to)
{
    struct stat status = {};
    return ::lstat(from.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           BareRename(files, from, to);
}

template <typename Path>
void MoveWithin(benchmark::State& state, MoveFile<Path> move, const QString& volume)
{
    const Files files(volume);
    std::ofstream(files.Path("a.png")) << "content";
    Path from = files.Path("a.png");
    Path to = files.Path("b.png");
    for (auto step : state) {
        if (!move(files, from, to))
            state.SkipWithError("not moved");
        std::swap(from, to);
    }
}

BENCHMARK_CAPTURE(MoveWithin, MemoryOurs, MoveByService, memory);
BENCHMARK_CAPTURE(MoveWithin, MemoryLookAndRename, LookAndRename, memory);
BENCHMARK_CAPTURE(MoveWithin, MemoryBareRename, BareRename, memory);
BENCHMARK_CAPTURE(MoveWithin, DiskOurs, MoveByService, disk);
BENCHMARK_CAPTURE(MoveWithin, DiskLookAndRename, LookAndRename, disk);
BENCHMARK_CAPTURE(MoveWithin, DiskBareRename, BareRename, disk);

// Across volumes, so many megabytes.

template <typename Path>
void MoveAcross(benchmark::State& state, MoveFile<Path> move, const QString& target)
{
    const Files source(target == disk ? memory : disk);
    const Files files(target);
    const std::string from = source.Path("page.bmp");
    const std::string to = files.Path("page.bmp");
    const std::string content(std::size_t(state.range(0)) << 20, 'x');
    for (auto step : state) {
        state.PauseTiming();
        ::unlink(to.c_str());
        std::ofstream(from) << content;
        state.ResumeTiming();
        if (!move(files, Path(from), Path(to)))
            state.SkipWithError("not moved");
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(content.size()));
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

BENCHMARK_CAPTURE(MoveAcross, ToDiskOurs, MoveByService, disk)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, ToDiskSendfile, MoveBySendfile<true>, disk)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, ToDiskSendfileUnflushed, MoveBySendfile<false>, disk)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, ToDiskQtUnflushed, MoveByQt, disk)->Apply(Sizes);
// In memory, flushing does nothing.
BENCHMARK_CAPTURE(MoveAcross, ToMemoryOurs, MoveByService, memory)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, ToMemorySendfile, MoveBySendfile<false>, memory)->Apply(Sizes);
BENCHMARK_CAPTURE(MoveAcross, ToMemoryQt, MoveByQt, memory)->Apply(Sizes);

/** A folder of page(2).png, page(3).png and so on, made in any order; of two series, every other.
 */
void FillFolder(const Files& files, int count, int series = 1)
{
    std::vector<int> numbers;
    for (int number = 2; number < 2 + count; ++number)
        numbers.push_back(number);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (const int number : numbers)
        std::ofstream(files.Path((number % series ? "picture(" : "page(") + std::to_string(number) +
                                 ").png"));
}

void FreeNumber(benchmark::State& state)
{
    const Files files(memory);
    const int series = int(state.range(1));
    FillFolder(files, int(state.range(0)), series);
    const std::string free = std::to_string(series == 1 ? 2 + state.range(0) : 3);
    const ioPath folder(files.folder.path().toStdString());
    const std::regex pattern("page\\(([0-9]+)\\)\\.png");
    for (auto step : state) {
        if (PDF::Util::GetNextAvaliableIndex(folder, pattern) != free)
            state.SkipWithError("another number");
    }
}

BENCHMARK(FreeNumber)->Args({100'000, 1})->Args({100'000, 2})->Unit(benchmark::kMillisecond);

void ReadFolder(benchmark::State& state)
{
    const Files files(memory);
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
