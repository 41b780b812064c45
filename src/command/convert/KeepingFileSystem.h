#pragma once

#include "ForwardingFileSystem.h"

#include <memory>
#include <utility>

namespace Korvel::App {

/** Forwards to another file system, and removes no folder. */
class KeepingFileSystem : public PDF::Converter::ForwardingFileSystem
{
public:
    explicit KeepingFileSystem(std::shared_ptr<PDF::IFileSystem> inner)
        : ForwardingFileSystem(std::move(inner))
    {
    }

    /** Leaves the folder where it is, and answers as if it were gone. */
    bool RemoveFolder(const ioPath&) override { return true; }
};

} // namespace Korvel::App
