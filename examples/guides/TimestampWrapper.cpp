#include "TimestampWrapper.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

namespace {

//! [act]
void CopyTime(const QString& source, const QString& result)
{
    QFile file(result);
    if (!result.isEmpty() && file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        file.setFileTime(QFileInfo(source).lastModified(), QFileDevice::FileModificationTime);
}
//! [act]

} // namespace

//! [connections]
TimestampWrapper::TimestampWrapper(const std::shared_ptr<AbstractConverter>& inner) : inner(inner)
{
    const AbstractConverter* const sender = inner.get();
    connect(sender, &AbstractConverter::UploadProgress, this, &AbstractConverter::UploadProgress);
    connect(sender, &AbstractConverter::DownloadProgress, this,
            &AbstractConverter::DownloadProgress);
    connect(sender, &AbstractConverter::ConvertationStarted, this,
            &AbstractConverter::ConvertationStarted);
    connect(sender, &AbstractConverter::ConvertationProgress, this,
            &AbstractConverter::ConvertationProgress);
    connect(sender, &AbstractConverter::ConvertationFinished, this,
            &AbstractConverter::ConvertationFinished);
    connect(sender, &AbstractConverter::Failed, this, &AbstractConverter::Failed);
    connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
            [this](const QString& source, const QString& resultFile) {
                const QString task = source; // the sender's string may die in a slot
                CopyTime(task, resultFile);
                Q_EMIT Finished(task, resultFile);
            });
    connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished), this,
            [this](const QString& source, const QStringList& resultFiles) {
                const QString task = source;
                for (const QString& file : resultFiles)
                    CopyTime(task, file);
                Q_EMIT Finished(task, resultFiles);
            });
}
//! [connections]

//! [operations]
bool TimestampWrapper::ConvertFile(const Task& task)
{
    // A share of its own: a receiver may delete this wrapper before the call has returned.
    const std::shared_ptr<AbstractConverter> converter = inner;
    return converter->ConvertFile(task);
}

bool TimestampWrapper::CancelConvertation()
{
    const std::shared_ptr<AbstractConverter> converter = inner;
    return converter->CancelConvertation();
}

std::map<QString, QStringList> TimestampWrapper::GetSupportedFormats() const
{
    return inner->GetSupportedFormats();
}

bool TimestampWrapper::DoesServiceAvailable()
{
    return inner->DoesServiceAvailable();
}
//! [operations]
