// Pictures in memory that a worker shares with this process, and that it may do anything to.

#include "PagePicture.h"
#include "OptionError.h"
#include "ToImage.h"
#include "WorkerConverter.h"
#include "WorkerTestTools.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QSize>

namespace Korvel::PDF::Test {
namespace {

using namespace std::chrono_literals;
using Converter::AbstractConverter;
using Converter::PagePicture;
using Converter::ToImage;
using Converter::WorkerConverter;

/** What the stand-in for the worker draws: as many pixels, of such bytes. */
constexpr QSize drawn(4, 3);
constexpr uchar drawnByte = 0x5a;

struct Outcome
{
    std::optional<AbstractConverter::ErrorType> error;
    PagePicture picture;
};

class PagePictureTest : public testing::Test
{
protected:
    static AbstractConverter::Task TaskOf(const QString& what)
    {
        AbstractConverter::Task task;
        task.source = MakeFile(what + ".pdf");
        task.destination = ResultPath();
        task.type = QStringLiteral("pixels");
        task.options["page"] = 1;
        return task;
    }

    /** Waits for the end of a task, and until then has `hasEnded` be false. */
    static std::optional<AbstractConverter::ErrorType>
    RunBy(WorkerConverter& by, const AbstractConverter::Task& task, bool& hasEnded)
    {
        hasEnded = false;
        std::optional<AbstractConverter::ErrorType> failure;
        QObject context;
        QObject::connect(&by, &AbstractConverter::Failed, &context,
                         [&](const QString&, AbstractConverter::ErrorType error) {
                             failure = error;
                             hasEnded = true;
                         });
        QObject::connect(&by, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                         &context, [&] { hasEnded = true; });
        EXPECT_TRUE(by.ConvertFile(task));
        EXPECT_TRUE(WaitUntil([&] { return hasEnded; }));
        return failure;
    }

    /** Has the worker do what a word says, for a picture, and waits for the end. */
    Outcome Draw(AbstractConverter::Task task)
    {
        Outcome outcome;
        bool hasEnded = false;
        task.options["picture_made"] =
            WorkerConverter::OnPicture([&](int page, const PagePicture& picture) {
                EXPECT_EQ(page, 1);
                EXPECT_FALSE(hasEnded);
                outcome.picture = picture;
            });
        outcome.error = RunBy(converter, task, hasEnded);
        EXPECT_EQ(outcome.picture.IsNull(), outcome.error.has_value());
        return outcome;
    }

    Outcome Draw(const QString& what) { return Draw(TaskOf(what)); }

    static bool IsAsDrawn(const PagePicture& picture)
    {
        const uchar* const first = picture.Pixels().get();
        return std::all_of(first, first + qint64(picture.Height()) * picture.BytesPerLine(),
                           [](uchar byte) { return byte == drawnByte; });
    }

    void ExpectRefused(const QString& what)
    {
        EXPECT_EQ(Draw(what).error, AbstractConverter::CannotRender) << what.toStdString();
        EXPECT_EQ(Draw("draw").error, std::nullopt) << "the next one is served by another process";
    }

    WorkerConverter converter{WorkerSettings{ScriptedWorker(), 1min}};
};

TEST_F(PagePictureTest, IsWhatTheWorkerHasDrawn)
{
    const Outcome outcome = Draw("draw");
    ASSERT_FALSE(outcome.picture.IsNull());
    EXPECT_EQ(outcome.picture.Width(), drawn.width());
    EXPECT_EQ(outcome.picture.Height(), drawn.height());
    EXPECT_EQ(outcome.picture.BytesPerLine(), 16);
    EXPECT_EQ(outcome.picture.PixelFormat(), PagePicture::Format::Color);
    EXPECT_TRUE(IsAsDrawn(outcome.picture));
    EXPECT_FALSE(QFile::exists(ResultPath()));
}

TEST_F(PagePictureTest, IsNothingOfALessOrALargerMemoryThanTheWorkerSays)
{
    for (const char* what : {"draw-nothing", "draw-too-little", "draw-too-much"})
        ExpectRefused(what);
}

TEST_F(PagePictureTest, IsNothingOfASizeThatNoPictureHas)
{
    for (const char* what :
         {"draw-as-0-3", "draw-as-4-0", "draw-as--4--3", "draw-as-65001-1", "draw-as-1-65001",
          "draw-as-65000-65000", "draw-as-2147483647-2147483647", "draw-as-4294967300-3",
          "draw-as-four-three", "draw-as-4-4"})
        EXPECT_NE(Draw(what).error, std::nullopt) << what;
}

TEST_F(PagePictureTest, IsNothingOfASizeThatWasNotAskedFor)
{
    AbstractConverter::Task task = TaskOf("draw-as-3-4"); // as many pixels
    EXPECT_EQ(Draw(task).error, std::nullopt);
    task.options["size"] = drawn;
    EXPECT_EQ(Draw(task).error, AbstractConverter::CannotRender);
    task.options["size"] = QSize(0, 3);
    EXPECT_EQ(Draw(task).error, AbstractConverter::CannotRender);
}

TEST_F(PagePictureTest, IsNothingOfMemoryThatCannotBeSealed)
{
    for (const char* what : {"draw-and-keep-mapped", "draw-and-seal"})
        ExpectRefused(what);
}

TEST_F(PagePictureTest, IsNothingOfMemoryWithHoles)
{
    ExpectRefused("draw-holes");
}

TEST_F(PagePictureTest, StaysWhatItIsWhenTheWorkerShrinksOrWritesItAfterwards)
{
    for (const char* what : {"draw-and-shrink", "draw-and-write"}) {
        for (int i = 0; i < 50; ++i) {
            const Outcome outcome = Draw(what); // the worker may have been quicker
            const Outcome next = Draw("draw");  // by a child of its own, so the other one is gone
            EXPECT_TRUE(outcome.error || IsAsDrawn(outcome.picture)) << what;
            EXPECT_TRUE(IsAsDrawn(next.picture)) << what;
        }
    }
}

TEST_F(PagePictureTest, IsNoLargerThanResultsMayBe)
{
    WorkerSettings settings{ScriptedWorker(), 1min};
    settings.largestResult = 1;
    WorkerConverter strict(settings);
    std::optional<AbstractConverter::ErrorType> error;
    QObject::connect(&strict, &AbstractConverter::Failed, &strict,
                     [&](const QString&, AbstractConverter::ErrorType why) { error = why; });
    AbstractConverter::Task task = TaskOf("draw-as-513-512"); // a mebibyte and a column
    task.options["picture_made"] = WorkerConverter::OnPicture([](int, const PagePicture&) {});
    strict.ConvertFile(task);
    EXPECT_TRUE(WaitUntil([&] { return error.has_value(); }));
    EXPECT_EQ(error, AbstractConverter::ResultTooLarge);
}

TEST_F(PagePictureTest, WantsWhoeverTakesIt)
{
    AbstractConverter::Task task = TaskOf("draw");
    try {
        converter.ConvertFile(task);
        ADD_FAILURE() << "nobody would get the picture";
    } catch (const Converter::OptionError& error) {
        EXPECT_EQ(error.Option(), "picture_made");
    }
}

TEST_F(PagePictureTest, OutlivesTheConverterAndIsGoneWithTheLastImage)
{
    const int before = CountOpenDescriptors();
    QImage image;
    {
        WorkerConverter own{WorkerSettings{ScriptedWorker(), 1min}};
        AbstractConverter::Task task = TaskOf("draw");
        task.options["picture_made"] = WorkerConverter::OnPicture(
            [&](int, const PagePicture& picture) { image = ToImage(picture); });
        own.ConvertFile(task);
        EXPECT_TRUE(WaitUntil([&] { return !image.isNull(); }));
    }
    const QImage copy = image;
    image = QImage();
    EXPECT_EQ(copy.size(), drawn);
    EXPECT_EQ(copy.format(), QImage::Format_RGB32);
    EXPECT_EQ(copy.pixel(3, 2), qRgb(drawnByte, drawnByte, drawnByte));
    QImage painted = copy;
    painted.fill(Qt::red);
    EXPECT_EQ(copy.pixel(0, 0), qRgb(drawnByte, drawnByte, drawnByte));
    EXPECT_EQ(CountOpenDescriptors(), before);
}

TEST_F(PagePictureTest, OfNothingIsNoImage)
{
    EXPECT_TRUE(PagePicture().IsNull());
    EXPECT_TRUE(ToImage(PagePicture()).isNull());
}

/** The bytes of encoded pictures, which are what the stand-in draws. */
class PageBytesTest : public PagePictureTest
{
protected:
    struct Encoded
    {
        std::optional<AbstractConverter::ErrorType> error;
        QByteArray bytes;
    };

    static Encoded EncodeBy(WorkerConverter& by, const QString& what)
    {
        AbstractConverter::Task task = TaskOf(what);
        task.type = QStringLiteral("png");
        Encoded encoded;
        bool hasEnded = false;
        task.options["bytes_made"] =
            WorkerConverter::OnBytes([&](int page, const QByteArray& bytes) {
                EXPECT_EQ(page, 1);
                EXPECT_FALSE(hasEnded);
                encoded.bytes = bytes;
            });
        encoded.error = RunBy(by, task, hasEnded);
        EXPECT_EQ(encoded.bytes.isEmpty(), encoded.error.has_value());
        EXPECT_FALSE(QFile::exists(ResultPath()));
        return encoded;
    }

    Encoded Encode(const QString& what) { return EncodeBy(converter, what); }

    void ExpectNone(const QString& what)
    {
        EXPECT_EQ(Encode(what).error, AbstractConverter::CannotRender) << what.toStdString();
        EXPECT_EQ(Encode("draw").bytes, whole) << "the next one is served by another process";
    }

    const QByteArray whole = QByteArray(48, char(drawnByte));
};

TEST_F(PageBytesTest, AreWhatTheWorkerHasWritten)
{
    EXPECT_EQ(Encode("draw").bytes, whole);
    EXPECT_EQ(Encode("draw-too-much").bytes, whole) << "a rest may lie behind them";
}

TEST_F(PageBytesTest, AreNoneOfMemoryWithLessThanTheWorkerSays)
{
    for (const char* what : {"draw-nothing", "draw-too-little", "draw-holes"})
        ExpectNone(what);
}

TEST_F(PageBytesTest, AreNoneOfALengthThatIsNone)
{
    for (const char* what :
         {"draw-bytes-as-0", "draw-bytes-as--1", "draw-bytes-as-49", "draw-bytes-as-2147483647",
          "draw-bytes-as-4294967344", "draw-bytes-as-1e300", "draw-bytes-as-many"})
        ExpectNone(what);
}

TEST_F(PageBytesTest, AreACopyOfMemoryThatTheWorkerKeepsForItself)
{
    for (const char* what : {"draw-and-keep-mapped", "draw-and-seal"})
        EXPECT_EQ(Encode(what).bytes, whole) << what;
}

TEST_F(PageBytesTest, StayWhatTheyAreWhenTheWorkerWritesOn)
{
    for (int i = 0; i < 20; ++i) {
        const Encoded encoded = Encode("draw-and-keep-writing");
        ASSERT_EQ(encoded.error, std::nullopt);
        const QByteArray copy(encoded.bytes.constData(), encoded.bytes.size());
        EXPECT_EQ(Encode("draw").bytes, whole);
        EXPECT_EQ(encoded.bytes, copy);
        EXPECT_EQ(encoded.bytes.mid(1), whole.mid(1));
    }
}

TEST_F(PageBytesTest, AreNoMoreThanResultsMayHave)
{
    WorkerSettings settings{ScriptedWorker(), 1min};
    settings.largestResult = 1;
    WorkerConverter strict(settings);
    EXPECT_EQ(EncodeBy(strict, "draw-much").error, AbstractConverter::ResultTooLarge);
    EXPECT_EQ(EncodeBy(strict, "draw").bytes, whole);
}

TEST_F(PageBytesTest, LeaveNoMemoryBehind)
{
    Encode("draw");
    const int before = CountOpenDescriptors();
    for (int i = 0; i < 5; ++i)
        Encode("draw");
    EXPECT_EQ(CountOpenDescriptors(), before);
}

TEST_F(PageBytesTest, AreOfThePictureOfAPageAlone)
{
    AbstractConverter::Task text = TaskOf("draw");
    text.options["bytes_made"] = WorkerConverter::OnBytes([](int, const QByteArray&) {});
    text.type = QStringLiteral("txt");
    AbstractConverter::Task whole = text;
    whole.type = QStringLiteral("tif");
    whole.options.erase("page");
    for (const AbstractConverter::Task& task : {text, whole}) {
        try {
            converter.ConvertFile(task);
            ADD_FAILURE() << task.type.toStdString();
        } catch (const Converter::OptionError& error) {
            EXPECT_EQ(error.Option(), "bytes_made");
        }
    }
}

} // namespace
} // namespace Korvel::PDF::Test
