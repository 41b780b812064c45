#pragma once

#include "IFileNameGenerator.h"
#include "IPDFProvider.h"

#include <memory>
#include <utility>

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
 * Answers an UnencryptDocWrapper with a copy that was made before: by its name, and that it is
 * there. So the wrapper does not block its thread. Good for one task.
 */
class PreparedCopy : public IPDFProvider, public IFileNameGenerator
{
public:
    /** @param copy  without encryption; null when the wrapper is not to ask for one */
    explicit PreparedCopy(std::shared_ptr<const TemporaryFile> copy) : copy(std::move(copy)) {}

    std::string GenerateFileName() override;
    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override;
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override;
    std::future<bool> CloseDocument(const DocumentHandle& document) override;

private:
    const std::shared_ptr<const TemporaryFile> copy;
};

} // namespace Korvel::PDF::Converter
