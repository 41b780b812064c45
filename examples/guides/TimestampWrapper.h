#pragma once

#include "AbstractConverter.h"

#include <memory>

/**
 * Gives results the modification time of their sources. The outermost wrapper, as it reads the
 * caller's source.
 */
class TimestampWrapper : public Korvel::PDF::Converter::AbstractConverter
{
    Q_OBJECT

public:
    explicit TimestampWrapper(const std::shared_ptr<AbstractConverter>& inner);

    bool ConvertFile(const Task& task) override;
    bool CancelConvertation() override;
    std::map<QString, QStringList> GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

private:
    const std::shared_ptr<AbstractConverter> inner;
};
