#pragma once

#include "AbstractConverter.h"
#include "Console.h"
#include "Failure.h"
#include "Options.h"
#include "OutputTemplate.h"
#include "PlannedPaths.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QObject>
#include <QStringList>
#include <QTimer>

namespace Korvel::App {

class ConverterFactory;

/**
 * Makes the results of a document that was opened and planned, once or in several rounds, each
 * through a chain of its own. Used on the main thread, whose event loop runs meanwhile.
 */
class Conversion
{
public:
    using Task = PDF::Converter::AbstractConverter::Task;

    /** Receives what went wrong; null when nothing did. */
    using Receiver = std::function<void(const std::exception_ptr& failure)>;

    /**
     * @param task     the document, and how it is to be converted
     * @param name     of the document
     * @param results  what to make; gets the final paths, empty where there is nothing
     * @param planned  gets the paths that are chosen anew, as other programs have taken them
     */
    Conversion(Task task, const QString& name, std::vector<PlannedResult>& results,
               PlannedPaths& planned, const Options& options, ConverterFactory& factory,
               Console& console);

    /**
     * Makes the results. What is finished when another page fails stays where it is.
     *
     * @param ended  called from the event loop at the end, once; may destroy this
     */
    void Start(Receiver ended);

private:
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    void Later(const std::function<void()>& step);
    void End(const std::exception_ptr& failure);
    void Begin();
    void PrepareFolders() const;
    void StartRound();
    Task TaskOfRound() const;
    Failure CopyFailure() const;
    void ConnectToChain();
    void TimeIsUp();
    void FinishRound();
    void CheckResult(const PlannedResult& result) const;
    bool IsToBeMadeAgain(const QString& path) const;
    QStringList PathsOfRound() const;

    const Task task;
    const QString name;
    std::vector<PlannedResult>& results;
    PlannedPaths& planned;
    const Options& options;
    ConverterFactory& factory;
    Console& console;

    Receiver ended;
    int work = 0;
    std::vector<PlannedResult*> left;
    int rounds = 0;
    std::shared_ptr<PDF::Converter::AbstractConverter> chain;
    /** The final paths, empty where a result could not be moved. */
    std::optional<QStringList> paths;
    std::optional<PDF::Converter::AbstractConverter::ErrorType> error;
    QTimer alarm;
    /** ConverterFactory::TimeOfCopies() as of when this document was last given time for them. */
    std::chrono::milliseconds timeOfCopies{0};
    bool isLate = false;
    /** Receives the calls that come later. */
    QObject context;
};

} // namespace Korvel::App
