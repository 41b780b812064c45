#include "UpperCaseConverter.h"

#include <optional>
#include <utility>

#include <QFile>
#include <QPointer>

namespace {

using Korvel::PDF::Converter::AbstractConverter;

//! [work]
/** Why the file could not be written; nothing when it was. */
std::optional<AbstractConverter::ErrorType> WriteInUpperCase(const AbstractConverter::Task& task)
{
    QFile source(task.source);
    if (!source.open(QIODevice::ReadOnly))
        return AbstractConverter::CannotOpenSource;
    QFile result(task.destination);
    const QByteArray text = QString::fromUtf8(source.readAll()).toUpper().toUtf8();
    if (!result.open(QIODevice::WriteOnly | QIODevice::NewOnly) ||
        result.write(text) != text.size() || !result.flush())
        return AbstractConverter::CannotWrite;
    return std::nullopt;
}
//! [work]

} // namespace

//! [accept]
bool UpperCaseConverter::ConvertFile(const Task& task)
{
    waiting.push_back(task);
    QMetaObject::invokeMethod(this, &UpperCaseConverter::ConvertNext, Qt::QueuedConnection);
    return true;
}
//! [accept]

//! [convert]
void UpperCaseConverter::ConvertNext()
{
    if (waiting.empty())
        return; // cancelled
    const Task task = waiting.front();
    waiting.pop_front();

    const QPointer<UpperCaseConverter> self(this); // a receiver may delete the converter
    Q_EMIT ConvertationStarted(task.source);
    if (!self)
        return;
    const auto error = WriteInUpperCase(task);
    Q_EMIT ConvertationFinished(task.source);
    if (!self)
        return;
    if (error)
        Q_EMIT Failed(task.source, *error);
    else
        Q_EMIT Finished(task.source, task.destination);
}
//! [convert]

//! [cancel]
bool UpperCaseConverter::CancelConvertation()
{
    for (const Task& task : std::exchange(waiting, {}))
        QMetaObject::invokeMethod(
            this, [this, source = task.source] { Q_EMIT Failed(source, Cancelled); },
            Qt::QueuedConnection);
    return true;
}
//! [cancel]

//! [answers]
std::map<QString, QStringList> UpperCaseConverter::GetSupportedFormats() const
{
    return {{QStringLiteral("txt"), {QStringLiteral("txt")}}};
}

bool UpperCaseConverter::DoesServiceAvailable()
{
    return true;
}
//! [answers]
