#pragma once

#include "IFileSystem.h"

#include <memory>
#include <utility>

namespace Korvel::PDF::Converter {

/** Forwards everything to another file system; base of those that do something differently. */
class ForwardingFileSystem : public IFileSystem
{
public:
    ioPath GetTempFolder() override { return inner->GetTempFolder(); }
    bool RemoveFolder(const ioPath& folder) override { return inner->RemoveFolder(folder); }
    bool Exists(const ioPath& path) override { return inner->Exists(path); }
    bool Move(const ioPath& from, const ioPath& to) override { return inner->Move(from, to); }
    bool CreateFolder(const ioPath& folder) override { return inner->CreateFolder(folder); }

protected:
    explicit ForwardingFileSystem(std::shared_ptr<IFileSystem> inner) : inner(std::move(inner)) {}

    const std::shared_ptr<IFileSystem> inner;
};

} // namespace Korvel::PDF::Converter
