#pragma once

#include "WorkerClient.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace Korvel::Worker {

/** A worker, and a folder of documents for it. */
class WorkerFixture : public testing::Test
{
protected:
    QString Path(const QString& name) const { return folder.filePath(name); }

    /** A new file of these bytes; its path. */
    QString WriteFile(const QString& name, const QByteArray& content) const;

    /** A document to read; its path. */
    QString Sample(int pages = 1) const;

    /** The answer to "open"; the document is held under `document` when it succeeds. */
    QJsonObject Open(const QString& file, const QByteArray& password = {}, int document = 1);

    QJsonObject Save(const QString& file, int document = 1);

    /** The answer to "convert", with further members. */
    QJsonObject Convert(const QString& file, const QString& output, const QString& format,
                        const QJsonObject& further = {});

    QTemporaryDir folder;
    WorkerClient worker;
    int lastId = 0;
};

/** "ok", or the reason why not, or "nothing" for no answer at all. */
std::string Outcome(const QJsonObject& answer);

QByteArray ReadFile(const QString& path);

} // namespace Korvel::Worker
