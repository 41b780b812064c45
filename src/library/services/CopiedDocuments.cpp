#include "CopiedDocuments.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>

namespace Korvel::PDF {

namespace {

constexpr std::size_t mostCopies = 1000;

struct Copies
{
    std::mutex mutex;
    /** Copies and their documents, the oldest first. */
    std::deque<std::pair<QString, QString>> documents;
};

Copies& All()
{
    static Copies copies;
    return copies;
}

} // namespace

void CopiedDocuments::Remember(const std::string& copy, const std::string& document)
{
    Copies& copies = All();
    const QString path = QString::fromStdString(copy);
    const auto isEarlier = [&path](const auto& other) {
        return other.first == path;
    };
    const std::lock_guard lock(copies.mutex);
    auto& documents = copies.documents;
    documents.erase(std::remove_if(documents.begin(), documents.end(), isEarlier), documents.end());
    documents.emplace_back(path, QString::fromStdString(document));
    if (documents.size() > mostCopies)
        documents.pop_front();
}

QString CopiedDocuments::NameOf(const QString& path)
{
    Copies& copies = All();
    const std::lock_guard lock(copies.mutex);
    const auto found = std::find_if(copies.documents.rbegin(), copies.documents.rend(),
                                    [&path](const auto& copy) { return copy.first == path; });
    return found == copies.documents.rend() ? path : found->second;
}

} // namespace Korvel::PDF
