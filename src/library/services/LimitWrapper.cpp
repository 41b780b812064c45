#include "LimitWrapper.h"

#include "CopiedDocuments.h"
#include "OptionError.h"
#include "ServicesLog.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <QPointer>

namespace Korvel::PDF::Converter {

LimitWrapper::LimitWrapper(const std::shared_ptr<AbstractConverter>& inner, int atOnce)
    : ForwardingConverter(inner), atOnce(std::size_t(std::max(atOnce, 1)))
{
}

bool LimitWrapper::ConvertFile(const Task& task)
{
    if (waiting.empty() && running.size() < atOnce)
        return Start(task);
    waiting.push_back(task);
    StartNextLater();
    return true;
}

/** Counts the task from before the call, in which it may end already. */
bool LimitWrapper::Start(const Task& task)
{
    const QString source = task.source;
    running.insert(source);
    const QPointer<LimitWrapper> self(this);
    bool isStarted = false;
    try {
        isStarted = ForwardingConverter::ConvertFile(task);
    } catch (...) {
        if (self)
            Ended(source);
        throw;
    }
    if (!isStarted && self)
        Ended(source);
    return isStarted;
}

/** Why the task is not started; the event loop asks, which nothing thrown may leave. */
std::optional<AbstractConverter::ErrorType> LimitWrapper::Refusal(const Task& task)
{
    ErrorType why = Unknown;
    try {
        if (Start(task))
            return std::nullopt;
    } catch (const std::exception& error) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(task.source)
                               << error.what();
        if (dynamic_cast<const OptionError*>(&error))
            why = InvalidOption;
    } catch (...) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(task.source);
    }
    return why;
}

void LimitWrapper::StartNext()
{
    if (waiting.empty() || running.size() >= atOnce)
        return;
    const Task task = std::move(waiting.front());
    waiting.pop_front();
    StartNextLater(); // for further ones: a receiver may do anything, so one at a time
    const QPointer<LimitWrapper> self(this);
    const std::optional<ErrorType> refusal = Refusal(task);
    if (refusal && self)
        Q_EMIT Failed(task.source, *refusal);
}

void LimitWrapper::StartNextLater()
{
    QMetaObject::invokeMethod(
        this, [this] { StartNext(); }, Qt::QueuedConnection);
}

void LimitWrapper::FailLater(const QString& source)
{
    QMetaObject::invokeMethod(
        this, [this, source] { Q_EMIT Failed(source, Cancelled); }, Qt::QueuedConnection);
}

bool LimitWrapper::CancelConvertation()
{
    for (const Task& task : std::exchange(waiting, {}))
        FailLater(task.source);
    return ForwardingConverter::CancelConvertation();
}

bool LimitWrapper::CancelWaiting(const QString& source)
{
    const auto found = std::find_if(waiting.begin(), waiting.end(),
                                    [&source](const Task& task) { return task.source == source; });
    if (found == waiting.end())
        return false;
    FailLater(found->source);
    waiting.erase(found);
    return true;
}

/** Makes room for another task. */
void LimitWrapper::Ended(const QString& source)
{
    const auto task = running.find(source);
    if (task == running.end())
        return;
    running.erase(task);
    StartNextLater();
}

void LimitWrapper::InnerFailed(const QString& source, ErrorType error)
{
    Ended(source);
    Q_EMIT Failed(source, error);
}

void LimitWrapper::InnerFinished(const QString& source, const QString& resultFile)
{
    Ended(source);
    Q_EMIT Finished(source, resultFile);
}

void LimitWrapper::InnerFinishedWithAll(const QString& source, const QStringList& resultFiles)
{
    Ended(source);
    Q_EMIT Finished(source, resultFiles);
}

} // namespace Korvel::PDF::Converter
