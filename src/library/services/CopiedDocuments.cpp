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
    const std::lock_guard lock(copies.mutex);
    copies.documents.emplace_back(QString::fromStdString(copy), QString::fromStdString(document));
    if (copies.documents.size() > mostCopies)
        copies.documents.pop_front();
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
