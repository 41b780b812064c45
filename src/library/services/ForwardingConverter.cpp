#include "ForwardingConverter.h"

namespace Korvel::PDF::Converter {

ForwardingConverter::ForwardingConverter(const std::shared_ptr<AbstractConverter>& inner)
    : inner(inner)
{
    Relay(inner.get());
}

ForwardingConverter::~ForwardingConverter()
{
    // An inner converter that emits from its destructor would find no record.
    disconnect(inner.get(), nullptr, this, nullptr);
}

/** Every handler has copies: the sender's own may die in a slot. */
void ForwardingConverter::Relay(const AbstractConverter* sender)
{
    using Base = AbstractConverter;
    const auto when = [this, sender](auto signal, auto handler) {
        connect(sender, signal, this, [this, handler](QString source, auto... told) {
            (this->*handler)(source, told...);
        });
    };
    when(&Base::UploadProgress, &ForwardingConverter::InnerUploadProgress);
    when(&Base::DownloadProgress, &ForwardingConverter::InnerDownloadProgress);
    when(&Base::ConvertationStarted, &ForwardingConverter::InnerStarted);
    when(&Base::ConvertationProgress, &ForwardingConverter::InnerProgress);
    when(&Base::ConvertationFinished, &ForwardingConverter::InnerConvertationFinished);
    when(&Base::Failed, &ForwardingConverter::InnerFailed);
    when(qOverload<const QString&, QString>(&Base::Finished), &ForwardingConverter::InnerFinished);
    when(qOverload<const QString&, QStringList>(&Base::Finished),
         &ForwardingConverter::InnerFinishedWithAll);
}

bool ForwardingConverter::ConvertFile(const Task& task)
{
    // A share of its own: a receiver may delete this wrapper before the call has returned.
    const std::shared_ptr<AbstractConverter> converter = inner;
    return converter->ConvertFile(task);
}

bool ForwardingConverter::CancelConvertation()
{
    const std::shared_ptr<AbstractConverter> converter = inner;
    return converter->CancelConvertation();
}

std::map<QString, QStringList> ForwardingConverter::GetSupportedFormats() const
{
    return inner->GetSupportedFormats();
}

bool ForwardingConverter::DoesServiceAvailable()
{
    return inner->DoesServiceAvailable();
}

void ForwardingConverter::InnerUploadProgress(const QString& source, qint64 sent, qint64 total)
{
    Q_EMIT UploadProgress(source, sent, total);
}

void ForwardingConverter::InnerDownloadProgress(const QString& source, qint64 received,
                                                qint64 total)
{
    Q_EMIT DownloadProgress(source, received, total);
}

void ForwardingConverter::InnerStarted(const QString& source)
{
    Q_EMIT ConvertationStarted(source);
}

void ForwardingConverter::InnerProgress(const QString& source, double progress)
{
    Q_EMIT ConvertationProgress(source, progress);
}

void ForwardingConverter::InnerConvertationFinished(const QString& source)
{
    Q_EMIT ConvertationFinished(source);
}

void ForwardingConverter::InnerFailed(const QString& source, ErrorType error)
{
    Q_EMIT Failed(source, error);
}

void ForwardingConverter::InnerFinished(const QString& source, const QString& resultFile)
{
    Q_EMIT Finished(source, resultFile);
}

void ForwardingConverter::InnerFinishedWithAll(const QString& source,
                                               const QStringList& resultFiles)
{
    Q_EMIT Finished(source, resultFiles);
}

} // namespace Korvel::PDF::Converter
