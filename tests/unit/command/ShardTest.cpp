#include "Shard.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace Korvel::App {

namespace {

std::vector<Shard> AllOf(int count)
{
    std::vector<Shard> shards;
    for (int i = 1; i <= count; ++i)
        shards.push_back(*Shard::Parse(std::to_string(i) + '/' + std::to_string(count)));
    return shards;
}

std::string PathOf(int number)
{
    return "/archive/2026/report-" + std::to_string(number) + ".pdf";
}

} // namespace

TEST(ShardTest, IsANumberFromOneOfACount)
{
    for (const char* text : {"1/1", "1/8", "8/8", "1000000/1000000"})
        EXPECT_TRUE(Shard::Parse(text)) << text;
    for (const char* text : {"", "/", "1", "1/", "/8", "0/8", "9/8", "0/0", "-1/8", "1/-8", "1/2/3",
                             "a/b", "1.0/2", "1/8 tasks", "99999999999999999999/8"})
        EXPECT_FALSE(Shard::Parse(text)) << text;
}

TEST(ShardTest, HasEachPathInOneOfAllAndAboutAsManyAsTheOthers)
{
    constexpr int paths = 10'000;
    const std::vector<Shard> shards = AllOf(7);
    std::vector<int> counts(shards.size());
    for (int i = 0; i < paths; ++i) {
        int owners = 0;
        for (std::size_t shard = 0; shard < shards.size(); ++shard) {
            const bool has = shards[shard].Has(PathOf(i));
            owners += has;
            counts[shard] += has;
        }
        ASSERT_EQ(owners, 1) << PathOf(i);
    }
    const auto [least, most] = std::minmax_element(counts.begin(), counts.end());
    EXPECT_GT(*least, paths / 7 * 9 / 10);
    EXPECT_LT(*most, paths / 7 * 11 / 10);
}

TEST(ShardTest, HasTheSamePathsInEveryVersion)
{
    std::string owned;
    for (int i = 0; i < 60; ++i)
        owned += Shard::Parse("1/3")->Has(PathOf(i)) ? '1' : '0';
    EXPECT_EQ(owned, "110001101100000101010010000000110100101001000001100011000001");
}

} // namespace Korvel::App
