#pragma once

#include "ForwardingFileSystem.h"

#include <functional>
#include <string>

namespace Korvel::App {

/**
 * Puts every result exactly where the plan wants it.
 *
 * It forwards to another file system, and says that nothing exists, so that TempFileWrapper, which
 * asks before it moves, takes no numbered name. A Move onto a file fails, as everywhere, or
 * replaces the file: then in one step, and whoever reads it sees the old content or the new.
 */
class PlannedFileSystem : public ForwardingFileSystem
{
public:
    /** Whether the file that lies at a path is to be replaced. */
    using Replaces = std::function<bool(const ioPath& path)>;

    PlannedFileSystem(std::shared_ptr<PDF::IFileSystem> inner, Replaces replaces);

    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;

private:
    std::string HiddenBeside(const std::string& path) const;

    const Replaces replaces;
};

} // namespace Korvel::App
