// Readings: small signs above words that say how these are read, which stand in no sentence.

#include "ReadPageFixture.h"

#include <string>

#include <gtest/gtest.h>

namespace Korvel::Worker {
namespace {

class ReadingsTest : public ReadPageTest
{
protected:
    void PutSigns(const std::u32string& signs, double x, double baseline, double size = em)
    {
        for (const char32_t sign : signs) {
            Put(sign, x, baseline, size, size);
            x += size;
        }
    }

    /** Above a line with this baseline, drawn before it. */
    void PutReading(const std::u32string& signs, double x, double baseline)
    {
        PutSigns(signs, x, baseline - 0.9 * em, em / 2);
    }
};

TEST_F(ReadingsTest, StandBehindTheParagraphOfTheirWords)
{
    PutReading(U"\u304f\u3093\u3057", 50, 100);
    PutSigns(U"\u541b\u5b50\u306f\u548c\u3057\u3066\u540c\u305c\u305a\u3001", 50, 100);
    PutReading(U"\u3072\u3068", 50, 118);
    PutSigns(U"\u4eba\u306b\u8aa8\u3048\u3066\u5026\u307e\u305a\u3002", 50, 118);
    EXPECT_EQ(Plain(), "\u541b\u5b50\u306f\u548c\u3057\u3066\u540c\u305c\u305a\u3001\n"
                       "\u4eba\u306b\u8aa8\u3048\u3066\u5026\u307e\u305a\u3002\n\n"
                       "\u304f\u3093\u3057\n\u3072\u3068\n");
}

TEST_F(ReadingsTest, DoNotPartWordsThatTheyAreDrawnBetween)
{
    PutSigns(U"\u300c", 50, 100);
    PutReading(U"\u307f\u3055", 60, 100);
    PutSigns(U"\u9675\u300d\u306e\u524d\u3001", 60, 100);
    PutSigns(U"\u5b57\u3068\u5b57\u306e\u9593\u3002", 50, 118);
    EXPECT_EQ(Plain(), "\u300c\u9675\u300d\u306e\u524d\u3001\n"
                       "\u5b57\u3068\u5b57\u306e\u9593\u3002\n\n\u307f\u3055\n");
}

TEST_F(ReadingsTest, OfHeadingsStandBehindThem)
{
    PutLine("1", 50, 100);
    PutReading(U"\u308a\u3088\u3046", 70, 100);
    PutSigns(U"\u5229\u7528", 70, 100);
    PutSigns(U"\u8aad\u307f\u8fbc\u307f\u306f", 50, 140);
    EXPECT_EQ(Plain(), "1 \u5229\u7528\n\n\u308a\u3088\u3046\n\n\u8aad\u307f\u8fbc\u307f\u306f\n");
}

TEST_F(ReadingsTest, AreNoneAboveOtherScripts)
{
    PutReading(U"\u304f\u3093\u3057", 50, 100);
    PutLine("gentleman", 50, 100);
    EXPECT_EQ(PlainLines(), "\u304f\u3093\u3057\ngentleman");
}

TEST_F(ReadingsTest, AreNoLinesThatAreHardlySmaller)
{
    PutSigns(U"\u304f\u3093\u3057", 50, 92, 0.8 * em);
    PutSigns(U"\u541b\u5b50", 50, 102);
    EXPECT_EQ(PlainLines(), "\u304f\u3093\u3057\n\u541b\u5b50");
}

TEST_F(ReadingsTest, AreNoEndingsOfChineseThatIsReadAsJapanese)
{
    PutReading(U"\u30e1\u30c6", 50, 100);
    PutReading(U"\u30cf", 80, 100);
    PutSigns(U"\u521d\u5e1d\u6bcd\u5289", 50, 100);
    EXPECT_EQ(PlainLines(), "\u30e1\u30c6 \u30cf\n\u521d\u5e1d\u6bcd\u5289");
}

} // namespace
} // namespace Korvel::Worker
