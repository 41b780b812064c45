#include "DescribedJson.h"
#include "PdfProgramTest.h"
#include "SamplePdf.h"

#include <gmock/gmock.h>

#include <csignal>

#include <QFile>
#include <QRegularExpression>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

/** One PDF of several. */
class MergeTest : public PdfProgramTest
{
protected:
    MergeTest()
    {
        MakeListedPdf(Path("a.pdf"), 3);
        MakeListedPdf(Path("b.pdf"), 2);
    }

    Outcome Merge(const QStringList& inputs, const QStringList& options = {}) const
    {
        return Run(inputs + QStringList{"-o", "all.pdf", "--merge"} + options);
    }
};

TEST_F(MergeTest, HasThePagesOfAllInputsInTheirOrder)
{
    const Outcome run = Merge({"a.pdf", "b.pdf", "a.pdf"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList("all.pdf"));
    EXPECT_EQ(run.complaints, "pdfconvert: 3 of 3 documents converted\n");
    ExpectSound("all.pdf");
    EXPECT_EQ(Texts("all.pdf"), QStringList({"Page 1", "Page 2", "Page 3", "Page 1", "Page 2",
                                             "Page 1", "Page 2", "Page 3"}));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(MergeTest, ListsWhatEachInputLists)
{
    ASSERT_EQ(Merge({"a.pdf", "b.pdf"}).exitCode, 0);
    EXPECT_EQ(Titles("all.pdf"), QStringList({"One 1", " One below 3", "Two 2", "Out", "One 4",
                                              " One below 4", "Two 5", "Out"}))
        << "also where both have places of one name";
    EXPECT_EQ(Labels("all.pdf"), QStringList({R"({"/S":"/r","/St":1})", R"({"/S":"/D","/St":1})",
                                              R"({"/S":"/r","/St":1})"}));
    EXPECT_EQ(Fields("all.pdf"),
              QStringList({"field 1=u:value 1", "field 2=u:value 2", "field 3=u:value 3",
                           "field 1+1=u:value 1", "field 2+1=u:value 2"}));
    EXPECT_EQ(Lists("all.pdf")["attachments"].toObject().keys(),
              QStringList({"notes.txt", "notes.txt(2)"}));
    EXPECT_THAT(Run({"all.pdf", "--inspect"}).results,
                testing::Contains("  Title:         Sample"));
    EXPECT_FALSE(Unpacked("all.pdf").contains("StructTreeRoot"));
}

TEST_F(MergeTest, LeadsLinksWhereTheyLedInTheirOwnDocument)
{
    QByteArrayList objects{
        "<</Type/Catalog/Pages 2 0 R/Names<</Dests<</Names[(far)[5 0 R/Fit](near)[3 0 R/Fit]]>>>>"
        ">>",
        "<</Type/Pages/Kids[3 0 R 5 0 R]/Count 2/MediaBox[0 0 99 99]>>",
        "<</Type/Page/Parent 2 0 R/Annots[4 0 R 6 0 R 7 0 R 8 0 R]>>",
        "<</Type/Annot/Subtype/Link/Rect[1 1 9 9]/Dest(far)>>",
        "<</Type/Page/Parent 2 0 R>>",
        "<</Type/Annot/Subtype/Link/Rect[1 1 9 9]/A<</S/GoTo/D(far)>>>>",
        "<</Type/Annot/Subtype/Link/Rect[1 1 9 9]/Dest[5 0 R/Fit]>>",
        "<</Type/Annot/Subtype/Link/Rect[1 1 9 9]/Dest(other)>>"};
    Write("c.pdf", PdfOf(objects));
    objects[0].replace("(near)", "(other)");
    Write("other.pdf", PdfOf(objects));
    const Outcome run = Merge({"other.pdf", "c.pdf"});
    ASSERT_EQ(run.exitCode, 0) << run.complaints;
    ExpectSound("all.pdf");
    const QJsonObject lists = Lists("all.pdf");
    const QJsonValue pages = lists["pages"];
    ASSERT_EQ(pages.toArray().size(), 4);
    const QJsonValue all = lists["qpdf"][1];
    const auto get = [&all](const QJsonValue& reference) {
        const QJsonValue object = all["obj:" + reference.toString()];
        return object["value"];
    };
    const QJsonValue last = pages[3]["object"];
    ASSERT_TRUE(last.isString());
    const QJsonValue links = get(pages[2]["object"])["/Annots"];
    EXPECT_EQ(get(links[0])["/Dest"][0], last);
    EXPECT_EQ(get(links[1])["/A"]["/D"][0], last);
    EXPECT_EQ(get(links[2])["/Dest"][0], last);
    EXPECT_TRUE(get(links[3]).isObject());
    EXPECT_FALSE(get(links[3]).toObject().contains("/Dest"))
        << "and not to the other document's place of that name";
}

TEST_F(MergeTest, HidesTheLayersThatWereHidden)
{
    QByteArrayList objects{
        "<</Type/Catalog/Pages 2 0 R/OCProperties<</OCGs[4 0 R 5 0 R]/D<</OFF[5 0 R]>>>>>>",
        "<</Type/Pages/Kids[3 0 R]/Count 1/MediaBox[0 0 99 99]>>",
        "<</Type/Page/Parent 2 0 R/Resources<</Properties<</A 4 0 R/B 5 0 R>>>>>>",
        "<</Type/OCG/Name(shown)>>", "<</Type/OCG/Name(hidden)>>"};
    Write("off.pdf", PdfOf(objects));
    objects[0].replace("/OFF[5 0 R]", "/BaseState/OFF/ON[4 0 R]");
    Write("on.pdf", PdfOf(objects));
    const auto hidden = [this](const QStringList& inputs) {
        EXPECT_EQ(Merge(inputs, {"--on-exists", "overwrite"}).exitCode, 0);
        ExpectSound("all.pdf");
        const QByteArray all = Unpacked("all.pdf");
        EXPECT_EQ(all.count("(shown)"), 2);
        EXPECT_EQ(all.count("(hidden)"), 2);
        const QRegularExpression list(R"(/OFF \[([^\]]*)\])");
        return list.match(QString::fromLatin1(all)).captured(1).count(" 0 R");
    };
    EXPECT_EQ(hidden({"off.pdf", "off.pdf"}), 2);
    EXPECT_EQ(hidden({"off.pdf", "on.pdf"}), 2);
    EXPECT_EQ(hidden({"on.pdf", "off.pdf"}), 1) << "the others are unless they are listed";
}

TEST_F(MergeTest, TakesTheChosenPagesOfEachInput)
{
    const Outcome run = Merge({"a.pdf", "b.pdf"}, {"--pages", "2-"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    ExpectSound("all.pdf");
    EXPECT_EQ(Texts("all.pdf"), QStringList({"Page 2", "Page 3", "Page 2"}));
    EXPECT_EQ(Titles("all.pdf"),
              QStringList({"One", " One below 2", "Two 1", "Out", "Two 3", "Out"}));
    EXPECT_EQ(Fields("all.pdf"),
              QStringList({"field 2=u:value 2", "field 3=u:value 3", "field 2+1=u:value 2"}));
    EXPECT_FALSE(Unpacked("all.pdf").contains("(value 1)"));
}

TEST_F(MergeTest, TakesEncryptedAndDamagedInputs)
{
    EncryptPdf(Path("a.pdf"), Path("secret.pdf"), Encryption::Aes256, "pw", "owner");
    EncryptPdf(Path("a.pdf"), Path("other.pdf"), Encryption::Rc4_128, "wp", "owner");
    BreakCrossReferences(Path("b.pdf"));
    Write("map", "secret.pdf\tpw\nother.pdf\twp\n");
    const Outcome run = Merge({"secret.pdf", "b.pdf", "other.pdf"}, {"--password-map", "map"});
    EXPECT_EQ(run.exitCode, 3) << "one was repaired";
    EXPECT_THAT(run.complaints, HasSubstr("b.pdf: is damaged and was repaired"));
    EXPECT_EQ(run.results, QStringList("all.pdf"));
    ExpectSound("all.pdf");
    EXPECT_EQ(PageCount("all.pdf"), 8);
    EXPECT_FALSE(Unpacked("all.pdf").contains("/Encrypt"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(MergeTest, MakesNothingWhenAnInputIsBad)
{
    Write("bad.pdf", "no PDF");
    const Outcome run = Merge({"a.pdf", "bad.pdf", "none.pdf", "b.pdf"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.results, QStringList());
    EXPECT_THAT(run.complaints, HasSubstr("bad.pdf: is not a PDF"));
    EXPECT_THAT(run.complaints, HasSubstr("none.pdf: No such file"));
    EXPECT_THAT(run.complaints, HasSubstr("0 of 4 documents converted, 2 failed"));
    const Outcome few = Merge({"a.pdf", "b.pdf"}, {"--pages", "3"});
    EXPECT_EQ(few.exitCode, 2);
    EXPECT_THAT(few.complaints, HasSubstr("b.pdf: there is no page 3; the last one is 2"));
    EXPECT_FALSE(QFile::exists(Path("all.pdf")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(MergeTest, LeavesOrReplacesWhatExistsAsItIsTold)
{
    Write("all.pdf", "of the user");
    EXPECT_EQ(Merge({"a.pdf", "b.pdf"}).results, QStringList("all(2).pdf"));
    EXPECT_EQ(Merge({"a.pdf", "b.pdf"}, {"--on-exists", "fail"}).exitCode, 6);
    const Outcome skipped = Merge({"a.pdf", "b.pdf"}, {"--on-exists", "skip"});
    EXPECT_EQ(skipped.exitCode, 0);
    EXPECT_THAT(skipped.complaints, HasSubstr("0 of 2 documents converted, 2 skipped"));
    EXPECT_EQ(Read("all.pdf"), "of the user");
    EXPECT_EQ(Merge({"a.pdf", "b.pdf"}, {"--on-exists", "overwrite"}).exitCode, 0);
    ExpectSound("all.pdf");
}

TEST_F(MergeTest, ReplacesNoInputButTheFirst)
{
    const QByteArray before = Read("b.pdf");
    const QStringList overwrite{"--merge", "--on-exists", "overwrite"};
    const Outcome run = Run(QStringList{"a.pdf", "b.pdf", "-o", "b.pdf"} + overwrite);
    EXPECT_EQ(run.exitCode, 6);
    EXPECT_THAT(run.complaints, HasSubstr("would replace b.pdf, which this run reads"));
    EXPECT_EQ(Read("b.pdf"), before);
    EXPECT_EQ(Run(QStringList{"a.pdf", "b.pdf", "-o", "a.pdf"} + overwrite).exitCode, 0);
    EXPECT_EQ(PageCount("a.pdf"), 5);
}

TEST_F(MergeTest, GoesToStandardOutput)
{
    const Outcome run = Run({"a.pdf", "b.pdf", "-o", "-", "-f", "pdf", "--merge", "-q"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_TRUE(run.results.value(0).startsWith("%PDF-"));
}

TEST_F(MergeTest, IsLinearizedAndTheSameBytesEachTime)
{
    ASSERT_EQ(Merge({"a.pdf", "b.pdf"}, {"--linearize"}).exitCode, 0);
    EXPECT_THAT(Qpdf({"--check-linearization", "all.pdf"}).toStdString(),
                HasSubstr("no linearization errors"));
    ASSERT_EQ(Merge({"a.pdf", "b.pdf"}, {"--linearize"}).exitCode, 0);
    EXPECT_EQ(Read("all.pdf"), Read("all(2).pdf"));
}

TEST_F(MergeTest, NamesItsInputsInJson)
{
    const QJsonArray inputs{"a.pdf", "b.pdf"};
    const QJsonObject planned = Closing(Merge({"a.pdf", "b.pdf"}, {"--json", "--dry-run"}));
    EXPECT_FALSE(QFile::exists(Path("all.pdf")));
    for (const QJsonObject& closing :
         {planned, Closing(Merge({"a.pdf", "b.pdf"}, {"--json", "-q"}))}) {
        ASSERT_EQ(closing["documents"].toArray().size(), 1);
        const QJsonObject made = closing["documents"].toArray()[0].toObject();
        EXPECT_EQ(made["file"], "all.pdf");
        EXPECT_EQ(made["inputs"].toArray(), inputs);
        EXPECT_EQ(made["results"].toArray()[0].toObject()["path"], "all.pdf");
    }
    for (const QJsonObject& event : Events(Merge({"a.pdf", "b.pdf"}, {"--progress", "json"}))) {
        EXPECT_EQ(event["file"], "all.pdf");
        EXPECT_EQ(event["inputs"].toArray(), event["event"] == "finished" ? inputs : QJsonArray());
    }
}

TEST_F(MergeTest, TakesFoldersAndLists)
{
    Write("list", "b.pdf\n");
    const Outcome run = Merge({"a.pdf"}, {"--from-list", "list"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(PageCount("all.pdf"), 5);
}

TEST_F(MergeTest, TakesManyHeadingsInARowAndThoseThatLeadInACircle)
{
    constexpr int count = 30'000;
    QByteArrayList objects{"<</Type/Catalog/Pages 2 0 R/Outlines 4 0 R>>",
                           "<</Type/Pages/Kids[3 0 R]/Count 1/MediaBox[0 0 99 99]>>",
                           "<</Type/Page/Parent 2 0 R>>", "<</First 5 0 R>>"};
    for (int i = 0; i < count; ++i)
        objects.append("<</Title(heading)/Dest[3 0 R/Fit]/Parent 4 0 R/Next " +
                       QByteArray::number(i + 1 < count ? objects.size() + 2 : 5) + " 0 R>>");
    Write("many.pdf", PdfOf(objects));
    EXPECT_EQ(Merge({"a.pdf", "many.pdf"}).exitCode, 0);
    ExpectSound("all.pdf");
    EXPECT_EQ(Titles("all.pdf").size(), count + 4);
}

TEST_F(MergeTest, LeavesNothingOfItselfWhenItIsInterrupted)
{
    MakeSample("secret.pdf", 300, "pw");
    Write("pw", "pw");
    QStringList arguments{"-o", "all.pdf", "--merge", "--password-file", "pw"};
    for (int i = 0; i < 20; ++i)
        arguments.append("secret.pdf");
    const auto process = Start(arguments + QStringList{"--progress", "json"});
    process->setReadChannel(QProcess::StandardError);
    while (!process->canReadLine() && process->waitForReadyRead()) {
    }
    Send(SIGINT, *process);
    process->waitForFinished(50); // two at once would be one
    Send(SIGINT, *process);
    const Outcome run = Finish(*process);
    EXPECT_EQ(run.exitCode, 128 + SIGINT);
    EXPECT_FALSE(QFile::exists(Path("all.pdf")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(MergeTest, RefusesWhatMakesMoreThanOnePdf)
{
    for (const QStringList& options : {QStringList{"-o", "%s.pdf"},
                                       {"-o", "%d.pdf"},
                                       {"-d", "out", "-f", "pdf"},
                                       {"-o", "all.png"},
                                       {"--beside"},
                                       {"-o", "all.pdf", "--journal", "j"}}) {
        const Outcome run = Run(QStringList{"a.pdf", "b.pdf", "--merge"} + options);
        EXPECT_EQ(run.exitCode, 2) << options.join(' ').toStdString();
        EXPECT_THAT(run.complaints, HasSubstr("--merge makes"));
    }
}

} // namespace
} // namespace Korvel::App
