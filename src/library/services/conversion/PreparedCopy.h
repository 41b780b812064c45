#pragma once

#include "IPDFProvider.h"

#include <memory>

namespace Korvel::PDF {
class LocalFileSystem;
}

namespace Korvel::PDF::Converter {

/** A file that is removed with the object, where it is still there. */
class TemporaryFile
{
public:
    explicit TemporaryFile(ioPath path) : path(std::move(path)) {}
    ~TemporaryFile() { ioPath::remove(path); }

    const ioPath path;

private:
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
};

/**
 * Answers an UnencryptDocWrapper with a copy that was made before, so that the wrapper blocks its
 * thread no longer than it takes to give a file another name.
 */
class PreparedCopy : public IPDFProvider
{
public:
    /** @param copy  without encryption; null when the wrapper is not to ask for one */
    PreparedCopy(std::shared_ptr<const TemporaryFile> copy, std::shared_ptr<LocalFileSystem> files);

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override;
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override;
    std::future<bool> CloseDocument(const DocumentHandle& document) override;

private:
    const std::shared_ptr<const TemporaryFile> copy;
    const std::shared_ptr<LocalFileSystem> files;
    std::string source;
};

} // namespace Korvel::PDF::Converter
