#include "PageFanOut.h"

#include "ConverterSignals.h"
#include "FakeConverter.h"
#include "OtherThread.h"
#include "WorkerTestTools.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <QCoreApplication>

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Converter::PageFanOut;
using Lines = std::vector<std::string>;
using Tasks = std::vector<AbstractConverter::Task>;

const QString document = "/docs/a.pdf";

AbstractConverter::Task DocumentOf(int pages, const QString& source = document)
{
    std::vector<PageFanOut::PageTask> pageTasks;
    for (int page = 1; page <= pages; ++page)
        pageTasks.push_back({page, QString("/out/%1.png").arg(page)});
    AbstractConverter::Task task;
    task.source = source;
    task.options["page_tasks"] = pageTasks;
    return task;
}

/** Handles what is queued, and what is queued by that, a few times over. */
void HandleEvents()
{
    for (int round = 0; round < 10; ++round)
        QCoreApplication::sendPostedEvents();
}

/** A fan-out over fakes, and what it has emitted. */
class PageFanOutTest : public testing::Test
{
protected:
    PageFanOutTest() { Build(2); }

    void Build(int count)
    {
        fanOut.reset();
        chains.clear();
        lines.clear();
        fanOut = std::make_unique<PageFanOut>(
            [this] {
                if (makesNone)
                    throw std::runtime_error("there is no further chain");
                chains.push_back(std::make_shared<FakeConverter>(std::make_shared<CallJournal>()));
                if (onMade)
                    onMade(*chains.back());
                return chains.back();
            },
            count);
        ReceiveAll(*fanOut, fanOut.get(), [this](const std::string& line) {
            lines.push_back(line);
            if (onLine)
                onLine(line);
        });
    }

    /** Gives the fan-out a document and lets it hand the first pages out. */
    void Start(const AbstractConverter::Task& task)
    {
        ASSERT_TRUE(fanOut->ConvertFile(task));
        HandleEvents();
    }

    /** The page that the chain was given last. */
    int PageOf(std::size_t chain) const
    {
        return std::any_cast<int>(chains[chain]->tasks.back().options.at("page"));
    }

    /** Ends the chain's page with success, under its destination. */
    void FinishPage(std::size_t chain)
    {
        const AbstractConverter::Task task = chains[chain]->tasks.back();
        Q_EMIT chains[chain]->Finished(task.source, task.destination);
        HandleEvents();
    }

    void FailPage(std::size_t chain, AbstractConverter::ErrorType error)
    {
        Q_EMIT chains[chain]->Failed(chains[chain]->tasks.back().source, error);
        HandleEvents();
    }

    void ReportProgress(std::size_t chain, double progress)
    {
        Q_EMIT chains[chain]->ConvertationProgress(chains[chain]->tasks.back().source, progress);
    }

    std::size_t CountTasks() const
    {
        std::size_t count = 0;
        for (const auto& chain : chains)
            count += chain->tasks.size();
        return count;
    }

    /** Lets go of the chains, so that the fan-out has the last share of them. */
    void LetGoOfChains() { chains.clear(); }

    /** All that were made, in that order. */
    std::vector<std::shared_ptr<FakeConverter>> chains;
    /** Called for each of them, if set. */
    std::function<void(FakeConverter& chain)> onMade;
    /** Whether no further one can be made. */
    bool makesNone = false;
    std::unique_ptr<PageFanOut> fanOut;
    Lines lines;
    /** Called for each signal, if set. */
    std::function<void(const std::string& line)> onLine;
};

std::string FailedLine(AbstractConverter::ErrorType error, const QString& source = document)
{
    return "Failed " + source.toStdString() + ' ' + std::to_string(int(error));
}

} // namespace

TEST_F(PageFanOutTest, ConnectsTheEightSignalsOfEveryChainInTheOrderOfTheWrappers)
{
    std::vector<QByteArray> expected;
    for (const ConverterSignal& signal : ConverterSignals())
        expected.push_back(signal.signature);
    for (const auto& chain : chains)
        EXPECT_EQ(chain->connections, expected);
}

TEST_F(PageFanOutTest, MakesEveryPageATaskOfItsOwn)
{
    AbstractConverter::Task task = DocumentOf(2);
    task.type = "png";
    task.destination = "/not/used";
    task.options["resolution"] = 300.0;
    Start(task);
    for (const std::size_t chain : {0U, 1U}) {
        ASSERT_EQ(chains[chain]->tasks.size(), 1U);
        const AbstractConverter::Task& page = chains[chain]->tasks.front();
        EXPECT_EQ(page.type, "png");
        EXPECT_EQ(page.source, document);
        EXPECT_EQ(page.destination, QString("/out/%1.png").arg(chain + 1));
        EXPECT_EQ(std::any_cast<int>(page.options.at("page")), int(chain) + 1);
        EXPECT_EQ(std::any_cast<double>(page.options.at("resolution")), 300.0);
        EXPECT_EQ(page.options.count("page_tasks"), 0U);
    }
}

TEST_F(PageFanOutTest, HandsADocumentWithoutPageTasksToOneChainAsItIs)
{
    AbstractConverter::Task task;
    task.type = "txt";
    task.source = document;
    task.destination = "/out/all.txt";
    task.options["page"] = 7;
    task.options["password"] = std::string("secret");
    Start(task);
    ASSERT_EQ(CountTasks(), 1U);
    const AbstractConverter::Task& given = chains[0]->tasks.front();
    EXPECT_EQ(given.type, task.type);
    EXPECT_EQ(given.source, task.source);
    EXPECT_EQ(given.destination, task.destination);
    EXPECT_EQ(given.options.size(), 2U);
    EXPECT_EQ(std::any_cast<int>(given.options.at("page")), 7);
    EXPECT_EQ(std::any_cast<std::string>(given.options.at("password")), "secret");
    FinishPage(0);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/all.txt]");
}

TEST_F(PageFanOutTest, GivesAPageTaskOfNumberZeroNoPageOption)
{
    AbstractConverter::Task task;
    task.source = document;
    task.options["page_tasks"] = std::vector<PageFanOut::PageTask>{{0, "/out/all.txt"}};
    Start(task);
    EXPECT_EQ(chains[0]->tasks.front().options.count("page"), 0U);
    EXPECT_EQ(chains[0]->tasks.front().destination, "/out/all.txt");
}

TEST_F(PageFanOutTest, HandsOutFromTheEventLoopAlone)
{
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(4)));
    EXPECT_EQ(CountTasks(), 0U);
    HandleEvents();
    EXPECT_EQ(CountTasks(), 2U);
    const AbstractConverter::Task task = chains[0]->tasks.back();
    Q_EMIT chains[0]->Finished(task.source, task.destination);
    EXPECT_EQ(CountTasks(), 2U);
    HandleEvents();
    EXPECT_EQ(CountTasks(), 3U);
}

TEST_F(PageFanOutTest, KeepsEveryChainBusyWithOnePageAtATime)
{
    Build(3);
    Start(DocumentOf(7));
    EXPECT_EQ(CountTasks(), 3U);
    FinishPage(1);
    EXPECT_EQ(CountTasks(), 4U);
    EXPECT_EQ(PageOf(0), 1);
    EXPECT_EQ(PageOf(1), 4);
    EXPECT_EQ(PageOf(2), 3);
    FinishPage(1);
    FinishPage(0);
    EXPECT_EQ(PageOf(0), 6);
    EXPECT_EQ(PageOf(1), 5);
    FinishPage(2);
    FinishPage(2);
    EXPECT_EQ(CountTasks(), 7U) << "no page is left for it";
}

TEST_F(PageFanOutTest, FinishesWithAllPathsInTheOrderOfThePagesHoweverTheyEnded)
{
    Build(3);
    Start(DocumentOf(5));
    FinishPage(2);
    FinishPage(2);
    FinishPage(1);
    FinishPage(2);
    EXPECT_EQ(lines, Lines());
    FinishPage(0);
    EXPECT_EQ(lines, Lines({"ConvertationFinished /docs/a.pdf",
                            "FinishedFiles /docs/a.pdf [/out/1.png /out/2.png /out/3.png "
                            "/out/4.png /out/5.png]"}));
}

TEST_F(PageFanOutTest, TakesThePathThatTheChainReportsForTheFinalOne)
{
    Start(DocumentOf(2));
    Q_EMIT chains[0]->Finished(document, "/out/1(2).png");
    FinishPage(1);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1(2).png /out/2.png]");
}

TEST_F(PageFanOutTest, KeepsTheEmptyPathOfAResultThatWasNotPlacedWhereItBelongs)
{
    Start(DocumentOf(3));
    Q_EMIT chains[0]->Finished(document, QString());
    HandleEvents();
    FinishPage(1);
    Q_EMIT chains[0]->Finished(document, QStringList());
    HandleEvents();
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [ /out/2.png ]");
}

TEST_F(PageFanOutTest, TakesTheFirstOfSeveralResultsOfAPage)
{
    Start(DocumentOf(1));
    Q_EMIT chains[0]->Finished(document, QStringList({"/out/1.png", "/out/1b.png"}));
    HandleEvents();
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png]");
}

TEST_F(PageFanOutTest, EmitsStartedWithTheFirstPageAlone)
{
    Start(DocumentOf(3));
    EXPECT_EQ(lines, Lines());
    Q_EMIT chains[1]->ConvertationStarted(document);
    Q_EMIT chains[0]->ConvertationStarted(document);
    FinishPage(1);
    Q_EMIT chains[1]->ConvertationStarted(document);
    EXPECT_EQ(lines, Lines({"ConvertationStarted /docs/a.pdf"}));
}

TEST_F(PageFanOutTest, EmitsConvertationFinishedForTheDocumentAlone)
{
    Start(DocumentOf(2));
    for (const std::size_t chain : {0U, 1U}) {
        Q_EMIT chains[chain]->ConvertationFinished(document);
        EXPECT_EQ(lines, Lines()) << "the end of a page";
        FinishPage(chain);
    }
    EXPECT_EQ(lines, Lines({"ConvertationFinished /docs/a.pdf",
                            "FinishedFiles /docs/a.pdf [/out/1.png /out/2.png]"}));
}

TEST_F(PageFanOutTest, AddsTheProgressOfThePagesUp)
{
    Start(DocumentOf(4));
    ReportProgress(0, 0.0);
    ReportProgress(0, 0.5);
    ReportProgress(1, 0.5);
    ReportProgress(0, 1.0);
    FinishPage(0);
    ReportProgress(0, 0.0);
    ReportProgress(1, 1.0);
    FinishPage(1);
    ReportProgress(1, 1.0);
    ReportProgress(0, 1.0);
    Lines expected;
    for (const char* progress : {"0", "0.125", "0.25", "0.375", "0.375", "0.5", "0.75", "1"})
        expected.push_back(std::string("ConvertationProgress /docs/a.pdf ") + progress);
    EXPECT_EQ(lines, expected);
}

TEST_F(PageFanOutTest, NeverGoesBackOrBeyondItsRangeWithTheProgress)
{
    std::vector<double> values;
    QObject::connect(fanOut.get(), &AbstractConverter::ConvertationProgress, fanOut.get(),
                     [&values](const QString&, double progress) { values.push_back(progress); });
    Start(DocumentOf(3));
    for (const double progress : {0.5, 0.2, -7.0, std::numeric_limits<double>::quiet_NaN(), 0.7,
                                  1e300, std::numeric_limits<double>::infinity()})
        ReportProgress(0, progress);
    ReportProgress(1, 0.9);
    FailPage(1, AbstractConverter::CannotRender);
    ReportProgress(0, 1.0);
    EXPECT_EQ(values.size(), 9U);
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    EXPECT_GE(values.front(), 0.0);
    EXPECT_LE(values.back(), 1.0);
}

TEST_F(PageFanOutTest, PassesDownloadAndUploadProgressOn)
{
    Start(DocumentOf(2));
    Q_EMIT chains[0]->DownloadProgress(document, 1, 2);
    Q_EMIT chains[1]->UploadProgress(document, 3, 4);
    EXPECT_EQ(lines, Lines({"DownloadProgress /docs/a.pdf 1 2", "UploadProgress /docs/a.pdf 3 4"}));
}

TEST_F(PageFanOutTest, FailsOnceWithTheFirstErrorWhenTheRunningPagesHaveEnded)
{
    Build(3);
    Start(DocumentOf(9));
    FailPage(1, AbstractConverter::OutOfMemory);
    EXPECT_EQ(CountTasks(), 3U) << "a page was started after the failure";
    EXPECT_EQ(lines, Lines()) << "pages are running";
    FailPage(2, AbstractConverter::CannotWrite);
    FinishPage(0);
    EXPECT_EQ(lines, Lines({"ConvertationFinished /docs/a.pdf",
                            FailedLine(AbstractConverter::OutOfMemory)}));
    HandleEvents();
    EXPECT_EQ(CountTasks(), 3U);
    EXPECT_EQ(lines.size(), 2U);
}

TEST_F(PageFanOutTest, ConvertsTheOtherPagesWhereSomebodyIsToldOfTheOneThatFails)
{
    Build(1);
    std::vector<int> failed;
    AbstractConverter::Task task = DocumentOf(3);
    task.options["page_failed"] =
        PageFanOut::OnPageFailure([&failed](const PageFanOut::PageFailure& failure) {
            EXPECT_EQ(failure.error, AbstractConverter::CannotRender);
            failed.push_back(failure.page);
        });
    Start(task);
    FinishPage(0);
    FailPage(0, AbstractConverter::CannotRender);
    EXPECT_EQ(failed, std::vector<int>{2});
    ASSERT_EQ(chains.size(), 2U) << "a wrapper would move page 3 to where page 2 was wanted";
    EXPECT_EQ(PageOf(1), 3);
    FinishPage(1);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png  /out/3.png]");
}

TEST_F(PageFanOutTest, FailsWhenEachPageHasFailed)
{
    int failures = 0;
    AbstractConverter::Task task = DocumentOf(2);
    task.options["page_failed"] =
        PageFanOut::OnPageFailure([&failures](const PageFanOut::PageFailure&) { ++failures; });
    Start(task);
    FailPage(1, AbstractConverter::OutOfMemory);
    FailPage(0, AbstractConverter::CannotRender);
    EXPECT_EQ(failures, 2);
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::OutOfMemory));
}

TEST_F(PageFanOutTest, FailsAtAnErrorThatIsNoPagesOwnWhoeverIsToldOfPages)
{
    AbstractConverter::Task task = DocumentOf(5);
    task.options["page_failed"] =
        PageFanOut::OnPageFailure([](const PageFanOut::PageFailure&) { ADD_FAILURE(); });
    Start(task);
    FailPage(1, AbstractConverter::CannotWrite);
    FinishPage(0);
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::CannotWrite));
}

TEST_F(PageFanOutTest, PassesAnyErrorOn)
{
    Start(DocumentOf(1));
    FailPage(0, AbstractConverter::ErrorType(4711));
    EXPECT_EQ(lines.back(), "Failed /docs/a.pdf 4711");
}

TEST_F(PageFanOutTest, FailsWhenAPageIsRefused)
{
    chains[1]->accepts = false;
    Start(DocumentOf(5));
    EXPECT_EQ(CountTasks(), 2U);
    EXPECT_EQ(lines, Lines());
    FinishPage(0);
    EXPECT_EQ(lines,
              Lines({"ConvertationFinished /docs/a.pdf", FailedLine(AbstractConverter::Unknown)}));
}

TEST_F(PageFanOutTest, FailsWhenAChainThrows)
{
    for (const auto& chain : chains)
        chain->onConvertFile = [](const auto&) {
            throw std::bad_any_cast();
        };
    Start(DocumentOf(3));
    EXPECT_EQ(lines,
              Lines({"ConvertationFinished /docs/a.pdf", FailedLine(AbstractConverter::Unknown)}));
    Start(DocumentOf(1));
    FinishPage(2);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png]");
}

TEST_F(PageFanOutTest, WorksOnSeveralDocuments)
{
    Build(3);
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(2, "a")));
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(1, "b")));
    Start(DocumentOf(2, "c"));
    EXPECT_EQ(chains[1]->tasks.back().source, "a");
    EXPECT_EQ(chains[2]->tasks.back().source, "b");
    ReportProgress(2, 1.0);
    FinishPage(2);
    FailPage(0, AbstractConverter::CannotRender);
    ASSERT_EQ(chains.size(), 5U) << "two of its own for c";
    ReportProgress(4, 1.0);
    FinishPage(1);
    FinishPage(4);
    FinishPage(3);
    EXPECT_EQ(lines,
              Lines({"ConvertationProgress b 1", "ConvertationFinished b",
                     "FinishedFiles b [/out/1.png]", "ConvertationProgress c 0.5",
                     "ConvertationFinished a", FailedLine(AbstractConverter::CannotRender, "a"),
                     "ConvertationFinished c", "FinishedFiles c [/out/1.png /out/2.png]"}));
}

TEST_F(PageFanOutTest, MakesChainsAnewForEachDocument)
{
    Start(DocumentOf(3));
    FinishPage(0);
    FailPage(0, AbstractConverter::CannotRender);
    FinishPage(1);
    EXPECT_EQ(chains.size(), 2U);
    EXPECT_GT(chains[0].use_count(), 1) << "what it holds may be wanted yet";

    Start(DocumentOf(1));
    ASSERT_EQ(chains.size(), 3U) << "no more than it has pages";
    EXPECT_EQ(chains[0].use_count(), 1);
    EXPECT_EQ(chains[2]->tasks.size(), 1U);
    Q_EMIT chains[0]->Finished(document, "/out/late.png");
    HandleEvents();
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::CannotRender));
    FinishPage(2);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png]");
}

TEST_F(PageFanOutTest, FailsWhenNoChainCanBeMade)
{
    Start(DocumentOf(2));
    FinishPage(0);
    FinishPage(1);
    makesNone = true;
    Start(DocumentOf(2, "second"));
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::Unknown, "second"));
    makesNone = false;
    Start(DocumentOf(1, "third"));
    FinishPage(2);
    EXPECT_EQ(lines.back(), "FinishedFiles third [/out/1.png]");
}

TEST_F(PageFanOutTest, RefusesADocumentWhoseSourceIsInHand)
{
    Start(DocumentOf(2));
    EXPECT_FALSE(fanOut->ConvertFile(DocumentOf(5)));
    FinishPage(0);
    EXPECT_FALSE(fanOut->ConvertFile(DocumentOf(5)));
    FinishPage(1);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png /out/2.png]");
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(1)));
}

TEST_F(PageFanOutTest, AcceptsTheSourceAgainFromTheSlotOfItsEndAndNoSooner)
{
    std::map<std::string, bool> accepted;
    onLine = [&](const std::string& line) {
        if (accepted.count(line) == 0)
            accepted[line] = fanOut->ConvertFile(DocumentOf(1));
    };
    Start(DocumentOf(1));
    Q_EMIT chains[0]->ConvertationStarted(document);
    FinishPage(0);
    FailPage(2, AbstractConverter::CannotRender);
    EXPECT_EQ(accepted,
              (std::map<std::string, bool>{{"ConvertationStarted /docs/a.pdf", false},
                                           {"ConvertationFinished /docs/a.pdf", false},
                                           {"FinishedFiles /docs/a.pdf [/out/1.png]", true},
                                           {FailedLine(AbstractConverter::CannotRender), true}}));
    EXPECT_EQ(CountTasks(), 3U);
}

TEST_F(PageFanOutTest, RefusesADocumentWithoutPages)
{
    EXPECT_FALSE(fanOut->ConvertFile(DocumentOf(0)));
    HandleEvents();
    EXPECT_EQ(lines, Lines());
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(1))) << "it is not in hand";
}

TEST_F(PageFanOutTest, ThrowsForPageTasksOfAnotherType)
{
    AbstractConverter::Task task;
    task.source = document;
    task.options["page_tasks"] = std::vector<int>{1};
    EXPECT_THROW(fanOut->ConvertFile(task), std::bad_cast);
    HandleEvents();
    EXPECT_EQ(CountTasks(), 0U);
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(1))) << "it is not in hand";
}

TEST_F(PageFanOutTest, CancelWithNothingInHandAsksEveryChain)
{
    EXPECT_TRUE(fanOut->CancelConvertation());
    chains[0]->cancels = false;
    std::vector<int> asked;
    for (const std::size_t chain : {0U, 1U})
        chains[chain]->onCancelConvertation = [&asked, chain] {
            asked.push_back(int(chain));
        };
    EXPECT_FALSE(fanOut->CancelConvertation());
    EXPECT_EQ(asked, std::vector<int>({0, 1}));
    HandleEvents();
    EXPECT_EQ(lines, Lines());
}

TEST_F(PageFanOutTest, CancelBeforeAPageWasHandedOutFailsAllDocuments)
{
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(2, "a")));
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(2, "b")));
    EXPECT_TRUE(fanOut->CancelConvertation());
    EXPECT_EQ(lines, Lines());
    HandleEvents();
    EXPECT_EQ(CountTasks(), 0U);
    EXPECT_EQ(lines,
              Lines({"ConvertationFinished a", FailedLine(AbstractConverter::Cancelled, "a"),
                     "ConvertationFinished b", FailedLine(AbstractConverter::Cancelled, "b")}));
}

TEST_F(PageFanOutTest, CancelFailsADocumentWhenItsRunningPagesHaveEnded)
{
    Start(DocumentOf(5));
    EXPECT_TRUE(fanOut->CancelConvertation());
    HandleEvents();
    EXPECT_EQ(lines, Lines());
    FinishPage(0);
    FailPage(1, AbstractConverter::Cancelled);
    EXPECT_EQ(CountTasks(), 2U);
    EXPECT_EQ(lines, Lines({"ConvertationFinished /docs/a.pdf",
                            FailedLine(AbstractConverter::Cancelled)}));
}

TEST_F(PageFanOutTest, CancelCountsForADocumentWhosePagesHaveAllJustEnded)
{
    Start(DocumentOf(1));
    Q_EMIT chains[0]->Finished(document, "/out/1.png");
    EXPECT_TRUE(fanOut->CancelConvertation());
    HandleEvents();
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::Cancelled));
}

TEST_F(PageFanOutTest, StopStartsNoFurtherPageAndLeavesTheRunningOnesAlone)
{
    Start(DocumentOf(5));
    for (const auto& chain : chains)
        chain->onCancelConvertation = [] {
            FAIL() << "asked to cancel";
        };
    fanOut->StopAfterRunningPages();
    FinishPage(0);
    EXPECT_EQ(lines, Lines()) << "a page still runs";
    FinishPage(1);
    EXPECT_EQ(CountTasks(), 2U);
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::Cancelled));
}

TEST_F(PageFanOutTest, CancelKeepsAnEarlierError)
{
    Start(DocumentOf(3));
    FailPage(0, AbstractConverter::OutOfMemory);
    fanOut->CancelConvertation();
    FailPage(1, AbstractConverter::Cancelled);
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::OutOfMemory));
}

TEST_F(PageFanOutTest, CancelMeetsChainsThatFailTheirPageInsideIt)
{
    for (const auto& chain : chains) {
        chain->onCancelConvertation = [inner = chain.get()] {
            Q_EMIT inner->Failed(document, AbstractConverter::Cancelled);
        };
    }
    Start(DocumentOf(5));
    EXPECT_TRUE(fanOut->CancelConvertation());
    EXPECT_EQ(lines, Lines()) << "emitted inside CancelConvertation";
    HandleEvents();
    EXPECT_EQ(lines, Lines({"ConvertationFinished /docs/a.pdf",
                            FailedLine(AbstractConverter::Cancelled)}));
    Start(DocumentOf(1));
    FinishPage(2);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png]") << "goes on";
}

TEST_F(PageFanOutTest, NeitherManyPagesNorManyDocumentsDeepenTheStack)
{
    std::uintptr_t lowest = std::numeric_limits<std::uintptr_t>::max();
    std::uintptr_t highest = 0;
    onMade = [&](FakeConverter& chain) {
        chain.onConvertFile = [&](const AbstractConverter::Task& task) {
            const char local = 0;
            lowest = std::min(lowest, reinterpret_cast<std::uintptr_t>(&local));
            highest = std::max(highest, reinterpret_cast<std::uintptr_t>(&local));
            // Both inside ConvertFile: the end of this page, and whatever follows from it.
            Q_EMIT chain.ConvertationStarted(task.source);
            Q_EMIT chain.Finished(task.source, task.destination);
        };
    };
    Build(2);
    const int pages = 10'000;
    Start(DocumentOf(pages));
    ASSERT_TRUE(WaitUntil([this] { return lines.size() == 3; }));
    EXPECT_EQ(CountTasks(), std::size_t(pages));
    int ended = 0;
    onLine = [&](const std::string& line) {
        if (line.rfind("Finished", 0) == 0 && ++ended < 1'000) {
            EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(1)));
        }
    };
    Start(DocumentOf(1));
    EXPECT_TRUE(WaitUntil([&ended] { return ended == 1'000; }));
    EXPECT_LT(highest - lowest, 4096U);
}

TEST_F(PageFanOutTest, IgnoresChainsThatTalkOfOtherSources)
{
    Start(DocumentOf(1));
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (signal.name == "DownloadProgress" || signal.name == "UploadProgress")
            continue;
        signal.emitFrom(*chains[0], "other");
        signal.emitFrom(*chains[1], document); // which has no page of it
        HandleEvents();
        EXPECT_EQ(lines, Lines()) << signal;
    }
    FinishPage(0);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png]");
}

TEST_F(PageFanOutTest, IgnoresWhatAChainSaysAfterItsPageHasEnded)
{
    Start(DocumentOf(2));
    FinishPage(0);
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (signal.name == "DownloadProgress" || signal.name == "UploadProgress")
            continue;
        signal.emitFrom(*chains[0], document);
        HandleEvents();
        EXPECT_EQ(lines, Lines()) << signal;
    }
    FinishPage(1);
    EXPECT_EQ(lines.back(), "FinishedFiles /docs/a.pdf [/out/1.png /out/2.png]");
}

TEST_F(PageFanOutTest, HearsChainsThatEmitOnOtherThreads)
{
    Start(DocumentOf(2));
    for (const auto& chain : chains) {
        OnOtherThread([&chain] {
            const QString source = document;
            Q_EMIT chain->ConvertationStarted(source);
            Q_EMIT chain->Finished(source, chain->tasks.back().destination);
        });
    }
    EXPECT_EQ(lines, Lines());
    HandleEvents();
    EXPECT_EQ(lines, Lines({"ConvertationStarted /docs/a.pdf", "ConvertationFinished /docs/a.pdf",
                            "FinishedFiles /docs/a.pdf [/out/1.png /out/2.png]"}));
}

TEST_F(PageFanOutTest, HearsOfAFailureOnAnotherThread)
{
    Start(DocumentOf(1));
    OnOtherThread([this] { Q_EMIT chains[0]->Failed(document, AbstractConverter::TimedOut); });
    HandleEvents();
    EXPECT_EQ(lines.back(), FailedLine(AbstractConverter::TimedOut));
}

TEST_F(PageFanOutTest, SharesTheChains)
{
    const auto chain = chains[0];
    EXPECT_EQ(chain.use_count(), 3);
    EXPECT_EQ(fanOut->parent(), nullptr);
    EXPECT_EQ(chain->parent(), nullptr);
    fanOut.reset();
    EXPECT_EQ(chain.use_count(), 2);
    for (const ConverterSignal& signal : ConverterSignals())
        EXPECT_EQ(chain->CountReceivers(signal.signature), 0) << signal;
}

TEST_F(PageFanOutTest, PassesNothingOnThatAChainEmitsFromItsDestructor)
{
    Start(DocumentOf(5));
    for (const auto& chain : chains) {
        chain->onDestruction = [inner = chain.get()] {
            for (const ConverterSignal& signal : ConverterSignals())
                signal.emitFrom(*inner, document);
        };
    }
    const QObject context;
    Lines received;
    ReceiveAll(*fanOut, &context,
               [&received](const std::string& line) { received.push_back(line); });
    LetGoOfChains();
    fanOut.reset();
    HandleEvents();
    EXPECT_EQ(received, Lines());
}

TEST_F(PageFanOutTest, AnswersForTheChains)
{
    chains[0]->formats = {{"pdf", {"png"}}};
    chains[1]->formats = {{"pdf", {"txt"}}};
    EXPECT_EQ(fanOut->GetSupportedFormats(), chains[0]->formats);
    EXPECT_TRUE(fanOut->DoesServiceAvailable());
    chains[1]->isAvailable = false;
    EXPECT_FALSE(fanOut->DoesServiceAvailable());
}

TEST_F(PageFanOutTest, KeepsASourceWhoseSenderLetsGoOfIt)
{
    auto source = std::make_unique<QString>(document);
    std::string second;
    onLine = [&source](const std::string&) {
        source.reset();
    };
    Start(DocumentOf(2));
    QObject::connect(fanOut.get(), &AbstractConverter::ConvertationStarted, fanOut.get(),
                     [&second](const QString& text) { second = text.toStdString(); });
    Q_EMIT chains[0]->ConvertationStarted(*source);
    EXPECT_EQ(second, document.toStdString());
    source = std::make_unique<QString>(document);
    QObject::connect(fanOut.get(), &AbstractConverter::ConvertationProgress, fanOut.get(),
                     [&second](const QString& text) { second = text.toStdString() + '!'; });
    Q_EMIT chains[0]->ConvertationProgress(*source, 0.5);
    EXPECT_EQ(second, document.toStdString() + '!');
}

/** For each signal of the fan-out: what a receiver may do in its slot. */
class PageFanOutReceiver : public PageFanOutTest, public testing::WithParamInterface<std::string>
{
protected:
    /** Lets the fan-out emit each of its signals, the one of the test as the last. */
    void EmitAll()
    {
        Start(DocumentOf(3));
        const auto emitUnlessGone = [this](auto emission) {
            if (fanOut)
                emission();
        };
        emitUnlessGone([&] { Q_EMIT chains[0]->ConvertationStarted(document); });
        emitUnlessGone([&] { Q_EMIT chains[0]->DownloadProgress(document, 1, 2); });
        emitUnlessGone([&] { Q_EMIT chains[0]->UploadProgress(document, 1, 2); });
        emitUnlessGone([&] { Q_EMIT chains[0]->ConvertationProgress(document, 0.5); });
        emitUnlessGone([&] { FinishPage(0); });
        if (GetParam() == "Failed")
            emitUnlessGone([&] { FailPage(0, AbstractConverter::CannotRender); });
        else
            emitUnlessGone([&] { FinishPage(0); });
        emitUnlessGone([&] { FinishPage(1); });
    }

    bool IsSignal(const std::string& line) const { return line.rfind(GetParam() + ' ', 0) == 0; }
};

INSTANTIATE_TEST_SUITE_P(PageFanOutTest, PageFanOutReceiver,
                         testing::Values("ConvertationStarted", "DownloadProgress",
                                         "UploadProgress", "ConvertationProgress",
                                         "ConvertationFinished", "FinishedFiles", "Failed"),
                         [](const auto& row) { return row.param; });

TEST_P(PageFanOutReceiver, MayDestroyIt)
{
    onLine = [this](const std::string& line) {
        if (IsSignal(line))
            fanOut.reset();
    };
    EmitAll();
    EXPECT_FALSE(fanOut);
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(IsSignal(lines.back())) << "and nothing after it";
}

TEST_P(PageFanOutReceiver, MayDestroyItWithItsChains)
{
    std::weak_ptr<FakeConverter> first = chains[0];
    onLine = [this](const std::string& line) {
        if (IsSignal(line)) {
            LetGoOfChains();
            fanOut.reset();
        }
    };
    EmitAll();
    EXPECT_FALSE(fanOut);
    EXPECT_TRUE(first.expired());
}

TEST_P(PageFanOutReceiver, MayCancel)
{
    int ends = 0;
    onLine = [&](const std::string& line) {
        if (IsSignal(line))
            fanOut->CancelConvertation();
        ends += line.rfind("Finished", 0) == 0 || line.rfind("Failed", 0) == 0;
    };
    EmitAll();
    EXPECT_EQ(ends, 1);
}

TEST_P(PageFanOutReceiver, MayRunAnEventLoop)
{
    Lines ends;
    onLine = [&](const std::string& line) {
        if (IsSignal(line))
            HandleEvents();
        if (line.rfind("Finished", 0) == 0 || line.rfind("Failed", 0) == 0)
            ends.push_back(line);
    };
    EmitAll();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "ConvertationFinished /docs/a.pdf"), 1);
}

TEST_P(PageFanOutReceiver, MayStartAnotherDocument)
{
    bool accepted = false;
    onLine = [&](const std::string& line) {
        if (IsSignal(line) && !accepted)
            accepted = fanOut->ConvertFile(DocumentOf(1, "other"));
    };
    EmitAll();
    EXPECT_TRUE(accepted);
    ASSERT_EQ(chains.size(), 3U) << "it has one of its own";
    FinishPage(2);
    EXPECT_EQ(lines.back(), "FinishedFiles other [/out/1.png]");
}

TEST_F(PageFanOutTest, MayBeDestroyedWhileItHandsOut)
{
    chains[0]->onConvertFile = [this](const auto&) {
        fanOut.reset();
    };
    Start(DocumentOf(3));
    EXPECT_FALSE(fanOut);
    EXPECT_EQ(chains[0]->tasks.size(), 1U);
    EXPECT_EQ(chains[1]->tasks.size(), 0U);
}

TEST_F(PageFanOutTest, MayBeDestroyedWithItsChainsWhileItHandsOut)
{
    for (const bool accepts : {true, false}) {
        Build(2);
        chains[0]->accepts = accepts;
        chains[0]->onConvertFile = [this](const auto&) {
            LetGoOfChains();
            fanOut.reset();
        };
        Start(DocumentOf(3));
        EXPECT_FALSE(fanOut);
    }
}

TEST_F(PageFanOutTest, MayBeDestroyedWhileItCancels)
{
    Start(DocumentOf(3));
    chains[0]->onCancelConvertation = [this] {
        LetGoOfChains();
        fanOut.reset();
    };
    EXPECT_TRUE(fanOut->CancelConvertation());
    EXPECT_FALSE(fanOut);
}

TEST_F(PageFanOutTest, MayBeDestroyedWithDocumentsInHand)
{
    EXPECT_TRUE(fanOut->ConvertFile(DocumentOf(3)));
    fanOut.reset();
    HandleEvents();
    EXPECT_EQ(CountTasks(), 0U);
    EXPECT_EQ(lines, Lines());
}

} // namespace Korvel::PDF::Test
