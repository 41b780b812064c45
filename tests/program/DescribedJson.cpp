#include "DescribedJson.h"

#include <gtest/gtest.h>

#include <QProcess>

namespace Korvel::App {

void ExpectDescribed(const QByteArray& json)
{
    QProcess validator;
    validator.start("/usr/bin/python3", {VALIDATE_JSON, JSON_SCHEMA});
    validator.write(json);
    validator.closeWriteChannel();
    validator.waitForFinished();
    EXPECT_EQ(validator.exitCode(), 0) << validator.readAllStandardError().toStdString();
}

} // namespace Korvel::App
