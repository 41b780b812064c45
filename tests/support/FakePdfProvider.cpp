#include "FakePdfProvider.h"

#include "Futures.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace Korvel::PDF::Test {

namespace {

std::string DocumentText(const std::string& password)
{
    return "document locked with \"" + password + '"';
}

std::string ReadFile(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string Name(const DocumentHandle& document)
{
    return std::to_string(document.id) + "/" + std::to_string(document.providerData);
}

} // namespace

FakePdfProvider::FakePdfProvider(std::shared_ptr<CallJournal> journal) : journal(std::move(journal))
{
}

FakePdfProvider::~FakePdfProvider()
{
    if (onDestruction)
        onDestruction();
    for (std::thread& thread : threads)
        thread.join();
    journal->push_back("~FakePdfProvider");
}

bool FakePdfProvider::MakeDocument(const std::string& path, const std::string& password)
{
    return (std::ofstream(path) << DocumentText(password)).good();
}

std::future<DocumentHandle> FakePdfProvider::OpenDocument(const ioPath& file,
                                                          const std::string& password)
{
    journal->push_back("OpenDocument " + file.utf8string() + " with \"" + password + "\"");
    if (open)
        return open();
    const std::string text = ReadFile(file.utf8string());
    if (text != DocumentText("") && text != DocumentText(password))
        return Ready(DocumentHandle{-1, 0});
    documents[++lastId] = text;
    return Ready(DocumentHandle{lastId, 1000 + lastId});
}

std::future<bool> FakePdfProvider::SaveDocument(const DocumentHandle& document, const ioPath& file)
{
    journal->push_back("SaveDocument " + Name(document) + " to " + file.utf8string());
    if (save)
        return save();
    if (documents.count(document.id) == 0)
        return Ready(false);
    std::error_code missing;
    if (std::filesystem::is_symlink(file.utf8string(), missing) ||
        !MakeDocument(file.utf8string(), ""))
        return Ready(false);
    std::filesystem::permissions(file.utf8string(), std::filesystem::perms(0600));
    return Ready(true);
}

std::future<bool> FakePdfProvider::CloseDocument(const DocumentHandle& document)
{
    journal->push_back("CloseDocument " + Name(document));
    const bool wasOpen = documents.erase(document.id) > 0;
    return close ? close() : Ready(wasOpen);
}

} // namespace Korvel::PDF::Test
