#pragma once

#include "ConversionResult.h"

namespace Korvel::PDF::Converter {

/** Is told of the course of a conversion, on the engine's thread, and must not block it. */
class ConversionListener
{
public:
    virtual ~ConversionListener() = default;

    virtual void Opened(const DocumentInfo& document) = 0;
    virtual void Progressed(double part) = 0;
    virtual void PageFinished(const ConversionResult::Page& page) = 0;
    virtual void PageFailed(const ConversionResult::Failure& failure) = 0;
    virtual void Warned(const ConversionResult::Note& note) = 0;
    /** Whoever is told answers by ConversionEngine::GivePassword. */
    virtual void PasswordWanted(int attempt) = 0;
    /** The last call. */
    virtual void Ended(const ConversionResult& result) = 0;
};

} // namespace Korvel::PDF::Converter
