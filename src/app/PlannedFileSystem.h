#pragma once

#include "IFileSystem.h"

#include <memory>

namespace Korvel::App {

/**
 * Puts every result exactly where the plan wants it.
 *
 * It forwards to another file system, and says that nothing exists, so that TempFileWrapper, which
 * asks before it moves, takes no numbered name. A Move onto a file fails, as everywhere, or
 * replaces the file: then in one step, and whoever reads it sees the old content or the new.
 */
class PlannedFileSystem : public PDF::IFileSystem
{
public:
    PlannedFileSystem(std::shared_ptr<PDF::IFileSystem> inner, bool replaces);

    ioPath GetTempFolder() override;
    bool RemoveFolder(const ioPath& folder) override;
    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;
    bool CreateFolder(const ioPath& folder) override;

private:
    const std::shared_ptr<PDF::IFileSystem> inner;
    const bool replaces;
};

} // namespace Korvel::App
