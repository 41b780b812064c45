#include "OptionError.h"
#include "PageSelection.h"
#include "PictureOptions.h"
#include "TextOptions.h"
#include "ToText.h"

#include <set>

#include <gtest/gtest.h>

namespace Korvel::PDF::Converter {
namespace {

AbstractConverter::Task TaskWith(const PictureOptions& options)
{
    AbstractConverter::Task task;
    options.PutInto(task);
    return task;
}

template <typename T>
T ValueOf(const AbstractConverter::Task& task, const char* name)
{
    return std::any_cast<T>(task.options.at(name));
}

TEST(PictureOptionsTest, SetNothingThatIsNotSet)
{
    EXPECT_TRUE(TaskWith({}).options.empty());
}

TEST(PictureOptionsTest, SetEachOptionByItsTypeAndName)
{
    PictureOptions options;
    options.resolution = 72;
    options.size = QSize(800, 0);
    options.box = PictureOptions::Box::Trim;
    options.crop = QRectF(1, 2, 3, 4);
    options.rotate = 90;
    options.quality = 75;
    options.isSmall = true;
    const AbstractConverter::Task task = TaskWith(options);
    EXPECT_EQ(ValueOf<double>(task, "resolution"), 72.0);
    EXPECT_EQ(ValueOf<QSize>(task, "size"), QSize(800, 0));
    EXPECT_EQ(ValueOf<QString>(task, "box"), "trim");
    EXPECT_EQ(ValueOf<QRectF>(task, "crop"), QRectF(1, 2, 3, 4));
    EXPECT_EQ(ValueOf<int>(task, "rotate"), 90);
    EXPECT_EQ(ValueOf<int>(task, "quality"), 75);
    EXPECT_EQ(ValueOf<QString>(task, "compression"), "small");
    EXPECT_EQ(task.options.size(), 7U);
}

TEST(PictureOptionsTest, SetWhatPixelsAre)
{
    using Color = PictureOptions::Color;
    PictureOptions options;
    options.color = Color::Gray;
    EXPECT_TRUE(ValueOf<bool>(TaskWith(options), "gray"));
    options.color = Color::Transparent;
    EXPECT_TRUE(ValueOf<bool>(TaskWith(options), "transparent"));
    options.color = Color::Threshold;
    EXPECT_EQ(ValueOf<QString>(TaskWith(options), "mono"), "threshold");
    options.color = Color::Dither;
    EXPECT_EQ(ValueOf<QString>(TaskWith(options), "mono"), "dither");
}

TEST(PageSelectionTest, IsAllPagesWhenEmpty)
{
    EXPECT_EQ(PageSelection().Of(3), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(PageSelection().Of(0), std::vector<int>());
}

TEST(PageSelectionTest, KeepsTheOrder)
{
    EXPECT_EQ((PageSelection{{3, 1, 3}}).Of(3), (std::vector<int>{3, 1, 3}));
}

TEST(PageSelectionTest, RefusesPagesThatAreNotThere)
{
    for (const int page : {-1, 0, 4})
        EXPECT_THROW((PageSelection{{1, page}}).Of(3), OptionError) << page;
}

TEST(PageSelectionTest, SetsThePagesOfATask)
{
    AbstractConverter::Task task;
    PageSelection{{2, 1}}.PutInto(task);
    EXPECT_EQ(ValueOf<std::vector<int>>(task, "pages"), (std::vector<int>{2, 1}));
    PageSelection().PutInto(task);
    EXPECT_TRUE(task.options.empty());
}

TEST(TextOptionsTest, SetWhatIsNotAsWithoutThem)
{
    AbstractConverter::Task task;
    TextOptions().PutInto(task);
    EXPECT_TRUE(task.options.empty());
    TextOptions options;
    options.dehyphenates = false;
    options.isLaidOut = true;
    options.PutInto(task);
    EXPECT_FALSE(ValueOf<bool>(task, "dehyphenate"));
    EXPECT_TRUE(ValueOf<bool>(task, "layout"));
    EXPECT_EQ(task.options.size(), 2U);
}

TEST(ToTextTest, IsAnotherTextForEachReason)
{
    std::set<QString> texts;
    for (int error = AbstractConverter::Unknown; error <= AbstractConverter::InvalidOption; ++error)
        EXPECT_TRUE(texts.insert(ToText(AbstractConverter::ErrorType(error))).second) << error;
    EXPECT_EQ(ToText(AbstractConverter::ErrorType(99)), "failed with the error 99");

    texts.clear();
    for (int why = 0; why <= int(OpenFailure::Unconfined); ++why)
        EXPECT_TRUE(texts.insert(PDF::ToText(OpenFailure(why))).second) << why;
    EXPECT_FALSE(texts.count(QString()) > 0);
}

} // namespace
} // namespace Korvel::PDF::Converter
