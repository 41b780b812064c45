#include "FutureListener.h"

#include "ConversionEngine.h"

#include <optional>
#include <system_error>

namespace Korvel::PDF::Converter {

namespace {

constexpr int wholeProgress = 1000;

} // namespace

FutureListener::FutureListener(ConversionEngine& engine, quint64 number,
                               const ConversionRequest& request)
    : engine(engine), number(number), request(request)
{
    promise.reportStarted();
    promise.setProgressRange(0, wholeProgress);
}

void FutureListener::WatchForCancel()
{
    watcher = std::make_unique<QFutureWatcher<ConversionResult>>();
    QObject::connect(watcher.get(), &QFutureWatcher<ConversionResult>::canceled, watcher.get(),
                     [this] { engine.Cancel(number); });
    watcher->setFuture(promise.future());
}

void FutureListener::Progressed(double part)
{
    promise.setProgressValue(int(part * wholeProgress));
}

// A future has one result, which tells of these.
void FutureListener::Opened(const DocumentInfo&) {}
void FutureListener::PageFinished(const ConversionResult::Page&) {}
void FutureListener::PageFailed(const ConversionResult::Failure&) {}
void FutureListener::Warned(const ConversionResult::Note&) {}

void FutureListener::PasswordWanted(int attempt)
{
    try {
        engine.CallAside([&engine = engine, number = number, ask = request.askForPassword,
                          attempt] { engine.GivePassword(number, ask(attempt)); });
    } catch (const std::system_error&) {
        engine.GivePassword(number, std::nullopt); // there is no room for another thread
    }
}

void FutureListener::Ended(const ConversionResult& result)
{
    watcher.reset();
    promise.reportResult(result);
    promise.reportFinished();
}

} // namespace Korvel::PDF::Converter
