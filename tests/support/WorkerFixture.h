#pragma once

#include "WorkerClient.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace Korvel::Worker {

/** A worker, and a folder of documents for it. */
class WorkerFixture : public testing::Test
{
protected:
    void SetUp() override;

    QString Path(const QString& name) const { return folder.filePath(name); }

    /** A new file of these bytes; its path. */
    QString WriteFile(const QString& name, const QByteArray& content) const;

    /** A document to read; its path. */
    QString Sample(int pages = 1) const;

    /** The answer to "open", to a new worker unless this one has that file in hand; the document is
     * held under `document` when it succeeds. */
    QJsonObject Open(const QString& file, const QByteArray& password = {}, int document = 1);

    QJsonObject Save(const QString& file, int document = 1);

    /** The answer to "convert", with further members. */
    QJsonObject Convert(const QString& file, const QString& output, const QString& format,
                        const QJsonObject& further = {});

    /** A process looks at one file alone: makes sure of one that can look at this one. */
    void TakeUp(const QString& file);

    QTemporaryDir folder;
    WorkerClient worker{"set -- --folder '" + folder.path() + "'"};
    int lastId = 0;
    std::string fileInHand;
};

/** "ok", or the reason why not, or "nothing" for no answer at all. */
std::string Outcome(const QJsonObject& answer);

QByteArray ReadFile(const QString& path);

} // namespace Korvel::Worker
