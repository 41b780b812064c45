#include "AgreeableServices.h"
#include "FailingAllocation.h"
#include "GetNextAvaliableIndex.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"

#include <functional>
#include <limits>
#include <vector>

#include <gtest/gtest.h>
#include <QFile>

// How often memory is asked for: unlike time it is the same on every machine, however busy.

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;

int CountAllocations(const std::function<void()>& work)
{
    const FailingAllocation none(std::numeric_limits<int>::max(), false);
    work();
    return none.Made();
}

class AllocationCountTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (AreReplacedByValgrind())
            GTEST_SKIP() << "Valgrind's own functions count nothing";
    }
};

/** A wrapper around a converter, and receivers of what it reports. */
class RelayTest : public AllocationCountTest
{
protected:
    RelayTest()
    {
        inner->onTask = [this](const InnerTask& task) {
            inFlight.push_back(task);
        };
    }

    /** Ends a task beforehand, since some things are made once and kept. */
    void Use(const std::shared_ptr<AbstractConverter>& newWrapper)
    {
        wrapper = newWrapper;
        const auto count = [this] {
            ++received;
        };
        QObject::connect(wrapper.get(), &AbstractConverter::ConvertationProgress, count);
        QObject::connect(wrapper.get(), &AbstractConverter::UploadProgress, count);
        QObject::connect(wrapper.get(),
                         qOverload<const QString&, QString>(&AbstractConverter::Finished), count);
        QObject::connect(wrapper.get(), &AbstractConverter::Failed, count);
        Start();
        Finish();
        Start();
        received = 0;
    }

    void Start()
    {
        wrapper->ConvertFile({{},
                              QStringLiteral("/documents/report.pdf"),
                              QStringLiteral("/pictures/page.png"),
                              {{"need_export", true}}});
    }

    void Finish() { Q_EMIT inner->Finished(inFlight.back().source, inFlight.back().destination); }

    void ReportProgress()
    {
        Q_EMIT inner->ConvertationProgress(inFlight.back().source, 0.5);
        Q_EMIT inner->UploadProgress(inFlight.back().source, 1, 2);
    }

    const QTemporaryDir folder;
    const std::shared_ptr<CountingNames> names = std::make_shared<CountingNames>();
    const std::shared_ptr<AgreeableFiles> files = std::make_shared<AgreeableFiles>(folder);
    const std::shared_ptr<AgreeablePdfs> pdfs = std::make_shared<AgreeablePdfs>();
    const std::shared_ptr<HandingOnConverter> inner = std::make_shared<HandingOnConverter>();
    std::shared_ptr<AbstractConverter> wrapper;
    std::vector<InnerTask> inFlight;
    int received = 0;
};

TEST_F(RelayTest, ProgressThroughTheTempFileWrapperNeedsNoMemory)
{
    Use(std::make_shared<TempFileWrapper>(names, inner, files));
    EXPECT_EQ(CountAllocations([this] { ReportProgress(); }), 0);
    EXPECT_EQ(received, 2);
}

TEST_F(RelayTest, ProgressThroughTheUnencryptingWrapperNeedsNoMemory)
{
    Use(std::make_shared<UnencryptDocWrapper>(names, inner, pdfs, files));
    EXPECT_EQ(CountAllocations([this] { ReportProgress(); }), 0);
    EXPECT_EQ(received, 2);
}

TEST_F(RelayTest, TheEndOfATaskWithoutACopyNeedsNoMemory)
{
    Use(std::make_shared<UnencryptDocWrapper>(names, inner, pdfs, files));
    const InnerTask own{QStringLiteral("/documents/open.pdf"), QStringLiteral("/out.png")};
    EXPECT_EQ(CountAllocations([&] {
                  Q_EMIT inner->Finished(own.source, own.destination);
                  Q_EMIT inner->Failed(own.source, AbstractConverter::Unknown);
              }),
              0);
    EXPECT_EQ(received, 2);
}

TEST_F(RelayTest, TheEndOfATaskWithACopyNeedsThePathOfTheCopy)
{
    Use(std::make_shared<UnencryptDocWrapper>(names, inner, pdfs, files));
    EXPECT_LE(CountAllocations([this] { Finish(); }), 3);
    EXPECT_EQ(received, 1);
}

TEST_F(RelayTest, AResultThatIsMovedNeedsAFewPaths)
{
    Use(std::make_shared<TempFileWrapper>(names, inner, files));
    EXPECT_LE(CountAllocations([this] { Finish(); }), 10);
    EXPECT_EQ(received, 1);
}

/** How often a number needs memory in a folder of that many names in two series. */
int CountForNames(int count)
{
    const QTemporaryDir folder;
    for (int number = 2; number < 2 + count; ++number) {
        const QString name = QStringLiteral("%1(%2).png").arg(number % 2 ? "page" : "cover");
        EXPECT_TRUE(QFile(folder.filePath(name.arg(number))).open(QIODevice::WriteOnly));
    }
    const ioPath path(folder.path().toStdString());
    const std::regex pattern(R"(page\((\d+)\)\.png)", std::regex::icase);
    return CountAllocations([&] { Util::GetNextAvaliableIndex(path, pattern); });
}

TEST_F(AllocationCountTest, ANumberNeedsNoMemoryForEachName)
{
    EXPECT_LE(CountForNames(1000), 30);
}

} // namespace

} // namespace Korvel::PDF::Test
