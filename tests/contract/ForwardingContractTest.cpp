// The wrappers that stand on ForwardingConverter, and what they add.

#include "CopyingConverter.h"
#include "CopyingConverterFixture.h"
#include "ForwardingConverter.h"
#include "LimitWrapper.h"
#include "RetryWrapper.h"
#include "WrapperContract.h"

#include <gtest/gtest.h>
#include <QSignalSpy>

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Converter::ForwardingConverter;
using Converter::LimitWrapper;
using Converter::RetryWrapper;
using Inner = std::shared_ptr<AbstractConverter>;
using Task = AbstractConverter::Task;

Inner Forward(const Inner& inner)
{
    return std::make_shared<ForwardingConverter>(inner);
}

RetryWrapper::Settings AtOnce(int tries)
{
    return {tries, std::chrono::milliseconds(0), {}};
}

Inner Retry(const Inner& inner)
{
    return std::make_shared<RetryWrapper>(inner, AtOnce(3));
}

Inner TryOnce(const Inner& inner)
{
    return std::make_shared<RetryWrapper>(inner, AtOnce(1));
}

Inner Limit(const Inner& inner)
{
    return std::make_shared<LimitWrapper>(inner, 1);
}

template <Inner (*wrap)(const Inner&)>
class Copying : public CopyingConverterFixture
{
public:
    Inner MakeConverter() override { return wrap(std::make_shared<CopyingConverter>()); }
};

template <Inner (*wrap)(const Inner&)>
class Wrapping : public TestKit::WrapperFixture
{
public:
    Inner MakeWrapper(const Inner& inner) override { return wrap(inner); }
    Task MakeTask() override { return {"copy", "/source", "/result", {}}; }
};

Task TaskOf(const QString& source)
{
    return {"copy", source, source + ".out", {}};
}

class RetryWrapperTest : public testing::Test
{
protected:
    void Fail(AbstractConverter::ErrorType error)
    {
        const std::size_t before = inner->given.size();
        Q_EMIT inner->Failed("a", error);
        for (int i = 0; i < 100 && inner->given.size() == before && failed.isEmpty(); ++i)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    std::shared_ptr<TestKit::InnerConverter> inner = std::make_shared<TestKit::InnerConverter>();
    RetryWrapper wrapper{inner, AtOnce(3)};
    QSignalSpy failed{&wrapper, &AbstractConverter::Failed};
};

class LimitWrapperTest : public testing::Test
{
protected:
    QStringList Given() const
    {
        QCoreApplication::processEvents();
        QStringList sources;
        for (const Task& task : inner->given)
            sources.append(task.source);
        return sources;
    }

    std::shared_ptr<TestKit::InnerConverter> inner = std::make_shared<TestKit::InnerConverter>();
    LimitWrapper wrapper{inner, 2};
    QSignalSpy failed{&wrapper, &AbstractConverter::Failed};
};

} // namespace

TEST_F(RetryWrapperTest, TriesSoOftenAndThenTellsTheLastFailure)
{
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    Fail(AbstractConverter::TimedOut);
    Fail(AbstractConverter::OutOfMemory);
    EXPECT_EQ(inner->given.size(), 3U);
    EXPECT_TRUE(failed.isEmpty());
    Fail(AbstractConverter::CannotRender);
    ASSERT_EQ(failed.size(), 1);
    EXPECT_EQ(failed[0][1].value<AbstractConverter::ErrorType>(), AbstractConverter::CannotRender);
    EXPECT_EQ(inner->given.size(), 3U);
}

TEST_F(RetryWrapperTest, RefusesASourceThatIsInHand)
{
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    EXPECT_FALSE(wrapper.ConvertFile(TaskOf("a")));
    Fail(AbstractConverter::TimedOut);
    ASSERT_EQ(inner->given.size(), 2U);
    EXPECT_FALSE(wrapper.ConvertFile(TaskOf("a"))) << "it is tried again";
    Q_EMIT inner->Finished("a", QString("b"));
    EXPECT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    EXPECT_TRUE(failed.isEmpty());
}

TEST_F(RetryWrapperTest, TriesNothingAgainThatWasCancelled)
{
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    wrapper.CancelConvertation();
    Fail(AbstractConverter::TimedOut);
    EXPECT_EQ(failed.size(), 1);
    EXPECT_EQ(inner->given.size(), 1U);
}

TEST_F(RetryWrapperTest, EndsWhatWaitsForAFurtherTryWhenItIsCancelled)
{
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    Q_EMIT inner->Failed("a", AbstractConverter::TimedOut);
    wrapper.CancelConvertation();
    QCoreApplication::processEvents();
    ASSERT_EQ(failed.size(), 1);
    EXPECT_EQ(failed[0][1].value<AbstractConverter::ErrorType>(), AbstractConverter::Cancelled);
    EXPECT_EQ(inner->given.size(), 1U);
}

TEST_F(RetryWrapperTest, TellsTheFailureBeforeWhenAFurtherTryIsRefused)
{
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    inner->accepts = false;
    Q_EMIT inner->Failed("a", AbstractConverter::TimedOut);
    ASSERT_TRUE(failed.wait());
    EXPECT_EQ(failed[0][1].value<AbstractConverter::ErrorType>(), AbstractConverter::TimedOut);
}

TEST_F(RetryWrapperTest, TellsTheFailureBeforeWhateverAFurtherTryThrows)
{
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    inner->whenAsked = [](const Task&) {
        throw 1;
    };
    Q_EMIT inner->Failed("a", AbstractConverter::TimedOut);
    ASSERT_TRUE(failed.wait());
    EXPECT_EQ(failed[0][1].value<AbstractConverter::ErrorType>(), AbstractConverter::TimedOut);
}

TEST(RetryWrapperSettingsTest, SayWhichFailuresAreTriedAgain)
{
    const auto inner = std::make_shared<TestKit::InnerConverter>();
    RetryWrapper::Settings settings = AtOnce(3);
    settings.isWorthIt = [](AbstractConverter::ErrorType error) {
        return error == AbstractConverter::SourceChanged;
    };
    RetryWrapper wrapper(inner, settings);
    QSignalSpy failed(&wrapper, &AbstractConverter::Failed);
    ASSERT_TRUE(wrapper.ConvertFile(TaskOf("a")));
    Q_EMIT inner->Failed("a", AbstractConverter::CannotRender);
    EXPECT_EQ(failed.size(), 1);
}

TEST_F(LimitWrapperTest, StartsWhatWaitsWhenAnotherTaskHasEnded)
{
    for (const char* source : {"a", "b", "c", "d"})
        EXPECT_TRUE(wrapper.ConvertFile(TaskOf(source)));
    EXPECT_EQ(Given(), QStringList({"a", "b"}));
    Q_EMIT inner->Finished("b", QString("b.out"));
    EXPECT_EQ(Given(), QStringList({"a", "b", "c"}));
    Q_EMIT inner->Failed("a", AbstractConverter::CannotRender);
    EXPECT_EQ(Given(), QStringList({"a", "b", "c", "d"}));
}

TEST_F(LimitWrapperTest, CancelsOneThatWaits)
{
    for (const char* source : {"a", "b", "c"})
        EXPECT_TRUE(wrapper.ConvertFile(TaskOf(source)));
    EXPECT_FALSE(wrapper.CancelWaiting("a")) << "it was started";
    EXPECT_TRUE(wrapper.CancelWaiting("c"));
    EXPECT_TRUE(failed.isEmpty()) << "emitted inside the call";
    QCoreApplication::processEvents();
    ASSERT_EQ(failed.size(), 1);
    EXPECT_EQ(failed[0][0].toString(), "c");
    Q_EMIT inner->Finished("a", QString("a.out"));
    EXPECT_EQ(Given(), QStringList({"a", "b"}));
}

TEST_F(LimitWrapperTest, EndsWhatIsRefusedLater)
{
    for (const char* source : {"a", "b", "c"})
        EXPECT_TRUE(wrapper.ConvertFile(TaskOf(source)));
    inner->accepts = false;
    Q_EMIT inner->Finished("a", QString("a.out"));
    QCoreApplication::processEvents();
    ASSERT_EQ(failed.size(), 1);
    EXPECT_EQ(failed[0][0].toString(), "c");
}

TEST_F(LimitWrapperTest, EndsWhatThrowsLaterWhateverThatIs)
{
    for (const char* source : {"a", "b", "c"})
        EXPECT_TRUE(wrapper.ConvertFile(TaskOf(source)));
    inner->whenAsked = [](const Task&) {
        throw 1;
    };
    Q_EMIT inner->Finished("a", QString("a.out"));
    QCoreApplication::processEvents();
    ASSERT_EQ(failed.size(), 1);
    EXPECT_EQ(failed[0][0].toString(), "c");
}

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(ForwardingConverter, ConverterContract, Copying<Forward>);
INSTANTIATE_TYPED_TEST_SUITE_P(RetryWrapper, ConverterContract, Copying<Retry>);
INSTANTIATE_TYPED_TEST_SUITE_P(LimitWrapper, ConverterContract, Copying<Limit>);
INSTANTIATE_TYPED_TEST_SUITE_P(ForwardingConverter, WrapperContract, Wrapping<Forward>);
INSTANTIATE_TYPED_TEST_SUITE_P(RetryWrapper, WrapperContract, Wrapping<TryOnce>);
INSTANTIATE_TYPED_TEST_SUITE_P(LimitWrapper, WrapperContract, Wrapping<Limit>);

} // namespace Korvel::PDF::Test
