#pragma once

#include "TempFolder.h"

#include <fstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::Fuzz {

/** Makes a new folder the current one: an absolute path leads there that is always the same. */
inline void EnterTempFolder()
{
    Require(::chdir(MakeTempFolder().c_str()) == 0, "the folder can be entered");
}

inline constexpr char currentFolder[] = "/proc/self/cwd/";

inline void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace Korvel::Fuzz
