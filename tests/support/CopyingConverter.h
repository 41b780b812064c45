#pragma once

#include "AbstractConverter.h"

#include <deque>
#include <utility>

#include <QFile>
#include <QTimer>

namespace Korvel::PDF::Test {

/** A small converter that works: copies tasks of the type "copy", one after another. */
class CopyingConverter : public Converter::AbstractConverter
{
public:
    bool ConvertFile(const Task& task) override
    {
        if (task.type != QStringLiteral("copy"))
            return false;
        inHand.push_back(task);
        QTimer::singleShot(0, this, [this] { WorkOnNext(); });
        return true;
    }

    bool CancelConvertation() override
    {
        for (const Task& task : std::exchange(inHand, {}))
            Q_EMIT Failed(task.source, Cancelled);
        return true;
    }

    std::map<QString, QStringList> GetSupportedFormats() const override { return {}; }
    bool DoesServiceAvailable() override { return true; }

protected:
    /** Copies, and emits every signal of the task. */
    virtual void Work(const Task& task)
    {
        Q_EMIT ConvertationStarted(task.source);
        const bool isCopied = QFile::copy(task.source, task.destination);
        Q_EMIT ConvertationFinished(task.source);
        if (isCopied)
            Q_EMIT Finished(task.source, task.destination);
        else
            Q_EMIT Failed(task.source, CannotOpenSource);
    }

private:
    void WorkOnNext()
    {
        if (inHand.empty())
            return; // cancelled
        const Task task = inHand.front();
        inHand.pop_front();
        Work(task);
    }

    std::deque<Task> inHand;
};

} // namespace Korvel::PDF::Test
