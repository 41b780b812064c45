// The document is changed by another program, before one of the system calls of its conversion.

#include "FileTestTools.h"
#include "Stride.h"
#include "TracedProgram.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <tuple>

#include <gmock/gmock.h>

#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using PDF::Test::NamesIn;
using PDF::Test::ReadFile;
using PDF::Test::WriteFile;
using testing::HasSubstr;
using testing::Not;

enum class Shape { Shortened, Overwritten, Replaced };

struct Source
{
    const char* name;
    bool isEncrypted;
    const char* suffix;
};

using Case = std::tuple<Shape, Source>;

std::string NameOf(const testing::TestParamInfo<Case>& info)
{
    const char* const shapes[] = {"Shortened", "Overwritten", "Replaced"};
    return std::get<Source>(info.param).name +
           std::string(shapes[int(std::get<Shape>(info.param))]);
}

class ChangeTest : public TracedProgramTest, public testing::WithParamInterface<Case>
{
protected:
    void SetUp() override
    {
        TracedProgramTest::SetUp();
        if (IsSkipped())
            return;
        const auto source = std::get<Source>(GetParam());
        path = Path("source.pdf").toStdString();
        result = Path("result.").toStdString() + source.suffix;
        before =
            ReadFile(MakeSample("before.pdf", 40, source.isEncrypted ? "pw" : "").toStdString());
        const std::string other =
            ReadFile(MakeSample("after.pdf", 30, source.isEncrypted ? "pw" : "").toStdString());
        after = std::get<Shape>(GetParam()) == Shape::Shortened
                    ? before.substr(0, before.size() / 3)
                    : other;
    }

    TracedRun Convert(const std::function<int(const Call&)>& judge) const
    {
        std::remove(result.c_str());
        QStringList arguments{"source.pdf", "-o",         QString::fromStdString(result),
                              "--jobs",     "1",          "--password-file",
                              "pw",         "--no-input", "--temp-dir",
                              TempDir()};
        if (result.back() == 'g')
            arguments << "--pages"
                      << "1"
                      << "-r"
                      << "30";
        return Run(arguments, judge);
    }

    /** How a conversion ended, what it said, and what it made. */
    using End = std::tuple<int, std::string, std::string>;

    End EndOf(const TracedRun& run) const
    {
        return {run.end.code, run.complaints, ReadFile(result)};
    }

    /** How the conversion of a document ends that nobody changes. */
    End EndWith(const std::string& bytes) const
    {
        std::remove(path.c_str());
        WriteFile(path, bytes);
        return EndOf(Convert([](const Call&) { return Go; }));
    }

    void Change() const
    {
        if (std::get<Shape>(GetParam()) == Shape::Shortened) {
            std::filesystem::resize_file(path, after.size());
        } else if (std::get<Shape>(GetParam()) == Shape::Overwritten) {
            std::fstream(path, std::ios::in | std::ios::out | std::ios::binary) << after;
            std::filesystem::resize_file(path, after.size());
        } else {
            WriteFile(path + ".new", after);
            std::filesystem::rename(path + ".new", path);
        }
    }

    /** Asks about the calls from when a worker first opens the document. */
    std::function<int(const Call&)>
    FromFirstOpen(const std::function<void(const Call&)>& look) const
    {
        return [this, look, isOpened = false](const Call& call) mutable {
            isOpened = isOpened || (call.process != 0 && call.number == SYS_openat &&
                                    Describe(call).find(path) != std::string::npos);
            if (isOpened)
                look(call);
            return int(Go);
        };
    }

    std::string path;
    std::string result;
    std::string before;
    std::string after;
};

INSTANTIATE_TEST_SUITE_P(
    , ChangeTest,
    testing::Combine(testing::Values(Shape::Shortened, Shape::Overwritten, Shape::Replaced),
                     testing::Values(Source{"Picture", false, "png"}, Source{"Text", false, "txt"},
                                     Source{"Copy", false, "pdf"},
                                     Source{"DecryptedCopy", true, "pdf"})),
    NameOf);

TEST_P(ChangeTest, MakesNoMixtureAndIsToldAsAChange)
{
    const std::set<End> undisturbed{EndWith(before), EndWith(after)};
    const std::set<std::string> whole{std::get<2>(EndWith(before)), std::get<2>(EndWith(after)),
                                      ""};
    std::remove(path.c_str());
    WriteFile(path, before);
    int calls = 0;
    Convert(FromFirstOpen([&calls](const Call&) { ++calls; }));
    ASSERT_GT(calls, 0);
    int changes = 0;
    const int stride = std::min(Stride(173), std::max(calls / 5, 1));
    const auto changeAt = [&](int call) {
        std::remove(path.c_str());
        WriteFile(path, before);
        std::string changedAt;
        const TracedRun run = Convert(FromFirstOpen([&, made = 0](const Call& next) mutable {
            if (made++ != call)
                return;
            changedAt = Describe(next);
            Change();
        }));
        SCOPED_TRACE("changed before call " + std::to_string(call) + ", " + changedAt);
        EXPECT_FALSE(run.end.hung);
        EXPECT_THAT(NamesIn(Path("").toStdString()), testing::Contains("source.pdf"));
        if (undisturbed.count(EndOf(run)) == 0) {
            EXPECT_EQ(run.end.code, 4);
            EXPECT_THAT(run.complaints, HasSubstr("source.pdf: was changed while it was read"));
            EXPECT_EQ(run.results, QStringList());
            EXPECT_EQ(whole.count(ReadFile(result)), 1u);
            ++changes;
        }
        EXPECT_THAT(run.complaints, Not(HasSubstr("space")));
        EXPECT_EQ(LeftInTempDir(), QStringList());
    };
    for (int call = 0; call < calls && !HasFailure(); call += stride)
        changeAt(call);
    // A change that comes early is made good by reading anew; then others are tried until one is
    // told.
    for (int call = calls - 1; call >= 0 && changes == 0 && !HasFailure(); call -= stride / 3 + 1)
        changeAt(call);
    std::printf("%d changes told, no mixture\n", changes);
    EXPECT_GT(changes, 0);
}

} // namespace
} // namespace Korvel::Failing
