#include "OutputTemplate.h"

#include "Failure.h"
#include "WorkerConverter.h"

#include <gtest/gtest.h>

namespace Korvel::App {
namespace {

struct Named
{
    const char* text;
    int page;
    const char* path;
};

constexpr char inputName[] = "report";

void PrintTo(const Named& row, std::ostream* out)
{
    *out << row.text;
}

class TemplateNames : public testing::TestWithParam<Named>
{
};

TEST_P(TemplateNames, APage)
{
    const auto& row = GetParam();
    EXPECT_EQ(OutputTemplate::Parse(row.text).Path(inputName, row.page).toStdString(), row.path);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TemplateNames,
    testing::Values(Named{"page-%d.png", 7, "page-7.png"},
                    Named{"page-%d.png", 123, "page-123.png"}, Named{"%03d.png", 7, "007.png"},
                    Named{"%03d.png", 1234, "1234.png"}, Named{"%d/%02d.PNG", 5, "5/05.PNG"},
                    Named{"100%%.png", 1, "100%.png"}, Named{"%%d.png", 1, "%d.png"},
                    Named{"plain.png", 9, "plain.png"},
                    Named{"a(b [x] C++ %d.jpeg", 2, "a(b [x] C++ 2.jpeg"},
                    Named{"\xc3\xbc-%d.webp", 2, "\xc3\xbc-2.webp"},
                    Named{"%s-%02d.png", 7, "report-07.png"}, Named{"%d.pdf", 7, "7.pdf"},
                    Named{"%s/%s.txt", 0, "report/report.txt"},
                    Named{"%s-%d.txt", 0, "report-.txt"}));

class TemplateRefuses : public testing::TestWithParam<const char*>
{
};

TEST_P(TemplateRefuses, WhatItCannotName)
{
    try {
        OutputTemplate::Parse(GetParam());
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code, ExitCode::Usage);
        EXPECT_NE(std::string(failure.what()).find(GetParam()), std::string::npos)
            << "the message names what was given: " << failure.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TemplateRefuses,
                         testing::Values("page-%x.png", "100%.png", "%0d.png", "%00d.png",
                                         "%12d.png", "% d.png", "page-%d", "page.gif", ".png",
                                         "folder/", "folder/.png", "page.png ", "out/%s"));

TEST(OutputTemplate, TellsTheFormatBySuffixWhateverItsCase)
{
    EXPECT_EQ(OutputTemplate::Parse("a.JPEG").Format(), "jpeg");
    EXPECT_TRUE(OutputTemplate::Parse("a.JPEG").MakesPictures());
    EXPECT_EQ(OutputTemplate::Parse("a.txt").Format(), "txt");
    EXPECT_FALSE(OutputTemplate::Parse("a.txt").MakesPictures());
    EXPECT_FALSE(OutputTemplate::Parse("a.pdf").MakesPictures());
}

TEST(OutputTemplate, KnowsTheFormatsThatTheConverterMakes)
{
    QStringList formats = OutputTemplate::Formats();
    formats.sort();
    EXPECT_EQ(formats, PDF::Converter::WorkerConverter().GetSupportedFormats().at("pdf"));
}

TEST(OutputTemplate, TakesTheGivenFormatWhateverTheSuffix)
{
    EXPECT_EQ(OutputTemplate::Parse("a.dat", "png").Format(), "png");
    EXPECT_EQ(OutputTemplate::Parse("a.jpg", "txt").Format(), "txt");
    EXPECT_EQ(OutputTemplate::Parse("a", "pdf").Path("", 0), "a");
}

TEST(OutputTemplate, TakesTheInputsNameLiterally)
{
    EXPECT_EQ(OutputTemplate::Parse("%s-%d.png").Path("50%d %s.v2", 1), "50%d %s.v2-1.png");
}

TEST(OutputTemplate, PutsTheInputsFolderInPlaceAndNeverBeginsAtTheRoot)
{
    const auto name = OutputTemplate::Parse("%p/%s.txt");
    EXPECT_TRUE(name.HasFolder());
    EXPECT_EQ(name.Path("report", 0, "2019/may"), "2019/may/report.txt");
    EXPECT_EQ(name.Path("report", 0), "report.txt");
    EXPECT_EQ(OutputTemplate::Parse("out/%p/%d.png").Path("report", 3), "out/3.png");
    EXPECT_EQ(OutputTemplate::Parse("out/%p-%s.txt").Path("r", 0, "a"), "out/a-r.txt");
    EXPECT_FALSE(OutputTemplate::Parse("%%p/%s.txt").HasFolder());
}

TEST(OutputTemplate, JoinsThePicturesOfATiffWithoutPageNumber)
{
    EXPECT_TRUE(OutputTemplate::Parse("%s.tif").JoinsPictures());
    EXPECT_TRUE(OutputTemplate::Parse("a.dat", "tiff").JoinsPictures());
    EXPECT_FALSE(OutputTemplate::Parse("%s-%03d.tif").JoinsPictures());
    EXPECT_FALSE(OutputTemplate::Parse("a.png").JoinsPictures());
    EXPECT_FALSE(OutputTemplate::Parse("a.txt").JoinsPictures());
}

TEST(OutputTemplate, PutsThePageNumberBeforeTheSuffixAsWideAsTheLastPages)
{
    const auto name = OutputTemplate::Parse("out/my.page.png");
    EXPECT_EQ(name.WithPageNumber(9).Path("", 3), "out/my.page-3.png");
    EXPECT_EQ(name.WithPageNumber(10).Path("", 3), "out/my.page-03.png");
    EXPECT_EQ(name.WithPageNumber(1000).Path("", 3), "out/my.page-0003.png");
    EXPECT_EQ(OutputTemplate::Parse("v1.2/%s", "png").WithPageNumber(9).Path("a.b", 3),
              "v1.2/a.b-3");
    EXPECT_FALSE(name.HasPageNumber());
    EXPECT_TRUE(name.WithPageNumber(9).HasPageNumber());
}

} // namespace
} // namespace Korvel::App
