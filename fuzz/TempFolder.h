#pragma once

#include "Fuzzing.h"

#include <filesystem>
#include <string>

namespace Korvel::Fuzz {

/** A new folder, among those for temporary files or in `parent`. */
inline std::string
MakeTempFolder(const std::string& parent = std::filesystem::temp_directory_path().native())
{
    std::string folder = parent + "/fuzz-XXXXXX";
    Require(::mkdtemp(folder.data()) != nullptr, "a temporary folder can be made");
    return std::filesystem::canonical(folder).native();
}

} // namespace Korvel::Fuzz
