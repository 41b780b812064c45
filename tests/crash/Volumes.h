#pragma once

#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace Korvel::Failing {

/** Where the results go, and what the file system there can do. */
struct Volume
{
    const char* name;
    bool isAnother;
    /** Neither files without a name nor a rename that does not replace, as on NFS. */
    bool isPlain;
};

inline void PrintTo(const Volume& volume, std::ostream* stream)
{
    *stream << volume.name;
}

inline std::string NameOf(const testing::TestParamInfo<Volume>& volume)
{
    return volume.param.name;
}

inline auto AllVolumes()
{
    return testing::Values(
        Volume{"WithinAVolume", false, false}, Volume{"WithinAPlainVolume", false, true},
        Volume{"AcrossVolumes", true, false}, Volume{"ToAPlainVolume", true, true});
}

} // namespace Korvel::Failing
