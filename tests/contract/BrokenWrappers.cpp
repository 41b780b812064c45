// Wrappers with one fault each. NoticedFaultsTest.cpp tells which promise each of them breaks.

#include "WrapperContract.h"

#include <csignal>

#include <gtest/gtest.h>

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using TestKit::WrapperFixture;

/** A wrapper that changes nothing. */
class PlainWrapper : public AbstractConverter
{
public:
    explicit PlainWrapper(const std::shared_ptr<AbstractConverter>& inner) : inner(inner) {}

    bool ConvertFile(const Task& task) override { return inner->ConvertFile(task); }
    bool CancelConvertation() override { return inner->CancelConvertation(); }
    std::map<QString, QStringList> GetSupportedFormats() const override
    {
        return inner->GetSupportedFormats();
    }
    bool DoesServiceAvailable() override { return inner->DoesServiceAvailable(); }

protected:
    void ConnectProgress()
    {
        const AbstractConverter* const sender = inner.get();
        connect(sender, &AbstractConverter::UploadProgress, this,
                &AbstractConverter::UploadProgress);
        connect(sender, &AbstractConverter::DownloadProgress, this,
                &AbstractConverter::DownloadProgress);
        connect(sender, &AbstractConverter::ConvertationStarted, this,
                &AbstractConverter::ConvertationStarted);
        connect(sender, &AbstractConverter::ConvertationProgress, this,
                &AbstractConverter::ConvertationProgress);
    }
    void ConnectConvertationFinished()
    {
        connect(inner.get(), &AbstractConverter::ConvertationFinished, this,
                &AbstractConverter::ConvertationFinished);
    }
    void ConnectEnds()
    {
        const AbstractConverter* const sender = inner.get();
        connect(sender, &AbstractConverter::Failed, this, &AbstractConverter::Failed);
        connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
                qOverload<const QString&, QString>(&AbstractConverter::Finished));
        connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished), this,
                qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    }
    void ConnectAll()
    {
        ConnectProgress();
        ConnectConvertationFinished();
        ConnectEnds();
    }

    std::shared_ptr<AbstractConverter> inner;
};

template <typename Broken>
class WrapperOf : public WrapperFixture
{
public:
    std::shared_ptr<AbstractConverter>
    MakeWrapper(const std::shared_ptr<AbstractConverter>& inner) override
    {
        return std::make_shared<Broken>(inner);
    }

    Task MakeTask() override
    {
        const QString number = QString::number(++count);
        return {"copy", "/source " + number, "/result " + number, {}};
    }

private:
    int count = 0;
};

struct ForgetsASignal : PlainWrapper
{
    explicit ForgetsASignal(const std::shared_ptr<AbstractConverter>& inner) : PlainWrapper(inner)
    {
        ConnectProgress();
        ConnectEnds();
    }
};

struct ConnectsInAnotherOrder : PlainWrapper
{
    explicit ConnectsInAnotherOrder(const std::shared_ptr<AbstractConverter>& inner)
        : PlainWrapper(inner)
    {
        ConnectProgress();
        ConnectEnds();
        ConnectConvertationFinished();
    }
};

struct ConnectsTwice : PlainWrapper
{
    explicit ConnectsTwice(const std::shared_ptr<AbstractConverter>& inner) : PlainWrapper(inner)
    {
        ConnectAll();
        ConnectEnds();
    }
};

struct ConnectedWrapper : PlainWrapper
{
    explicit ConnectedWrapper(const std::shared_ptr<AbstractConverter>& inner) : PlainWrapper(inner)
    {
        ConnectAll();
    }
};

struct ChangesTheSource : ConnectedWrapper
{
    using ConnectedWrapper::ConnectedWrapper;
    bool ConvertFile(const Task& task) override
    {
        Task changed = task;
        changed.source += ".copy";
        return inner->ConvertFile(changed);
    }
};

/** It knows the source of a task too late to let an end through that comes inside the call. */
struct RecordsTooLate : PlainWrapper
{
    explicit RecordsTooLate(const std::shared_ptr<AbstractConverter>& inner) : PlainWrapper(inner)
    {
        ConnectProgress();
        ConnectConvertationFinished();
        connect(inner.get(), &AbstractConverter::Failed, this, &AbstractConverter::Failed);
        connect(inner.get(), qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
                [this](const QString& task, const QString& result) {
                    if (task == source)
                        Q_EMIT Finished(task, result);
                });
        connect(inner.get(), qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                this, qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    }
    bool ConvertFile(const Task& task) override
    {
        const bool isStarted = inner->ConvertFile(task);
        source = task.source;
        return isStarted;
    }
    QString source;
};

struct AnswersForItself : ConnectedWrapper
{
    using ConnectedWrapper::ConnectedWrapper;
    bool DoesServiceAvailable() override { return true; }
};

struct CancelsNothing : ConnectedWrapper
{
    using ConnectedWrapper::ConnectedWrapper;
    bool CancelConvertation() override { return false; }
};

struct HasFormatsOfItsOwn : ConnectedWrapper
{
    using ConnectedWrapper::ConnectedWrapper;
    std::map<QString, QStringList> GetSupportedFormats() const override { return {}; }
};

struct HidesRefusals : ConnectedWrapper
{
    using ConnectedWrapper::ConnectedWrapper;
    bool ConvertFile(const Task& task) override
    {
        inner->ConvertFile(task);
        return true;
    }
};

struct OwnsItsInner : ConnectedWrapper
{
    explicit OwnsItsInner(const std::shared_ptr<AbstractConverter>& inner) : ConnectedWrapper(inner)
    {
        inner->setParent(this);
    }
    ~OwnsItsInner() override { inner->setParent(nullptr); }
};

struct KeepsItsInner : ConnectedWrapper
{
    explicit KeepsItsInner(const std::shared_ptr<AbstractConverter>& inner)
        : ConnectedWrapper(inner)
    {
        static std::vector<std::shared_ptr<AbstractConverter>> kept;
        kept.push_back(inner);
    }
};

/** It reads in its slot what its destructor has destroyed, which here is sure to end the process.
 */
struct DiesWithItsInner : PlainWrapper
{
    explicit DiesWithItsInner(const std::shared_ptr<AbstractConverter>& inner) : PlainWrapper(inner)
    {
        ConnectProgress();
        ConnectConvertationFinished();
        connect(inner.get(), &AbstractConverter::Failed, this, &AbstractConverter::Failed);
        connect(inner.get(), qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
                [this](const QString& source, const QString& result) {
                    if (isGone)
                        std::raise(SIGKILL);
                    Q_EMIT Finished(source, result);
                });
        connect(inner.get(), qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                this, qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    }
    ~DiesWithItsInner() override
    {
        isGone = true;
        inner.reset();
    }
    bool isGone = false;
};

} // namespace

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(ForgetsASignal, WrapperContract, WrapperOf<ForgetsASignal>);
INSTANTIATE_TYPED_TEST_SUITE_P(ConnectsInAnotherOrder, WrapperContract,
                               WrapperOf<ConnectsInAnotherOrder>);
INSTANTIATE_TYPED_TEST_SUITE_P(ConnectsTwice, WrapperContract, WrapperOf<ConnectsTwice>);
INSTANTIATE_TYPED_TEST_SUITE_P(ChangesTheSource, WrapperContract, WrapperOf<ChangesTheSource>);
INSTANTIATE_TYPED_TEST_SUITE_P(RecordsTooLate, WrapperContract, WrapperOf<RecordsTooLate>);
INSTANTIATE_TYPED_TEST_SUITE_P(AnswersForItself, WrapperContract, WrapperOf<AnswersForItself>);
INSTANTIATE_TYPED_TEST_SUITE_P(CancelsNothing, WrapperContract, WrapperOf<CancelsNothing>);
INSTANTIATE_TYPED_TEST_SUITE_P(HasFormatsOfItsOwn, WrapperContract, WrapperOf<HasFormatsOfItsOwn>);
INSTANTIATE_TYPED_TEST_SUITE_P(HidesRefusals, WrapperContract, WrapperOf<HidesRefusals>);
INSTANTIATE_TYPED_TEST_SUITE_P(OwnsItsInner, WrapperContract, WrapperOf<OwnsItsInner>);
INSTANTIATE_TYPED_TEST_SUITE_P(KeepsItsInner, WrapperContract, WrapperOf<KeepsItsInner>);
INSTANTIATE_TYPED_TEST_SUITE_P(DiesWithItsInner, WrapperContract, WrapperOf<DiesWithItsInner>);

} // namespace Korvel::PDF::Test
