#pragma once

#include "ConversionResult.h"

#include <memory>
#include <utility>

#include <QFuture>
#include <QFutureWatcher>

// There is something in here where the compiler knows coroutines, in C++20.
#ifdef __cpp_impl_coroutine

#include <coroutine>

namespace Korvel::PDF::Converter {

/**
 * Lets a coroutine wait for a conversion without blocking its thread.
 *
 *     const ConversionResult result = co_await converter.Convert({"/docs/report.pdf",
 * "/out/1.png"});
 *
 * The coroutine goes on from the event loop of the thread on which it began to wait. One that is
 * destroyed while it waits leaves the conversion running. A future that is cancelled gives a result
 * with the error `Cancelled`.
 */
class AwaitedConversion
{
public:
    /** @param wanted  as PdfConverter::Convert has answered it */
    explicit AwaitedConversion(QFuture<ConversionResult> wanted) : future(std::move(wanted)) {}

    /** Whether there is nothing to wait for. */
    bool await_ready() const { return future.isFinished(); }

    /** Has `waiting` go on at the end. */
    void await_suspend(std::coroutine_handle<> waiting)
    {
        watcher.reset(new QFutureWatcher<ConversionResult>);
        QObject::connect(watcher.get(), &QFutureWatcherBase::finished, watcher.get(),
                         [waiting] { waiting.resume(); });
        watcher->setFuture(future);
    }

    /** What has come of the conversion. */
    ConversionResult await_resume() const
    {
        if (future.resultCount() > 0)
            return future.result();
        ConversionResult cancelled;
        cancelled.error = AbstractConverter::Cancelled;
        cancelled.errorText = QStringLiteral("the conversion was cancelled");
        return cancelled;
    }

private:
    /** The coroutine, and this with it, may come to its end while the watcher emits. */
    struct DeleteLater
    {
        void operator()(QFutureWatcher<ConversionResult>* leaving) const
        {
            leaving->disconnect();
            leaving->deleteLater();
        }
    };

    QFuture<ConversionResult> future;
    std::unique_ptr<QFutureWatcher<ConversionResult>, DeleteLater> watcher;
};

/** Makes the future of a conversion awaitable. */
inline AwaitedConversion operator co_await(QFuture<ConversionResult> future)
{
    return AwaitedConversion(std::move(future));
}

} // namespace Korvel::PDF::Converter

#endif
