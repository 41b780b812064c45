#pragma once

#include "AbstractConverter.h"

#include <deque>

/**
 * Writes a text file anew in upper case.
 *
 * One task after another, from the event loop of the thread that owns the object.
 */
class UpperCaseConverter : public Korvel::PDF::Converter::AbstractConverter
{
    Q_OBJECT

public:
    bool ConvertFile(const Task& task) override;
    bool CancelConvertation() override;
    std::map<QString, QStringList> GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

private:
    void ConvertNext();

    std::deque<Task> waiting;
};
