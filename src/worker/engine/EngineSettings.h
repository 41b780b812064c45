#pragma once

#include "DrawingEngine.h"

#include <string>

namespace Korvel::Worker {

/** Which engine is wanted. */
struct EngineSettings
{
    PDF::DrawingEngine choice = PDF::DrawingEngine::Auto;
    /** The file of PDFium's library; empty for one that is looked for. */
    std::string library;
};

} // namespace Korvel::Worker
