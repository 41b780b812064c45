#pragma once

#include "ConversionListener.h"
#include "ConversionRequest.h"

#include <memory>

#include <QFutureInterface>
#include <QFutureWatcher>

namespace Korvel::PDF::Converter {

class ConversionEngine;

/** Tells a future of a conversion, and the conversion when nobody wants it any more. */
class FutureListener : public ConversionListener
{
public:
    /** @param engine  lives longer than this */
    FutureListener(ConversionEngine& engine, quint64 number, const ConversionRequest& request);

    QFuture<ConversionResult> Future() { return promise.future(); }

    void Opened(const DocumentInfo& document) override;
    void Progressed(double part) override;
    void PageFinished(const ConversionResult::Page& page) override;
    void PageFailed(const ConversionResult::Failure& failure) override;
    void Warned(const ConversionResult::Note& note) override;
    void PasswordWanted(int attempt) override;
    void Ended(const ConversionResult& result) override;

    /** Has a future that is cancelled end its conversion. Used on the engine's thread. */
    void WatchForCancel();

private:
    ConversionEngine& engine;
    const quint64 number;
    const ConversionRequest request;
    QFutureInterface<ConversionResult> promise;
    std::unique_ptr<QFutureWatcher<ConversionResult>> watcher;
};

} // namespace Korvel::PDF::Converter
