#pragma once

#include "ConverterServicesExport.h"
#include "ForwardingConverter.h"

#include <deque>
#include <optional>
#include <set>

namespace Korvel::PDF::Converter {

/**
 * Hands its inner converter so many tasks at once, and keeps the others until one has ended.
 *
 *     LimitWrapper converter(std::make_shared<PageFanOut>(makeChain, 4), 2);
 *     for (const AbstractConverter::Task& task : tasks)
 *         converter.ConvertFile(task); // the first two are started
 *
 * Tasks are started in the order in which they came. Used on the thread that owns it, whose event
 * loop starts those that have waited.
 */
class CONVERTERSERVICES_EXPORT LimitWrapper : public ForwardingConverter
{
    Q_OBJECT

public:
    /**
     * @param inner   not null
     * @param atOnce  how many tasks it has in hand at once; fewer than one count as one
     */
    LimitWrapper(const std::shared_ptr<AbstractConverter>& inner, int atOnce);

    /**
     * Starts the task, or keeps it for later.
     *
     * @return what the inner converter answers where it is started; true where it is kept, and
     *         should that be refused later, it ends with Unknown
     */
    bool ConvertFile(const Task& task) override;

    /** Ends what waits with `Cancelled`, from the event loop, and asks the inner converter to
     * cancel; its answer. */
    bool CancelConvertation() override;

    /**
     * Ends what waits with this source with `Cancelled`, from the event loop.
     *
     * @return false where nothing of this source waits: it has been started, or is unknown
     */
    bool CancelWaiting(const QString& source);

protected:
    void InnerFailed(const QString& source, ErrorType error) override;
    void InnerFinished(const QString& source, const QString& resultFile) override;
    void InnerFinishedWithAll(const QString& source, const QStringList& resultFiles) override;

private:
    bool Start(const Task& task);
    std::optional<ErrorType> Refusal(const Task& task);
    void StartNext();
    void StartNextLater();
    void FailLater(const QString& source);
    void Ended(const QString& source);

    const std::size_t atOnce;
    /** Sources of the tasks that the inner converter has in hand. */
    std::multiset<QString> running;
    std::deque<Task> waiting;
};

} // namespace Korvel::PDF::Converter
