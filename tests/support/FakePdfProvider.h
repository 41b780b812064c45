#pragma once

#include "CallJournal.h"
#include "IPDFProvider.h"

#include <functional>
#include <map>
#include <thread>

namespace Korvel::PDF::Test {

/**
 * A PDF service whose documents are text files of its own making; writes every call into the
 * journal.
 *
 * Each operation can be given another answer: a value, an exception, a future without a state, one
 * that becomes ready later (see Futures.h and OnThread).
 */
class FakePdfProvider : public IPDFProvider
{
public:
    explicit FakePdfProvider(std::shared_ptr<CallJournal> journal);
    ~FakePdfProvider() override;

    /**
     * Writes a document that opens with `password` only, or with any when that is empty.
     *
     * @return whether it could be written
     */
    static bool MakeDocument(const std::string& path, const std::string& password);

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override;
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override;
    std::future<bool> CloseDocument(const DocumentHandle& document) override;

    /** Answers instead of the documents, where set. */
    std::function<std::future<DocumentHandle>()> open;
    std::function<std::future<bool>()> save;
    std::function<std::future<bool>()> close;

    /** Called within the destructor, if set. */
    std::function<void()> onDestruction;

    /** A future that a thread of the provider makes ready with what `answer` returns. */
    template <typename T>
    std::future<T> OnThread(std::function<T()> answer)
    {
        std::packaged_task<T()> task(std::move(answer));
        std::future<T> result = task.get_future();
        threads.emplace_back(std::move(task));
        return result;
    }

    /** Text of each document that is open, by its handle's id. */
    std::map<std::int64_t, std::string> documents;

private:
    const std::shared_ptr<CallJournal> journal;
    std::int64_t lastId = 0;
    std::vector<std::thread> threads;
};

} // namespace Korvel::PDF::Test
