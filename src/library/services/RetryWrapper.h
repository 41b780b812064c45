#pragma once

#include "ConverterServicesExport.h"
#include "ForwardingConverter.h"

#include <chrono>
#include <functional>
#include <map>

namespace Korvel::PDF::Converter {

/**
 * Has tasks that failed converted again.
 *
 *     RetryWrapper::Settings settings;
 *     settings.isWorthIt = [](auto error) { return error == AbstractConverter::SourceChanged; };
 *     RetryWrapper converter(std::make_shared<WorkerConverter>(), settings);
 *
 * The caller gets the last Failed alone; ConvertationStarted, progress and ConvertationFinished
 * come for every try. Tasks that were cancelled are not tried again. Used on the thread that owns
 * it, whose event loop runs the further tries.
 */
class CONVERTERSERVICES_EXPORT RetryWrapper : public ForwardingConverter
{
    Q_OBJECT

public:
    /** What is tried again, and when. */
    struct Settings
    {
        /** How often a task is tried in all; fewer than one count as one. */
        int tries = 3;
        /** How long is waited before each further try. */
        std::chrono::milliseconds pause = std::chrono::milliseconds(100);
        /** Whether a failure may be another one's next time; every one when it is empty. */
        std::function<bool(ErrorType)> isWorthIt = {};
    };

    /**
     * @param inner     not null
     * @param settings  what is tried again
     */
    RetryWrapper(const std::shared_ptr<AbstractConverter>& inner, Settings settings);

    /**
     * Starts the first try.
     *
     * @return what the inner converter answers to it; a further try that it refuses ends the task
     *         with the failure before
     */
    bool ConvertFile(const Task& task) override;

    /** Ends what waits for a further try with `Cancelled`, from the event loop, and asks the inner
     * converter to cancel; its answer. */
    bool CancelConvertation() override;

protected:
    void InnerFailed(const QString& source, ErrorType error) override;
    void InnerFinished(const QString& source, const QString& resultFile) override;
    void InnerFinishedWithAll(const QString& source, const QStringList& resultFiles) override;

private:
    struct Attempt
    {
        Task task;
        quint64 number = 0;
        int tries = 1;
        bool isWaiting = false;
        bool isCancelled = false;
    };

    bool IsToTryAgain(const Attempt& attempt, ErrorType error) const;
    void TryAgain(const QString& source, quint64 number, ErrorType error);

    const Settings settings;
    /** Tasks in hand, by their sources. */
    std::map<QString, Attempt> attempts;
    quint64 lastNumber = 0;
};

} // namespace Korvel::PDF::Converter
