#include "PlaceMarginNotes.h"

#include "Paragraphs.h"
#include "Prose.h"
#include "ReadingOrder.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <utility>

#include <QPointF>

namespace Korvel::Worker {

namespace {

/** The blocks of a note, and how many of the page's come before it. */
struct Placed
{
    std::vector<TextBlock> blocks;
    double top = 0;
    std::size_t place = 0;
};

/** How heights are measured in the frame whose second axis is given, on the page as it is shown. */
class Heights
{
public:
    explicit Heights(const QPointF& down) : down(down) {}

    double Middle(const QRectF& box) const { return QPointF::dotProduct(box.center(), down); }
    double Top(const QRectF& box) const { return Middle(box) - Half(box); }
    double Bottom(const QRectF& box) const { return Middle(box) + Half(box); }

private:
    double Half(const QRectF& box) const
    {
        return (std::abs(down.x()) * box.width() + std::abs(down.y()) * box.height()) / 2;
    }

    const QPointF down;
};

/** Whether its last word ends a sentence, whatever number of a note or bracket is behind it. */
bool EndsWithSentence(const TextBlock& block)
{
    const QString& word = block.lines.back().words.back().text;
    const auto end = std::find_if(word.rbegin(), word.rend(), [](QChar one) {
        return one.isLetter() || one == QLatin1Char(',') || one == QLatin1Char(';') ||
               EndsSentence(one);
    });
    return end != word.rend() && EndsSentence(*end) && *end != QLatin1Char(':');
}

std::size_t BehindSentence(const std::vector<TextBlock>& blocks, std::size_t from, std::size_t end)
{
    while (from < end && !EndsWithSentence(blocks[from]))
        ++from;
    return std::min(from + 1, end);
}

QRectF BoxOf(const std::vector<TextLine>& lines)
{
    QRectF box = lines.front().box;
    for (const TextLine& line : lines)
        box |= line.box;
    return box;
}

void SplitBlock(std::vector<TextBlock>& blocks, std::size_t index, std::size_t line)
{
    TextBlock rest;
    std::vector<TextLine>& lines = blocks[index].lines;
    const auto first = lines.begin() + std::ptrdiff_t(line);
    std::move(first, lines.end(), std::back_inserter(rest.lines));
    lines.erase(first, lines.end());
    blocks[index].box = BoxOf(lines);
    rest.box = BoxOf(rest.lines);
    blocks.insert(blocks.begin() + std::ptrdiff_t(index) + 1, std::move(rest));
}

/** Finds where notes belong between blocks. */
class Placer
{
public:
    Placer(std::vector<TextBlock> blocks, double bottom, const Affine& shown)
        : blocks(std::move(blocks)), bottom(bottom), shown(shown), heights(shown.across)
    {
    }

    void Place(const MarginNote& note)
    {
        Placed one;
        one.blocks = FindParagraphs(InReadingOrder(note.runs), shown);
        const QRectF& first = one.blocks.front().lines.front().box;
        one.top = heights.Top(first);
        const Line beside = LineAt(heights.Middle(first));
        one.place = beside.block;
        if (!note.isHeading)
            one.place = BehindSentence(blocks, beside.block, EndOfProse());
        else if (beside.line > 0)
            one.place = Split(beside);
        placed.push_back(std::move(one));
    }

    std::vector<TextBlock> All()
    {
        std::stable_sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
            return std::tie(a.place, a.top) < std::tie(b.place, b.top);
        });
        std::vector<TextBlock> all;
        auto next = placed.begin();
        for (std::size_t i = 0; i <= blocks.size(); ++i) {
            for (; next != placed.end() && next->place == i; ++next)
                std::move(next->blocks.begin(), next->blocks.end(), std::back_inserter(all));
            if (i < blocks.size())
                all.push_back(std::move(blocks[i]));
        }
        return all;
    }

private:
    struct Line
    {
        std::size_t block;
        std::size_t line;
    };

    /** The number of blocks without those below the prose, as the foot of a page is. */
    std::size_t EndOfProse() const
    {
        const auto last =
            std::find_if(blocks.rbegin(), blocks.rend(), [this](const TextBlock& block) {
                return heights.Top(block.box) < bottom;
            });
        return std::size_t(last.base() - blocks.begin());
    }

    /** The line that stands at this height; else the first one of the block there, or below. */
    Line LineAt(double height) const
    {
        const std::size_t end = EndOfProse();
        for (std::size_t i = 0; i < end; ++i) {
            for (std::size_t line = 0; line < blocks[i].lines.size(); ++line) {
                const QRectF& box = blocks[i].lines[line].box;
                if (heights.Top(box) <= height && height < heights.Bottom(box))
                    return {i, line};
            }
        }
        const auto below = std::find_if(
            blocks.begin(), blocks.begin() + std::ptrdiff_t(end),
            [&](const TextBlock& block) { return heights.Bottom(block.box) > height; });
        return {std::size_t(below - blocks.begin()), 0};
    }

    /** Parts a block before a paragraph that looks like no other but has a heading beside it. */
    std::size_t Split(const Line& before)
    {
        SplitBlock(blocks, before.block, before.line);
        for (Placed& other : placed)
            other.place += std::size_t(other.place > before.block);
        return before.block + 1;
    }

    std::vector<TextBlock> blocks;
    std::vector<Placed> placed;
    const double bottom;
    const Affine shown;
    const Heights heights;
};

} // namespace

std::vector<TextBlock> PlaceMarginNotes(std::vector<TextBlock> blocks, const MarginNotes& margins,
                                        const Affine& shown)
{
    Placer placer(std::move(blocks), margins.bottom, shown);
    for (const MarginNote& note : margins.notes)
        placer.Place(note);
    return placer.All();
}

} // namespace Korvel::Worker
