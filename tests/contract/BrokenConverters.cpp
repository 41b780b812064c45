// Converters with one fault each. NoticedFaultsTest.cpp tells which promise each of them breaks.

#include "ConverterContract.h"
#include "CopyingConverter.h"
#include "CopyingConverterFixture.h"

#include <chrono>
#include <csignal>
#include <set>
#include <vector>

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QPointer>

namespace Korvel::PDF::Test {

namespace {

using namespace std::chrono_literals;

struct BrokenConverter : CopyingConverter
{
    static constexpr std::chrono::milliseconds patience = 1min;
};

/** Whose tasks may never end: nobody is to wait for them. */
struct EndlessConverter : BrokenConverter
{
    static constexpr std::chrono::milliseconds patience = 50ms;
};

template <typename Broken>
class ConverterOf : public CopyingConverterFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<Broken>();
    }
    std::chrono::milliseconds Patience() const override { return Broken::patience; }
};

struct EndsTwice : BrokenConverter
{
    void Work(const Task& task) override
    {
        CopyingConverter::Work(task);
        Q_EMIT Finished(task.source, QStringList(task.destination));
    }
};

struct FailsWhatItFinished : BrokenConverter
{
    void Work(const Task& task) override
    {
        CopyingConverter::Work(task);
        QTimer::singleShot(0, this, [this, task] { Q_EMIT Failed(task.source, Unknown); });
    }
};

struct ReportsAfterTheEnd : BrokenConverter
{
    void Work(const Task& task) override
    {
        CopyingConverter::Work(task);
        QTimer::singleShot(0, this, [this, task] { Q_EMIT ConvertationFinished(task.source); });
    }
};

struct ReportsAnotherSource : EndlessConverter
{
    void Work(const Task& task) override
    {
        Q_EMIT Finished(task.source + ".part", task.destination);
    }
};

struct StaysSilent : EndlessConverter
{
    void Work(const Task&) override {}
};

struct FinishesWhatFailed : BrokenConverter
{
    void Work(const Task& task) override
    {
        QFile::copy(task.source, task.destination);
        Q_EMIT Finished(task.source, task.destination);
    }
};

struct EndsWhatItRefuses : BrokenConverter
{
    bool ConvertFile(const Task& task) override
    {
        const bool isAccepted = CopyingConverter::ConvertFile(task);
        if (!isAccepted)
            Q_EMIT Failed(task.source, UnsupportedFormat);
        return isAccepted;
    }
};

struct AcceptsWhatItIgnores : EndlessConverter
{
    bool ConvertFile(const Task& task) override
    {
        CopyingConverter::ConvertFile(task);
        return true;
    }
};

struct DeniesWhatItStarts : BrokenConverter
{
    bool ConvertFile(const Task& task) override
    {
        CopyingConverter::ConvertFile(task);
        return false;
    }
};

struct NamesWhatIsMissing : BrokenConverter
{
    void Work(const Task& task) override { Q_EMIT Finished(task.source, task.destination); }
};

struct NamesTheFirstResult : BrokenConverter
{
    void Work(const Task& task) override
    {
        if (first.isEmpty())
            first = task.destination;
        QFile::copy(task.source, task.destination);
        Q_EMIT Finished(task.source, first);
    }
    QString first;
};

struct ForgetsTheCancelled : EndlessConverter
{
    bool CancelConvertation() override
    {
        isCancelled = true;
        return true;
    }
    void Work(const Task& task) override
    {
        if (!isCancelled)
            CopyingConverter::Work(task);
    }
    bool isCancelled = false;
};

struct CancelsWhatHasEnded : BrokenConverter
{
    bool CancelConvertation() override
    {
        CopyingConverter::CancelConvertation();
        for (const QString& source : done)
            Q_EMIT Failed(source, Cancelled);
        return true;
    }
    void Work(const Task& task) override
    {
        CopyingConverter::Work(task);
        done.append(task.source);
    }
    QStringList done;
};

struct StopsWhenAsked : EndlessConverter
{
    bool DoesServiceAvailable() override
    {
        isAvailable = !isAvailable;
        return isAvailable;
    }
    void Work(const Task& task) override
    {
        if (isAvailable)
            CopyingConverter::Work(task);
        else
            Q_EMIT Failed(task.source, Unknown);
    }
    bool isAvailable = false;
};

struct HasAParent : BrokenConverter
{
    HasAParent() { setParent(QCoreApplication::instance()); }
};

struct TellsNoStart : BrokenConverter
{
    void Work(const Task& task) override
    {
        QFile::copy(task.source, task.destination);
        Q_EMIT Finished(task.source, task.destination);
    }
};

struct CountsToAHundred : BrokenConverter
{
    void Work(const Task& task) override
    {
        Q_EMIT ConvertationProgress(task.source, 100);
        CopyingConverter::Work(task);
    }
};

struct Overwrites : BrokenConverter
{
    void Work(const Task& task) override
    {
        if (QFile::exists(task.source))
            QFile::remove(task.destination);
        CopyingConverter::Work(task);
    }
};

/** What lives is known outside, so that to touch what does not is sure to end the process. */
struct DiesWhenDeleted : BrokenConverter
{
    DiesWhenDeleted() { isAlive = true; }
    ~DiesWhenDeleted() override { isAlive = false; }
    void Work(const Task& task) override
    {
        CopyingConverter::Work(task);
        if (!isAlive)
            std::raise(SIGKILL);
    }
    static inline bool isAlive = false;
};

struct ForgetsTheNext : EndlessConverter
{
    bool ConvertFile(const Task& task) override
    {
        const bool isAccepted = CopyingConverter::ConvertFile(task);
        if (isAccepted)
            known.insert(task.source);
        return isAccepted;
    }
    void Work(const Task& task) override
    {
        if (known.count(task.source) == 0)
            return;
        const QPointer<ForgetsTheNext> self(this);
        CopyingConverter::Work(task);
        if (self)
            known.erase(task.source);
    }
    std::set<QString> known;
};

struct StaysBusyWhenThrownThrough : EndlessConverter
{
    void Work(const Task& task) override
    {
        if (isBusy)
            return;
        isBusy = true;
        const QPointer<StaysBusyWhenThrownThrough> self(this);
        CopyingConverter::Work(task);
        if (self)
            isBusy = false;
    }
    bool isBusy = false;
};

} // namespace

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(EndsTwice, ConverterContract, ConverterOf<EndsTwice>);
INSTANTIATE_TYPED_TEST_SUITE_P(FailsWhatItFinished, ConverterContract,
                               ConverterOf<FailsWhatItFinished>);
INSTANTIATE_TYPED_TEST_SUITE_P(ReportsAfterTheEnd, ConverterContract,
                               ConverterOf<ReportsAfterTheEnd>);
INSTANTIATE_TYPED_TEST_SUITE_P(ReportsAnotherSource, ConverterContract,
                               ConverterOf<ReportsAnotherSource>);
INSTANTIATE_TYPED_TEST_SUITE_P(StaysSilent, ConverterContract, ConverterOf<StaysSilent>);
INSTANTIATE_TYPED_TEST_SUITE_P(FinishesWhatFailed, ConverterContract,
                               ConverterOf<FinishesWhatFailed>);
INSTANTIATE_TYPED_TEST_SUITE_P(EndsWhatItRefuses, ConverterContract,
                               ConverterOf<EndsWhatItRefuses>);
INSTANTIATE_TYPED_TEST_SUITE_P(AcceptsWhatItIgnores, ConverterContract,
                               ConverterOf<AcceptsWhatItIgnores>);
INSTANTIATE_TYPED_TEST_SUITE_P(DeniesWhatItStarts, ConverterContract,
                               ConverterOf<DeniesWhatItStarts>);
INSTANTIATE_TYPED_TEST_SUITE_P(NamesWhatIsMissing, ConverterContract,
                               ConverterOf<NamesWhatIsMissing>);
INSTANTIATE_TYPED_TEST_SUITE_P(NamesTheFirstResult, ConverterContract,
                               ConverterOf<NamesTheFirstResult>);
INSTANTIATE_TYPED_TEST_SUITE_P(ForgetsTheCancelled, ConverterContract,
                               ConverterOf<ForgetsTheCancelled>);
INSTANTIATE_TYPED_TEST_SUITE_P(CancelsWhatHasEnded, ConverterContract,
                               ConverterOf<CancelsWhatHasEnded>);
INSTANTIATE_TYPED_TEST_SUITE_P(StopsWhenAsked, ConverterContract, ConverterOf<StopsWhenAsked>);
INSTANTIATE_TYPED_TEST_SUITE_P(HasAParent, ConverterContract, ConverterOf<HasAParent>);
INSTANTIATE_TYPED_TEST_SUITE_P(TellsNoStart, ConverterContract, ConverterOf<TellsNoStart>);
INSTANTIATE_TYPED_TEST_SUITE_P(CountsToAHundred, ConverterContract, ConverterOf<CountsToAHundred>);
INSTANTIATE_TYPED_TEST_SUITE_P(Overwrites, ConverterContract, ConverterOf<Overwrites>);
INSTANTIATE_TYPED_TEST_SUITE_P(DiesWhenDeleted, ConverterContract, ConverterOf<DiesWhenDeleted>);
INSTANTIATE_TYPED_TEST_SUITE_P(ForgetsTheNext, ConverterContract, ConverterOf<ForgetsTheNext>);
INSTANTIATE_TYPED_TEST_SUITE_P(StaysBusyWhenThrownThrough, ConverterContract,
                               ConverterOf<StaysBusyWhenThrownThrough>);

} // namespace Korvel::PDF::Test
