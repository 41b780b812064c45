// The converter and the wrapper of the examples, against the contract and against what goes wrong.

#include "ConverterSignals.h"
#include "CopyingConverter.h"
#include "CopyingConverterFixture.h"
#include "FakeConverter.h"
#include "SamplePdf.h"
#include "TextExtractor.h"
#include "TimingWrapper.h"

#include <cstdlib>
#include <gmock/gmock.h>

#include <QFile>
#include <QPointer>
#include <QSignalSpy>

#include <sys/resource.h>
#include <unistd.h>

namespace Korvel::PDF::Test {
namespace {

using Converter::AbstractConverter;
using testing::ElementsAre;
using testing::IsEmpty;

class TextExtractorTest : public TestKit::ConverterFixture
{
public:
    TextExtractorTest() { MakeSamplePdf(folder.filePath("sample.pdf"), 1); }

    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<TextExtractor>();
    }

    Task SucceedingTask() override
    {
        const Task task = MakeTask(".txt");
        EXPECT_TRUE(QFile::copy(folder.filePath("sample.pdf"), task.source));
        return task;
    }

    std::optional<Task> FailingTask() override { return MakeTask(".txt"); }
    std::optional<Task> RefusedTask() override { return MakeTask(".doc"); }

private:
    Task MakeTask(const QString& suffix)
    {
        const QString number = QString::number(++count);
        return {{}, folder.filePath(number + ".pdf"), folder.filePath(number + suffix), {}};
    }

    QTemporaryDir folder;
    int count = 0;
};

class TimingWrapperContractTest : public CopyingConverterFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<TimingWrapper>(std::make_shared<CopyingConverter>());
    }
};

} // namespace

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(TextExtractor, ConverterContract, TextExtractorTest);
INSTANTIATE_TYPED_TEST_SUITE_P(TimingWrapper, ConverterContract, TimingWrapperContractTest);

namespace {

class TimingWrapperTest : public testing::Test
{
protected:
    TimingWrapperTest()
    {
        task.source = "in.pdf";
        ReceiveAll(*wrapper, &receiver, [this](const std::string& line) { lines.push_back(line); });
        QObject::connect(wrapper.get(), &TimingWrapper::Measured, &receiver,
                         [this](const QString& source, qint64 milliseconds) {
                             EXPECT_GE(milliseconds, 0);
                             lines.push_back("Measured " + source.toStdString());
                         });
    }

    std::vector<std::string> lines;
    QObject receiver;
    std::shared_ptr<FakeConverter> inner =
        std::make_shared<FakeConverter>(std::make_shared<CallJournal>());
    std::unique_ptr<TimingWrapper> wrapper = std::make_unique<TimingWrapper>(inner);
    AbstractConverter::Task task;
};

TEST_F(TimingWrapperTest, ConnectsToTheEightSignalsInTheirOrder)
{
    std::vector<QByteArray> wanted;
    for (const ConverterSignal& signal : ConverterSignals())
        wanted.push_back(signal.signature);
    EXPECT_EQ(inner->connections, wanted);
}

TEST_F(TimingWrapperTest, TellsTheTimeOnceAndBeforeTheEnd)
{
    for (const ConverterSignal& signal : ConverterSignals()) {
        lines.clear();
        EXPECT_TRUE(wrapper->ConvertFile(task));
        signal.emitFrom(*inner, task.source);
        const std::string line = signal.Line(task.source);
        if (signal.endsTask)
            EXPECT_THAT(lines, ElementsAre("Measured in.pdf", line));
        else
            EXPECT_THAT(lines, ElementsAre(line));
        lines.clear();
        signal.emitFrom(*inner, task.source);
        EXPECT_THAT(lines, ElementsAre(line)) << "of a task that is over, or not";
    }
}

TEST_F(TimingWrapperTest, MeasuresNothingThatWasRefused)
{
    inner->accepts = false;
    EXPECT_FALSE(wrapper->ConvertFile(task));
    Q_EMIT inner->Finished(task.source, QString());
    EXPECT_THAT(lines, testing::Not(testing::Contains("Measured in.pdf")));
}

TEST_F(TimingWrapperTest, MayBeDeletedByWhoeverIsToldTheTime)
{
    wrapper->ConvertFile(task);
    QObject::connect(wrapper.get(), &TimingWrapper::Measured, &receiver,
                     [this] { wrapper.reset(); });
    Q_EMIT inner->Finished(task.source, QString());
    EXPECT_THAT(lines, ElementsAre("Measured in.pdf"));
}

TEST_F(TimingWrapperTest, MayBeDeletedInTheMidstOfConvertFile)
{
    inner->onConvertFile = [this](const AbstractConverter::Task&) {
        wrapper.reset();
    };
    inner->accepts = false;
    EXPECT_FALSE(wrapper->ConvertFile(task));
}

TEST_F(TimingWrapperTest, StartsTheSameSourceAnewInTheSlotOfItsEnd)
{
    int ends = 0;
    QObject::connect(wrapper.get(), &AbstractConverter::Failed, &receiver, [&] {
        if (++ends == 1)
            wrapper->ConvertFile(task);
    });
    wrapper->ConvertFile(task);
    Q_EMIT inner->Failed(task.source, AbstractConverter::Unknown);
    lines.clear();
    Q_EMIT inner->Failed(task.source, AbstractConverter::Unknown);
    EXPECT_EQ(lines.front(), "Measured in.pdf");
}

TEST_F(TimingWrapperTest, HearsNothingOfAnInnerConverterThatIsDestroyedWithIt)
{
    wrapper->ConvertFile(task);
    FakeConverter* const dying = inner.get();
    inner->onDestruction = [this, dying] {
        Q_EMIT dying->Finished(task.source, QString());
    };
    inner.reset();
    wrapper.reset();
    EXPECT_THAT(lines, IsEmpty());
}

TEST(TextExtractor, RefusesASourceThatIsInHand)
{
    TextExtractor extractor;
    AbstractConverter::Task task;
    task.source = "/nowhere.pdf";
    task.destination = "/nowhere.txt";
    EXPECT_TRUE(extractor.ConvertFile(task));
    EXPECT_FALSE(extractor.ConvertFile(task));
    QSignalSpy failed(&extractor, &AbstractConverter::Failed);
    EXPECT_TRUE(failed.wait(60'000));
    EXPECT_TRUE(extractor.ConvertFile(task)) << "once it has ended";
}

/** Ends this process: with 0 when a task without room for a process ends after ConvertFile. */
void ConvertWithoutRoomForAProcess(const QString& folder)
{
    const rlimit none = {};
    // No limit of processes binds root. The user has nothing else that a fault could end.
    const uid_t user = 100'000 + uid_t(::getpid());
    if (::setresuid(user, user, user) != 0 || ::setrlimit(RLIMIT_NPROC, &none) != 0)
        std::_Exit(2);
    auto* const extractor = new TextExtractor; // never destroyed, as a fault would end processes
    QSignalSpy failed(extractor, &AbstractConverter::Failed);
    AbstractConverter::Task task;
    task.source = folder + "/sample.pdf";
    task.destination = folder + "/sample.txt";
    const bool isLate = extractor->ConvertFile(task) && failed.isEmpty();
    std::_Exit(isLate && failed.wait(60'000) ? 0 : 1);
}

TEST(TextExtractor, FailsWhereThereIsNoRoomForAProcess)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "root alone can be another user";
    const QTemporaryDir folder;
    EXPECT_EXIT(ConvertWithoutRoomForAProcess(folder.path()), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace Korvel::PDF::Test
