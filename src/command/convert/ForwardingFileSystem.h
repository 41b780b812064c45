#pragma once

#include "IFileSystem.h"

#include <memory>

namespace Korvel::App {

/** Forwards everything to another file system; base of those that do something differently. */
class ForwardingFileSystem : public PDF::IFileSystem
{
public:
    ioPath GetTempFolder() override { return inner->GetTempFolder(); }
    bool RemoveFolder(const ioPath& folder) override { return inner->RemoveFolder(folder); }
    bool Exists(const ioPath& path) override { return inner->Exists(path); }
    bool Move(const ioPath& from, const ioPath& to) override { return inner->Move(from, to); }
    bool CreateFolder(const ioPath& folder) override { return inner->CreateFolder(folder); }

protected:
    explicit ForwardingFileSystem(std::shared_ptr<PDF::IFileSystem> inner) : inner(std::move(inner))
    {
    }

    const std::shared_ptr<PDF::IFileSystem> inner;
};

} // namespace Korvel::App
