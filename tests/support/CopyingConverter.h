#pragma once

#include "AbstractConverter.h"

#include <deque>
#include <utility>

#include <QFile>
#include <QPointer>
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
        const QPointer<CopyingConverter> self(this);
        for (const Task& task : std::exchange(inHand, {}))
            if (self)
                Q_EMIT Failed(task.source, Cancelled);
        return true;
    }

    std::map<QString, QStringList> GetSupportedFormats() const override { return {}; }
    bool DoesServiceAvailable() override { return true; }

protected:
    /** Copies, and emits every signal of the task. */
    virtual void Work(const Task& task)
    {
        const QPointer<CopyingConverter> self(this); // a receiver may delete it
        Q_EMIT ConvertationStarted(task.source);
        const bool isCopied = self && QFile::copy(task.source, task.destination);
        if (self)
            Q_EMIT ConvertationFinished(task.source);
        if (!self)
            return;
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
