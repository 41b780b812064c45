#pragma once

#include "IFileSystem.h"

#include <memory>
#include <mutex>
#include <vector>

/** Forwards to another file system, and remembers what was moved where. */
class RememberingFileSystem : public Korvel::PDF::IFileSystem
{
public:
    struct Moved
    {
        Korvel::ioPath from;
        Korvel::ioPath to;
    };

    explicit RememberingFileSystem(std::shared_ptr<IFileSystem> inner);

    Korvel::ioPath GetTempFolder() override;
    bool RemoveFolder(const Korvel::ioPath& folder) override;
    bool Exists(const Korvel::ioPath& path) override;
    bool Move(const Korvel::ioPath& from, const Korvel::ioPath& to) override;
    bool CreateFolder(const Korvel::ioPath& folder) override;

    /** What was moved since the last call. */
    std::vector<Moved> TakeMoved();

private:
    const std::shared_ptr<IFileSystem> inner;
    std::mutex mutex;
    std::vector<Moved> moved;
};
