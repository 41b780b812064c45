#include "AgreeableServices.h"
#include "IsSanitized.h"
#include "LogCapture.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"

#include <algorithm>
#include <iostream>
#include <numeric>
#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <malloc.h>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>

// Very many tasks at once, and very many one after the other. The services keep nothing and touch
// no file, so that the wrappers' own share shows.

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;

/** Tasks in flight at once; LOAD_TEST_TASKS in the environment gives another number. */
int CountTasks()
{
    const int wanted = qEnvironmentVariableIntValue("LOAD_TEST_TASKS");
    if (wanted > 0)
        return wanted;
    return isSanitized ? 10000 : 100000;
}

enum class Chain { TempFile, Unencrypt, UnencryptAroundTempFile };

std::ostream& operator<<(std::ostream& stream, Chain chain)
{
    const char* const texts[] = {"TempFile", "Unencrypt", "UnencryptAroundTempFile"};
    return stream << texts[static_cast<int>(chain)];
}

class LoadTest : public testing::TestWithParam<Chain>
{
public:
    static void SetUpTestSuite() { SilenceLog("LoadTest"); }

protected:
    LoadTest()
    {
        outermost = converter;
        if (GetParam() != Chain::Unencrypt)
            outermost = std::make_shared<TempFileWrapper>(names, outermost, files);
        if (GetParam() != Chain::TempFile)
            outermost = std::make_shared<UnencryptDocWrapper>(names, outermost, pdfs, files);
    }

    static AbstractConverter::Task MakeTask(int number)
    {
        return {QString(),
                QStringLiteral("/docs/%1.pdf").arg(number),
                QStringLiteral("/out/%1.png").arg(number),
                {{"need_export", true}}};
    }

    /** What the caller is told of a task that ended with the file that it should make. */
    QString ExpectedResult(int number, const InnerTask& inner) const
    {
        return GetParam() == Chain::Unencrypt ? inner.destination : MakeTask(number).destination;
    }

    void OnFinished(const std::function<void(const QString&, const QString&)>& receive)
    {
        QObject::connect(outermost.get(),
                         qOverload<const QString&, QString>(&AbstractConverter::Finished),
                         &receiver, receive);
    }

    const QTemporaryDir folder;
    const std::shared_ptr<CountingNames> names = std::make_shared<CountingNames>();
    const std::shared_ptr<AgreeableFiles> files = std::make_shared<AgreeableFiles>(folder);
    const std::shared_ptr<AgreeablePdfs> pdfs = std::make_shared<AgreeablePdfs>();
    const std::shared_ptr<HandingOnConverter> converter = std::make_shared<HandingOnConverter>();
    std::shared_ptr<AbstractConverter> outermost;
    QObject receiver;
};

/** Bytes that the program has allocated; 0 where malloc has been replaced. */
std::size_t CountBytes()
{
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::vector<int> Shuffled(int count)
{
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    return numbers;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(, LoadTest,
                         testing::Values(Chain::TempFile, Chain::Unencrypt,
                                         Chain::UnencryptAroundTempFile),
                         testing::PrintToStringParamName());

TEST_P(LoadTest, ReportsEveryTaskInFlightOnceAndUnderItsOwnPath)
{
    const int count = CountTasks();
    std::vector<AbstractConverter::Task> tasks;
    std::map<QString, int> numbers;
    for (int number = 0; number < count; ++number) {
        tasks.push_back(MakeTask(number));
        numbers[tasks.back().source] = number;
    }
    std::vector<InnerTask> inner;
    inner.reserve(tasks.size());
    converter->onTask = [&inner](const InnerTask& task) {
        inner.push_back(task);
    };
    const std::size_t bytesBefore = CountBytes();
    for (const AbstractConverter::Task& task : tasks)
        ASSERT_TRUE(outermost->ConvertFile(task));
    const std::size_t bytes = (CountBytes() - bytesBefore) / tasks.size();
    if (bytes > 0)
        std::cout << bytes << " bytes for each task in flight\n";

    std::vector<int> reports(tasks.size());
    int unknownEnds = 0;
    OnFinished([&](const QString& source, const QString& result) {
        const auto found = numbers.find(source);
        if (found == numbers.end()) {
            ++unknownEnds;
            return;
        }
        const auto number = static_cast<std::size_t>(found->second);
        ++reports[number];
        EXPECT_EQ(result, ExpectedResult(found->second, inner[number]));
    });
    int unknownStarts = 0;
    QObject::connect(outermost.get(), &AbstractConverter::ConvertationStarted, &receiver,
                     [&](const QString& source) {
                         if (numbers.count(source) == 0)
                             ++unknownStarts;
                     });
    QEventLoop loop;
    QObject::connect(outermost.get(), &AbstractConverter::ConvertationFinished, &loop,
                     &QEventLoop::quit);
    std::thread thread([&] {
        for (const int number : Shuffled(count)) {
            const InnerTask& task = inner[static_cast<std::size_t>(number)];
            Q_EMIT converter->Finished(task.source, task.destination);
            // Once more, which finds no entry, neither for the end nor for the path.
            Q_EMIT converter->Finished(task.source, task.destination);
            Q_EMIT converter->ConvertationStarted(task.source);
        }
        // Arrives behind all the others.
        Q_EMIT converter->ConvertationFinished(QStringLiteral("/docs/last.pdf"));
    });
    loop.exec();
    thread.join();
    EXPECT_THAT(reports, testing::Each(1));
    EXPECT_EQ(unknownEnds, GetParam() == Chain::Unencrypt ? count : 0);
    EXPECT_EQ(unknownStarts, GetParam() == Chain::TempFile ? 0 : count);
}

TEST_P(LoadTest, NeedsNoMoreStackTheMoreTasksHaveFollowedEachOther)
{
    const int count = 10000;
    converter->onTask = [this](const InnerTask& task) {
        const auto end = [this, task] {
            Q_EMIT converter->Finished(task.source, task.destination);
        };
        QMetaObject::invokeMethod(converter.get(), end, Qt::QueuedConnection);
    };
    int ended = 0;
    QEventLoop loop;
    std::vector<const char*> frames;
    const auto start = [&] {
        EXPECT_TRUE(outermost->ConvertFile(MakeTask(ended)));
    };
    OnFinished([&](const QString& source, const QString&) {
        frames.push_back(static_cast<const char*>(__builtin_frame_address(0)));
        EXPECT_EQ(source, MakeTask(ended).source);
        if (++ended == count)
            loop.quit();
        else
            QMetaObject::invokeMethod(&receiver, start, Qt::QueuedConnection);
    });
    start();
    loop.exec();
    const auto [lowest, highest] = std::minmax_element(frames.begin(), frames.end());
    EXPECT_LT(*highest - *lowest, 16 * 1024);
}

} // namespace Korvel::PDF::Test
