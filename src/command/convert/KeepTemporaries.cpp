#include "KeepTemporaries.h"

#include <utility>

#include <glog/logging.h>
#include <unistd.h>

namespace Korvel::App {

KeepingPdfProvider::KeepingPdfProvider(std::shared_ptr<PDF::IPDFProvider> inner)
    : inner(std::move(inner))
{
}

std::future<PDF::DocumentHandle> KeepingPdfProvider::OpenDocument(const ioPath& file,
                                                                  const std::string& password)
{
    return inner->OpenDocument(file, password);
}

std::future<bool> KeepingPdfProvider::SaveDocument(const PDF::DocumentHandle& document,
                                                   const ioPath& file)
{
    const bool isSaved = inner->SaveDocument(document, file).get();
    const std::string path = file.utf8string();
    if (isSaved && ::link(path.c_str(), (path + ".kept").c_str()) != 0)
        PLOG(WARNING) << "cannot keep " << path;
    std::promise<bool> answer;
    answer.set_value(isSaved);
    return answer.get_future();
}

std::future<bool> KeepingPdfProvider::CloseDocument(const PDF::DocumentHandle& document)
{
    return inner->CloseDocument(document);
}

} // namespace Korvel::App
