#pragma once

#include "IPDFProvider.h"

#include <memory>

namespace Korvel::App {

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
