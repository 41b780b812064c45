// Notes in margins, which stand in no sentence.

#include "ReadPageFixture.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <QStringList>

namespace Korvel::Worker {
namespace {

/** A paragraph of five lines that ends with a sentence. */
const QStringList paragraph = {
    "a paragraph that has a note beside it is", "read as a whole, although the note stands",
    "between its lines where it is drawn and", "its letters are smaller than those of the",
    "sentence, which ends here."};
constexpr double margin = 280;

/** Prose with a note beside its second line, drawn behind it. */
class MarginNotesTest : public ReadPageTest
{
protected:
    /** Draws a paragraph, and after one of its lines what comes between. */
    void PutParagraph(double top, double x = 50, int behind = 0,
                      const std::function<void(double baseline)>& between = {})
    {
        for (int line = 0; line < paragraph.size(); ++line) {
            const double baseline = top + 12 * line;
            PutLine(paragraph[line], x, baseline);
            if (between && line == behind)
                between(baseline);
        }
    }

    void PutNote(const QStringList& lines, double x, double baseline)
    {
        for (int line = 0; line < lines.size(); ++line)
            PutSmall(lines[line], x, baseline + 8 * line);
    }

    const QStringList note = {"1 This is the note,", "which goes on", "with two lines."};
    const std::string prose = paragraph.join('\n').toStdString() + '\n';
    const std::string aside = note.join('\n').toStdString() + '\n';
};

TEST_F(MarginNotesTest, StandBehindTheParagraphTheyAreBeside)
{
    PutParagraph(100, 50, 1, [this](double baseline) { PutNote(note, margin, baseline); });
    PutParagraph(180);
    EXPECT_EQ(Plain(), prose + '\n' + aside + '\n' + prose);
}

TEST_F(MarginNotesTest, OfOneLineStandBehindTheParagraphTheyAreBeside)
{
    PutParagraph(100, 50, 1, [this](double baseline) { PutNote({"Note"}, margin, baseline); });
    PutParagraph(180);
    EXPECT_EQ(Plain(), prose + "\nNote\n\n" + prose);
}

TEST_F(MarginNotesTest, StandBehindTheNextParagraphWhereTheirsGoesOnBelowAFormula)
{
    PutLine("what is before the formula is, as all of", 50, 60);
    PutNote(note, margin, 60);
    PutLine("x = y", 130, 84);
    PutParagraph(114);
    PutParagraph(190);
    EXPECT_EQ(Plain(), "what is before the formula is, as all of\n\nx = y\n\n" + prose + '\n' +
                           aside + '\n' + prose);
}

TEST_F(MarginNotesTest, StandBehindThePagesProseWhereItsSentenceEndsOnAnotherPage)
{
    PutParagraph(100);
    for (const int line : {0, 1, 2, 3}) {
        PutLine(paragraph[line], 50, 180 + 12 * line);
        if (line == 1)
            PutNote(note, margin, 192);
    }
    PutLine("17", 150, 270);
    const std::string start = paragraph.mid(0, 4).join('\n').toStdString() + '\n';
    EXPECT_EQ(Plain(), prose + '\n' + start + '\n' + aside + "\n17\n");
}

TEST_F(MarginNotesTest, OfOneParagraphStandInTheirOrder)
{
    PutParagraph(100, 50, 0, [this](double baseline) { PutNote({"First one"}, margin, baseline); });
    PutNote({"Second one"}, margin, 148);
    PutParagraph(180);
    EXPECT_EQ(Plain(), prose + "\nFirst one\n\nSecond one\n\n" + prose);
}

TEST_F(MarginNotesTest, WhereLinesBeginStandBeforeTheParagraphTheyAreBeside)
{
    PutParagraph(100, 120);
    PutParagraph(160, 120, 0, [this](double baseline) {
        PutNote({"Heading", "of it"}, 60, baseline);
    });
    EXPECT_EQ(Plain(), prose + "\nHeading\nof it\n\n" + prose);
}

TEST_F(MarginNotesTest, WithinAParagraphWhereLinesBeginStandBehindIt)
{
    PutParagraph(100, 120, 1, [this](double baseline) { PutNote({"v. new"}, 60, baseline); });
    PutParagraph(180, 120);
    EXPECT_EQ(Plain(), prose + "\nv. new\n\n" + prose);
}

/** A page from the right: of paragraphs, each of which ends with a short line. */
class HebrewMarginNotesTest : public ReadPageTest
{
protected:
    void PutWords(int words, double right, double baseline, double size)
    {
        for (int letter = 0; letter < 6 * words; ++letter) {
            if (letter % 6 < 5)
                Put(0x5d0 + char32_t(letter % 6), right - (letter + 1) * size / 2, baseline,
                    size / 2, size);
        }
    }

    void PutParagraph(double top)
    {
        for (int line = 0; line < 5; ++line)
            PutWords(8, edge, top + 12 * line, em);
        PutWords(2, edge, top + 60, em);
        Put('.', edge - 12 * em / 2, top + 60);
    }

    std::string Words(int words) const
    {
        std::string text = word;
        for (int i = 1; i < words; ++i)
            text += ' ' + word;
        return text;
    }

    std::string Paragraph() const
    {
        std::string text;
        for (int line = 0; line < 5; ++line)
            text += Words(8) + '\n';
        return text + Words(2) + ".\n";
    }

    static constexpr double edge = 400;
    const std::string word = "\u05d0\u05d1\u05d2\u05d3\u05d4";
};

TEST_F(HebrewMarginNotesTest, OnTheLeftStandBehindTheParagraphTheyAreBeside)
{
    PutParagraph(100);
    PutWords(1, 120, 100, 0.6 * em);
    PutParagraph(190);
    EXPECT_EQ(Plain(), Paragraph() + '\n' + word + "\n\n" + Paragraph());
}

TEST_F(HebrewMarginNotesTest, OnTheRightStandBeforeTheParagraphTheyAreBeside)
{
    PutParagraph(100);
    PutParagraph(190);
    PutWords(1, 460, 190, 0.6 * em);
    PutWords(2, 460, 202, 0.6 * em);
    EXPECT_EQ(Plain(), Paragraph() + '\n' + word + '\n' + Words(2) + "\n\n" + Paragraph());
}

TEST_F(HebrewMarginNotesTest, OnTheRightStandBeforeAParagraphThatIsIndented)
{
    for (int line = 0; line < 6; ++line)
        PutWords(8, edge, 100 + 12 * line, em);
    PutWords(7, edge - 1.5 * em, 172, em);
    for (int letter = 0; letter < 3; ++letter) // up to where all lines end
        Put(0x5d0 + char32_t(letter), edge - 1.5 * em - (43 + letter) * em / 2, 172);
    PutWords(8, edge, 184, em);
    PutWords(1, 460, 172, 0.6 * em);
    PutWords(2, 460, 184, 0.6 * em);
    std::string before;
    for (int line = 0; line < 6; ++line)
        before += Words(8) + '\n';
    EXPECT_EQ(Plain(), before + '\n' + word + '\n' + Words(2) + "\n\n" + Words(7) +
                           " \u05d0\u05d1\u05d2\n" + Words(8) + '\n');
}

TEST_F(MarginNotesTest, AreNoneThatNameItems)
{
    PutParagraph(60, 120);
    QStringList lines = paragraph;
    for (const char* const name : {"name", "place", "date"}) {
        const double baseline = 140 + 12 * (lines.size() - paragraph.size());
        PutNote({name}, 90, baseline);
        PutLine("is what it says.", 120, baseline);
        lines.append(QString(name) + " is what it says.");
    }
    EXPECT_EQ(PlainLines(), lines.join('\n').toStdString());
}

TEST_F(MarginNotesTest, AreNoneThatNameWhatTheyStandBefore)
{
    PutNote({"name"}, 90, 100);
    PutParagraph(100, 120);
    EXPECT_EQ(Plain(), "name " + prose);
}

TEST_F(MarginNotesTest, AreNoneWhereAColumnOfThemIsDrawnApart)
{
    PutParagraph(100);
    PutParagraph(180);
    for (const int box : {0, 1, 2, 3})
        PutNote({"A box of", "the letter."}, margin, 100 + 30 * box);
    const std::string text = Plain();
    EXPECT_EQ(text.find(prose + '\n' + prose + '\n'), 0U) << text;
}

TEST_F(MarginNotesTest, AreNoneWhereATableHasSmallCells)
{
    std::string rows;
    for (int row = 0; row < 12; ++row) {
        PutLine("00A" + QString::number(row % 10), 50, 100 + 12 * row);
        PutLine("sign", 120, 100 + 12 * row);
        PutLine("its names", 180, 100 + 12 * row);
        PutSmall("WHAT IT IS", margin, 100 + 12 * row);
        rows += "00A" + std::to_string(row % 10) + " sign its names WHAT IT IS\n";
    }
    EXPECT_EQ(PlainLines() + '\n', rows);
}

TEST_F(MarginNotesTest, AreNoneInSmallListingsThatReachIntoTheMargin)
{
    PutParagraph(60);
    QStringList lines = paragraph;
    for (int row = 0; row < 6; ++row) {
        PutSmall("a row of small letters in the listing", 50, 130 + 8 * row);
        PutSmall("and its end", margin, 130 + 8 * row);
        lines.append("a row of small letters in the listing and its end");
    }
    EXPECT_EQ(PlainLines(), lines.join('\n').toStdString());
}

TEST_F(MarginNotesTest, OfATurnedPageStandBehindTheParagraphTheyAreBeside)
{
    PutParagraph(100, 50, 1, [this](double baseline) { PutNote(note, margin, baseline); });
    PutParagraph(180);
    for (TextCharacter& character : engine.drawn.characters) {
        const QRectF box = character.box;
        character.box = QRectF(box.top(), 500 - box.right(), box.height(), box.width());
        character.origin = QPointF(character.origin.y(), 500 - character.origin.x());
        character.turned = 270;
    }
    EXPECT_EQ(Plain(), prose + '\n' + aside + '\n' + prose);
}

TEST_F(MarginNotesTest, AreNoneOnAPageOfOneRow)
{
    for (int place = 0; place < 6; ++place)
        PutLine("word", 50 + 40 * place, 100);
    PutNote({"This is the", "end of it"}, 300, 100);
    EXPECT_EQ(Plain().find("word word word word word word"), 0U) << Plain();
}

} // namespace
} // namespace Korvel::Worker
