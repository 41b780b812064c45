#pragma once

#include "FileOutput.h"

namespace Korvel::Worker {

/**
 * An empty file that was given by somebody else. It does not get shorter: behind what was written
 * after Clear may lie a rest of what was written before.
 */
class GivenFile : public FileOutput
{
public:
    /**
     * @param file     open, at its beginning; lives longer than this
     * @param largest  how many bytes it may have; what would go beyond fails with "too-large"
     */
    GivenFile(int file, std::uint64_t largest) : FileOutput(largest), file(file) {}

private:
    int File() override { return file; }
    void BeginAnew() override { MoveTo(0); } // as the sandbox lets no file be shortened

    const int file;
};

} // namespace Korvel::Worker
