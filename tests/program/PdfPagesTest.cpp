#include "PdfProgramTest.h"
#include "SamplePdf.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QFileInfo>

namespace Korvel::App {
namespace {

using testing::Contains;
using testing::HasSubstr;

/** PDFs of pages of PDFs. */
class PdfPagesTest : public PdfProgramTest
{
protected:
    PdfPagesTest() { MakeListedPdf(Path("listed.pdf"), 4); }
};

TEST_F(PdfPagesTest, HaveTheChosenPagesInTheirOrder)
{
    const Outcome run = Run({"listed.pdf", "-o", "some.pdf", "--pages", "4,2"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList("some.pdf"));
    ExpectSound("some.pdf");
    EXPECT_EQ(Texts("some.pdf"), QStringList({"Page 2", "Page 4"}));
}

TEST_F(PdfPagesTest, KeepWhatTheDocumentListsForThem)
{
    ASSERT_EQ(Run({"listed.pdf", "-o", "some.pdf", "--pages", "2-3"}).exitCode, 0);
    EXPECT_EQ(Titles("some.pdf"), QStringList({"One", " One below 2", "Two 1", "Out"}));
    EXPECT_EQ(Labels("some.pdf"),
              QStringList({R"({"/S":"/r","/St":2})", R"({"/S":"/D","/St":1})"}));
    EXPECT_EQ(Fields("some.pdf"), QStringList({"field 2=u:value 2", "field 3=u:value 3"}));
    EXPECT_TRUE(Lists("some.pdf")["attachments"].toObject().contains("notes.txt"));
    EXPECT_THAT(Run({"some.pdf", "--inspect"}).results, Contains("  Title:         Sample"));
}

TEST_F(PdfPagesTest, TellNothingOfPagesThatAreLeftOut)
{
    ASSERT_EQ(Run({"listed.pdf", "-o", "one.pdf", "--pages", "1"}).exitCode, 0);
    const QByteArray all = Unpacked("listed.pdf");
    const QByteArray one = Unpacked("one.pdf");
    for (const char* const text : {"(value 3)", "(tag 3)", "(One below)", "(second)"}) {
        EXPECT_TRUE(all.contains(text)) << text;
        EXPECT_FALSE(one.contains(text)) << text;
    }
    EXPECT_TRUE(one.contains("(value 1)"));
    EXPECT_LT(QFileInfo(Path("one.pdf")).size(), QFileInfo(Path("listed.pdf")).size() / 2)
        << "with pictures and fonts of its own page alone";
}

/** A root field above one field on each of two pages, and a button that leads to both of them. */
const QByteArray fieldsOfOneRoot =
    "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R/AcroForm<</Fields[5 0 R]/CO[6 0 R 7 0 R]>>>>"
    "endobj\n2 0 obj<</Type/Pages/Kids[3 0 R 4 0 R]/Count 2/MediaBox[0 0 99 99]>>endobj\n"
    "3 0 obj<</Type/Page/Parent 2 0 R/Annots[6 0 R 8 0 R]>>endobj\n"
    "4 0 obj<</Type/Page/Parent 2 0 R/Annots[7 0 R]>>endobj\n"
    "5 0 obj<</T(form)/FT/Tx/Kids[6 0 R 7 0 R 8 0 R]>>endobj\n"
    "6 0 obj<</Type/Annot/Subtype/Widget/Rect[1 1 9 9]/Parent 5 0 R/T(one)/V(PUBLIC)>>endobj\n"
    "7 0 obj<</Type/Annot/Subtype/Widget/Rect[1 1 9 9]/Parent 5 0 R/T(two)/V(SECRET)>>endobj\n"
    "8 0 obj<</Type/Annot/Subtype/Widget/Rect[1 1 9 9]/Parent 5 0 R/T(all)/FT/Btn/Ff 65536"
    "/A<</S/ResetForm/Fields[6 0 R 7 0 R]>>>>endobj\ntrailer<</Root 1 0 R>>\n";

TEST_F(PdfPagesTest, HoldNoFieldsOfOtherPagesThatShareOneAboveThem)
{
    Write("form.pdf", fieldsOfOneRoot);
    ASSERT_EQ(Run({"form.pdf", "-o", "p%d.pdf", "-j", "1"}).results.size(), 2);
    for (const char* const name : {"p1.pdf", "p2.pdf"}) {
        const bool isFirst = name == std::string("p1.pdf");
        const QByteArray page = Unpacked(name);
        ExpectSound(name);
        EXPECT_EQ(page.contains("PUBLIC"), isFirst) << name;
        EXPECT_EQ(page.contains("SECRET"), !isFirst) << name;
        QStringList fields;
        const QJsonObject lists = Lists(name);
        for (const QJsonValue field : lists["acroform"]["fields"].toArray())
            fields.append(field["fullname"].toString());
        EXPECT_EQ(fields,
                  isFirst ? QStringList({"form.one", "form.all"}) : QStringList("form.two"));
    }
}

TEST_F(PdfPagesTest, HoldNoFieldsOfOtherPagesWhereFieldsLeadBackToThemselves)
{
    QByteArray circle = fieldsOfOneRoot;
    Write("circle.pdf", circle.replace("<</T(form)", "<</Parent 6 0 R/T(form)")
                            .replace("/Kids[6 0 R", "/Kids[5 0 R 6 0 R"));
    ASSERT_EQ(Run({"circle.pdf", "-o", "one.pdf", "--pages", "1"}).results.size(), 1);
    EXPECT_TRUE(Read("one.pdf").contains("PUBLIC"));
    EXPECT_FALSE(Read("one.pdf").contains("SECRET"));
}

TEST_F(PdfPagesTest, AreOneForEachPageWhereTheTemplateHasANumber)
{
    const Outcome run = Run({"listed.pdf", "-o", "out/%s-%02d.pdf", "-j", "2"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList({"out/listed-01.pdf", "out/listed-02.pdf",
                                        "out/listed-03.pdf", "out/listed-04.pdf"}));
    for (int page = 1; page <= 4; ++page) {
        const QString name = QStringLiteral("out/listed-0%1.pdf").arg(page);
        ExpectSound(name);
        EXPECT_EQ(Texts(name), QStringList(QStringLiteral("Page %1").arg(page)));
        const QJsonObject lists = Lists(name);
        EXPECT_EQ(lists["acroform"]["fields"].toArray().size(), 1);
    }
}

TEST_F(PdfPagesTest, AreTheSameBytesHoweverTheyComeAbout)
{
    ASSERT_EQ(Run({"listed.pdf", "-o", "all-%d.pdf", "-j", "1"}).exitCode, 0);
    for (const char* const page : {"1", "2", "3", "4"}) {
        ASSERT_EQ(Run({"listed.pdf", "-o", "alone-%d.pdf", "--pages", page}).exitCode, 0);
        EXPECT_EQ(Read(QStringLiteral("alone-%1.pdf").arg(page)),
                  Read(QStringLiteral("all-%1.pdf").arg(page)))
            << "the page before leaves nothing of itself behind";
    }
}

TEST_F(PdfPagesTest, AllOfThemAreTheDocumentItself)
{
    ASSERT_EQ(Run({"listed.pdf", "-o", "all.pdf", "--pages", "1-9"}).exitCode, 0);
    EXPECT_EQ(Read("all.pdf"), Read("listed.pdf"));
}

TEST_F(PdfPagesTest, OfEncryptedAndOfDamagedDocumentsAreSound)
{
    EncryptPdf(Path("listed.pdf"), Path("secret.pdf"), Encryption::Aes256, "pw", "owner");
    const Outcome run =
        Run({"secret.pdf", "-o", "open.pdf", "--pages", "3", "--password-file", "-"}, "pw\n");
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    ExpectSound("open.pdf");
    EXPECT_EQ(Texts("open.pdf"), QStringList("Page 3"));
    EXPECT_FALSE(Unpacked("open.pdf").contains("/Encrypt"));

    BreakCrossReferences(Path("listed.pdf"));
    EXPECT_EQ(Run({"listed.pdf", "-o", "mended.pdf", "--pages", "2"}).exitCode, 3);
    ExpectSound("mended.pdf");
    EXPECT_EQ(Texts("mended.pdf"), QStringList("Page 2"));
}

TEST_F(PdfPagesTest, OfADocumentThatTellsNoNumberOfObjectsAreSound)
{
    Write("short.pdf", "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                       "2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
                       "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 99 99]>>endobj\n"
                       "trailer<</Root 1 0 R>>\n");
    EXPECT_EQ(Run({"short.pdf", "-o", "copy.pdf"}).exitCode, 3);
    ExpectSound("copy.pdf");
    EXPECT_EQ(Run({"copy.pdf", "--inspect"}).exitCode, 0) << "what was repaired stays so";
}

TEST_F(PdfPagesTest, ThatAreNotThereAreNamed)
{
    const Outcome run = Run({"listed.pdf", "-o", "some.pdf", "--pages", "7"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.complaints, HasSubstr("listed.pdf: there is no page 7; the last one is 4"));
    EXPECT_FALSE(QFile::exists(Path("some.pdf")));
}

TEST_F(PdfPagesTest, LeaveWhatExists)
{
    Write("some.pdf", "of the user");
    EXPECT_EQ(Run({"listed.pdf", "-o", "some.pdf", "--pages", "1", "--on-exists", "fail"}).exitCode,
              6);
    EXPECT_EQ(Run({"listed.pdf", "-o", "some.pdf", "--pages", "1"}).results,
              QStringList("some(2).pdf"));
    EXPECT_EQ(Read("some.pdf"), "of the user");
}

TEST_F(PdfPagesTest, GoOnByAJournal)
{
    const QStringList command{"listed.pdf", "-o", "p-%d.pdf", "--journal", "j"};
    EXPECT_EQ(Run(command).results.size(), 4);
    EXPECT_EQ(Run(command).results, QStringList());
    const Outcome other = Run(command + QStringList{"--linearize"});
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_THAT(other.complaints, HasSubstr("linearize was"));
}

TEST_F(PdfPagesTest, AreLinearizedWhenAskedFor)
{
    for (const QStringList& pages : {QStringList(), QStringList{"--pages", "2-4"}}) {
        const Outcome run = Run(
            QStringList{"listed.pdf", "-o", "web.pdf", "--linearize", "--on-exists", "overwrite"} +
            pages);
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        EXPECT_THAT(Qpdf({"--check-linearization", "web.pdf"}).toStdString(),
                    HasSubstr("no linearization errors"));
        ExpectSound("web.pdf");
        EXPECT_EQ(PageCount("web.pdf"), pages.isEmpty() ? 4 : 3);
    }
    const QByteArray before = Read("web.pdf");
    ASSERT_EQ(Run({"listed.pdf", "-o", "again.pdf", "--linearize", "--pages", "2-4"}).exitCode, 0);
    EXPECT_EQ(Read("again.pdf"), before) << "the same bytes each time";
    EXPECT_THAT(Run({"listed.pdf", "-o", "p.png", "--linearize"}).complaints,
                HasSubstr("--linearize changes nothing of png"));
}

} // namespace
} // namespace Korvel::App
