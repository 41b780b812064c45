#include "FileTestTools.h"
#include "GetNextAvaliableIndex.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "Tracer.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <QTemporaryDir>

// How many system calls work on files is made of: unlike time it is the same on every machine,
// however busy. A failure lists them.

namespace Korvel::Failing {
namespace {

using namespace PDF::Test;
using testing::Le;
using testing::SizeIs;

constexpr std::size_t mebibyte = 1 << 20;

class CallCountTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!CanTrace())
            GTEST_SKIP() << "may not trace processes";
        if (VolumeOf(folder) == VolumeOf(elsewhere))
            GTEST_SKIP() << "the folder for temporary files and /dev/shm are one volume";
    }

    /** The calls about files of the test that `work`, which is to succeed, makes. */
    std::vector<std::string> CallsOf(const std::function<bool()>& work) const
    {
        std::vector<std::string> calls;
        const auto keepOurs = [&](const Call& call) {
            const std::string text = Describe(call);
            if (text.find(" " + folder) != std::string::npos ||
                text.find(" " + elsewhere) != std::string::npos)
                calls.push_back(text);
            return Go;
        };
        EXPECT_EQ(Trace([&] { return work() ? 0 : 1; }, keepOurs).code, 0);
        return calls;
    }

    std::vector<std::string> CallsOfMove(std::size_t size, const std::string& target) const
    {
        const std::string from = folder + "/result.png";
        WriteFile(from, std::string(size, 'x'));
        return CallsOf([&] { return fileSystem->Move(from, target + "/page.png"); });
    }

    std::vector<std::string> CallsOfNumber(int names) const
    {
        for (int number = 2; number < 2 + names; ++number)
            WriteFile(elsewhere + "/page(" + std::to_string(number) + ").png", "");
        const std::regex pattern(R"(page\((\d+)\)\.png)", std::regex::icase);
        return CallsOf([&] {
            return PDF::Util::GetNextAvaliableIndex(elsewhere, pattern) ==
                   std::to_string(2 + names);
        });
    }

    const QTemporaryDir here;
    const QTemporaryDir there{QStringLiteral("/dev/shm/count-test-XXXXXX")};
    const std::string folder = std::filesystem::canonical(here.path().toStdString()).native();
    const std::string elsewhere = there.path().toStdString();
    std::string error;
    const std::shared_ptr<PDF::IFileSystem> fileSystem =
        std::make_shared<PDF::LocalFileSystem>(PDF::SessionFolder::Create(folder, error));
};

TEST_F(CallCountTest, AMoveOnOneVolumeLooksAndRenames)
{
    EXPECT_THAT(CallsOfMove(mebibyte, folder), SizeIs(2));
}

TEST_F(CallCountTest, AMoveAcrossVolumesTakesFifteenCallsAndThoseThatCopy)
{
    EXPECT_THAT(CallsOfMove(mebibyte, elsewhere), SizeIs(15 + 1 + 1));
}

TEST_F(CallCountTest, ACopyTakesOneCallForSixteenMebibytes)
{
    EXPECT_THAT(CallsOfMove(40 * mebibyte, elsewhere), SizeIs(15 + 3 + 1));
}

/** Three about the folder itself; the rest read it, some 1,000 names a call, and find its end. */
TEST_F(CallCountTest, ANumberReadsTheFolderInLargePieces)
{
    EXPECT_THAT(CallsOfNumber(1000), SizeIs(Le(3 + 3)));
    EXPECT_THAT(CallsOfNumber(4000), SizeIs(Le(3 + 6)));
}

} // namespace
} // namespace Korvel::Failing
