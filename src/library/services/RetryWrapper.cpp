#include "RetryWrapper.h"

#include "CopiedDocuments.h"
#include "ServicesLog.h"

#include <exception>
#include <utility>

#include <QPointer>
#include <QTimer>

namespace Korvel::PDF::Converter {

RetryWrapper::RetryWrapper(const std::shared_ptr<AbstractConverter>& inner, Settings settings)
    : ForwardingConverter(inner), settings(std::move(settings))
{
}

bool RetryWrapper::ConvertFile(const Task& task)
{
    const QString source = task.source;
    if (attempts.count(source) > 0)
        return false; // signals could not tell one from the other
    const quint64 number = ++lastNumber;
    attempts[source] = {task, number};
    const QPointer<RetryWrapper> self(this);
    const auto forget = [&] {
        if (self && attempts.count(source) > 0 && attempts[source].number == number)
            attempts.erase(source);
    };
    try {
        const bool isStarted = ForwardingConverter::ConvertFile(task);
        if (!isStarted)
            forget();
        return isStarted;
    } catch (...) {
        forget();
        throw;
    }
}

bool RetryWrapper::CancelConvertation()
{
    for (auto attempt = attempts.begin(); attempt != attempts.end();) {
        attempt->second.isCancelled = true;
        if (!attempt->second.isWaiting) {
            ++attempt;
            continue;
        }
        QMetaObject::invokeMethod(
            this, [this, source = attempt->first] { Q_EMIT Failed(source, Cancelled); },
            Qt::QueuedConnection);
        attempt = attempts.erase(attempt);
    }
    return ForwardingConverter::CancelConvertation();
}

bool RetryWrapper::IsToTryAgain(const Attempt& attempt, ErrorType error) const
{
    return !attempt.isCancelled && error != Cancelled && attempt.tries < settings.tries &&
           (!settings.isWorthIt || settings.isWorthIt(error));
}

void RetryWrapper::InnerFailed(const QString& source, ErrorType error)
{
    const auto found = attempts.find(source);
    if (found == attempts.end() || !IsToTryAgain(found->second, error)) {
        attempts.erase(source);
        Q_EMIT Failed(source, error);
        return;
    }
    Attempt& attempt = found->second;
    ++attempt.tries;
    attempt.isWaiting = true;
    QTimer::singleShot(settings.pause, this, [this, source, number = attempt.number, error] {
        TryAgain(source, number, error);
    });
}

/** The event loop asks, which no exception must leave. */
void RetryWrapper::TryAgain(const QString& source, quint64 number, ErrorType error)
{
    const auto found = attempts.find(source);
    if (found == attempts.end() || found->second.number != number)
        return; // cancelled
    found->second.isWaiting = false;
    const Task task = found->second.task;
    const QPointer<RetryWrapper> self(this);
    bool isStarted = false;
    try {
        isStarted = ForwardingConverter::ConvertFile(task);
    } catch (const std::exception& problem) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(source)
                               << problem.what();
    } catch (...) {
        qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(source);
    }
    if (isStarted || !self)
        return;
    attempts.erase(source);
    Q_EMIT Failed(source, error);
}

void RetryWrapper::InnerFinished(const QString& source, const QString& resultFile)
{
    attempts.erase(source);
    Q_EMIT Finished(source, resultFile);
}

void RetryWrapper::InnerFinishedWithAll(const QString& source, const QStringList& resultFiles)
{
    attempts.erase(source);
    Q_EMIT Finished(source, resultFiles);
}

} // namespace Korvel::PDF::Converter
