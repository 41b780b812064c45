#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"

#include <memory>

namespace Korvel::PDF::Converter {

/**
 * A wrapper that changes nothing: base of wrappers, which override what they change.
 *
 * It shares its inner converter, has the eight connections in their order, and forwards every
 * operation and every signal. A handler has a copy of the source, since the sender's string may die
 * in a slot; whoever overrides one emits last, as a receiver may delete the wrapper.
 *
 *     class CountingWrapper : public ForwardingConverter
 *     {
 *         using ForwardingConverter::ForwardingConverter;
 *         void InnerFailed(const QString& source, ErrorType error) override
 *         {
 *             ++failures;
 *             ForwardingConverter::InnerFailed(source, error);
 *         }
 *         int failures = 0;
 *     };
 *
 * When it is destroyed, tasks in hand end without a signal; whatever the inner converter emits
 * meanwhile is not heard. Used on the thread that owns it.
 */
class CONVERTERSERVICES_EXPORT ForwardingConverter : public AbstractConverter
{
    Q_OBJECT

public:
    /** @param inner  not null */
    explicit ForwardingConverter(const std::shared_ptr<AbstractConverter>& inner);
    ~ForwardingConverter() override;

    /** Hands the task on, and answers what the inner converter does. */
    bool ConvertFile(const Task& task) override;
    /** Hands the request on, and answers what the inner converter does. */
    bool CancelConvertation() override;
    /** The inner converter's answer. */
    std::map<QString, QStringList> GetSupportedFormats() const override;
    /** The inner converter's answer. */
    bool DoesServiceAvailable() override;

protected:
    /** Called when the inner converter emits UploadProgress; emits it. */
    virtual void InnerUploadProgress(const QString& source, qint64 sent, qint64 total);
    /** Called when the inner converter emits DownloadProgress; emits it. */
    virtual void InnerDownloadProgress(const QString& source, qint64 received, qint64 total);
    /** Called when the inner converter emits ConvertationStarted; emits it. */
    virtual void InnerStarted(const QString& source);
    /** Called when the inner converter emits ConvertationProgress; emits it. */
    virtual void InnerProgress(const QString& source, double progress);
    /** Called when the inner converter emits ConvertationFinished; emits it. */
    virtual void InnerConvertationFinished(const QString& source);
    /** Called when the inner converter emits Failed; emits it. */
    virtual void InnerFailed(const QString& source, ErrorType error);
    /** Called when the inner converter emits Finished with one file; emits it. */
    virtual void InnerFinished(const QString& source, const QString& resultFile);
    /** Called when the inner converter emits Finished with a list; emits it. */
    virtual void InnerFinishedWithAll(const QString& source, const QStringList& resultFiles);

private:
    Q_DISABLE_COPY_MOVE(ForwardingConverter)

    void Relay(const AbstractConverter* sender);

    const std::shared_ptr<AbstractConverter> inner;
};

} // namespace Korvel::PDF::Converter
