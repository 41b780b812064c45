#include "WorkerFixture.h"

#include "SamplePdf.h"

#include <cstdio>

#include <QFile>

#include <sys/stat.h>

namespace Korvel::Worker {

void WorkerFixture::SetUp()
{
    if (!HasEngineUnderTest()) {
        std::puts("no case runs: there is no PDFium on this machine"); // which ctest listens for
        GTEST_SKIP();
    }
}

QString WorkerFixture::WriteFile(const QString& name, const QByteArray& content) const
{
    QFile file(Path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(content), content.size());
    return file.fileName();
}

QString WorkerFixture::Sample(int pages) const
{
    const QString path = Path(QStringLiteral("sample-%1.pdf").arg(pages));
    MakeSamplePdf(path, pages);
    return path;
}

void WorkerFixture::TakeUp(const QString& file)
{
    struct stat status = {};
    ::stat(file.toUtf8().constData(), &status);
    const std::string wanted = std::to_string(status.st_ino) + ' ' + file.toStdString();
    if (!fileInHand.empty() && fileInHand != wanted)
        worker.Renew();
    fileInHand = wanted;
}

QJsonObject WorkerFixture::Open(const QString& file, const QByteArray& password, int document)
{
    TakeUp(file);
    return worker.Ask({{"id", ++lastId},
                       {"op", "open"},
                       {"document", document},
                       {"file", file},
                       {"password", QString::fromLatin1(password.toBase64())}});
}

QJsonObject WorkerFixture::Save(const QString& file, int document)
{
    return worker.Ask({{"id", ++lastId}, {"op", "save"}, {"document", document}, {"file", file}});
}

QJsonObject WorkerFixture::Convert(const QString& file, const QString& output,
                                   const QString& format, const QJsonObject& further)
{
    TakeUp(file);
    QJsonObject request = further;
    request["id"] = ++lastId;
    request["op"] = "convert";
    request["file"] = file;
    request["output"] = output;
    request["format"] = format;
    return worker.Ask(request);
}

std::string Outcome(const QJsonObject& answer)
{
    if (answer.isEmpty())
        return "nothing";
    return answer["ok"].toBool() ? "ok" : answer["reason"].toString().toStdString();
}

QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

} // namespace Korvel::Worker
