#pragma once

#include "AbstractConverter.h"

#include <memory>

#include <QElapsedTimer>

/**
 * Tells how long each conversion of the inner converter took.
 *
 *     auto wrapper = std::make_shared<TimingWrapper>(converter);
 *     connect(wrapper.get(), &TimingWrapper::Measured, ...);
 *
 * Ownership: shares the inner converter, and has no parent. Signals: all eight of the inner
 * converter as they came, and Measured. Thread: used on the thread that owns it. Receivers may
 * delete the wrapper in a slot.
 */
class TimingWrapper : public Korvel::PDF::Converter::AbstractConverter
{
    Q_OBJECT

public:
    /** @param converter  the inner one, not null */
    explicit TimingWrapper(const std::shared_ptr<AbstractConverter>& converter);

    /** Tasks in flight end without a signal. */
    ~TimingWrapper() override;

    /** All four: the inner converter's answer. */
    bool ConvertFile(const Task& task) override;
    bool CancelConvertation() override;
    std::map<QString, QStringList> GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

Q_SIGNALS:
    /**
     * The task, which is about to end by Finished or Failed, took that long since it was given to
     * ConvertFile, the time included in which it waited for others.
     */
    void Measured(const QString& source, qint64 milliseconds);

private:
    Q_DISABLE_COPY_MOVE(TimingWrapper)

    template <typename Emission>
    void End(const QString& source, const Emission& emission);

    const std::shared_ptr<AbstractConverter> inner;
    /** Tasks in flight: source -> since when. */
    std::map<QString, QElapsedTimer> started;
};
