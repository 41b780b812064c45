#pragma once

#include "ConverterContract.h"

#include <QFile>
#include <QTemporaryDir>

//! [fixture]
/** Text files for a converter that works as UpperCaseConverter does. */
class UpperCaseFixture : public Korvel::PDF::TestKit::ConverterFixture
{
public:
    Task SucceedingTask() override
    {
        const QString source = NewPath();
        QFile file(source);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write("text") == 4);
        return {QString(), source, NewPath(), {}};
    }

    std::optional<Task> FailingTask() override
    {
        return Task{QString(), QStringLiteral("/no/such/file.txt"), NewPath(), {}};
    }

private:
    QString NewPath() { return folder.filePath(QStringLiteral("%1.txt").arg(++count)); }

    QTemporaryDir folder;
    int count = 0;
};
//! [fixture]
