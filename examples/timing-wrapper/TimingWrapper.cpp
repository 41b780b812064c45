#include "TimingWrapper.h"

#include <QPointer>

TimingWrapper::TimingWrapper(const std::shared_ptr<AbstractConverter>& converter) : inner(converter)
{
    const AbstractConverter* const sender = converter.get();
    connect(sender, &AbstractConverter::UploadProgress, this, &AbstractConverter::UploadProgress);
    connect(sender, &AbstractConverter::DownloadProgress, this,
            &AbstractConverter::DownloadProgress);
    connect(sender, &AbstractConverter::ConvertationStarted, this,
            &AbstractConverter::ConvertationStarted);
    connect(sender, &AbstractConverter::ConvertationProgress, this,
            &AbstractConverter::ConvertationProgress);
    connect(sender, &AbstractConverter::ConvertationFinished, this,
            &AbstractConverter::ConvertationFinished);
    connect(sender, &AbstractConverter::Failed, this,
            [this](const QString& source, ErrorType error) {
                End(source, [this, error](const QString& task) { Q_EMIT Failed(task, error); });
            });
    connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
            [this](const QString& source, const QString& result) {
                End(source, [this, result](const QString& task) { Q_EMIT Finished(task, result); });
            });
    connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished), this,
            [this](const QString& source, const QStringList& results) {
                End(source,
                    [this, results](const QString& task) { Q_EMIT Finished(task, results); });
            });
}

TimingWrapper::~TimingWrapper()
{
    // Severed first: an inner converter that emits from its destructor would find no record.
    disconnect(inner.get(), nullptr, this, nullptr);
}

/**
 * Takes the task out, reports its time, and passes its end on. The last emission touches nothing
 * afterwards and uses copies only: a receiver may start the source anew or delete this wrapper, and
 * the sender's string may die.
 */
template <typename Emission>
void TimingWrapper::End(const QString& source, const Emission& emission)
{
    const QString task = source;
    const QPointer<TimingWrapper> self(this);
    if (const auto entry = started.extract(task))
        Q_EMIT Measured(task, entry.mapped().elapsed());
    if (self)
        emission(task);
}

bool TimingWrapper::ConvertFile(const Task& task)
{
    started[task.source].start();
    // Shares and copies of its own: a receiver may delete this wrapper before the call has
    // returned.
    const std::shared_ptr<AbstractConverter> converter = inner;
    const QString source = task.source;
    const QPointer<TimingWrapper> self(this);
    const bool isAccepted = converter->ConvertFile(task);
    if (!isAccepted && self)
        started.erase(source);
    return isAccepted;
}

bool TimingWrapper::CancelConvertation()
{
    const std::shared_ptr<AbstractConverter> converter = inner;
    return converter->CancelConvertation();
}

std::map<QString, QStringList> TimingWrapper::GetSupportedFormats() const
{
    return inner->GetSupportedFormats();
}

bool TimingWrapper::DoesServiceAvailable()
{
    return inner->DoesServiceAvailable();
}
