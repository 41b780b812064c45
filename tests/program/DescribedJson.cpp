#include "DescribedJson.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QProcess>

namespace Korvel::App {

void ExpectDescribed(const QByteArray& json, const QString& schema)
{
    QProcess validator;
    validator.start("/usr/bin/python3", {VALIDATE_JSON, schema});
    validator.write(json);
    validator.closeWriteChannel();
    validator.waitForFinished();
    EXPECT_EQ(validator.exitCode(), 0) << validator.readAllStandardError().toStdString();
}

QJsonObject Closing(const Outcome& run)
{
    ExpectDescribed(run.results.join('\n').toUtf8());
    const QJsonDocument document = QJsonDocument::fromJson(run.results.join('\n').toUtf8());
    EXPECT_TRUE(document.isObject()) << run.results.join('\n').toStdString();
    return document.object();
}

std::vector<QJsonObject> Events(const Outcome& run)
{
    ExpectDescribed(QByteArray::fromStdString(run.complaints));
    std::vector<QJsonObject> events;
    for (const QString& line :
         QString::fromStdString(run.complaints).split('\n', Qt::SkipEmptyParts)) {
        events.push_back(QJsonDocument::fromJson(line.toUtf8()).object());
        EXPECT_EQ(events.back()["version"], 1) << line.toStdString();
    }
    return events;
}

} // namespace Korvel::App
