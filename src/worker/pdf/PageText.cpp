#include "PageText.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <vector>

#include <QStringList>

namespace Korvel::Worker {

namespace {

// To order more lines takes too long; that many are on no page that somebody reads.
constexpr int mostLines = 400;

/** How far apart lines of one block are at most. */
constexpr qreal closeInLineHeights = 1.5;

const QLatin1String endOfLine("\r\n");

struct Line
{
    QString text;
    QRectF box;
    /** The box of the line and those that stand close above and below each other. */
    QRectF block;
};

/** Whether no text is drawn above text that was drawn before it, as on most pages. */
bool IsDrawnDownwards(const std::vector<QRectF>& boxes)
{
    qreal lowest = 0;
    for (const QRectF& box : boxes) {
        if (box.bottom() < lowest)
            return false;
        lowest = std::max(lowest, box.center().y());
    }
    return true;
}

QRectF Whole(const std::vector<QRectF>& boxes)
{
    return std::accumulate(boxes.begin(), boxes.end(), QRectF(), std::bit_or<QRectF>());
}

/** The page's lines as they are drawn; none when their places cannot be told. */
std::vector<Line> DrawnLines(PageEngine& engine, int index, const QStringList& texts)
{
    std::vector<Line> lines;
    int start = 0;
    for (const QString& text : texts) {
        const DrawnText line = engine.Text(index, start, text.size());
        if (line.text != text)
            return {};
        const QRectF box = Whole(line.boxes);
        lines.push_back({text, box, box});
        start += text.size() + endOfLine.size();
    }
    return lines;
}

bool ShareColumn(const QRectF& a, const QRectF& b)
{
    return a.left() < b.right() && b.left() < a.right();
}

bool AreClose(const QRectF& a, const QRectF& b)
{
    const qreal gap = std::max(a.top(), b.top()) - std::min(a.bottom(), b.bottom());
    return ShareColumn(a, b) && gap < closeInLineHeights * std::max(a.height(), b.height());
}

void FindBlocks(std::vector<Line>& lines)
{
    std::vector<Line*> left;
    for (Line& line : lines)
        left.push_back(&line);
    while (!left.empty()) {
        std::vector<Line*> block{left.back()};
        left.pop_back();
        for (std::size_t i = 0; i < block.size(); ++i) {
            const auto close = std::partition(left.begin(), left.end(), [&](const Line* line) {
                return !AreClose(line->box, block[i]->box);
            });
            block.insert(block.end(), close, left.end());
            left.erase(close, left.end());
        }
        QRectF whole;
        for (const Line* const line : block)
            whole |= line->box;
        for (Line* const line : block)
            line->block = whole;
    }
}

/** Whether a line reaches over the columns of both, at a height between them. */
bool AreParted(const QRectF& a, const QRectF& b, const std::vector<Line>& lines)
{
    const auto [upper, lower] = std::minmax({a.center().y(), b.center().y()});
    return std::any_of(lines.begin(), lines.end(),
                       [&, upper = upper, lower = lower](const Line& line) {
                           const qreal height = line.box.center().y();
                           return upper < height && height < lower && ShareColumn(line.box, a) &&
                                  ShareColumn(line.box, b);
                       });
}

/** Whether `a` is read before `b` for its place on the page. */
bool IsReadBefore(const Line& a, const Line& b, const std::vector<Line>& lines)
{
    if (ShareColumn(a.box, b.box))
        return a.box.center().y() < b.box.center().y();
    const bool areBeside = a.block.top() < b.block.bottom() && b.block.top() < a.block.bottom();
    return areBeside && a.box.right() <= b.box.left() && !AreParted(a.box, b.box, lines);
}

/** The lines, each after those that are read before it, else in the order they are drawn in. */
std::vector<Line> InReadingOrder(std::vector<Line> lines)
{
    FindBlocks(lines);
    const std::size_t count = lines.size();
    std::vector<std::vector<std::size_t>> followers(count);
    std::vector<int> waitsFor(count, 0);
    for (std::size_t a = 0; a < count; ++a) {
        for (std::size_t b = 0; b < count; ++b) {
            if (IsReadBefore(lines[a], lines[b], lines)) {
                followers[a].push_back(b);
                ++waitsFor[b];
            }
        }
    }
    std::vector<Line> ordered;
    std::vector<std::size_t> left(count);
    std::iota(left.begin(), left.end(), std::size_t(0));
    while (!left.empty()) {
        // Skewed lines can wait for each other; the first one goes then.
        const auto ready = std::find_if(left.begin(), left.end(),
                                        [&](std::size_t line) { return waitsFor[line] <= 0; });
        const auto next = ready == left.end() ? left.begin() : ready;
        for (const std::size_t follower : followers[*next])
            --waitsFor[follower];
        ordered.push_back(std::move(lines[*next]));
        left.erase(next);
    }
    return ordered;
}

QString WithLineFeeds(QString text)
{
    // PDFium puts this in the place of a hyphen and the end of its line.
    constexpr QChar endOfLineWithinWord(0xfffe);
    text.replace(endOfLineWithinWord, QLatin1String("-\n"));
    text.replace(endOfLine, QLatin1String("\n"));
    return text;
}

} // namespace

QString TextInReadingOrder(PageEngine& engine, int index)
{
    const DrawnText page = engine.Text(index);
    const QStringList texts = page.text.split(endOfLine);
    if (texts.size() > mostLines || IsDrawnDownwards(page.boxes))
        return WithLineFeeds(page.text);
    const std::vector<Line> lines = DrawnLines(engine, index, texts);
    if (lines.empty())
        return WithLineFeeds(page.text);
    QStringList ordered;
    for (const Line& line : InReadingOrder(lines))
        ordered.append(line.text);
    return WithLineFeeds(ordered.join(QLatin1Char('\n')));
}

} // namespace Korvel::Worker
