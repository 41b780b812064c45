#include "PageLabel.h"
#include "DocumentDetails.h"
#include "PageSize.h"

#include <limits>

#include <gtest/gtest.h>

namespace Korvel::PDF {
namespace {

using Numbering = DocumentDetails::Labels::Numbering;

DocumentDetails Numbered(Numbering numbering, int start = 1, int first = 1)
{
    DocumentDetails details;
    details.labels.push_back({{first, 100'000}, {}, numbering, start});
    return details;
}

std::string LabelIn(Numbering numbering, int page)
{
    return PageLabel(Numbered(numbering), page).toStdString();
}

TEST(PageLabelTest, IsTheNumberWhereTheDocumentSaysNothing)
{
    EXPECT_EQ(PageLabel({}, 7), "7");
    EXPECT_EQ(PageLabel(Numbered(Numbering::LowerRoman, 1, 3), 2), "2");
}

TEST(PageLabelTest, IsWrittenAsTheDocumentSays)
{
    EXPECT_EQ(LabelIn(Numbering::Decimal, 12), "12");
    EXPECT_EQ(LabelIn(Numbering::LowerRoman, 1994), "mcmxciv");
    EXPECT_EQ(LabelIn(Numbering::UpperRoman, 448), "CDXLVIII");
    EXPECT_EQ(LabelIn(Numbering::LowerLetters, 26), "z");
    EXPECT_EQ(LabelIn(Numbering::UpperLetters, 54), "BBB");
    EXPECT_EQ(LabelIn(Numbering::None, 4), "");
}

TEST(PageLabelTest, CountsFromTheStartOfItsRowBehindAPrefix)
{
    DocumentDetails details;
    details.labels = {{{1, 4}, {}, Numbering::LowerRoman, 1},
                      {{5, 9}, "A-", Numbering::Decimal, 8}};
    EXPECT_EQ(PageLabel(details, 4), "iv");
    EXPECT_EQ(PageLabel(details, 5), "A-8");
    EXPECT_EQ(PageLabel(details, 9), "A-12");
}

TEST(PageLabelTest, StaysShortAndDefinedWhateverIsSaid)
{
    constexpr int largest = std::numeric_limits<int>::max();
    EXPECT_EQ(PageLabel(Numbered(Numbering::LowerRoman, largest), 2), "2147483648");
    EXPECT_EQ(PageLabel(Numbered(Numbering::UpperLetters, largest), 1), "2147483647");
    EXPECT_EQ(PageLabel(Numbered(Numbering::LowerLetters, -5), 1), "-5");
    EXPECT_EQ(PageLabel(Numbered(Numbering::LowerRoman, 0, -largest), 1), "2147483648");
}

TEST(PageSizeTest, IsThatOfTheRowThatHasThePage)
{
    DocumentDetails details;
    details.sizes = {{{1, 3}, 595, 842, 0}, {{4, 4}, 842, 595, 90}};
    EXPECT_EQ(PageSize(details, 1), QSizeF(595, 842));
    EXPECT_EQ(PageSize(details, 3), QSizeF(595, 842));
    EXPECT_EQ(PageSize(details, 4), QSizeF(842, 595));
}

TEST(PageSizeTest, IsNoneWhereTheDocumentDoesNotTell)
{
    EXPECT_FALSE(PageSize({}, 1).isValid());
    DocumentDetails details;
    details.sizes = {{{1, 3}, 595, 842, 0}};
    EXPECT_FALSE(PageSize(details, 0).isValid());
    EXPECT_FALSE(PageSize(details, 4).isValid());
}

} // namespace
} // namespace Korvel::PDF
