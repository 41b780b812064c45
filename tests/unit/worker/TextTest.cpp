// Texts of pages.

#include "SamplePdf.h"
#include "WorkerFixture.h"

#include <vector>

#include <QFont>
#include <QJsonArray>
#include <QPainter>
#include <QPdfWriter>

namespace Korvel::Worker {
namespace {

/** A text on a page, and where its first line begins, in points from the top left. */
struct Placed
{
    int x;
    int y;
    QString text;
};

class TextTest : public WorkerFixture
{
protected:
    /** The pages' texts, without the form feeds that end them. */
    QStringList Texts(const QString& file, const QJsonObject& further = {})
    {
        const QString output = Path(QStringLiteral("out-%1.txt").arg(lastId));
        EXPECT_EQ(Outcome(Convert(file, output, "txt", further)), "ok");
        const QString text = QString::fromUtf8(ReadFile(output));
        EXPECT_TRUE(text.endsWith('\f'));
        return text.chopped(1).split('\f');
    }

    /** The text of a page on which these are drawn, one after the other. */
    std::string TextOf(const std::vector<Placed>& drawn)
    {
        const QString path = Path("drawn.pdf");
        {
            QPdfWriter writer(path);
            writer.setPageMargins({});
            writer.setResolution(72);
            QPainter painter(&writer);
            painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
            for (const Placed& placed : drawn)
                painter.drawText(QRect(placed.x, placed.y, 500, 600), placed.text);
        }
        return Texts(path).join("").toStdString();
    }
};

/** Lines whose blanks do not lie below each other: Qt PDF would take these for columns, too. */
QString Column(const QString& name)
{
    QStringList words =
        QStringLiteral("in the %1 column every word moves on by").arg(name).split(' ');
    QStringList lines;
    for (int line = 1; line <= words.size(); ++line) {
        words.append(words.takeFirst());
        lines.append(words.join(' '));
    }
    return lines.join('\n');
}

TEST_F(TextTest, ComesPageByPage)
{
    const QStringList texts = Texts(Sample(3));
    ASSERT_EQ(texts.size(), 3);
    for (int page = 1; page <= 3; ++page) {
        EXPECT_TRUE(texts[page - 1].startsWith(QStringLiteral("Page %1\n").arg(page)));
        EXPECT_TRUE(texts[page - 1].contains("\u00c4 \u00f6 \u00df \u20ac \u03a9 \u0416"));
        EXPECT_TRUE(texts[page - 1].endsWith("\u0416\n")) << texts[page - 1].toStdString();
        EXPECT_FALSE(texts[page - 1].contains('\r'));
    }
}

TEST_F(TextTest, OfChosenPagesComesInTheirOrder)
{
    const QStringList texts = Texts(Sample(4), {{"pages", QJsonArray{4, 2, 2}}});
    ASSERT_EQ(texts.size(), 3);
    EXPECT_TRUE(texts[0].startsWith("Page 4\n"));
    EXPECT_TRUE(texts[1].startsWith("Page 2\n"));
    EXPECT_TRUE(texts[2].startsWith("Page 2\n"));
}

TEST_F(TextTest, OfColumnsComesOneAfterTheOther)
{
    const std::string expected = (Column("left") + '\n' + Column("right") + '\n').toStdString();
    const Placed left{40, 50, Column("left")};
    const Placed right{280, 50, Column("right")};
    EXPECT_EQ(TextOf({left, right}), expected);
    EXPECT_EQ(TextOf({right, left}), expected) << "whatever order they are drawn in";
}

TEST_F(TextTest, ComesFromTopToBottomInWhateverOrderItIsDrawn)
{
    EXPECT_EQ(TextOf({{40, 800, "the foot"},
                      {40, 400, "second paragraph"},
                      {40, 200, "first paragraph"},
                      {40, 30, "the head"}}),
              "the head\nfirst paragraph\nsecond paragraph\nthe foot\n");
}

TEST_F(TextTest, OfColumnsEndsWhereALineReachesOverThem)
{
    const QString line = "a line so long that it reaches over both of the columns of this page";
    EXPECT_EQ(TextOf({{280, 430, "the fourth\ncolumn"},
                      {40, 430, "the third\ncolumn"},
                      {40, 400, line},
                      {280, 50, "the second\ncolumn"},
                      {40, 50, "the first\ncolumn"}}),
              "the first\ncolumn\nthe second\ncolumn\n" + line.toStdString() +
                  "\nthe third\ncolumn\nthe fourth\ncolumn\n");
}

TEST_F(TextTest, StaysAsItIsDrawnWhereNeitherComesFirst)
{
    const QString body = "a line so long that it reaches below both of the addresses of this page";
    EXPECT_EQ(
        TextOf({{400, 50, "sender"}, {40, 150, "recipient"}, {40, 800, "foot"}, {40, 300, body}}),
        "sender\nrecipient\n" + body.toStdString() + "\nfoot\n");
}

TEST_F(TextTest, OfARotatedPageIsReadAsItIsShown)
{
    const QStringList upright = Texts(Sample());
    MakeRotatedPdf(Path("rotated.pdf"));
    EXPECT_EQ(Texts(Path("rotated.pdf")), upright);
}

TEST_F(TextTest, KeepsTheHyphensAtTheEndsOfLines)
{
    EXPECT_EQ(TextOf({{20, 20, "A well-known con-\nversion of text"}}),
              "A well-known con-\nversion of text\n");
}

TEST_F(TextTest, HoldsWhatFormFieldsSay)
{
    MakeFormPdf(Path("form.pdf"));
    EXPECT_TRUE(Texts(Path("form.pdf")).join("").contains("Filled in"));
}

TEST_F(TextTest, IsThatOfTheFileAsItIsNow)
{
    const QString file = Sample(2);
    EXPECT_EQ(Texts(file).size(), 2);
    MakeSamplePdf(file, 5);
    EXPECT_EQ(Texts(file).size(), 5);
}

} // namespace
} // namespace Korvel::Worker
