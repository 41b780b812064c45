// How a PdfConversion ends: by itself, cancelled, destroyed, or with its converter.

#include "PdfConversionFixture.h"
#include "SamplePdf.h"
#include "SystemCalls.h"
#include "WorkerTestTools.h"

#include <atomic>
#include <memory>
#include <optional>
#include <thread>

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QTimer>

namespace Korvel::PDF::Converter::Test {
namespace {

using PDF::Test::WaitUntil;
using PDF::Test::Workers;

class PdfConversionEndTest : public PdfConversionFixture
{
protected:
    /** A document that the stand-in for the worker never opens. */
    QString Silent() const
    {
        Write(Path("fall-silent.pdf"), "x");
        return Path("fall-silent.pdf");
    }

    /** A conversion that takes long. */
    ConversionRequest LongRequest() const
    {
        ConversionRequest request{Sample("long.pdf", 200), Path("out.png")};
        request.pictures.resolution = 300;
        return request;
    }

    static void ExpectCancelled(const PdfConversion& conversion)
    {
        EXPECT_EQ(conversion.Error(), AbstractConverter::Cancelled);
        EXPECT_EQ(conversion.ErrorText(), conversion.Request().document + " was cancelled");
    }
};

TEST_F(PdfConversionEndTest, CanBeStartedAgain)
{
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    const Course course(conversion);
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(PathsOf(conversion.Result()), QStringList(Path("out.png")));
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(PathsOf(conversion.Result()), QStringList(Path("out(2).png")));
    EXPECT_EQ(course.Signals(), QStringList({"page 1", "ended", "page 1", "ended"}));
}

TEST_F(PdfConversionEndTest, CanBeStartedAgainFromItsEnd)
{
    PdfConversion conversion(converter, RequestOf(Path("none.pdf"), Path("out.png")));
    int ends = 0;
    QObject::connect(&conversion, &PdfConversion::Ended, [&] {
        ++ends;
        EXPECT_TRUE(ends == 3 || conversion.Start());
    });
    conversion.Start();
    EXPECT_TRUE(WaitUntil([&] { return ends == 3; }));
    EXPECT_FALSE(conversion.IsRunning());
}

TEST_F(PdfConversionEndTest, IsStartedOnceAtATime)
{
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    const Course course(conversion);
    EXPECT_TRUE(conversion.Start());
    EXPECT_FALSE(conversion.Start());
    EXPECT_TRUE(WaitUntil([&] { return course.HasEnded(); }));
    EXPECT_EQ(course.Signals(), QStringList({"page 1", "ended"}));
}

TEST_F(PdfConversionEndTest, HeedsNoCancelBeforeItsStartAndAfterItsEnd)
{
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    conversion.Cancel();
    ASSERT_TRUE(RunToEnd(conversion));
    conversion.Cancel();
    EXPECT_EQ(conversion.Error(), std::nullopt);
    EXPECT_EQ(PathsOf(conversion.Result()), QStringList(Path("out.png")));
}

TEST_F(PdfConversionEndTest, IsCancelledRightAfterItsStart)
{
    PdfConversion conversion(converter, LongRequest());
    const Course course(conversion);
    conversion.Start();
    conversion.Cancel();
    ASSERT_TRUE(WaitUntil([&] { return course.HasEnded(); }));
    ExpectCancelled(conversion);
    EXPECT_EQ(course.Signals(), QStringList("ended"));
}

TEST_F(PdfConversionEndTest, IsCancelledWhilePagesAreMadeWhichLeavesFinishedOnes)
{
    PdfConversion conversion(converter, LongRequest());
    QObject::connect(&conversion, &PdfConversion::PageFinished, &conversion,
                     &PdfConversion::Cancel);
    ASSERT_TRUE(RunToEnd(conversion));
    ExpectCancelled(conversion);
    const QStringList pages = PathsOf(conversion.Result());
    EXPECT_GE(pages.size(), 1);
    EXPECT_LT(pages.size(), 200);
    for (const QString& page : pages)
        EXPECT_FALSE(QImage(page).isNull()) << page.toStdString();
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfConversionEndTest, WarnsOfNoPagesWithoutTextWhenItIsCancelled)
{
    QByteArrayList boxes;
    for (int page = 0; page < 50; ++page)
        boxes.append("0 0 200 200");
    MakePdfOfCropBoxes(Path("drawn.pdf"), boxes, "0 0 100 100 re f");
    ConversionRequest request{Path("drawn.pdf")};
    request.resultOfPage = [this](int page) {
        return Path(QStringLiteral("%1.txt").arg(page));
    };
    PdfConversion conversion(converter, request);
    PDF::Test::SystemCalls calls;
    std::atomic<bool> isMoving = false;
    std::atomic<bool> isCancelled = false;
    calls.beforeEach = [&](const PDF::Test::SystemCall& call) {
        if (&call != &calls.renameWithoutReplacing)
            return;
        isMoving = true;
        while (!isCancelled)
            std::this_thread::yield();
    };
    conversion.Start();
    EXPECT_TRUE(WaitUntil([&] { return isMoving.load(); }));
    conversion.Cancel();
    isCancelled = true;
    ASSERT_TRUE(WaitUntil([&] { return !conversion.IsRunning(); }));
    ExpectCancelled(conversion);
    EXPECT_EQ(conversion.Result().warnings.size(), 0u);
}

TEST_F(PdfConversionEndTest, IsCancelledWhileItsDocumentIsOpened)
{
    PdfConverter silent(ScriptedSettings());
    PdfConversion conversion(silent, RequestOf(Silent(), Path("out.png")));
    conversion.Start();
    QTimer::singleShot(0, &conversion, &PdfConversion::Cancel);
    ASSERT_TRUE(WaitUntil([&] { return !conversion.IsRunning(); }));
    ExpectCancelled(conversion);
}

TEST_F(PdfConversionEndTest, LetsOthersGoOnWhenItIsCancelledWhileItsDocumentIsOpened)
{
    PdfConverter one(ScriptedSettings());
    Write(Path("die.pdf"), "x");
    PdfConversion silent(one, RequestOf(Silent(), Path("out.png")));
    PdfConversion next(one, RequestOf(Path("die.pdf"), Path("out.png")));
    silent.Start();
    next.Start();
    silent.Cancel();
    EXPECT_TRUE(WaitUntil([&] { return !next.IsRunning(); }));
    EXPECT_NE(next.Error(), AbstractConverter::Cancelled);
}

TEST_F(PdfConversionEndTest, EndsTheWorkerThatOpensItsDocumentWhenItIsCancelled)
{
    PdfConverter one(ScriptedSettings());
    PdfConversion silent(one, RequestOf(Silent(), Path("out.png")));
    silent.Start();
    ASSERT_TRUE(WaitUntil([] { return !Workers().empty(); }));
    silent.Cancel();
    EXPECT_TRUE(WaitUntil([] { return Workers().empty(); }));
}

TEST_F(PdfConversionEndTest, EndsTheOpeningOfDocumentsThatAreCancelledRightAfterTheirStart)
{
    const auto threads = [] {
        return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    };
    PdfConverter one(ScriptedSettings());
    PdfConversion first(one, RequestOf(Path("die.pdf"), Path("out.png")));
    ASSERT_TRUE(RunToEnd(first));
    const auto before = threads();
    for (int time = 0; time < 20; ++time) {
        PdfConversion silent(one, RequestOf(Silent(), Path("out.png")));
        silent.Start();
        silent.Cancel();
        ASSERT_TRUE(WaitUntil([&] { return !silent.IsRunning(); }));
    }
    EXPECT_TRUE(WaitUntil([&] { return threads() <= before; })) << "a thread opens it still";
}

TEST_F(PdfConversionEndTest, IsCancelledWhileItWaitsForOthers)
{
    PdfConverter one(ScriptedSettings());
    PdfConversion silent(one, RequestOf(Silent(), Path("out.png")));
    PdfConversion waiting(one, RequestOf(Path("other.pdf"), Path("out.png")));
    silent.Start();
    waiting.Start();
    waiting.Cancel();
    ASSERT_TRUE(WaitUntil([&] { return !waiting.IsRunning(); }));
    ExpectCancelled(waiting);
    EXPECT_TRUE(silent.IsRunning());
}

TEST_F(PdfConversionEndTest, IsCancelledWhileAPasswordIsAskedFor)
{
    ConversionRequest request = RequestOf(Secret("secret.pdf"), Path("out.png"));
    PdfConversion* asking = nullptr;
    request.askForPassword = [&asking](int) {
        asking->Cancel();
        EXPECT_TRUE(WaitUntil([&] { return !asking->IsRunning(); })) << "as in a dialogue";
        return "geheim";
    };
    PdfConversion conversion(converter, request);
    asking = &conversion;
    ASSERT_TRUE(RunToEnd(conversion));
    ExpectCancelled(conversion);
    EXPECT_EQ(PathsOf(Convert(RequestOf(Sample("in.pdf", 1), Path("next.png")))),
              QStringList(Path("next.png")))
        << "the password that comes late is nobody's";
    EXPECT_FALSE(QFileInfo::exists(Path("out.png")));
}

TEST_F(PdfConversionEndTest, IsDestroyedWhileAPasswordIsAskedFor)
{
    ConversionRequest request = RequestOf(Secret("secret.pdf"), Path("out.png"));
    std::unique_ptr<PdfConversion> conversion;
    request.askForPassword = [&conversion](int) {
        conversion.reset();
        return "geheim";
    };
    conversion = std::make_unique<PdfConversion>(converter, request);
    conversion->Start();
    EXPECT_TRUE(WaitUntil([&] { return !conversion; }));
    EXPECT_EQ(Convert(RequestOf(Sample("in.pdf", 1), Path("next.png"))).error, std::nullopt);
}

TEST_F(PdfConversionEndTest, MayBeDestroyedByAReceiverOfEachSignal)
{
    using Connect = std::function<void(PdfConversion&, const std::function<void()>&)>;
    const Connect connects[] = {[](PdfConversion& to, const std::function<void()>& destroy) {
                                    QObject::connect(&to, &PdfConversion::Progress, destroy);
                                },
                                [](PdfConversion& to, const std::function<void()>& destroy) {
                                    QObject::connect(&to, &PdfConversion::PageFinished, destroy);
                                },
                                [](PdfConversion& to, const std::function<void()>& destroy) {
                                    QObject::connect(&to, &PdfConversion::PageFailed, destroy);
                                },
                                [](PdfConversion& to, const std::function<void()>& destroy) {
                                    QObject::connect(&to, &PdfConversion::Ended, destroy);
                                }};
    const ConversionRequest request = RequestOf(WithABadPage(), Path("out.png"));
    for (const Connect& connect : connects) {
        auto conversion = std::make_unique<PdfConversion>(converter, request);
        connect(*conversion, [&conversion] { conversion.reset(); });
        conversion->Start();
        EXPECT_TRUE(WaitUntil([&] { return !conversion; }));
    }
    EXPECT_EQ(Convert(RequestOf(Sample("in.pdf", 1), Path("next.png"))).error, std::nullopt);
}

TEST_F(PdfConversionEndTest, IsDestroyedWhileItRuns)
{
    std::optional<PdfConversion> conversion;
    conversion.emplace(converter, LongRequest());
    conversion->Start();
    conversion.reset();
    conversion.emplace(converter, LongRequest());
    conversion->Start();
    conversion.reset();
    EXPECT_EQ(Convert(RequestOf(Sample("in.pdf", 1), Path("next.png"))).error, std::nullopt);
}

TEST_F(PdfConversionEndTest, IsCancelledWhenItsConverterIsDestroyed)
{
    std::optional<PdfConverter> own(std::in_place, RealSettings());
    PdfConversion running(*own, LongRequest());
    PdfConversion waiting(*own, LongRequest());
    const Course course(running);
    running.Start();
    waiting.Start();
    QObject::connect(&running, &PdfConversion::PageFinished, [&own] { own.reset(); });
    ASSERT_TRUE(WaitUntil([&] { return !running.IsRunning() && !waiting.IsRunning(); }));
    ExpectCancelled(running);
    ExpectCancelled(waiting);
    EXPECT_EQ(course.Signals().count("ended"), 1);
    EXPECT_EQ(TemporaryFiles(), QStringList());
    ASSERT_TRUE(RunToEnd(waiting)) << "there is none any more";
    ExpectCancelled(waiting);
}

TEST_F(PdfConversionEndTest, IsCancelledWhenItsConverterIsDestroyedWhileItsDocumentIsOpened)
{
    std::optional<PdfConverter> own(std::in_place, ScriptedSettings());
    PdfConversion conversion(*own, RequestOf(Silent(), Path("out.png")));
    conversion.Start();
    own.reset();
    ASSERT_TRUE(WaitUntil([&] { return !conversion.IsRunning(); }));
    ExpectCancelled(conversion);
}

} // namespace
} // namespace Korvel::PDF::Converter::Test
