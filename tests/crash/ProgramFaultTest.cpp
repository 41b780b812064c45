#include "FileTestTools.h"
#include "Stride.h"
#include "Strikes.h"
#include "TracedProgram.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>

#include <gmock/gmock.h>

#include <sys/syscall.h>

namespace Korvel::Failing {
namespace {

using PDF::Test::NamesIn;
using PDF::Test::ReadFile;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsSubsetOf;

/**
 * Lets a call of a conversion fail that is about the user's files or what processes talk over, in
 * one of its processes; in the next run, another one.
 */
class ProgramFaultTest : public TracedProgramTest
{
protected:
    void SetUp() override;

    TracedRun Convert(const std::function<int(const Call&)>& judge) const;

    /** Lets one of the calls fail of which `may` is true. */
    TracedRun ConvertAndFail(int call, int error, const std::function<bool(const Call&)>& may);
    bool HasPicture() const { return ReadFile(picture) == whole; }
    void ExpectHonestEnd(const TracedRun& run) const;
    void ExpectNothingLeft() const;

    std::string folder;
    std::string picture;
    std::string whole;
    std::map<int, int> calls; ///< by process, as many as concern it undisturbed
    std::string struck;
    int faults = 0;
    int pictures = 0;
};

void ProgramFaultTest::SetUp()
{
    TracedProgramTest::SetUp();
    if (IsSkipped())
        return;
    QDir(Path("")).mkdir("out");
    folder = Path("out").toStdString();
    picture = folder + "/p.png";
    const TracedRun run = Convert([this](const Call& call) {
        calls[call.process] += Concerns(Describe(call));
        return Go;
    });
    ASSERT_EQ(run.end.code, 0) << run.complaints;
    whole = ReadFile(picture);
    ASSERT_THAT(whole, testing::StartsWith("\x89PNG"));
}

TracedRun ProgramFaultTest::Convert(const std::function<int(const Call&)>& judge) const
{
    std::remove(picture.c_str());
    return Run({"secret.pdf", "-o", "out/p.png", "-r", "20", "--password-file", "pw", "--temp-dir",
                TempDir()},
               judge);
}

/**
 * No signal interrupts the closing of a pipe. Qt would close it once more, and with it what another
 * thread has opened under the number meanwhile.
 */
bool CannotBe(const std::string& call, int error)
{
    return error == EINTR && call.rfind("close pipe:", 0) == 0;
}

TracedRun ProgramFaultTest::ConvertAndFail(int call, int error,
                                           const std::function<bool(const Call&)>& may)
{
    int made = 0;
    struck.clear();
    return Convert([&](const Call& next) -> int {
        if (made > call || !may(next) || made++ != call)
            return Go;
        const std::string text = Describe(next);
        if (CannotBe(text, error))
            return Go;
        struck = text + ": " + std::strerror(error);
        return error;
    });
}

void ProgramFaultTest::ExpectHonestEnd(const TracedRun& run) const
{
    EXPECT_FALSE(run.end.hung);
    EXPECT_THAT(run.end.code, AnyOf(0, 1, 4, 5, 7, 8));
    EXPECT_EQ(HasPicture(), PDF::Test::IsAnything(picture)) << "whole, or not there";
    if (run.end.code == 0) {
        EXPECT_EQ(run.results, QStringList("out/p.png"));
        EXPECT_TRUE(HasPicture());
    } else {
        EXPECT_EQ(run.results, QStringList());
        EXPECT_THAT(run.complaints,
                    AnyOf(HasSubstr("pdfconvert: secret.pdf: "), HasSubstr("pdfconvert: pw: "),
                          HasSubstr(TempDir().toStdString())));
    }
}

/** An empty folder may stay if its removal is what has failed; the next start removes it. */
void ProgramFaultTest::ExpectNothingLeft() const
{
    EXPECT_THAT(NamesIn(folder), IsSubsetOf({"p.png"}));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(TempDir().toStdString()))
        EXPECT_TRUE(entry.is_directory()) << entry.path();
    if (LeftInTempDir().isEmpty())
        return;
    EXPECT_THAT(struck, HasSubstr(" " + TempDir().toStdString() + "/pdfconvert-"));
    StartAgain();
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(ProgramFaultTest, EndsAConversionHonestlyAndLeavesNothing)
{
    int number = 0;
    for (const auto& [process, count] : calls) {
        for (int call = 0; call < count; ++call) {
            for (const int error : Errors()) {
                if (number++ % Stride(29) != 0)
                    continue;
                const int failing = process;
                const TracedRun run = ConvertAndFail(call, error, [&](const Call& next) {
                    return next.process == failing && Concerns(Describe(next));
                });
                SCOPED_TRACE("process " + std::to_string(process) + ", " + struck + "\n" +
                             run.complaints);
                ExpectHonestEnd(run);
                ExpectSourceIntact();
                ExpectNothingLeft();
                faults += !struck.empty();
                pictures += !struck.empty() && run.end.code == 0;
            }
        }
    }
    std::printf("%d faults in a conversion: %d converted, the others refused; 0 partial results\n",
                faults, pictures);
}

TEST_F(ProgramFaultTest, DrawsNoPageThatCouldNotBeRead)
{
    const auto reads = [](const Call& call) {
        return (call.number == SYS_read || call.number == SYS_lseek) &&
               Describe(call).find(".pdf") != std::string::npos;
    };
    int strikes = 0;
    do {
        const TracedRun run = ConvertAndFail(strikes, EIO, reads);
        SCOPED_TRACE(struck);
        ExpectHonestEnd(run);
        strikes += !struck.empty();
    } while (!struck.empty());
    EXPECT_GT(strikes, 0) << "one of them reads the copy";
}

} // namespace
} // namespace Korvel::Failing
