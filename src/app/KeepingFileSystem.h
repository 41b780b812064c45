#pragma once

#include "IFileSystem.h"

#include <memory>

namespace Korvel::App {

/** Forwards to another file system, and removes no folder. */
class KeepingFileSystem : public PDF::IFileSystem
{
public:
    explicit KeepingFileSystem(std::shared_ptr<PDF::IFileSystem> inner);

    ioPath GetTempFolder() override;
    /** Leaves the folder where it is, and answers as if it were gone. */
    bool RemoveFolder(const ioPath& folder) override;
    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;
    bool CreateFolder(const ioPath& folder) override;

private:
    const std::shared_ptr<PDF::IFileSystem> inner;
};

} // namespace Korvel::App
