#pragma once

#include "PlainText.h"
#include "ReadPage.h"

#include <string>

#include <gtest/gtest.h>

#include <QStringList>

namespace Korvel::Worker {

/** An engine of one page of given characters. */
class FakeEngine : public PageEngine
{
public:
    bool Open(const std::string& /*path*/) override { return true; }
    bool Open(const QByteArray& /*bytes*/) override { return true; }
    bool HasFailed() const override { return false; }
    int PageCount() const override { return 1; }
    QSizeF PageSize(int /*page*/) override { return size; }
    DrawRows Draw(int /*page*/, const PictureShape& /*shape*/) override { return {}; }
    bool KnowsPlaces() const override { return knowsPlaces; }
    QString Text(int /*page*/) override { return text; }
    DrawnCharacters Characters(int /*page*/, bool /*wantsFonts*/) override { return drawn; }

    QSizeF size{600, 800};
    bool knowsPlaces = true;
    QString text;
    DrawnCharacters drawn;
};

inline constexpr double em = 10;

/** Characters of a page, and what is read from them. */
class ReadPageTest : public testing::Test
{
protected:
    /** A character of half an em, or of a whole one where it is wide, that begins there. */
    void Put(char32_t code, double x, double baseline, double width = em / 2, double size = em)
    {
        TextCharacter character;
        character.code = code;
        character.box = QRectF(x, baseline - 0.8 * size, width, size);
        character.fontSize = size;
        character.origin = QPointF(x, baseline);
        engine.drawn.characters.push_back(character);
    }

    void PutLine(const QString& text, double x, double baseline)
    {
        for (const QChar code : text) {
            if (code != ' ')
                Put(code.unicode(), x, baseline);
            x += em / 2;
        }
    }

    /** A line in letters of six tenths. */
    void PutSmall(const QString& text, double x, double baseline)
    {
        for (const QChar code : text) {
            if (code != ' ')
                Put(code.unicode(), x, baseline, 0.3 * em, 0.6 * em);
            x += 0.3 * em;
        }
    }

    void PutNumber(int number, double x, double baseline)
    {
        for (const QChar digit : QString::number(number)) {
            Put(digit.unicode(), x, baseline, em / 4, em / 2);
            x += em / 4;
        }
    }

    void PutLineUpwards(const QString& text, double baseline, double y)
    {
        for (const QChar code : text) {
            TextCharacter character;
            character.code = code.unicode();
            character.box = QRectF(baseline - 0.8 * em, y - em / 2, em, em / 2);
            character.fontSize = em;
            character.origin = QPointF(baseline, y);
            character.turned = 270;
            if (code != ' ')
                engine.drawn.characters.push_back(character);
            y -= em / 2;
        }
    }

    /** A word from the right, 30 points wide. */
    void PutHebrew(double right)
    {
        for (const int place : {0, 1, 2, 3, 4, 5})
            Put(0x5d0 + char32_t(place), right - 5 * (place + 1), 100);
    }

    const std::string hebrew = "\u05d0\u05d1\u05d2\u05d3\u05d4\u05d5";

    TextPage Read() { return ReadPage(engine, 0, false); }

    /** Without empty lines. */
    std::string PlainLines()
    {
        const QStringList lines = QString::fromStdString(Plain()).split('\n', Qt::SkipEmptyParts);
        return lines.join('\n').toStdString();
    }

    std::string Plain() { return PlainText(Read(), true).toStdString(); }

    FakeEngine engine;
};

} // namespace Korvel::Worker
