#include "ReadPage.h"

#include "DropCaps.h"
#include "FindGlyphs.h"
#include "FindRuns.h"
#include "LineNumbers.h"
#include "MarginNotes.h"
#include "Paragraphs.h"
#include "PlaceMarginNotes.h"
#include "PlaceMarks.h"
#include "ReadingOrder.h"
#include "Readings.h"

#include <algorithm>
#include <iterator>

#include <QStringList>

namespace Korvel::Worker {

namespace {

/** The engine's own lines, without what no text holds. */
TextPage ReadLines(PageEngine& engine, int page)
{
    TextPage text;
    TextBlock block;
    constexpr QChar hyphenAtEndOfLine(0xfffe); // PDFium's
    QString whole = engine.Text(page);
    whole.replace(hyphenAtEndOfLine, QLatin1String("-\r\n"));
    for (const QString& drawn : whole.split(QLatin1String("\r\n"))) {
        TextLine line;
        const QStringList words =
            CleanLine(drawn, text.drawn, text.unmapped).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (const QString& word : words)
            line.words.push_back({word, {}, 0, -1});
        if (!line.words.empty())
            block.lines.push_back(std::move(line));
    }
    if (!block.lines.empty())
        text.blocks.push_back(std::move(block));
    return text;
}

/** Leaves away what stands beside the page. */
void KeepShown(std::vector<TextCharacter>& characters, const QSizeF& size)
{
    const QRectF shown(QPointF(0, 0), size);
    const auto isBeside = [&shown](const TextCharacter& character) {
        const QRectF& box = character.box;
        return !(box.right() > shown.left() && box.left() < shown.right() &&
                 box.bottom() > shown.top() && box.top() < shown.bottom());
    };
    characters.erase(std::remove_if(characters.begin(), characters.end(), isBeside),
                     characters.end());
}

void Append(std::vector<TextBlock>& blocks, std::vector<TextBlock> further)
{
    blocks.insert(blocks.end(), std::make_move_iterator(further.begin()),
                  std::make_move_iterator(further.end()));
}

/** The blocks of a writing, with the notes of its margins apart. */
std::vector<TextBlock> ReadRuns(std::vector<Run>& runs, const Affine& shown)
{
    const std::vector<Region> regions = InReadingOrder(runs);
    const MarginNotes margins = TakeMarginNotes(runs, regions);
    if (margins.notes.empty())
        return FindParagraphs(regions, shown);
    return PlaceMarginNotes(FindParagraphs(InReadingOrder(runs), shown), margins, shown);
}

TextPage ReadCharacters(PageEngine& engine, int page, bool wantsFonts)
{
    TextPage text;
    DrawnCharacters drawn = engine.Characters(page, wantsFonts);
    KeepShown(drawn.characters, engine.PageSize(page));
    PageGlyphs glyphs = FindGlyphs(drawn.characters);
    std::vector<TextBlock> numbers;
    for (Writing& writing : glyphs.writings) {
        PlaceMarks(writing.glyphs);
        std::vector<Run> runs = FindRuns(writing.glyphs);
        Append(numbers, TakeLineNumbers(runs, writing.Back()));
        const std::vector<Reading> readings = TakeReadings(runs);
        JoinDropCaps(runs);
        Append(text.blocks,
               PlaceReadings(ReadRuns(runs, writing.Back()), readings, writing.Back()));
    }
    Append(text.blocks, std::move(numbers));
    text.fonts = std::move(drawn.fonts);
    text.drawn = glyphs.drawn;
    text.unmapped = glyphs.unmapped;
    return text;
}

} // namespace

TextPage ReadPage(PageEngine& engine, int page, bool wantsFonts)
{
    TextPage text =
        engine.KnowsPlaces() ? ReadCharacters(engine, page, wantsFonts) : ReadLines(engine, page);
    text.size = engine.PageSize(page);
    return text;
}

} // namespace Korvel::Worker
