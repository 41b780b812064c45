// Waiting for conversions by co_await; compiled as C++20.

#include "AwaitConversion.h"
#include "PdfConversionFixture.h"
#include "WorkerTestTools.h"

#include <exception>
#include <memory>
#include <optional>

#include <QThread>

namespace Korvel::PDF::Converter::Test {
namespace {

using PDF::Test::WaitUntil;

class AwaitConversionTest : public PdfConversionFixture
{
};

#ifdef __cpp_impl_coroutine

/** A coroutine that begins at once and is destroyed at its end, or with its handle's owner. */
struct Errand
{
    struct promise_type
    {
        Errand get_return_object()
        {
            return {std::coroutine_handle<promise_type>::from_promise(*this)};
        }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };

    std::coroutine_handle<promise_type> handle;
};

/** Writes down what has come of one conversion after the other. */
Errand ConvertEach(PdfConverter& converter, std::vector<ConversionRequest> requests,
                   std::vector<ConversionResult>& results)
{
    const QThread* const thread = QThread::currentThread();
    for (const ConversionRequest& request : requests) {
        results.push_back(co_await converter.Convert(request));
        EXPECT_EQ(QThread::currentThread(), thread);
    }
}

Errand Await(QFuture<ConversionResult> future, std::optional<ConversionResult>& result,
             std::shared_ptr<int> held)
{
    result = co_await future;
    held.reset();
}

TEST_F(AwaitConversionTest, GoesOnWithEachResultOnItsOwnThread)
{
    std::vector<ConversionResult> results;
    ConvertEach(
        converter,
        {RequestOf(Sample("in.pdf", 2), Path("a.png")), RequestOf(Path("none.pdf"), Path("b.png"))},
        results);
    EXPECT_TRUE(results.empty()) << "it does not block";
    ASSERT_TRUE(WaitUntil([&] { return results.size() == 2; }));
    EXPECT_EQ(results[0].pages.size(), 2u) << results[0].errorText.toStdString();
    EXPECT_EQ(results[1].error, AbstractConverter::CannotOpenSource);
}

TEST_F(AwaitConversionTest, GoesOnAtOnceWithAResultThatIsThere)
{
    QFuture<ConversionResult> future = converter.Convert(RequestOf(Path("none.pdf"), "b.png"));
    future.waitForFinished();
    std::optional<ConversionResult> result;
    Await(future, result, nullptr);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->error, AbstractConverter::CannotOpenSource);
}

TEST_F(AwaitConversionTest, GoesOnWhenTheFutureIsCancelled)
{
    PdfConverter silent(ScriptedSettings());
    Write(Path("fall-silent.pdf"), "x");
    QFuture<ConversionResult> future =
        silent.Convert(RequestOf(Path("fall-silent.pdf"), Path("out.png")));
    std::optional<ConversionResult> result;
    Await(future, result, nullptr);
    future.cancel();
    ASSERT_TRUE(WaitUntil([&] { return result.has_value(); }));
    EXPECT_EQ(result->error, AbstractConverter::Cancelled);
}

TEST_F(AwaitConversionTest, MayBeDestroyedWhileItWaits)
{
    QFuture<ConversionResult> future =
        converter.Convert(RequestOf(Sample("in.pdf", 1), Path("out.png")));
    std::optional<ConversionResult> result;
    const auto held = std::make_shared<int>();
    const Errand errand = Await(future, result, held);
    ASSERT_EQ(held.use_count(), 2);
    errand.handle.destroy();
    EXPECT_EQ(held.use_count(), 1);
    future.waitForFinished();
    std::optional<ConversionResult> other;
    Await(converter.Convert(RequestOf(Path("in.pdf"), Path("next.png"))), other, nullptr);
    ASSERT_TRUE(WaitUntil([&] { return other.has_value(); }));
    EXPECT_FALSE(result) << "nobody goes on";
    EXPECT_EQ(future.result().error, std::nullopt) << "the conversion does";
}

#else

TEST_F(AwaitConversionTest, NeedsACompilerThatKnowsCoroutines)
{
    GTEST_SKIP() << "this one does not";
}

#endif

} // namespace
} // namespace Korvel::PDF::Converter::Test
