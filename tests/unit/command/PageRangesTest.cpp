#include "PageRanges.h"

#include "Failure.h"

#include <gtest/gtest.h>

namespace Korvel::App {
namespace {

struct Chosen
{
    const char* what;
    const char* text;
    int pageCount;
    std::vector<int> pages;
};

void PrintTo(const Chosen& row, std::ostream* out)
{
    *out << row.what << ": " << row.text;
}

class PageRangesChoose : public testing::TestWithParam<Chosen>
{
};

TEST_P(PageRangesChoose, GivesThePagesInRisingOrder)
{
    EXPECT_EQ(PageRanges::Parse(GetParam().text).Choose(GetParam().pageCount), GetParam().pages);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PageRangesChoose,
    testing::Values(
        Chosen{"nothing means all", "", 3, {1, 2, 3}}, Chosen{"one page", "2", 3, {2}},
        Chosen{"a range", "2-4", 5, {2, 3, 4}}, Chosen{"an open range", "4-", 5, {4, 5}},
        Chosen{"an open range from the last page", "5-", 5, {5}},
        Chosen{"several pieces", "1-3,7,9-", 10, {1, 2, 3, 7, 9, 10}},
        Chosen{"out of order and twice", "3,1-3,2", 3, {1, 2, 3}},
        Chosen{"leading zeros", "002", 3, {2}}, Chosen{"the last page", "last", 5, {5}},
        Chosen{"a range to the last page", "1,4-last", 5, {1, 4, 5}},
        Chosen{"a range from the last page", "last-", 5, {5}},
        Chosen{"a range beyond the last page", "2-6", 3, {2, 3}},
        Chosen{"the last page, counted from the end", "r1", 5, {5}},
        Chosen{"the last but one", "r2", 5, {4}}, Chosen{"the last three", "r3-", 5, {3, 4, 5}},
        Chosen{"more from the end than there are", "r9-r2", 3, {1, 2}},
        Chosen{"all but the last", "1-r2", 3, {1, 2}},
        Chosen{"a range from the end to a page", "r3-4", 5, {3, 4}},
        Chosen{"odd pages", "odd", 5, {1, 3, 5}}, Chosen{"even pages", "even", 5, {2, 4}},
        Chosen{"odd ones of a range", "1-4:odd", 9, {1, 3}},
        Chosen{"every second one of those chosen", "2-6:even", 9, {3, 5}},
        Chosen{"every second one of several pieces", "1,3,5-6:odd", 9, {1, 5}}));

class PageRangesRefuse : public testing::TestWithParam<const char*>
{
};

TEST_P(PageRangesRefuse, WhatIsNoRangeOfPages)
{
    try {
        PageRanges::Parse(GetParam());
        FAIL() << GetParam();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code, ExitCode::Usage);
        EXPECT_STRNE(failure.what(), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, PageRangesRefuse,
                         testing::Values("0", "0-3", "-3", "a", "1,,2", ",", "1-2-3", "1 -2", "3-1",
                                         "1.5", "+1", "99999999999999999999", "1-99999999999",
                                         "last-3", "lastly", "\xd9\xa1", "r0", "r", "r1-r2", "r-1",
                                         "odds", "1,odd", ":odd", "1:odd:even", "1-3:third", "R1"));

TEST(PageRanges, RefuseAPageThatTheDocumentDoesNotHave)
{
    for (const char* text : {"4", "1,4", "4-", "4-9"}) {
        try {
            PageRanges::Parse(text).Choose(3);
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, ExitCode::Usage);
            EXPECT_STREQ(failure.what(), "there is no page 4; the last one is 3") << text;
        }
    }
}

TEST(PageRanges, RefuseWhatLeavesNoPage)
{
    const std::pair<const char*, const char*> rows[]{
        {"r4", "there is no page r4; the last one is 3"},
        {"1-r4", "there is no page 1-r4; the last one is 3"},
        {"3-r2", "there is no page 3-r2; the last one is 3"},
        {"2:even", "there is no second page among those chosen; the last one is 3"}};
    for (const auto& [text, message] : rows) {
        try {
            PageRanges::Parse(text).Choose(3);
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, ExitCode::Usage);
            EXPECT_STREQ(failure.what(), message);
        }
    }
}

TEST(PageRanges, CutAMillionDigitsShortInTheMessage)
{
    try {
        PageRanges::Parse(std::string(1000000, '9'));
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_LT(std::string(failure.what()).size(), 200u);
    }
}

} // namespace
} // namespace Korvel::App
