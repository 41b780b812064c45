#include "PathText.h"

#include <gtest/gtest.h>

using namespace Korvel;

namespace {

const std::string mark = "\xef\xbb\xbf";

} // namespace

TEST(PathTextTest, IsUtf8WithAndWithoutAMark)
{
    EXPECT_TRUE(IsUtf8(""));
    EXPECT_TRUE(IsUtf8("/Gr\xc3\xb6\xc3\x9f"
                       "e"));
    EXPECT_TRUE(IsUtf8(mark + "report"));
    EXPECT_TRUE(IsUtf8(mark + mark));
    EXPECT_FALSE(IsUtf8("caf\xe9"));
    EXPECT_FALSE(IsUtf8("\xed\xa0\x80")); // a surrogate
}

TEST(PathTextTest, BecomesTheSameBytesAgain)
{
    EXPECT_EQ(ToPathText("/\xc3\xb6.pdf"), QString::fromUtf8("/\xc3\xb6.pdf"));
    EXPECT_TRUE(ToPathText("/caf\xe9").isNull());
    EXPECT_TRUE(ToPathText(mark + "report").isNull());
}

TEST(PathTextTest, BecomesTheSameTextAgain)
{
    EXPECT_EQ(ToPathBytes(QString::fromUtf8("/\xc3\xb6.pdf")), "/\xc3\xb6.pdf");
    EXPECT_EQ(ToPathBytes("/lone" + QString(QChar(0xd800))), std::nullopt);
}

TEST(PathTextTest, HoldsANulAnywhere)
{
    EXPECT_TRUE(HoldsNul(std::string("a\0b", 3)));
    EXPECT_TRUE(HoldsNul(std::string(1, '\0')));
    EXPECT_FALSE(HoldsNul("ab"));
}
