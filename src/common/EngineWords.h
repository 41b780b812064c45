#pragma once

#include "DrawingEngine.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace Korvel {

/** How command lines call the engines, in the order of the enumeration. */
inline constexpr std::array<const char*, 3> engineWords{"auto", "pdfium", "qt"};

constexpr const char* WordFor(PDF::DrawingEngine engine)
{
    return engineWords[std::size_t(engine)];
}

/** The engine that a word stands for; none where it stands for none. */
inline std::optional<PDF::DrawingEngine> EngineFor(std::string_view word)
{
    for (std::size_t i = 0; i < engineWords.size(); ++i) {
        if (word == engineWords[i])
            return PDF::DrawingEngine(i);
    }
    return std::nullopt;
}

} // namespace Korvel
