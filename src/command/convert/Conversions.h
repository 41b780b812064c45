#pragma once

#include "Conversion.h"
#include "PlannedDocuments.h"
#include "Run.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include <QEventLoop>

namespace Korvel::App {

class Planner;

/**
 * Converts documents, some of them side by side, and tells of their ends in the documents' order.
 * Used on the main thread.
 */
class Conversions
{
public:
    /**
     * Receives what went wrong with a document, null when nothing did.
     *
     * @return whether all is well with it
     */
    using Receiver = std::function<bool(const PlannedDocument&, const std::exception_ptr&)>;

    /** @param documents  where they come from */
    Conversions(const Run& run, Planner& planner, PlannedDocuments& documents, Receiver receiver);

    /**
     * Converts them until a signal comes, until the journal cannot be written or, where that is
     * asked for, until one of them fails; what was begun then is finished.
     *
     * @throws Failure      Internal: the event loop has ended
     * @throws Interrupted  a signal came, and some documents were not begun
     */
    void ConvertAll();

private:
    Conversions(const Conversions&) = delete;
    Conversions& operator=(const Conversions&) = delete;

    bool IsToStop() const;
    std::optional<PlannedDocument> Next();
    void StartDocuments();
    void DocumentEnded(std::size_t index, const std::exception_ptr& failure);

    const Run run;
    Planner& planner;
    PlannedDocuments& documents;
    const Receiver receiver;

    /** Those that were started and not told about yet, by their indices. */
    std::map<std::size_t, PlannedDocument> open;
    /** What is being converted, by the documents' indices. */
    std::map<std::size_t, std::unique_ptr<Conversion>> running;
    /** How many documents have been started, and were told about. */
    std::size_t started = 0;
    std::size_t told = 0;
    /** What went wrong with those, by their indices, that ended and were not told about yet. */
    std::map<std::size_t, std::exception_ptr> ended;
    bool hasAnyFailed = false;
    QEventLoop loop;
};

} // namespace Korvel::App
