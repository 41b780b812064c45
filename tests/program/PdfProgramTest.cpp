#include "PdfProgramTest.h"

#include <gmock/gmock.h>

#include <QJsonDocument>

namespace Korvel::App {

namespace {

QStringList TitlesOf(const QJsonArray& outlines, const QString& indent = {})
{
    QStringList titles;
    for (const QJsonValue outline : outlines) {
        const int page = outline["destpageposfrom1"].toInt();
        titles.append(indent + outline["title"].toString() +
                      (page > 0 ? QStringLiteral(" %1").arg(page) : QString()));
        titles += TitlesOf(outline["kids"].toArray(), indent + ' ');
    }
    return titles;
}

} // namespace

QByteArray PdfProgramTest::Qpdf(const QStringList& arguments) const
{
    QProcess qpdf;
    qpdf.setWorkingDirectory(Path(""));
    qpdf.start("qpdf", arguments);
    EXPECT_TRUE(qpdf.waitForFinished());
    EXPECT_EQ(qpdf.exitCode(), 0) << qpdf.readAllStandardError().toStdString();
    return qpdf.readAllStandardOutput();
}

void PdfProgramTest::ExpectSound(const QString& name) const
{
    EXPECT_THAT(Qpdf({"--check", name}).toStdString(), testing::HasSubstr("No syntax or stream"));
}

QJsonObject PdfProgramTest::Lists(const QString& name) const
{
    return QJsonDocument::fromJson(Qpdf({"--json=2", name})).object();
}

QStringList PdfProgramTest::Titles(const QString& name) const
{
    return TitlesOf(Lists(name)["outlines"].toArray());
}

QStringList PdfProgramTest::Labels(const QString& name) const
{
    QStringList labels;
    const QJsonObject lists = Lists(name);
    for (const QJsonValue page : lists["pagelabels"].toArray())
        labels.append(QString::fromUtf8(
            QJsonDocument(page["label"].toObject()).toJson(QJsonDocument::Compact)));
    return labels;
}

QStringList PdfProgramTest::Fields(const QString& name) const
{
    QStringList fields;
    const QJsonObject lists = Lists(name);
    for (const QJsonValue field : lists["acroform"]["fields"].toArray())
        fields.append(field["fullname"].toString() + '=' + field["value"].toString());
    return fields;
}

QByteArray PdfProgramTest::Unpacked(const QString& name) const
{
    return Qpdf({"--qdf", "--object-streams=disable", name, "-"});
}

int PdfProgramTest::PageCount(const QString& name) const
{
    return Qpdf({"--show-npages", name}).trimmed().toInt();
}

QStringList PdfProgramTest::Texts(const QString& name) const
{
    const Outcome run = Run({name, "-o", name + ".txt", "--on-exists", "overwrite"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    QStringList first;
    for (const QByteArray& page : Read(name + ".txt").split('\f'))
        first.append(QString::fromUtf8(page.trimmed()).section('\n', 0, 0));
    first.removeLast();
    return first;
}

} // namespace Korvel::App
