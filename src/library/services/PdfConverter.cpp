#include "PdfConverter.h"

#include "ConversionEngine.h"
#include "FutureListener.h"

namespace Korvel::PDF::Converter {

PdfConverter::PdfConverter() : PdfConverter(Settings()) {}

PdfConverter::PdfConverter(const Settings& settings)
    : engine(std::make_shared<ConversionEngine>(settings))
{
}

PdfConverter::~PdfConverter()
{
    engine->Stop();
}

QFuture<ConversionResult> PdfConverter::Convert(const ConversionRequest& request)
{
    const quint64 number = engine->NewNumber();
    const auto listener = std::make_shared<FutureListener>(*engine, number, request);
    QFuture<ConversionResult> future = listener->Future();
    engine->Submit(number, request, listener);
    engine->Post([listener] { listener->WatchForCancel(); });
    return future;
}

} // namespace Korvel::PDF::Converter
