#include "DescribedJson.h"
#include "Program.h"
#include "SamplePdf.h"

#include <set>
#include <vector>

#include <gmock/gmock.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QXmlStreamReader>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

/** A text, and where its baseline begins, in points from the bottom left. */
struct Placed
{
    int x;
    int y;
    QByteArray text;
};

class TextFormsTest : public ProgramTest
{
protected:
    /** Makes a document of pages of 600 by 800 points on which these are drawn in 10 points. */
    void MakeDocument(const QString& name, const std::vector<std::vector<Placed>>& pages,
                      const QByteArray& font = "Courier") const
    {
        QByteArrayList objects{"<</Type/Catalog/Pages 2 0 R>>", "",
                               "<</Type/Font/Subtype/Type1/BaseFont/" + font + ">>"};
        QByteArray kids;
        for (const std::vector<Placed>& page : pages) {
            QByteArray content;
            for (const Placed& placed : page)
                content += "BT /F 10 Tf " + QByteArray::number(placed.x) + ' ' +
                           QByteArray::number(placed.y) + " Td (" + placed.text + ") Tj ET\n";
            objects << PdfStream(content);
            objects << "<</Type/Page/Parent 2 0 R/MediaBox[0 0 600 800]"
                       "/Resources<</Font<</F 3 0 R>>>>/Contents " +
                           QByteArray::number(objects.size()) + " 0 R>>";
            kids += QByteArray::number(objects.size()) + " 0 R ";
        }
        objects[1] = "<</Type/Pages/Kids[" + kids + "]/Count " +
                     QByteArray::number(int(pages.size())) + ">>";
        Write(name, PdfOf(objects));
    }

    /** The format's text of a document whose every page says its number. */
    QByteArray TextOfPages(int count, const QString& format) const
    {
        std::vector<std::vector<Placed>> pages;
        for (int page = 1; page <= count; ++page)
            pages.push_back({{72, 700, "Page " + QByteArray::number(page)}});
        MakeDocument("long.pdf", pages);
        const Outcome run = Run({"long.pdf", "-o", "long." + format, "-j", "2"});
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        return Read("long." + format);
    }

    std::string TextOf(const QStringList& options) const
    {
        const Outcome run =
            Run(QStringList{"one.pdf", "-o", "one.txt", "--on-exists", "overwrite"} + options);
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        return Read("one.txt").toStdString();
    }

    QJsonArray PagesOf(const QByteArray& json) const
    {
        ExpectDescribed(json, TEXT_SCHEMA);
        return QJsonDocument::fromJson(json).object()["pages"].toArray();
    }
};

/** A word's box, font and size. */
void ExpectPlaced(const QJsonObject& word, double left, double baseline, double width)
{
    const QJsonArray box = word["box"].toArray();
    EXPECT_NEAR(box[0].toDouble(), left, 1);
    EXPECT_LT(box[1].toDouble(), baseline);
    EXPECT_GE(box[1].toDouble() + box[3].toDouble(), baseline);
    EXPECT_NEAR(box[2].toDouble(), width, 1);
    EXPECT_EQ(word["font"].toString(), "Courier");
    EXPECT_NEAR(word["size"].toDouble(), 10, 2);
}

TEST_F(TextFormsTest, AreWhateverAFontIsCalled)
{
    MakeDocument("one.pdf", {{{72, 700, "Hello"}}}, "Hel#09vet#0Aica#01");
    EXPECT_EQ(Run({"one.pdf", "-o", "one.tsv"}).exitCode, 0);
    EXPECT_THAT(Read("one.tsv").toStdString(), HasSubstr("\tHelvetica\tHello\n"));
    EXPECT_EQ(Run({"one.pdf", "-o", "one.hocr"}).exitCode, 0);
    QXmlStreamReader hocr(Read("one.hocr"));
    while (!hocr.atEnd())
        hocr.readNext();
    EXPECT_FALSE(hocr.hasError()) << hocr.errorString().toStdString();
}

TEST_F(TextFormsTest, AsJsonHaveTheWordsAndWhereTheyStand)
{
    MakeDocument("one.pdf", {{{72, 700, "Hello you"}, {72, 688, "there"}, {72, 600, "End"}}});
    EXPECT_EQ(Run({"one.pdf", "-o", "one.json"}).exitCode, 0);
    const QJsonArray pages = PagesOf(Read("one.json"));
    ASSERT_EQ(pages.size(), 1);
    EXPECT_EQ(pages[0].toObject()["width"], 600);
    EXPECT_EQ(pages[0].toObject()["height"], 800);
    const QJsonArray blocks = pages[0].toObject()["blocks"].toArray();
    ASSERT_EQ(blocks.size(), 2) << "paragraphs";
    const QJsonArray lines = blocks[0].toObject()["lines"].toArray();
    ASSERT_EQ(lines.size(), 2);
    const QJsonArray words = lines[0].toObject()["words"].toArray();
    ASSERT_EQ(words.size(), 2);
    EXPECT_EQ(words[1].toObject()["text"].toString(), "you");
    ExpectPlaced(words[1].toObject(), 108, 100, 18);
}

TEST_F(TextFormsTest, OfManyPagesAreOneJson)
{
    const QJsonArray pages = PagesOf(TextOfPages(40, "json"));
    ASSERT_EQ(pages.size(), 40);
    for (int i = 0; i < pages.size(); ++i)
        EXPECT_EQ(pages[i].toObject()["page"], i + 1);
}

TEST_F(TextFormsTest, OfManyPagesAreOneTable)
{
    const QList<QByteArray> lines = TextOfPages(40, "tsv").split('\n');
    ASSERT_EQ(lines.size(), 1 + 40 * 2 + 1);
    EXPECT_EQ(lines[0], "page\tblock\tline\tword\tleft\ttop\twidth\theight\tsize\tfont\ttext");
    for (int page = 1; page <= 40; ++page) {
        const QList<QByteArray> cells = lines[page * 2].split('\t');
        ASSERT_EQ(cells.size(), 11);
        EXPECT_EQ(cells[0].toInt(), page);
        EXPECT_EQ(cells[3], "2");
        EXPECT_NEAR(cells[4].toDouble(), 102, 1);
        EXPECT_EQ(cells[9], "Courier");
        EXPECT_EQ(cells[10].toInt(), page);
    }
}

TEST_F(TextFormsTest, OfManyPagesAreOneHocr)
{
    QXmlStreamReader reader(TextOfPages(40, "hocr"));
    std::set<QString> ids;
    QStringList kinds;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement ||
            !reader.attributes().hasAttribute("id"))
            continue;
        EXPECT_TRUE(ids.insert(reader.attributes().value("id").toString()).second)
            << "two of one id";
        EXPECT_TRUE(reader.attributes().value("title").startsWith(QLatin1String("bbox ")));
        kinds.append(reader.attributes().value("class").toString());
    }
    EXPECT_FALSE(reader.hasError()) << reader.errorString().toStdString();
    EXPECT_EQ(kinds.count("ocr_page"), 40);
    EXPECT_EQ(kinds.count("ocrx_word"), 80);
}

TEST_F(TextFormsTest, AsHocrCountThePixelsOfAPicture)
{
    MakeDocument("one.pdf", {{{72, 700, "A<b>&c"}}});
    for (const char* resolution : {"72", "144"}) {
        const QString name = QStringLiteral("at-%1.hocr").arg(resolution);
        EXPECT_EQ(Run({"one.pdf", "-o", name, "-r", resolution}).exitCode, 0);
    }
    EXPECT_THAT(Read("at-72.hocr").toStdString(), HasSubstr("bbox 0 0 600 800; "));
    EXPECT_THAT(Read("at-144.hocr").toStdString(), HasSubstr("bbox 0 0 1200 1600; "));
    EXPECT_THAT(Read("at-144.hocr").toStdString(), HasSubstr("A&lt;b&gt;&amp;c</span>"));
}

TEST_F(TextFormsTest, OfPagesThatHaveAFileEachAreWhole)
{
    MakeDocument("two.pdf", {{{72, 700, "one"}}, {{72, 700, "two"}}});
    EXPECT_EQ(Run({"two.pdf", "-o", "%d.json"}).exitCode, 0);
    for (const int page : {1, 2}) {
        const QJsonArray pages = PagesOf(Read(QStringLiteral("%1.json").arg(page)));
        ASSERT_EQ(pages.size(), 1);
        EXPECT_EQ(pages[0].toObject()["page"], page);
    }
}

TEST_F(TextFormsTest, KeepTheLayoutOfThePage)
{
    MakeDocument("one.pdf", {{{72, 700, "left one"},
                              {72, 688, "left two, longer"},
                              {372, 700, "right one"},
                              {372, 688, "right two"},
                              {72, 664, "end"}}});
    EXPECT_EQ(TextOf({"--layout"}), "left one" + std::string(42, ' ') + "right one\n" +
                                        "left two, longer" + std::string(34, ' ') +
                                        "right two\n\nend\n\f");
}

TEST_F(TextFormsTest, KeepOneSpaceWhereALineIsStretched)
{
    MakeDocument("one.pdf", {{{72, 700, "all"},
                              {97, 700, "are"},
                              {122, 700, "far"},
                              {147, 700, "off."},
                              {181, 700, "Or"},
                              {200, 700, "not"},
                              {72, 688, "a"},
                              {86, 688, "b"},
                              {102, 688, "c"},
                              {117, 688, "d"}}});
    EXPECT_EQ(TextOf({"--layout"}), "all are far off. Or not\na b c d\n\f");
}

TEST_F(TextFormsTest, JoinWordsThatAreParted)
{
    MakeDocument("one.pdf", {{{72, 700, "a hyphen-"}, {72, 688, "ated word"}}});
    EXPECT_EQ(TextOf({}), "a hyphenated\nword\n\f");
    EXPECT_EQ(TextOf({"--dehyphenate"}), "a hyphenated\nword\n\f");
    EXPECT_EQ(TextOf({"--no-dehyphenate"}), "a hyphen-\nated word\n\f");
}

TEST_F(TextFormsTest, SayWhatTheyNeed)
{
    MakeDocument("one.pdf", {{{72, 700, "text"}}, {{72, 700, "text"}}});
    for (const QStringList& options :
         {QStringList{"-o", "one.txt", "--layout"}, QStringList{"-o", "one.hocr"}}) {
        const Outcome run = Run(QStringList{"one.pdf", "--engine", "qt"} + options);
        EXPECT_EQ(run.exitCode, 7);
        EXPECT_THAT(run.complaints, HasSubstr("one.pdf: the text of page 1: Qt PDF does not tell "
                                              "where characters stand; use PDFium"));
    }
    EXPECT_EQ(Run({"one.pdf", "--engine", "qt", "-o", "one.json"}).exitCode, 0);
    EXPECT_EQ(PagesOf(Read("one.json")).size(), 2);
}

} // namespace
} // namespace Korvel::App
