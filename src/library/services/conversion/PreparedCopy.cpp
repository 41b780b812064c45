#include "PreparedCopy.h"

#include "CopiedDocuments.h"
#include "LocalFileSystem.h"

#include <utility>

namespace Korvel::PDF::Converter {

namespace {

template <typename T>
std::future<T> Ready(T value)
{
    std::promise<T> promise;
    promise.set_value(value);
    return promise.get_future();
}

} // namespace

PreparedCopy::PreparedCopy(std::shared_ptr<const TemporaryFile> copy,
                           std::shared_ptr<LocalFileSystem> files)
    : copy(std::move(copy)), files(std::move(files))
{
}

std::future<DocumentHandle> PreparedCopy::OpenDocument(const ioPath& file, const std::string&)
{
    source = file.utf8string();
    return Ready(DocumentHandle{copy ? 0 : -1, 0});
}

std::future<bool> PreparedCopy::SaveDocument(const DocumentHandle&, const ioPath& file)
{
    const bool isSaved = copy && files->Move(copy->path, file);
    if (isSaved)
        CopiedDocuments::Remember(file.utf8string(), source);
    return Ready(isSaved);
}

std::future<bool> PreparedCopy::CloseDocument(const DocumentHandle&)
{
    return Ready(true);
}

} // namespace Korvel::PDF::Converter
