#include "CopyingConverter.h"
#include "FileTestTools.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "Stride.h"
#include "SystemCalls.h"
#include "TempFileWrapper.h"
#include "UuidFileNameGenerator.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>

#include <gmock/gmock.h>

#include <QTemporaryDir>

namespace Korvel::Failing {
namespace {

using namespace PDF::Test;
using PDF::LocalFileSystem;
using PDF::SessionFolder;
using PDF::Converter::AbstractConverter;
using PDF::Converter::TempFileWrapper;
using testing::IsEmpty;

/** Ends its task before ConvertFile returns, so that it needs no event loop. */
class InstantConverter : public CopyingConverter
{
public:
    bool ConvertFile(const Task& task) override
    {
        Work(task);
        return true;
    }
};

/** Where results go, and what renaming without replacing answers there; 0 for what it should. */
struct Target
{
    const char* name;
    bool isElsewhere;
    int renaming;
};

void PrintTo(const Target& target, std::ostream* stream)
{
    *stream << target.name;
}

std::string NameOf(const testing::TestParamInfo<Target>& target)
{
    return target.param.name;
}

/** Many processes of which each wants one and the same name for many results. */
class ResultCrowdTest : public testing::TestWithParam<Target>
{
protected:
    static std::string Content(int process, int file)
    {
        std::string content;
        while (content.size() < 5'000)
            content += std::to_string(process) + "-" + std::to_string(file) + "\n";
        return content;
    }

    /** Lets every process of the crowd do its work at once; each must answer 0. */
    void Crowd(int files, const std::function<int(int process)>& work);

    /** Converts as the command does: again, when another process has taken the name meanwhile. */
    int ConvertAll(int process, int files);

    /** Moves to one numbered name after the other. */
    int MoveAll(int process, int files);

    std::string Source(int process) const { return folder + "/source-" + std::to_string(process); }

    const int processes = std::max(64 / Stride(4), 8);
    const QTemporaryDir here;
    const QTemporaryDir there{QStringLiteral("/dev/shm/crowd-test-XXXXXX")};
    const std::string folder = here.path().toStdString();
    const std::string results =
        GetParam().isElsewhere ? there.path().toStdString() : folder + "/results";
    std::string error;
    const std::shared_ptr<SessionFolder> session = SessionFolder::Create(folder, error);
};

int ResultCrowdTest::ConvertAll(int process, int files)
{
    TempFileWrapper wrapper(std::make_shared<PDF::UuidFileNameGenerator>(),
                            std::make_shared<InstantConverter>(),
                            std::make_shared<LocalFileSystem>(session));
    QString result;
    QObject::connect(&wrapper, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     [&](const QString&, const QString& path) { result = path; });
    AbstractConverter::Task task;
    task.type = QStringLiteral("copy");
    task.source = QString::fromStdString(Source(process));
    task.destination = QString::fromStdString(results + "/result.txt");
    for (int file = 0; file < files; ++file) {
        WriteFile(Source(process), Content(process, file));
        result.clear();
        while (result.isEmpty())
            wrapper.ConvertFile(task);
        if (ReadFile(result.toStdString()) != Content(process, file))
            return 1;
    }
    return 0;
}

int ResultCrowdTest::MoveAll(int process, int files)
{
    LocalFileSystem fileSystem(session);
    int number = 1;
    for (int file = 0; file < files; ++file) {
        WriteFile(Source(process), Content(process, file));
        while (!fileSystem.Move(Source(process), results + "/" + std::to_string(number)))
            ++number;
        if (ReadFile(results + "/" + std::to_string(number)) != Content(process, file))
            return 1;
    }
    return 0;
}

void ResultCrowdTest::Crowd(int files, const std::function<int(int process)>& work)
{
    std::filesystem::create_directory(results);
    Pipe gate;
    std::vector<std::unique_ptr<ForkedProcess>> crowd;
    for (int process = 0; process < processes; ++process)
        crowd.push_back(std::make_unique<ForkedProcess>([&, process] {
            const ServicesMessages quiet;
            SystemCalls calls;
            calls.renameWithoutReplacing.FailWith(GetParam().renaming);
            gate.WaitForEnd();
            const int answer = work(process);
            const bool isOther = calls.renameWithoutReplacing.Failures() > 0;
            return answer == 0 && isOther == (GetParam().renaming != 0) ? 0 : 1;
        }));
    gate.CloseWritingEnd();
    for (const auto& process : crowd)
        EXPECT_EQ(process->Wait(), 0);

    std::set<std::string> wanted;
    for (int process = 0; process < processes; ++process) {
        for (int file = 0; file < files; ++file)
            wanted.insert(Content(process, file));
    }
    const std::set<std::string> names = NamesIn(results);
    std::set<std::string> found;
    for (const std::string& name : names)
        found.insert(ReadFile(results + "/" + name));
    EXPECT_EQ(names.size(), std::size_t(processes) * std::size_t(files));
    EXPECT_TRUE(found == wanted);
    std::printf("%d processes, %d results each, one name: %zu whole results under %zu names\n",
                processes, files, found.size(), names.size());
}

INSTANTIATE_TEST_SUITE_P(, ResultCrowdTest,
                         testing::Values(Target{"OnOneVolume", false, 0},
                                         Target{"AcrossVolumes", true, 0},
                                         Target{"WithoutTheCall", false, ENOSYS},
                                         Target{"WithoutTheFlag", false, EINVAL},
                                         Target{"AcrossVolumesWithoutTheCall", true, ENOSYS}),
                         NameOf);

TEST_P(ResultCrowdTest, LosesReplacesAndTearsNothing)
{
    const int files = std::max(200 / Stride(4), 10);
    Crowd(files, [&](int process) { return MoveAll(process, files); });
}

TEST_P(ResultCrowdTest, LosesReplacesAndTearsNothingThroughTheWrapper)
{
    constexpr int files = 25; // each looks through all the others
    Crowd(files, [&](int process) { return ConvertAll(process, files); });
}

/** A thousand sessions in one folder, held by a few processes. */
class SessionCrowdTest : public testing::Test
{
protected:
    static constexpr int holders = 4;
    static constexpr int sessionsOfEach = 250;

    /** A process that makes its sessions and holds them until `release` ends. */
    std::unique_ptr<ForkedProcess> Hold(Pipe& release)
    {
        return std::make_unique<ForkedProcess>([&] {
            std::vector<std::unique_ptr<SessionFolder>> held;
            for (int i = 0; i < sessionsOfEach; ++i) {
                held.push_back(SessionFolder::Create(folder, error));
                WriteFile(held.back()->Path() + "/copy.pdf", held.back()->Path());
            }
            ready.WriteLine("ready");
            release.WaitForEnd();
            return int(std::count_if(held.begin(), held.end(), [](const auto& session) {
                return ReadFile(session->Path() + "/copy.pdf") != session->Path();
            }));
        });
    }

    const QTemporaryDir parent;
    const std::string folder = parent.path().toStdString();
    std::string error;
    Pipe ready;
};

TEST_F(SessionCrowdTest, NoneIsSweptWhileItLivesAndAllWhenTheirProcessesAreKilled)
{
    Pipe killed;
    Pipe release;
    const auto abandoning = Hold(killed);
    std::vector<std::unique_ptr<ForkedProcess>> living;
    for (int holder = 0; holder < holders; ++holder)
        living.push_back(Hold(release));
    ForkedProcess sweeper([&] {
        release.CloseWritingEnd();
        for (int sweep = 0; sweep < 20; ++sweep)
            SessionFolder::Sweep(folder);
        return 0;
    });
    for (int holder = 0; holder < holders + 1; ++holder)
        EXPECT_EQ(ready.ReadLine(), "ready");
    abandoning->Kill();
    EXPECT_EQ(sweeper.Wait(), 0);
    SessionFolder::Sweep(folder);
    EXPECT_EQ(NamesIn(folder).size(), std::size_t(holders * sessionsOfEach));
    release.CloseWritingEnd();
    for (const auto& holder : living)
        EXPECT_EQ(holder->Wait(), 0) << "sessions were touched while they lived";
    EXPECT_THAT(NamesIn(folder), IsEmpty());
    std::printf("%d live sessions swept at all the time: 0 touched; %d abandoned ones: all gone\n",
                holders * sessionsOfEach, sessionsOfEach);
}

} // namespace
} // namespace Korvel::Failing
