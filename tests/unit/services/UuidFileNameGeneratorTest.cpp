#include "UuidFileNameGenerator.h"

#include "FileNameGeneratorContract.h"
#include "FileTestTools.h"

#include <set>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace Korvel::PDF::Test {

class UuidFileNameGeneratorContractTest : public TestKit::FileNameGeneratorFixture
{
public:
    IFileNameGenerator& Generator() override { return names; }

    UuidFileNameGenerator names;
};

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(UuidFileNameGenerator, FileNameGeneratorContract,
                               UuidFileNameGeneratorContractTest);

TEST(UuidFileNameGeneratorTest, ANameIsARandomUuidInTextForm)
{
    UuidFileNameGenerator names;
    for (int i = 0; i < 1000; ++i)
        EXPECT_THAT(names.GenerateFileName(),
                    testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-"
                                          "[0-9a-f]{12}"));
}

TEST(UuidFileNameGeneratorTest, NamesAskedOfOneGeneratorByManyThreadsNeverRepeat)
{
    constexpr std::size_t namesPerThread = 5000;
    UuidFileNameGenerator names;
    std::vector<std::vector<std::string>> made(8);
    std::vector<std::thread> threads;
    for (auto& mine : made)
        threads.emplace_back([&names, &mine] {
            while (mine.size() < namesPerThread)
                mine.push_back(names.GenerateFileName());
        });
    for (std::thread& thread : threads)
        thread.join();
    std::set<std::string> different;
    for (const auto& some : made)
        different.insert(some.begin(), some.end());
    EXPECT_EQ(different.size(), made.size() * namesPerThread);
}

TEST(UuidFileNameGeneratorTest, AForkedProcessDoesNotRepeatTheNamesOfItsParent)
{
    UuidFileNameGenerator names;
    names.GenerateFileName();
    const Pipe pipe;
    ForkedProcess other([&] {
        pipe.WriteLine(names.GenerateFileName());
        return 0;
    });
    EXPECT_NE(names.GenerateFileName(), pipe.ReadLine());
    EXPECT_EQ(other.Wait(), 0);
}

} // namespace Korvel::PDF::Test
