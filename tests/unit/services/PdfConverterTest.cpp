// What conversions share: a PdfConverter that many use at once, from several threads, or that
// cannot work. Futures of what comes of them.

#include "IsSanitized.h"
#include "OtherThread.h"
#include "PdfConversionFixture.h"
#include "WorkerTestTools.h"

#include <set>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QImage>
#include <QThread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::PDF::Converter::Test {
namespace {

using PDF::Test::OnOtherThread;
using PDF::Test::WaitUntil;
using testing::ElementsAre;

class PdfConverterTest : public PdfConversionFixture
{
};

TEST_F(PdfConverterTest, ConvertsManyDocumentsAtOnceWithoutLosingAResult)
{
    constexpr std::size_t count = 30;
    const QString document = Sample("in.pdf", 2);
    std::vector<std::unique_ptr<PdfConversion>> conversions;
    for (std::size_t i = 0; i < count; ++i) {
        conversions.push_back(
            std::make_unique<PdfConversion>(converter, RequestOf(document, Path("out.png"))));
        conversions.back()->Start();
    }
    std::set<QString> results;
    for (const auto& conversion : conversions) {
        ASSERT_TRUE(WaitUntil([&] { return !conversion->IsRunning(); }));
        EXPECT_EQ(conversion->Error(), std::nullopt) << conversion->ErrorText().toStdString();
        for (const QString& path : PathsOf(conversion->Result())) {
            EXPECT_FALSE(QImage(path).isNull()) << path.toStdString();
            results.insert(path);
        }
    }
    EXPECT_EQ(results.size(), 2 * count);
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfConverterTest, ServesConversionsOfSeveralThreads)
{
    const QString document = Sample("in.pdf", 2);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&, number] {
            QEventLoop loop;
            PdfConversion conversion(
                converter, RequestOf(document, Path(QStringLiteral("%1.png").arg(number))));
            QObject::connect(&conversion, &PdfConversion::Ended, &loop, [&] {
                EXPECT_EQ(QThread::currentThread(), conversion.thread());
                loop.quit();
            });
            conversion.Start();
            loop.exec();
            EXPECT_EQ(conversion.Result().pages.size(), 2u) << conversion.ErrorText().toStdString();
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(PdfConverterTest, IsDestroyedUnused)
{
    const PdfConverter unused;
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfConverterTest, MakesNothingBeforeTheFirstConversion)
{
    EXPECT_EQ(QDir(temp.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    EXPECT_EQ(PDF::Test::ChildProcesses(), std::vector<int>());
}

TEST_F(PdfConverterTest, RemovesItsFolderWhenItIsDestroyed)
{
    {
        PdfConverter own(RealSettings());
        PdfConversion conversion(own, RequestOf(Secret("secret.pdf"), Path("out.png")));
        ASSERT_TRUE(RunToEnd(conversion));
    }
    EXPECT_EQ(QDir(temp.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
}

TEST_F(PdfConverterTest, SaysThatThereIsNoFolderForTemporaryFilesUntilThereIs)
{
    PdfConverter::Settings settings = RealSettings();
    settings.tempFolder = Path("later");
    PdfConverter own(settings);
    PdfConversion conversion(own, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), AbstractConverter::CannotWrite);
    EXPECT_TRUE(conversion.ErrorText().contains(Path("later")))
        << conversion.ErrorText().toStdString();
    EXPECT_TRUE(conversion.ErrorText().startsWith(Path("in.pdf")));
    QDir().mkdir(Path("later"));
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), std::nullopt) << conversion.ErrorText().toStdString();
}

TEST_F(PdfConverterTest, SaysWhichFolderOfResultsCannotBeUsed)
{
    Write(Path("file"), "mine");
    const ConversionResult result =
        Convert(RequestOf(Sample("in.pdf", 1), Path("file/below/out.png")));
    EXPECT_EQ(result.error, AbstractConverter::CannotWrite);
    EXPECT_TRUE(result.errorText.contains(Path("file/below"))) << result.errorText.toStdString();
    EXPECT_TRUE(result.errorText.contains("Not a directory")) << result.errorText.toStdString();
    EXPECT_EQ(Read(Path("file")), "mine");
}

TEST_F(PdfConverterTest, SaysWhichWorkerIsMissing)
{
    PdfConverter::Settings settings = RealSettings();
    settings.worker.program = Path("no-worker");
    PdfConverter own(settings);
    PdfConversion conversion(own, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), AbstractConverter::Unknown);
    EXPECT_TRUE(conversion.ErrorText().startsWith(Path("in.pdf")));
    EXPECT_TRUE(conversion.ErrorText().contains(Path("no-worker")))
        << conversion.ErrorText().toStdString();
}

TEST_F(PdfConverterTest, ConfinesItsWorkersToItsFolder)
{
    PdfConverter::Settings settings = RealSettings();
    settings.worker.folder = Path("elsewhere");
    PdfConverter own(settings);
    PdfConversion conversion(own, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), std::nullopt) << conversion.ErrorText().toStdString();
}

TEST_F(PdfConverterTest, WarnsWhereThisMachineLacksAMeasureAndFailsWhereAllAreRequired)
{
    PdfConverter::Settings settings = RealSettings();
    settings.worker.program = PDF::Test::WorkerWithout("landlock=ENOSYS");
    const QString document = Sample("in.pdf", 1);
    {
        PdfConverter less(settings);
        PdfConversion conversion(less, RequestOf(document, Path("out.png")));
        ASSERT_TRUE(RunToEnd(conversion));
        EXPECT_EQ(conversion.Error(), std::nullopt) << conversion.ErrorText().toStdString();
        std::vector<QString> warnings;
        for (const ConversionResult::Note& note : conversion.Result().warnings) {
            EXPECT_EQ(note.warning, ConversionResult::Warning::LessConfined);
            warnings.push_back(note.text);
        }
        // A worker with sanitizers has no filters that could be missing.
        EXPECT_EQ(warnings.empty(), WORKER_IS_SANITIZED);
        for (const QString& text : warnings)
            EXPECT_TRUE(text.contains("Landlock")) << text.toStdString();
    }
    settings.worker.requiresSandbox = true;
    PdfConverter none(settings);
    PdfConversion conversion(none, RequestOf(document, Path("none.png")));
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), AbstractConverter::Unconfined);
    EXPECT_TRUE(conversion.ErrorText().contains("Landlock"))
        << conversion.ErrorText().toStdString();
}

TEST_F(PdfConverterTest, AnswersAFutureThatNeedsNoEventLoop)
{
    const QString document = Secret("secret.pdf", 2);
    OnOtherThread([&] {
        std::vector<int> attempts;
        ConversionRequest request = RequestOf(document, Path("out.png"));
        request.askForPassword = Passwords({"wrong", "geheim"}, attempts);
        const ConversionResult result = converter.Convert(request).result();
        EXPECT_EQ(result.error, std::nullopt) << result.errorText.toStdString();
        EXPECT_EQ(PathsOf(result), QStringList({Path("out-1.png"), Path("out-2.png")}));
        EXPECT_THAT(attempts, ElementsAre(1, 2));
    });
}

TEST_F(PdfConverterTest, TellsTheProgressOfAFuture)
{
    QFutureWatcher<ConversionResult> watcher;
    int progress = -1;
    QObject::connect(&watcher, &QFutureWatcherBase::progressValueChanged,
                     [&progress](int value) { progress = value; });
    watcher.setFuture(converter.Convert(RequestOf(Sample("in.pdf", 3), Path("out.png"))));
    ASSERT_TRUE(WaitUntil([&] { return watcher.isFinished(); }));
    EXPECT_TRUE(WaitUntil([&] { return progress == 1000; }));
    EXPECT_EQ(watcher.result().pages.size(), 3u);
}

TEST_F(PdfConverterTest, AnswersAFutureOfWhatFails)
{
    const ConversionResult result =
        converter.Convert(RequestOf(Path("none.pdf"), Path("out.png"))).result();
    EXPECT_EQ(result.error, AbstractConverter::CannotOpenSource);
    EXPECT_EQ(result.errorText,
              Path("none.pdf") + " is missing, no regular file, or must not be read");
}

TEST_F(PdfConverterTest, EndsTheConversionOfAFutureThatIsCancelled)
{
    PdfConverter silent(ScriptedSettings());
    Write(Path("fall-silent.pdf"), "x");
    Write(Path("die.pdf"), "x");
    QFuture<ConversionResult> future =
        silent.Convert(RequestOf(Path("fall-silent.pdf"), Path("out.png")));
    QFuture<ConversionResult> next = silent.Convert(RequestOf(Path("die.pdf"), Path("out.png")));
    future.cancel();
    future.waitForFinished();
    EXPECT_EQ(future.resultCount(), 0);
    EXPECT_NE(next.result().error, std::nullopt) << "its place is free";
}

bool IsAnswered(const QFuture<ConversionResult>& future)
{
    const QDeadlineTimer patience(20'000);
    while (!future.isFinished() && !patience.hasExpired())
        QThread::msleep(5);
    return future.isFinished();
}

/**
 * Whether a conversion ends for which there is no thread, and then the next one of its document.
 * Ends this process's right to start threads, but for a while.
 */
bool AnswersWithoutAThread(const PdfConverter::Settings& settings, const ConversionRequest& request)
{
    PdfConverter converter(settings);
    converter.Convert(request).waitForFinished(); // its own thread stays
    rlimit limit = {};
    ::getrlimit(RLIMIT_NPROC, &limit);
    const rlim_t before = std::exchange(limit.rlim_cur, 0);
    constexpr uid_t nobody = 65534;
    if (::setrlimit(RLIMIT_NPROC, &limit) != 0 || (::getuid() == 0 && ::setuid(nobody) != 0))
        return false;
    const QFuture<ConversionResult> refused = converter.Convert(request);
    if (!IsAnswered(refused) || !refused.result().errorText.contains("was not opened"))
        return false;
    limit.rlim_cur = before;
    ::setrlimit(RLIMIT_NPROC, &limit);
    return IsAnswered(converter.Convert(request));
}

TEST_F(PdfConverterTest, OpensADocumentAgainForWhichThereWasNoThread)
{
#if IS_SANITIZED
    GTEST_SKIP() << "a thread that ends may hold its locks when the process is forked, for good";
#endif
    Write(Path("die.pdf"), "x");
    const ConversionRequest request = RequestOf(Path("die.pdf"), Path("out.png"));
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(AnswersWithoutAThread(ScriptedSettings(), request) ? 0 : 1);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(PdfConverterTest, AnswersAllFuturesWhenItIsDestroyed)
{
    std::vector<QFuture<ConversionResult>> futures;
    Write(Path("fall-silent.pdf"), "x");
    {
        PdfConverter own(ScriptedSettings());
        for (int i = 0; i < 5; ++i)
            futures.push_back(own.Convert(RequestOf(Path("fall-silent.pdf"), Path("out.png"))));
    }
    for (const QFuture<ConversionResult>& future : futures) {
        ASSERT_TRUE(future.isFinished());
        EXPECT_EQ(future.result().error, AbstractConverter::Cancelled);
    }
}

} // namespace
} // namespace Korvel::PDF::Converter::Test
