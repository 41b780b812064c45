// Texts of pages.

#include "SamplePdf.h"
#include "WorkerFixture.h"

#include <algorithm>
#include <functional>
#include <vector>

#include <gmock/gmock.h>

#include <QFont>
#include <QJsonArray>
#include <QPainter>
#include <QPdfWriter>

namespace Korvel::Worker {
namespace {

using testing::StartsWith;

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
        return TextOfPainted([&drawn](QPainter& painter) {
            for (const Placed& placed : drawn)
                painter.drawText(QRect(placed.x, placed.y, 500, 600), placed.text);
        });
    }

    /** The text of a page that is painted in points and a font of 9 points. */
    std::string TextOfPainted(const std::function<void(QPainter& painter)>& paint)
    {
        const QString path = Path("drawn.pdf");
        {
            QPdfWriter writer(path);
            writer.setPageMargins({});
            writer.setResolution(72);
            QPainter painter(&writer);
            painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
            paint(painter);
        }
        return Texts(path).join("").toStdString();
    }
};

/** Qt PDF does not tell where characters stand. */
#define SKIP_WITHOUT_PLACES()                                                                      \
    if (qgetenv("ENGINE") == "qt")                                                                 \
    GTEST_SKIP() << "this engine's text stays in its order"

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
    SKIP_WITHOUT_PLACES();
    const std::string expected = (Column("left") + '\n' + Column("right") + '\n').toStdString();
    const Placed left{40, 50, Column("left")};
    const Placed right{280, 50, Column("right")};
    EXPECT_EQ(TextOf({left, right}), expected);
    EXPECT_EQ(TextOf({right, left}), expected) << "whatever order they are drawn in";
}

TEST_F(TextTest, ComesFromTopToBottomInWhateverOrderItIsDrawn)
{
    SKIP_WITHOUT_PLACES();
    EXPECT_EQ(TextOf({{40, 800, "the foot"},
                      {40, 400, "second paragraph"},
                      {40, 200, "first paragraph"},
                      {40, 30, "the head"}}),
              "the head\n\nfirst paragraph\n\nsecond paragraph\n\nthe foot\n");
}

TEST_F(TextTest, OfColumnsEndsWhereALineReachesOverThem)
{
    SKIP_WITHOUT_PLACES();
    const QString line = "a line so long that it reaches over both of the columns of this page";
    EXPECT_EQ(TextOf({{280, 430, "the fourth\ncolumn"},
                      {40, 430, "the third\ncolumn"},
                      {40, 400, line},
                      {280, 50, "the second\ncolumn"},
                      {40, 50, "the first\ncolumn"}}),
              "the first\ncolumn\nthe second\ncolumn\n\n" + line.toStdString() +
                  "\n\nthe third\ncolumn\nthe fourth\ncolumn\n");
}

TEST_F(TextTest, OfColumnsHasTheRunningHeadBeforeThemAndTheFootBehind)
{
    SKIP_WITHOUT_PLACES();
    const QString white = QStringLiteral("\n\n\n");
    const auto column = [&white](const char* upper, const char* lower) {
        return Column(upper) + white + Column(lower);
    };
    const QString text = QString::fromStdString(TextOf({{40, 20, "chapter one"},
                                                        {460, 20, "of many"},
                                                        {40, 90, column("first", "second")},
                                                        {300, 90, column("third", "fourth")},
                                                        {40, 400, "a date"},
                                                        {500, 400, "12"}}));
    const QStringList expected{"chapter one of many", Column("first"),  Column("second"),
                               Column("third"),       Column("fourth"), "a date 12"};
    const auto isEmpty = [](const QString& line) {
        return line.isEmpty();
    };
    QStringList lines = text.split('\n');
    lines.erase(std::remove_if(lines.begin(), lines.end(), isEmpty), lines.end());
    EXPECT_EQ(lines.join('\n').toStdString(), expected.join('\n').toStdString());
}

TEST_F(TextTest, StaysAsItIsDrawnWhereNeitherComesFirst)
{
    SKIP_WITHOUT_PLACES();
    const QString body = "a line so long that it reaches below both of the addresses of this page";
    EXPECT_EQ(
        TextOf({{400, 50, "sender"}, {40, 150, "recipient"}, {40, 800, "foot"}, {40, 300, body}}),
        "sender\n\nrecipient\n\n" + body.toStdString() + "\n\nfoot\n");
}

TEST_F(TextTest, OfARotatedPageIsReadAsItIsShown)
{
    const QStringList upright = Texts(Sample());
    MakeRotatedPdf(Path("rotated.pdf"));
    EXPECT_EQ(Texts(Path("rotated.pdf")), upright);
}

TEST_F(TextTest, PutsAWordTogetherThatIsPartedAtTheEndOfALine)
{
    EXPECT_EQ(TextOf({{20, 20, "A well-known con-\nversion of text"}}),
              "A well-known conversion\nof text\n");
}

TEST_F(TextTest, KeepsAHyphenThatThePageHasElsewhere)
{
    SKIP_WITHOUT_PLACES();
    EXPECT_EQ(TextOf({{20, 20, "What is well-known is well-\nknown to all"}}),
              "What is well-known is well-known\nto all\n");
}

TEST_F(TextTest, KnowsAHyphenThatThePageHasElsewhereBesidePunctuation)
{
    SKIP_WITHOUT_PLACES();
    EXPECT_EQ(TextOf({{20, 20, "It is \"well-known\", and well-\nknown to all"}}),
              "It is \"well-known\", and well-known\nto all\n");
}

TEST_F(TextTest, PutsAWordTogetherAtItsOwnHyphen)
{
    EXPECT_EQ(TextOf({{20, 20, "From Jean-\nPaul to pages 12-\n14 of it"}}),
              "From Jean-Paul\nto pages 12-14\nof it\n");
}

TEST_F(TextTest, KeepsTheHyphenBehindASingleLetter)
{
    EXPECT_EQ(TextOf({{20, 20, "Sorted by (E-\nvalue), by e-\nmail, as a pre-\nfix"}}),
              "Sorted by (E-value),\nby e-mail,\nas a prefix\n");
}

TEST_F(TextTest, LeavesAHyphenAwayThatThePageDoesWithoutElsewhere)
{
    SKIP_WITHOUT_PLACES();
    EXPECT_EQ(
        TextOf({{20, 20, "As each (AppGroup) does, an App-\nGroup lists OTHER and OTH-\nER"}}),
        "As each (AppGroup) does, an AppGroup\nlists OTHER and OTHER\n");
    EXPECT_EQ(TextOf({{20, 20, "The app-installer is an app-instal-\nler"}}),
              "The app-installer is an app-installer\n");
}

TEST_F(TextTest, KeepsTheHyphensOfAddressesAndNoneOfPaths)
{
    EXPECT_EQ(
        TextOf({{20, 20,
                 "Write to debian-\nboot@example.org of https://a-\nb.org and boot/-\nlinux now"}}),
        "Write to debian-boot@example.org\nof https://a-b.org\nand boot/linux\nnow\n");
}

TEST_F(TextTest, LeavesAHyphenThatStandsForTheRestOfAWord)
{
    EXPECT_EQ(TextOf({{20, 20, "What is pre-\nand postfix, in-\nor output, Vor-\nund Nachname"}}),
              "What is pre-\nand postfix, in-\nor output, Vor-\nund Nachname\n");
}

TEST_F(TextTest, HasAnEmptyLineBetweenParagraphs)
{
    SKIP_WITHOUT_PLACES();
    EXPECT_EQ(TextOf({{40, 50, "one line\nand another\nand a third"},
                      {40, 110, "a paragraph\nof its own"}}),
              "one line\nand another\nand a third\n\na paragraph\nof its own\n");
}

TEST_F(TextTest, KeepsTheLinesOfALargeHeadingTogether)
{
    SKIP_WITHOUT_PLACES();
    const std::string text = TextOfPainted([](QPainter& painter) {
        painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 16));
        painter.drawText(QPointF(40, 50), "A heading of");
        painter.drawText(QPointF(40, 70), "two large lines");
        painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
        for (int line = 0; line < 5; ++line)
            painter.drawText(QPointF(40, 90 + 11 * line), "a line below it");
    });
    EXPECT_THAT(text, StartsWith("A heading of\ntwo large lines\n\na line below it\na line"));
}

TEST_F(TextTest, HasAParagraphBehindALineThatASentenceEndsEarly)
{
    SKIP_WITHOUT_PLACES();
    const std::string full = "A line of prose that reaches as far as others do\n";
    const std::string text = TextOf(
        {{40, 50, QString::fromStdString(full + full + "and ends.\n" + full + full + full)}});
    EXPECT_EQ(text, full + full + "and ends.\n\n" + full + full + full);
}

TEST_F(TextTest, OfATableComesRowByRow)
{
    SKIP_WITHOUT_PLACES();
    std::vector<Placed> cells;
    std::string expected;
    for (int row = 0; row < 6; ++row) {
        cells.push_back({40, 50 + 12 * row, QStringLiteral("name %1").arg(row)});
        cells.push_back({240, 50 + 12 * row, QStringLiteral("%1").arg(row * 11)});
        expected += "name " + std::to_string(row) + ' ' + std::to_string(row * 11) + '\n';
    }
    EXPECT_EQ(TextOf(cells), expected);
}

TEST_F(TextTest, ThatIsDrawnTwiceToBeBoldIsThereOnce)
{
    SKIP_WITHOUT_PLACES();
    const std::string drawn = TextOfPainted([](QPainter& painter) {
        painter.drawText(QPointF(40, 50), "a bold line");
        painter.drawText(QPointF(40.3, 50), "a bold line");
    });
    EXPECT_EQ(drawn, "a bold line\n");
}

TEST_F(TextTest, HasSuperscriptsOnTheirLines)
{
    SKIP_WITHOUT_PLACES();
    const std::string drawn = TextOfPainted([](QPainter& painter) {
        painter.drawText(QPointF(40, 50), "It is said");
        const double width = painter.fontMetrics().horizontalAdvance("It is said");
        const QFont before = painter.font();
        painter.setFont(QFont(before.family(), 6));
        painter.drawText(QPointF(40 + width + 1, 46), "12");
        painter.setFont(before);
        painter.drawText(QPointF(40, 62), "and said again");
    });
    EXPECT_TRUE(drawn == "It is said12\nand said again\n" ||
                drawn == "It is said 12\nand said again\n")
        << drawn;
}

TEST_F(TextTest, HasALargeFirstLetterAtTheBeginningOfItsParagraph)
{
    SKIP_WITHOUT_PLACES();
    const std::string drawn = TextOfPainted([](QPainter& painter) {
        const QFont before = painter.font();
        painter.setFont(QFont(before.family(), 28));
        painter.drawText(QPointF(40, 74), "O");
        painter.setFont(before);
        painter.drawText(QPointF(66, 52), "nce there was a line");
        painter.drawText(QPointF(66, 63), "that stood beside its");
        painter.drawText(QPointF(66, 74), "first letter, and then");
        painter.drawText(QPointF(40, 85), "another that did not.");
    });
    EXPECT_EQ(drawn, "Once there was a line\nthat stood beside its\nfirst letter, and then\n"
                     "another that did not.\n");
}

TEST_F(TextTest, ThatIsTurnedIsReadFromItsOwnBeginning)
{
    SKIP_WITHOUT_PLACES();
    const std::string drawn = TextOfPainted([](QPainter& painter) {
        painter.translate(300, 100);
        painter.rotate(90);
        painter.drawText(QPointF(0, 0), "a line that goes down");
        painter.drawText(QPointF(0, 11), "and the next one");
    });
    EXPECT_EQ(drawn, "a line that goes down\nand the next one\n");
}

TEST_F(TextTest, ThatLeansStaysInItsLine)
{
    SKIP_WITHOUT_PLACES();
    const std::string drawn = TextOfPainted([](QPainter& painter) {
        painter.drawText(QPointF(40, 50), "a word");
        painter.save();
        painter.translate(75, 50);
        painter.shear(-0.3, 0);
        painter.drawText(QPointF(0, 0), "that leans");
        painter.restore();
        painter.drawText(QPointF(130, 50), "is one of its line");
    });
    EXPECT_EQ(drawn, "a word that leans is one of its line\n");
}

TEST_F(TextTest, FromRightToLeftIsInLogicalOrder)
{
    SKIP_WITHOUT_PLACES();
    const QString hebrew = QStringLiteral("\u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd");
    EXPECT_EQ(TextOf({{40, 50, hebrew}}), hebrew.toStdString() + '\n');
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
