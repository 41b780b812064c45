#pragma once

#include "AbstractConverter.h"

#include <fstream>

/** The application's own converter. */
class TextConverter : public Korvel::PDF::Converter::AbstractConverter
{
    Q_OBJECT

public:
    bool ConvertFile(const Task& task) override
    {
        std::ofstream(task.destination.toStdString()) << "converted";
        Q_EMIT Finished(task.source, task.destination);
        return true;
    }
    bool CancelConvertation() override { return false; }
    std::map<QString, QStringList> GetSupportedFormats() const override { return {}; }
    bool DoesServiceAvailable() override { return true; }
};
