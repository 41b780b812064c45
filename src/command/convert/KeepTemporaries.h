#pragma once

#include "ForwardingFileSystem.h"
#include "IPDFProvider.h"

#include <memory>

namespace Korvel::App {

// Both are what --keep-temp comes to: nothing temporary is removed.

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

/** Forwards to another provider, and gives each file that it saves a second name, `file`.kept. */
class KeepingPdfProvider : public PDF::IPDFProvider
{
public:
    explicit KeepingPdfProvider(std::shared_ptr<PDF::IPDFProvider> inner);

    std::future<PDF::DocumentHandle> OpenDocument(const ioPath& file,
                                                  const std::string& password) override;
    std::future<bool> SaveDocument(const PDF::DocumentHandle& document,
                                   const ioPath& file) override;
    std::future<bool> CloseDocument(const PDF::DocumentHandle& document) override;

private:
    const std::shared_ptr<PDF::IPDFProvider> inner;
};

} // namespace Korvel::App
