#pragma once

#include "ConverterContract.h"
#include "FakePdfProvider.h"

#include <QTemporaryDir>

namespace Korvel::PDF::Test {

/** Tasks for a CopyingConverter, or for wrappers around one: with documents of FakePdfProvider. */
class CopyingConverterFixture : public TestKit::ConverterFixture
{
public:
    Task SucceedingTask() override
    {
        const Task task = MakeTask();
        FakePdfProvider::MakeDocument(task.source.toStdString(), "secret");
        return task;
    }

    std::optional<Task> FailingTask() override
    {
        Task task = MakeTask();
        task.options.clear(); // whoever unencrypts the document would refuse one that is missing
        return task;
    }

    std::optional<Task> RefusedTask() override
    {
        Task task = SucceedingTask();
        task.type = "no copy";
        return task;
    }

    QTemporaryDir folder;

private:
    Task MakeTask()
    {
        const QString number = QString::number(++count);
        return {"copy",
                folder.filePath("source " + number),
                folder.filePath("copy " + number),
                {{"need_export", true}, {"password", std::string("secret")}}};
    }

    int count = 0;
};

} // namespace Korvel::PDF::Test
