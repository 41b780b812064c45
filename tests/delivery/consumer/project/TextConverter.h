#pragma once

#include "AbstractConverter.h"

#include <QFile>
#include <QPointer>

/** The application's own converter. */
class TextConverter : public Korvel::PDF::Converter::AbstractConverter
{
    Q_OBJECT

public:
    bool ConvertFile(const Task& task) override
    {
        const QPointer<TextConverter> self(this); // a receiver may delete the converter
        Q_EMIT ConvertationStarted(task.source);
        if (!self)
            return true;
        QFile result(task.destination);
        if (result.open(QIODevice::WriteOnly | QIODevice::NewOnly) &&
            result.write("converted") == 9 && result.flush())
            Q_EMIT Finished(task.source, task.destination);
        else
            Q_EMIT Failed(task.source, CannotWrite);
        return true;
    }
    bool CancelConvertation() override { return false; }
    std::map<QString, QStringList> GetSupportedFormats() const override { return {}; }
    bool DoesServiceAvailable() override { return true; }
};
