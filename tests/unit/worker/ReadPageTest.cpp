// Reading order and words, from characters that no writer at hand would draw so.

#include "LaidOutText.h"
#include "ReadPageFixture.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QStringList>

namespace Korvel::Worker {
namespace {

TEST_F(ReadPageTest, SpacesThatAreOnlyGapsAreSpaces)
{
    PutLine("no space is drawn here", 50, 100);
    EXPECT_EQ(Plain(), "no space is drawn here\n");
}

TEST_F(ReadPageTest, LettersThatAreSetApartAreOneWord)
{
    for (int i = 0; i < 8; ++i)
        Put(U"INVOICES"[i], 50 + 6.2 * i, 100);
    EXPECT_EQ(Plain(), "INVOICES\n");
}

TEST_F(ReadPageTest, NumbersArePartedFromTheirTitlesBeforeDotsThatAreSetApart)
{
    PutLine("4.10", 50, 100);
    PutLine("December", 50 + 20 + em / 5, 100);
    for (int dot = 0; dot < 30; ++dot)
        Put('.', 120 + 5 * dot, 100, em / 5);
    EXPECT_EQ(Plain().substr(0, 15), "4.10 December .");
}

TEST_F(ReadPageTest, DotsThatAreSetApartALittleAreOneWord)
{
    PutLine("and", 50, 100);
    for (int dot = 0; dot < 3; ++dot)
        Put('.', 70 + 4.5 * dot, 100, em / 5);
    PutLine("so on", 90, 100);
    EXPECT_EQ(Plain(), "and ... so on\n");
}

TEST_F(ReadPageTest, ControlCharactersAreDroppedAndCounted)
{
    for (int i = 0; i < 6; ++i)
        Put(U"a\x1b\f\x7f\x9b"
            U"b"[i],
            50 + 5 * i, 100);
    const TextPage page = Read();
    EXPECT_EQ(page.drawn, 6);
    EXPECT_EQ(page.unmapped, 4);
    for (const char code : PlainText(page, true).toStdString())
        EXPECT_TRUE(code == 'a' || code == 'b' || code == ' ' || code == '\n') << int(code);
}

TEST_F(ReadPageTest, LigaturesOfTexFontsWithoutNamesAreTheirLetters)
{
    PutLine("di\verent \fles", 50, 100);
    EXPECT_EQ(Plain(), "different files\n");
    EXPECT_EQ(Read().unmapped, 0);
}

TEST_F(ReadPageTest, ControlCharactersBesideOthersAreNoLigatures)
{
    PutLine("di\verent \x01\x03\x04", 50, 100);
    EXPECT_EQ(Plain(), "di erent\n");
    EXPECT_EQ(Read().unmapped, 4);
}

TEST_F(ReadPageTest, CirclesAroundLettersAreNoLigatures)
{
    Put('\r', 50, 100, em);
    Put('c', 52.5, 100);
    PutLine("2001", 70, 100);
    EXPECT_EQ(Plain(), "c 2001\n");
}

TEST_F(ReadPageTest, MarksThatTurnTheDirectionAreDropped)
{
    Put('a', 50, 100);
    Put(0x202e, 55, 100);
    Put('b', 55, 100);
    EXPECT_EQ(Plain(), "ab\n");
}

TEST_F(ReadPageTest, LigaturesAreTheirLetters)
{
    PutLine(QStringLiteral("o\ufb03ce"), 50, 100);
    EXPECT_EQ(Plain(), "office\n");
}

TEST_F(ReadPageTest, WordsThatBeginWithALetterOfMathematicsLieWhereTheyAreDrawn)
{
    Put(0x1d465, 300, 400);
    Put('y', 305, 400);
    const TextBlock block = Read().blocks.at(0);
    EXPECT_EQ(block.box, QRectF(300, 392, 10, 10));
    EXPECT_EQ(block.lines.at(0).words.at(0).box, block.box);
}

TEST_F(ReadPageTest, LettersOfOneBoxAreALigature)
{
    Put('a', 50, 100);
    for (const char32_t code : U"ff")
        if (code)
            Put(code, 55, 100);
    Put('e', 60, 100);
    EXPECT_EQ(Plain(), "affe\n");
}

TEST_F(ReadPageTest, MarksWithinLigaturesDoNotPartWords)
{
    constexpr char32_t malayalam[] = {0xd19, 0xd4d, 0xd15}; // one of them without vowel
    for (const char32_t letter : malayalam)
        Put(letter, 50, 100, 15);
    Put(0xd24, 65, 100, 10);
    EXPECT_EQ(Plain(), "\u0d19\u0d4d\u0d15\u0d24\n");
}

TEST_F(ReadPageTest, LigaturesFromRightToLeftDoNotPartWords)
{
    Put(0x633, 70, 100);
    Put(0xfefb, 62, 100, 8); // lam and alef
    Put(0x645, 57, 100);
    EXPECT_EQ(Plain(), "\u0633\u0644\u0627\u0645\n");
}

TEST_F(ReadPageTest, LettersOfOneBoxFromRightToLeftDoNotPartWords)
{
    Put(0x633, 70, 100);
    Put(0x644, 62, 100, 8);
    Put(0x627, 62, 100, 8);
    Put(0x645, 57, 100);
    EXPECT_EQ(Plain(), "\u0633\u0644\u0627\u0645\n");
}

TEST_F(ReadPageTest, AccentsJoinTheirLetters)
{
    Put('c', 50, 100);
    Put('a', 55, 100);
    Put('f', 60, 100);
    Put(0xb4, 65, 100);
    Put('e', 65.2, 100);
    Put('s', 70.2, 100);
    EXPECT_EQ(Plain(), "caf\u00e9s\n");
}

TEST_F(ReadPageTest, AccentsThatComeLaterJoinTheirLetters)
{
    PutLine("Uwe Luck", 50, 100);
    Put(0xa8, 75.2, 100.4);
    PutLine("writes x^2", 50, 112);
    Put(0x2c6, 120, 112); // an accent of no letter
    EXPECT_EQ(Plain(), "Uwe L\u00fcck\nwrites x^2 \u02c6\n");
}

TEST_F(ReadPageTest, AccentsAsWideAsTheirLettersJoinThem)
{
    PutLine("voil", 50, 100);
    Put('`', 70, 100);
    Put('a', 70, 100);
    EXPECT_EQ(Plain(), "voil\u00e0\n");
}

TEST_F(ReadPageTest, AccentsThatComeLaterJoinTheirCapitals)
{
    PutLine("Ecrire", 50, 100);
    Put(0xb4, 50.5, 100 - 0.26 * em);
    EXPECT_EQ(Plain(), "\u00c9crire\n");
}

TEST_F(ReadPageTest, LettersMayHaveAccentsOneAfterTheOther)
{
    Put('C', 50, 100);
    Put(0x2c7, 50.2, 98);
    Put(0xb4, 55, 100);
    Put('a', 55.2, 100);
    EXPECT_EQ(Plain(), "\u010c\u00e1\n");
}

TEST_F(ReadPageTest, HyphensThatAreDrawnWithinLinesAreHyphens)
{
    PutLine(QStringLiteral("Menu\u00ad>Edit"), 50, 100);
    EXPECT_EQ(Plain(), "Menu->Edit\n");
}

TEST_F(ReadPageTest, CodesThatComeInHalvesAreWhole)
{
    Put(0xd83d, 50, 100);
    Put(0xde00, 50, 100);
    EXPECT_EQ(Plain(), "\U0001f600\n");
}

TEST_F(ReadPageTest, JapaneseThatIsWrittenDownwardsIsReadFromTheRight)
{
    const auto column = [this](const std::u32string& text, double x) {
        for (std::size_t i = 0; i < text.size(); ++i)
            Put(text[i], x, 100 + em * double(i), em);
    };
    column(U"\u7e26\u66f8\u304d\u306e", 300);
    column(U"\u6587\u7ae0\u3067\u3059", 284);
    EXPECT_EQ(Plain(), "\u7e26\u66f8\u304d\u306e\n\u6587\u7ae0\u3067\u3059\n");
    EXPECT_NEAR(Read().blocks.at(0).lines.at(0).box.left(), 300, 1);
}

TEST_F(ReadPageTest, JapaneseThatIsWrittenDownwardsIsWholeBesideReadings)
{
    const auto column = [this](const std::u32string& text, double x, double baseline, double size) {
        for (std::size_t i = 0; i < text.size(); ++i)
            Put(text[i], x, baseline + size * double(i), size, size);
    };
    for (const double x : {300, 282}) {
        column(U"\u541b\u5b50", x, 100, em);
        column(U"\u304f\u3093\u3057", x + em, 98, em / 2); // how these are read
        column(U"\u306f", x, 120, em);
        column(U"\u548c\u3057\u3066\u305a\ufe12", x, 130, em);
    }
    const std::string line = "\u541b\u5b50\u306f\u548c\u3057\u3066\u305a\ufe12\n";
    const std::string reading = "\u304f\u3093\u3057\n";
    EXPECT_EQ(Plain(), line + line + '\n' + reading + reading);
}

TEST_F(ReadPageTest, RightToLeftThatIsDrawnFromTheLeftIsInLogicalOrder)
{
    const std::u32string alef = U"\u05d0\u05d1\u05d2";
    for (int i = 0; i < 3; ++i)
        Put(alef[std::size_t(2 - i)], 50 + 5 * i, 100);
    EXPECT_EQ(Plain(), "\u05d0\u05d1\u05d2\n");
}

TEST_F(ReadPageTest, LinesOfAnIndexGoOnWithDotsThatAreIndented)
{
    PutLine("an entry that fills its line", 50, 100);
    PutLine(". . . . . . . . . 14, 205", 65, 112);
    PutLine("and a further one ... 12, 13", 50, 124);
    PutLine("and yet another one .... 112", 50, 136);
    EXPECT_EQ(Plain(), "an entry that fills its line\n. . . . . . . . . 14, 205\n"
                       "and a further one ... 12, 13\nand yet another one .... 112\n");
}

TEST_F(ReadPageTest, RowsOfAListingStayWholeWhereTheirCellsAreFarApart)
{
    const std::string listing = "crw------T 1 root root    108, 0 Oct 16 20:57 /dev/ppp\n"
                                "-rw-r--r-- 1 root root      2761 Aug 30 10:38 /etc/passwd\n"
                                "-rw-r----- 1 root shadow    1695 Aug 30 10:38 /etc/shadow\n"
                                "-rwsr-xr-x 1 root root    973824 Sep 23 20:04 /usr/sbin/exim4\n"
                                "-rw-r--r-- 1 root staff     4096 Oct 11 00:28 /etc/motd\n";
    int baseline = 100;
    for (const QString& row : QString::fromStdString(listing).split('\n'))
        PutLine(row, 50, baseline += 12);
    EXPECT_EQ(Plain(), QString::fromStdString(listing)
                           .replace(QRegularExpression(QStringLiteral(" +")), " ")
                           .toStdString());
}

TEST_F(ReadPageTest, FormulasBeginAndEndRightInTheirBrackets)
{
    constexpr double lean = 0.18 * em;
    PutLine("the values of (", 50, 100);
    PutLine("Cf", 125 + lean, 100);
    PutLine(") and others ( x )", 135 + 2 * lean, 100);
    EXPECT_EQ(Plain(), "the values of (Cf) and others ( x )\n");
}

TEST_F(ReadPageTest, DotsThatLeadFromABracketArePartedFromIt)
{
    Put('(', 50, 100);
    Put(' ', 55, 100, 0); // that the engine puts in
    for (int dot = 0; dot < 30; ++dot)
        Put('.', 56.5 + 4.5 * dot, 100, em / 5);
    EXPECT_EQ(Plain().substr(0, 3), "( .");
}

TEST_F(ReadPageTest, ColumnsOfProseThatAreDrawnLineByLineAreReadOneAfterTheOther)
{
    std::string left;
    std::string right;
    for (int line = 0; line < 8; ++line) {
        const QString number = QString::number(line);
        PutLine("the left column of the page, line " + number, 50, 100 + 12 * line);
        PutLine("the right column of the page, line " + number, 260, 100 + 12 * line);
        left += "the left column of the page, line " + number.toStdString() + '\n';
        right += "the right column of the page, line " + number.toStdString() + '\n';
    }
    EXPECT_EQ(Plain(), left + '\n' + right);
}

TEST_F(ReadPageTest, ColumnsWithNotesThatAreDrawnLastAreReadOneAfterTheOther)
{
    constexpr int lines = 20;
    for (const double x : {50, 260}) {
        for (int line = 0; line < lines; ++line)
            PutLine("a line of prose in a column", x, 100 + 12 * line);
    }
    PutLine("a note on the left one here", 50, 100 + 12 * lines);
    PutLine("a note on the right one is", 260, 100 + 12 * lines);
    const TextPage page = Read();
    EXPECT_EQ(page.blocks.front().lines.front().words.size(), 7);
    EXPECT_EQ(Plain().find("left"),
              std::string("a line of prose in a column\n").size() * lines + 14);
}

/** Numbers, a line each, as in a paragraph. */
std::string Numbers(int first, int last)
{
    std::string numbers;
    for (int number = first; number <= last; ++number)
        numbers += std::to_string(number) + '\n';
    return numbers;
}

TEST_F(ReadPageTest, NumbersOfLinesStandBehindTheProse)
{
    constexpr int lines = 12;
    for (int line = 1; line <= lines; ++line) {
        PutLine(line == 4 ? "which is about some won-" : "ders of a manuscript that", 50,
                100 + 18 * line);
        PutNumber(line, line < 10 ? 40 : 37.5, 100 + 18 * line);
    }
    const std::string text = Plain();
    EXPECT_NE(text.find("which is about some wonders\nof a"), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.find("\n\n") + 2), Numbers(1, lines));
}

TEST_F(ReadPageTest, NumbersOfLinesThatAreDrawnCloseBeforeThemStandBehindTheProse)
{
    constexpr int lines = 12;
    std::string prose;
    for (int line = 1; line <= lines; ++line) {
        PutNumber(line, line < 10 ? 42 : 39.5, 100 + 12 * line);
        PutLine("the prose of a manuscript", 52, 100 + 12 * line);
        prose += "the prose of a manuscript\n";
    }
    EXPECT_EQ(Plain(), prose + '\n' + Numbers(1, lines));
}

TEST_F(ReadPageTest, NumbersOfLinesBetweenColumnsStandBehindBoth)
{
    constexpr int lines = 12;
    std::string columns[2];
    for (const int column : {0, 1}) {
        for (int line = 1; line <= lines; ++line) {
            const std::string prose =
                column == 0 ? "the prose of a manuscript" : "goes on in another column";
            PutLine(QString::fromStdString(prose), 50 + 150 * column, 100 + 12 * line);
            PutNumber(10 + lines * column + line, 37.5 + 150 * column, 100 + 12 * line);
            columns[column] += prose + '\n';
        }
    }
    EXPECT_EQ(Plain(), columns[0] + columns[1] + '\n' + Numbers(11, 10 + lines) + '\n' +
                           Numbers(11 + lines, 10 + 2 * lines));
}

TEST_F(ReadPageTest, NumbersOfLinesStandBehindWhatIsTurned)
{
    constexpr int lines = 12;
    std::string prose;
    for (int line = 1; line <= lines; ++line) {
        PutNumber(line, line < 10 ? 42 : 39.5, 100 + 12 * line);
        PutLine("the prose of a manuscript", 52, 100 + 12 * line);
        prose += "the prose of a manuscript\n";
    }
    PutLineUpwards("in the margin", 20, 200);
    EXPECT_EQ(Plain(), prose + "\nin the margin\n\n" + Numbers(1, lines));
}

TEST_F(ReadPageTest, NumbersOfLinesStandBehindTheProseOfScriptsWithoutSmallLetters)
{
    constexpr int lines = 12;
    std::string prose;
    for (int line = 1; line <= lines; ++line) {
        PutNumber(line, line < 10 ? 42 : 39.5, 100 + 18 * line);
        for (int place = 0; place < 20; ++place)
            Put(U'\u4e00' + char32_t(place), 52 + em * place, 100 + 18 * line, em);
        prose += "\u4e00\u4e01\u4e02\u4e03\u4e04\u4e05\u4e06\u4e07\u4e08\u4e09"
                 "\u4e0a\u4e0b\u4e0c\u4e0d\u4e0e\u4e0f\u4e10\u4e11\u4e12\u4e13\n";
    }
    EXPECT_EQ(Plain(), prose + '\n' + Numbers(1, lines));
}

TEST_F(ReadPageTest, NumbersOfLinesStandBehindTheProseFromTheRight)
{
    constexpr int lines = 12;
    std::string prose;
    for (int line = 1; line <= lines; ++line) {
        PutNumber(line, 310, 100 + 18 * line);
        for (int place = 0; place < 30; ++place) {
            if (place % 5 != 4)
                Put(U'\u05d0' + char32_t(place % 5), 300 - em / 2 * (place + 1), 100 + 18 * line);
        }
        for (int word = 0; word < 6; ++word)
            prose += std::string("\u05d0\u05d1\u05d2\u05d3") + (word < 5 ? ' ' : '\n');
    }
    EXPECT_EQ(Plain(), prose + '\n' + Numbers(1, lines));
}

TEST_F(ReadPageTest, NumbersOfRowsStayWithThemInScriptsWithoutSmallLetters)
{
    for (int row = 1; row <= 12; ++row) {
        PutNumber(row, row < 10 ? 42 : 39.5, 100 + 18 * row);
        for (int place = 0; place < 10 + row; ++place)
            Put(U'\u4e00' + char32_t(place), 52 + em * place, 100 + 18 * row, em);
    }
    EXPECT_NE(Plain().find("\n2 \u4e00\u4e01"), std::string::npos) << Plain();
}

TEST_F(ReadPageTest, NumbersOfRowsStayWithThem)
{
    std::string rows;
    for (int row = 1; row <= 9; ++row) {
        PutLine(QString::number(row), 40, 100 + 12 * row);
        PutLine("Berlin has so many inhabitants", 60, 100 + 12 * row);
        rows += std::to_string(row) + " Berlin has so many inhabitants\n";
    }
    EXPECT_EQ(Plain(), rows);
}

TEST_F(ReadPageTest, NumbersOfLinesOfAnExampleStayWithThem)
{
    for (int line = 1; line <= 40; ++line) {
        const bool isExample = line > 20 && line <= 32;
        PutLine("the prose of a manuscript", 60, 100 + 12 * line);
        if (isExample)
            PutNumber(line, 45, 100 + 12 * line);
    }
    EXPECT_NE(Plain().find("\n21 the prose of a manuscript\n22 the"), std::string::npos) << Plain();
}

TEST_F(ReadPageTest, NumbersOfLinesOfAListingStayWithThem)
{
    const QStringList lines = {"int main()", "{",        "return something_that_is_long();",
                               "}",          "void f()", "{",
                               "call();",    "}"};
    for (int line = 0; line < lines.size(); ++line) {
        PutNumber(line + 1, 45, 100 + 12 * line);
        PutLine(lines[line], 55, 100 + 12 * line);
    }
    EXPECT_EQ(Plain().find("1 int main()\n2 {\n3 return"), 0U) << Plain();
}

TEST_F(ReadPageTest, ColumnsBelowATableAreReadOneAfterTheOther)
{
    for (int row = 0; row < 5; ++row) {
        PutLine("name", 50, 100 + 12 * row);
        PutLine("value", 260, 100 + 12 * row);
    }
    for (const auto& [word, x] : {std::pair("left", 50), std::pair("side", 260)}) {
        for (int line = 0; line < 8; ++line)
            PutLine(QStringLiteral("what is on the %1 goes").arg(word), x, 180 + 12 * line);
    }
    const std::string text = Plain();
    EXPECT_NE(text.find("name value\nname value\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("side"),
              text.rfind("left") + std::string("left goes\nwhat is on the ").size())
        << text;
}

TEST_F(ReadPageTest, ColumnsBesideOneWithATableAreReadOneAfterTheOther)
{
    QStringList lines;
    const auto put = [&](const QString& line, double x, double baseline) {
        PutLine(line, x, baseline);
        lines.append(line);
    };
    for (int line = 0; line < 18; ++line)
        put("the first column", 50, 100 + 15 * line);
    for (const double top : {100, 280}) {
        for (int row = 0; row < 8; ++row) {
            PutLine("key", 200, top + 12 * row);
            PutLine("what it is", 280, top + 12 * row);
            lines.append("key what it is");
        }
        if (top == 100) {
            put("what reaches over all of it", 200, 196);
            put("and so does the other line", 200, 268);
        }
    }
    for (int line = 0; line < 18; ++line)
        put("the last of all", 380, 106 + 15 * line);
    EXPECT_EQ(PlainLines(), lines.join('\n').toStdString());
}

TEST_F(ReadPageTest, BoxesOfAPosterAreReadColumnByColumn)
{
    QStringList columns[2];
    for (const int box : {0, 1}) {
        for (const int column : {0, 1}) {
            for (int line = 0; line < 10; ++line) {
                const QString words = line % 3 == 0 ? "some words that are drawn" : "few";
                columns[column].append(words + (column == 0 ? " left" : " right"));
                PutLine(columns[column].last(), 50 + 200 * column, 100 + 12 * (10 * box + line));
            }
        }
    }
    EXPECT_EQ(PlainLines(), (columns[0] + columns[1]).join('\n').toStdString());
}

TEST_F(ReadPageTest, HeadingsOfTwoCellsStandBeforeThem)
{
    PutLine("Heading", 220, 100);
    for (const double x : {50, 200}) {
        for (int line = 1; line <= 4; ++line)
            PutLine("a line of a cell", x, 100 + 12 * line);
    }
    EXPECT_EQ(Plain().find("Heading"), 0U) << Plain();
}

TEST_F(ReadPageTest, CellsOfSeveralLinesStayTogether)
{
    PutLine("a cell of a table", 50, 100);
    PutLine("of two lines here", 50, 112);
    PutLine("and the one that", 200, 100);
    PutLine("is right beside it", 200, 112);
    PutLine("the next row's one", 50, 130);
    PutLine("has two lines, too", 50, 142);
    PutLine("as has the last of", 200, 130);
    PutLine("all of these cells", 200, 142);
    const QString plain = QString::fromStdString(Plain()).simplified();
    EXPECT_EQ(plain.toStdString(),
              "a cell of a table of two lines here and the one that is right beside it "
              "the next row's one has two lines, too as has the last of all of these cells");
}

TEST_F(ReadPageTest, LinesWithAWideGapStayWholeWhereTheyReachOverColumns)
{
    PutLine("A line that reaches over the gap of the headings", 50, 100);
    PutLine("end.", 50, 112);
    PutLine("2.4", 50, 150);
    PutLine("Disks", 90, 150);
    PutLine("What it tells of disks in the fourth", 50, 170);
    PutLine("chapter, where", 50 + 36 * em / 2 + 1.1 * em, 170);
    PutLine("all of them are shown as they are.", 50, 182);
    for (const int heading : {0, 1, 2, 3, 4, 5}) {
        PutLine("2.5", 50, 220 + 70 * heading);
        PutLine("Others", 90, 220 + 70 * heading);
        PutLine("What it tells of others", 50, 240 + 70 * heading);
    }
    const std::string text = Plain();
    EXPECT_NE(
        text.find("end.\n\n2.4 Disks\nWhat it tells of disks in the fourth chapter, where\nall"),
        std::string::npos)
        << text;
}

TEST_F(ReadPageTest, SignsThatAreLargerThanTheirLineDoNotEndAParagraph)
{
    PutLine("a line of a paragraph", 100, 100);
    PutLine("and a larger", 100, 112);
    Put('(', 170, 112, 7, 14);
    PutLine("in the next one", 180, 112);
    PutLine("and so on", 100, 124);
    EXPECT_EQ(Plain(), "a line of a paragraph\nand a larger ( in the next one\nand so on\n");
}

TEST_F(ReadPageTest, LinesWithMoreWordsOfAnotherSizeDoNotEndAParagraph)
{
    const auto putSmall = [this](double x, double baseline) {
        for (const char32_t code : {U's', U'm', U'a', U'l', U'l'})
            Put(code, x += 4, baseline, 4, 8);
    };
    PutLine("a line of large words", 100, 100);
    PutLine("some", 100, 112);
    for (const double x : {125, 150, 175})
        putSmall(x, 112);
    PutLine("and large ones again", 100, 124);
    EXPECT_EQ(Plain(), "a line of large words\nsome small small small\nand large ones again\n");
}

TEST_F(ReadPageTest, LimitsOfASumStandAboveAndBelowItWithoutEmptyLines)
{
    PutLine("The sum of all that", 50, 70);
    PutLine("there is, which is", 50, 82);
    PutLine("S =", 80, 112);
    Put('n', 101, 100, 3, 6);
    Put(0x2211, 100, 112, em * 0.8);
    PutSmall("i=1", 99, 124);
    Put('x', 112, 112);
    PutLine("(1)", 250, 112);
    PutLine("grows with each one", 50, 154);
    EXPECT_EQ(Plain(), "The sum of all that\nthere is, which is\n\nn\nS = \u2211 x (1)\ni=1\n\n"
                       "grows with each one\n");
}

TEST_F(ReadPageTest, LimitsOfTwoSumsStandBesideEachOther)
{
    PutLine("S =", 80, 112);
    for (const double x : {100, 140}) {
        PutSmall("n", x + 1, 100);
        Put(0x2211, x, 112, em * 0.8);
        PutSmall("i=1", x - 1, 124);
        PutLine(x == 100 ? "x +" : "y.", x + 12, 112);
    }
    PutLine("grows with each one", 50, 154);
    EXPECT_EQ(Plain(), "n n\nS = \u2211 x + \u2211 y.\ni=1 i=1\n\ngrows with each one\n");
}

TEST_F(ReadPageTest, LargeSignsOfTexFontsWithoutNamesAreInTheirFormula)
{
    PutLine("The sum of all:", 50, 70);
    PutLine("S =", 80, 112);
    PutSmall("n", 101, 100);
    Put('X', 100, 102.5, em * 0.8); // a sum
    engine.drawn.characters.back().hang = 1.4;
    PutSmall("i=1", 99, 124);
    Put('x', 112, 112);
    EXPECT_EQ(Plain(), "The sum of all:\n\nn\nS = \u2211 x\ni=1\n");
}

TEST_F(ReadPageTest, UnderscoresHangAndAreNoLargeSigns)
{
    PutLine("in light_grey", 50, 100);
    engine.drawn.characters[7].hang = 0.6;
    EXPECT_EQ(Plain(), "in light_grey\n");
}

TEST_F(ReadPageTest, LettersOfFontsThatHangAsAWholeAreNoLargeSigns)
{
    PutLine("PXZ", 50, 100);
    for (TextCharacter& character : engine.drawn.characters)
        character.hang = 0.8;
    EXPECT_EQ(Plain(), "PXZ\n");
}

TEST_F(ReadPageTest, SymbolsOfTexFontsWithoutNamesAreNamed)
{
    PutLine("h i x 6= y", 50, 100);
    for (const std::size_t symbol : {0U, 1U, 3U})
        engine.drawn.characters[symbol].isOfTexSymbols = true;
    engine.drawn.characters[3].box.setWidth(0); // the stroke is drawn over what it negates
    engine.drawn.characters[4].box.moveLeft(engine.drawn.characters[3].box.left());
    EXPECT_EQ(Plain(), "\u27e8 \u27e9 x \u2260 y\n");
}

TEST_F(ReadPageTest, LimitsStandBelowTheNamesOfFunctions)
{
    PutLine("d = max |x|", 80, 112);
    PutSmall("x in A", 98, 119);
    PutLine("grows with each one", 50, 154);
    EXPECT_EQ(Plain(), "d = max |x|\nx in A\n\ngrows with each one\n");
}

TEST_F(ReadPageTest, FractionsStandInTheirFormulaWithoutEmptyLines)
{
    PutLine("these are", 50, 80);
    PutLine("f = q log s +", 80, 112);
    PutLine("a b", 147, 105);
    PutLine("c d", 147, 119);
    PutLine("= 0.", 166, 112);
    PutLine("as is seen", 50, 144);
    EXPECT_EQ(Plain(), "these are\n\nf = q log s +\na b\nc d\n= 0.\n\nas is seen\n");
}

TEST_F(ReadPageTest, CaptionsBelowAShortenedMinuteAreNoLimits)
{
    const std::pair<std::string, double> captions[] = {{"the way from here to there", 9},
                                                       {"by train", 12}};
    for (const auto& [caption, below] : captions) {
        engine.drawn.characters.clear();
        PutLine("takes 5 min", 50, 112);
        const double middle = 50 + 9.5 * em / 2; // of its last word
        PutSmall(caption.c_str(), middle - 0.15 * em * double(caption.size()), 112 + below);
        EXPECT_EQ(Plain(), "takes 5 min\n\n" + caption + '\n');
    }
}

TEST_F(ReadPageTest, TwoLinesThatAreDrawnForthAndBackAreNoColumns)
{
    PutLine("A line that is as long as all of them are", 50, 100);
    PutLine("left", 50, 112);
    PutLine("side", 200, 112);
    PutLine("right", 200, 124);
    PutLine("rest", 50, 124);
    PutLine("Another line that is as long as all are", 50, 136);
    for (int line = 0; line < 4; ++line) {
        PutLine("some", 50, 150 + 30 * line);
        PutLine("thing", 200, 150 + 30 * line);
    }
    const std::string text = Plain();
    EXPECT_NE(text.find("left side\nrest right\n"), std::string::npos) << text;
}

TEST_F(ReadPageTest, CenteredLinesAreOneParagraph)
{
    PutLine("The Group of Others", 100, 100);
    PutLine("Oslo in Norway", 112.5, 112);
    PutLine("one@of-the-group.no", 100, 124);
    EXPECT_EQ(Plain(), "The Group of Others\nOslo in Norway\none@of-the-group.no\n");
}

TEST_F(ReadPageTest, IndentedLinesBeginParagraphs)
{
    PutLine("A line of a paragraph", 100, 100);
    PutLine("and its end.", 100, 112);
    PutLine("Another one begins,", 115, 124);
    PutLine("which goes on as well.", 100, 136);
    EXPECT_EQ(Plain(), "A line of a paragraph\nand its end.\n\n"
                       "Another one begins,\nwhich goes on as well.\n");
}

TEST_F(ReadPageTest, ItemsWhoseSecondLineHangsAreWhole)
{
    const QString labels[] = {"*", "2.", "(c)"};
    for (int item = 0; item < 3; ++item) {
        PutLine(labels[item], 100, 100 + 24 * item);
        PutLine("An item of a list, which goes on", 120, 100 + 24 * item);
        PutLine("Behind its first line", 120, 112 + 24 * item);
    }
    EXPECT_EQ(Plain(), "* An item of a list, which goes on\nBehind its first line\n"
                       "2. An item of a list, which goes on\nBehind its first line\n"
                       "(c) An item of a list, which goes on\nBehind its first line\n");
}

TEST_F(ReadPageTest, HeadingsWhoseSecondLineHangsAreWhole)
{
    const auto putLarge = [this](const char32_t* text, double x, double baseline) {
        for (; *text; ++text, x += 7)
            Put(*text, x, baseline, 7, 14);
    };
    putLarge(U"8", 100, 100);
    putLarge(U"Words", 114, 100);
    putLarge(U"Again", 114, 116);
    PutLine("What is told of words", 100, 132);
    PutLine("comes below it, here.", 100, 144);
    EXPECT_EQ(Plain(), "8 Words\nAgain\n\nWhat is told of words\ncomes below it, here.\n");
}

TEST_F(ReadPageTest, LettersThatAreDrawnOverLaterAreReadOnce)
{
    PutLine("bold heading", 50, 100);
    PutLine("text between them", 50, 130);
    PutLine("bold heading", 51, 100.5);
    PutLine("bold heading", 51, 160);
    EXPECT_EQ(Plain(), "bold heading\n\ntext between them\n\nbold heading\n");
}

TEST_F(ReadPageTest, LettersThatAreDrawnOverInAlmostTheSameSizeAreReadOnce)
{
    Put('x', 50, 100, 5, 7.9999);
    Put('y', 250, 100, 5, 8);
    Put('x', 50.1, 100, 5, 8);
    Put('y', 250.1, 100, 5, 7.9999);
    EXPECT_EQ(Plain(), "x y\n");
}

TEST_F(ReadPageTest, AllOfManySingleLettersAreRead)
{
    constexpr int aside = 250;
    constexpr double apart = 30;
    engine.size = {apart * aside, apart * aside};
    for (int i = 0; i < aside * aside; ++i) {
        const int row = i / aside;
        Put(i % 2 == 0 ? 'A' : 0x2714, apart * (i % aside), apart * row, 8, i % 3 == 0 ? 20 : em);
    }
    EXPECT_EQ(QString::fromStdString(Plain()).remove(' ').remove('\n').size(), aside * aside);
}

TEST_F(ReadPageTest, LargeCapitalsBeginTheirParagraphs)
{
    Put('O', 50, 118, 18, 26);
    PutLine("nce upon a time", 70, 104);
    EXPECT_EQ(Plain(), "Once upon a time\n");
}

TEST_F(ReadPageTest, MarksThatAreDrawnApartFromTheirLettersJoinThem)
{
    for (const int place : {0, 1, 2, 3}) // from left to right
        Put(QStringLiteral("\u0623\u062f\u0633\u0645")[place].unicode(), 60 + 5 * place, 100);
    Put(' ', 63, 100, 0); // as the engine puts it in
    Put(0x64e, 62, 101, 0);
    Put(0x628, 55, 100); // the word goes on before that
    Put(0x650, 53, 100, 0);
    Put(0x64a, 50, 100);
    EXPECT_EQ(Plain(),
              QStringLiteral("\u0645\u0633\u062f\u0623\u064e\u0628\u0650\u064a\n").toStdString());
}

TEST_F(ReadPageTest, MarksThatAreDrawnApartFollowLettersThatAreWrittenRightwards)
{
    Put(0x179f, 50, 100, 10); // of Khmer
    Put(0x1789, 60, 100, 10);
    Put(' ', 70, 100, 0);
    Put(0x17cb, 56, 100, 1); // of the first of them
    EXPECT_EQ(Plain(), "\u179f\u17cb\u1789\n");
}

TEST_F(ReadPageTest, MarksThatAreDrawnAnywhereFollowTheLettersThatTheyStandOver)
{
    QString word;
    for (int letter = 0; letter < 8; ++letter) {
        const double x = 100 - 5 * letter;
        Put(0x64e, x, 100, 0); // before its letter, and at the end of that
        engine.drawn.characters.back().inkedAt = QPointF(x + 2, 94);
        Put(0x628, x, 100);
        word += QStringLiteral("\u0628\u064e");
    }
    EXPECT_EQ(Plain(), word.toStdString() + '\n');
}

TEST_F(ReadPageTest, VowelsBeforeTheirConsonantsAreReadBehindThem)
{
    // Of Malayalam: a word that begins with one, and one with a cluster of consonants within two.
    const std::u32string words = U"\u0d47\u0d2a \u0d2a\u0d46\u0d15\u0d4d\u0d15\u0d3e\u0d24";
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] != ' ')
            Put(words[i], 50 + 5 * double(i), 100);
    }
    EXPECT_EQ(Plain(), "\u0d2a\u0d47 \u0d2a\u0d15\u0d4d\u0d15\u0d4a\u0d24\n");
}

TEST_F(ReadPageTest, VowelsThatAreToldBehindTheirConsonantsStayThere)
{
    Put(0x915, 50, 100, 10); // of Devanagari; both of one glyph
    Put(0x93f, 50, 100, 10);
    Put(0x924, 60, 100);
    Put(0x915, 65, 100); // no word of the page begins with such a vowel
    Put(0x93f, 70, 100);
    Put(0x924, 75, 100);
    EXPECT_EQ(Plain(), "\u0915\u093f\u0924\u0915\u093f\u0924\n");
}

TEST_F(ReadPageTest, LettersBelowOthersDoNotPartWords)
{
    Put(0x1798, 50, 100, 10); // of Khmer
    Put(0x17d2, 52, 100, 5);
    Put(0x1785, 52, 100, 5);
    Put(0x179f, 60, 100, 10);
    EXPECT_EQ(Plain(), "\u1798\u17d2\u1785\u179f\n");
}

TEST_F(ReadPageTest, LettersThatAreDrawnApartAreAWordAlsoWhereTheyMeetAtAMark)
{
    Put(0x641, 100, 100); // a letter and its mark, then the rest of the word
    Put(0x64e, 99, 100, 0);
    PutLine("x", 300, 200);
    Put(0x650, 97, 100, 0);
    Put(0x64a, 95, 100);
    PutLine("x", 300, 220);
    Put(0x628, 87, 100); // the next word
    EXPECT_EQ(QString::fromStdString(Plain()).split('\n').first(),
              QStringLiteral("\u0641\u064e\u0650\u064a \u0628"));
}

TEST_F(ReadPageTest, BracketsAroundOtherScriptsCloseInLinesFromTheRight)
{
    for (const int place : {0, 1, 2, 3})
        Put(QStringLiteral("\u0634\u0628\u06a9\u0647")[place].unicode(), 195 - 5 * place, 100);
    Put('(', 170, 100); // as it is read, where the engine has mirrored it
    PutLine("CTAN", 150, 100);
    Put(0x60c, 140, 100); // as they are drawn, where the engine has not
    Put('(', 145, 100);
    for (const int place : {0, 1})
        Put(QStringLiteral("\u062f\u0631")[place].unicode(), 130 - 5 * place, 100);
    EXPECT_EQ(Plain(),
              QStringLiteral("\u0634\u0628\u06a9\u0647 (CTAN)\u060c \u062f\u0631\n").toStdString());
}

TEST_F(ReadPageTest, BracketsOpenInLinesFromTheRightWhateverTheEngineTellsOfThem)
{
    const auto putPersian = [this](const QString& word, double right) {
        for (int place = 0; place < word.size(); ++place)
            Put(word[place].unicode(), right - 5 * (place + 1), 100);
    };
    putPersian("\u0634\u0628\u06a9\u0647", 200);
    Put(')', 170, 100);
    putPersian("\u062f\u0631", 170);
    Put(')', 155, 100);
    EXPECT_EQ(Plain(), "\u0634\u0628\u06a9\u0647 (\u062f\u0631)\n");
}

TEST_F(ReadPageTest, BracketsBesideOtherScriptsAreAPairInLinesFromTheRight)
{
    for (const int place : {0, 1, 2, 3})
        Put(QStringLiteral("\u0634\u0628\u06a9\u0647")[place].unicode(), 195 - 5 * place, 100);
    Put(')', 170, 100); // as both are drawn, with words of either script within
    for (const int place : {0, 1})
        Put(QStringLiteral("\u062f\u0631")[place].unicode(), 165 - 5 * place, 100);
    PutLine("bib", 135, 100);
    Put('(', 130, 100);
    Put(0x634, 115, 100);
    EXPECT_EQ(Plain(),
              QStringLiteral("\u0634\u0628\u06a9\u0647 (\u062f\u0631 bib) \u0634\n").toStdString());
}

TEST_F(ReadPageTest, ABracketBeforeAWordOpensInLinesFromTheRightWhateverFollows)
{
    for (const int place : {0, 1, 2, 3})
        Put(QStringLiteral("\u0634\u0628\u06a9\u0647")[place].unicode(), 195 - 5 * place, 100);
    Put(')', 170, 100); // which closes in a further line
    for (const int place : {0, 1})
        Put(QStringLiteral("\u062f\u0631")[place].unicode(), 165 - 5 * place, 100);
    EXPECT_EQ(Plain(), "\u0634\u0628\u06a9\u0647 (\u062f\u0631\n");
}

TEST_F(ReadPageTest, BracketsBehindNumbersCloseInLinesFromTheRight)
{
    for (const double right : {200, 140}) {
        Put('1', right - 5, 100);
        Put(')', right - 10, 100);
        Put(0x5d0, right - 20, 100);
        Put(0x5d1, right - 25, 100);
    }
    EXPECT_EQ(Plain(), "1) \u05d0\u05d1 1) \u05d0\u05d1\n");
}

TEST_F(ReadPageTest, IntervalsThatOpenOutwardsDoSoInLinesFromTheRight)
{
    for (const int place : {0, 1, 2})
        Put(0x5d0 + char32_t(place), 195 - 5 * place, 100);
    Put(']', 170, 100); // as it is read, behind a word
    Put(0x221e, 162, 100, em * 0.8);
    Put('+', 154, 100, em * 0.8);
    Put(';', 150, 100, em * 0.4);
    Put('0', 145, 100);
    Put(']', 140, 100); // as it is drawn, behind a number
    for (const int place : {0, 1})
        Put(0x5d3 + char32_t(place), 130 - 5 * place, 100);
    EXPECT_EQ(Plain(), "\u05d0\u05d1\u05d2 ]\u221e+;0[ \u05d3\u05d4\n");
}

TEST_F(ReadPageTest, PunctuationThatIsDrawnFromTheLeftIsReadFromTheRight)
{
    for (const int place : {0, 1, 2})
        Put(0x5d0 + char32_t(place), 195 - 5 * place, 100);
    Put('(', 175, 100);
    Put('1', 170, 100);
    Put(':', 157, 100);
    Put('(', 165, 100);
    EXPECT_EQ(Plain(), "\u05d0\u05d1\u05d2 (1) :\n");
}

TEST_F(ReadPageTest, AddressesInLinesFromTheRightStayAsTheyAre)
{
    PutHebrew(300);
    for (const auto& [text, x] :
         std::vector<std::pair<const char*, double>>{{"org", 205}, {".", 200}, {"www", 185}})
        PutLine(text, x, 100); // in parts, from the right
    PutHebrew(175);
    EXPECT_EQ(Plain(), hebrew + " www.org " + hebrew + '\n');
}

TEST_F(ReadPageTest, NumbersThatComeInPartsKeepTheirOrderInLinesFromTheRight)
{
    PutHebrew(300);
    for (const auto& [text, x] :
         std::vector<std::pair<const char*, double>>{{"5", 210}, {".", 205}, {"3", 200}})
        PutLine(text, x, 100); // from the right, as the engine turns them around
    PutHebrew(190);
    EXPECT_EQ(Plain(), hebrew + " 3.5 " + hebrew + '\n');
}

TEST_F(ReadPageTest, NumbersBehindLettersStayThereInLinesFromTheRight)
{
    PutHebrew(300);
    for (const auto& [text, x] :
         std::vector<std::pair<const char*, double>>{{"0660", 210}, {"+", 205}, {"U", 200}})
        PutLine(text, x, 100);
    PutHebrew(190);
    PutLine("10", 145, 100);
    PutLine("Windows", 105, 100);
    PutHebrew(95);
    PutLine("MB", 50, 100);
    PutLine("5", 40, 100);
    EXPECT_EQ(Plain(), hebrew + " U+0660 " + hebrew + " Windows 10 " + hebrew + " 5 MB\n");
}

TEST_F(ReadPageTest, CommandsKeepTheirBracketsInLinesFromTheRight)
{
    PutHebrew(300);
    for (const auto& [text, x] : std::vector<std::pair<const char*, double>>{
             {"]", 230}, {"4-57", 210}, {"[", 205}, {"text", 185}, {"\\", 180}})
        PutLine(text, x, 100);
    PutHebrew(170);
    EXPECT_EQ(Plain(), hebrew + " \\text[4-57] " + hebrew + '\n');
}

TEST_F(ReadPageTest, SectionsOfArabicDigitsAreReadFromTheRight)
{
    Put(0x661, 310, 100);
    Put('.', 305, 100);
    Put(0x662, 300, 100); // the second one of the first chapter
    PutHebrew(290);
    EXPECT_EQ(Plain(), "\u0661.\u0662 " + hebrew + '\n');
}

TEST_F(ReadPageTest, NumbersOfItemsStandBeforeThemInLinesFromTheRight)
{
    PutLine("2", 295, 100);
    PutLine("Windows", 255, 100);
    PutHebrew(245);
    PutHebrew(210);
    EXPECT_EQ(Plain(), "2 Windows " + hebrew + ' ' + hebrew + '\n');
}

TEST_F(ReadPageTest, SingleLettersStayApartFromWordsOfTheOtherDirection)
{
    PutHebrew(300);
    Put('x', 264, 100, 4.5); // close by, as letters of mathematics are
    PutHebrew(260);
    EXPECT_EQ(Plain(), hebrew + " x " + hebrew + '\n');
}

TEST_F(ReadPageTest, WordsBetweenNamesAreNotReadWithThem)
{
    PutHebrew(340);
    PutLine("+06E5", 280, 100); // as the engine tells them
    PutLine("U", 275, 100);
    Put(0x5d5, 265, 100);
    PutLine("+06E6", 235, 100);
    PutLine("U", 230, 100);
    PutHebrew(220);
    EXPECT_EQ(Plain(), hebrew + " U+06E5 \u05d5 U+06E6 " + hebrew + '\n');
}

TEST_F(ReadPageTest, LinesFromTheRightAreReadSoBesideOnesFromTheLeft)
{
    PutLine("A heading of many letters", 150, 80);
    Put('@', 227, 100); // what is drawn from the left stands behind the words
    PutHebrew(300);
    PutHebrew(265);
    EXPECT_EQ(Plain(), "A heading of many letters\n" + hebrew + ' ' + hebrew + " @\n");
}

TEST_F(ReadPageTest, DatesBelowNamesAreReadFromTheRightOnPagesThatAre)
{
    PutLine("A Name of Many Letters", 150, 40);
    PutLine("2020", 210, 52);
    for (const int place : {0, 1, 2})
        Put(0x5d0 + char32_t(place), 245 - 5 * place, 52);
    PutLine("14", 255, 52);
    for (const double right : {335, 300, 265, 230})
        PutHebrew(right);
    EXPECT_EQ(PlainLines(), "A Name of Many Letters\n14 \u05d0\u05d1\u05d2 2020\n" + hebrew + ' ' +
                                hebrew + ' ' + hebrew + ' ' + hebrew);
}

TEST_F(ReadPageTest, ProseWithANameAboveOtherTextIsReadFromTheRightOnPagesThatAre)
{
    for (const double right : {300, 265, 195})
        PutHebrew(right);
    PutLine("LaTeX", 205, 100);
    PutLine("prose from the left follows", 165, 112);
    PutLine("and goes on for a line more", 165, 124);
    for (const double right : {300, 265, 230, 195}) {
        for (int place = 0; place < 24; ++place)
            Put(0x5d0 + char32_t(place), right - 5 * (place % 6 + 1), 200 + 12 * (place / 6));
    }
    EXPECT_EQ(Plain().substr(0, Plain().find("\n")), hebrew + ' ' + hebrew + " LaTeX " + hebrew);
}

TEST_F(ReadPageTest, MarksThatAreDrawnBeforeTheFirstLetterAreItsMarks)
{
    Put(0x64e, 101, 100, 0);
    Put(0x623, 100, 100);
    Put(0x628, 95, 100);
    EXPECT_EQ(Plain(), QStringLiteral("\u0623\u064e\u0628\n").toStdString());
}

TEST_F(ReadPageTest, IdeographicPunctuationFollowsWithoutASpace)
{
    Put(0x3042, 100, 100, 10);
    Put('2', 110, 97, 4, 7); // a superscript
    Put(0xff0c, 116, 100, 10);
    Put(0x3042, 126, 100, 10);
    EXPECT_EQ(Plain(), QStringLiteral("\u30422\uff0c\u3042\n").toStdString());
}

TEST_F(ReadPageTest, WordsOfCapitalsThatArePartedArePutTogether)
{
    PutLine("THIS IS NO WAR-", 50, 100);
    PutLine("RANTY OR LIABILI-", 50, 112);
    PutLine("TY. ISO-", 50, 124);
    PutLine("UK and Xag-", 50, 136);
    PutLine("Group keep theirs", 50, 148);
    EXPECT_EQ(Plain(), "THIS IS NO WARRANTY\nOR LIABILITY.\nISO-UK\nand Xag-Group\nkeep theirs\n");
}

TEST_F(ReadPageTest, SignsThatStandHigherStayInTheirRowOfALayout)
{
    const auto place = [](const char* text, double left, double top) {
        return TextWord{text, QRectF(left, top, 5 * double(qstrlen(text)), em), em, -1};
    };
    const auto line = [](const std::vector<TextWord>& words) {
        return TextLine{words, words.front().box};
    };
    TextPage page;
    page.blocks = {
        {{line({place("leftone", 0, 90)}), line({place("lefttwo", 0, 102)})}, {}},
        {{line({place("x", 50, 95), place("15", 100, 97.5), place("cells", 150, 97.5)})}, {}}};
    EXPECT_EQ(LaidOutText(page).toStdString(), "leftone\nlefttwo   x         15        cells\n");
}

TEST_F(ReadPageTest, WithoutPlacesTheOrderIsTheEngines)
{
    engine.knowsPlaces = false;
    engine.text = "second line\r\n\r\nfirst \x1b[31mline con\ufffeverted";
    EXPECT_EQ(Plain(), "second line\nfirst [31mline converted\n");
}

TEST_F(ReadPageTest, NothingDrawnIsNoText)
{
    EXPECT_EQ(Plain(), "");
    EXPECT_EQ(Read().drawn, 0);
    EXPECT_EQ(Read().size, QSizeF(600, 800));
}

} // namespace
} // namespace Korvel::Worker
