#include "LaidOutText.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <QVector>

namespace Korvel::Worker {

namespace {

constexpr double widestSpaceInEms = 0.8;
constexpr double smallestWidth = 0.01;
constexpr int mostColumns = 300;
constexpr int mostEmptyLines = 8;

/** Words with no more than a space between each other. */
struct Piece
{
    QString text;
    QRectF box;
    int columns = 0;
};

/** Pieces of one height. */
using Row = std::vector<Piece>;

/** How many places of a terminal a text takes. */
int ColumnsOf(const QString& text)
{
    int columns = 0;
    for (const uint code : text.toUcs4())
        columns += IsCombining(code) ? 0 : IsIdeographic(code) ? 2 : 1;
    return columns;
}

/** How far the words are apart, in ems. */
double GapBetween(const TextWord& word, const TextWord& next)
{
    const double gap =
        std::max(next.box.left() - word.box.right(), word.box.left() - next.box.right());
    return gap / std::max({word.size, next.size, smallestWidth});
}

/** The widest gap of the line that is a space, in ems: lines that are justified stretch theirs. */
double WidestSpace(const TextLine& line)
{
    constexpr std::size_t fewest = 3;
    constexpr double widestStretched = 1.5;
    constexpr double widerThanOthers = 2; // at the end of a sentence
    constexpr double alike = 1.3;
    std::vector<double> gaps;
    for (std::size_t i = 1; i < line.words.size(); ++i)
        gaps.push_back(GapBetween(line.words[i - 1], line.words[i]));
    if (gaps.size() < fewest)
        return widestSpaceInEms;
    std::sort(gaps.begin(), gaps.end());
    const double usual = gaps[gaps.size() / 2];
    if (usual < widestStretched && gaps.back() <= alike * usual)
        return std::max(widestSpaceInEms, alike * usual);
    return usual < widestSpaceInEms ? std::max(widestSpaceInEms, widerThanOthers * usual)
                                    : widestSpaceInEms;
}

/** Signs may stand higher than their line, or lower: all are to be in the row of the longest. */
void Align(std::vector<Piece>::iterator first, std::vector<Piece>::iterator end)
{
    const auto longest = std::max_element(
        first, end, [](const Piece& a, const Piece& b) { return a.text.size() < b.text.size(); });
    for (auto piece = first; piece != end; ++piece) {
        piece->box.setTop(longest->box.top());
        piece->box.setBottom(longest->box.bottom());
    }
}

void AddPieces(const TextLine& line, std::vector<Piece>& pieces)
{
    const auto first = std::ptrdiff_t(pieces.size());
    const double widest = WidestSpace(line);
    const TextWord* before = nullptr;
    for (const TextWord& word : line.words) {
        if (before && GapBetween(*before, word) <= widest) {
            pieces.back().text += QLatin1Char(' ') + word.text;
            pieces.back().box |= word.box;
        } else {
            pieces.push_back({word.text, word.box, 0});
        }
        before = &word;
    }
    Align(pieces.begin() + first, pieces.end());
}

std::vector<Piece> PiecesOf(const TextPage& page)
{
    std::vector<Piece> pieces;
    for (const TextBlock& block : page.blocks) {
        for (const TextLine& line : block.lines)
            AddPieces(line, pieces);
    }
    for (Piece& piece : pieces)
        piece.columns = ColumnsOf(piece.text);
    return pieces;
}

bool IsOfRow(const Row& row, const Piece& piece)
{
    const QRectF& box = row.front().box;
    const double shared =
        std::min(box.bottom(), piece.box.bottom()) - std::max(box.top(), piece.box.top());
    return shared >= 0.5 * std::min(box.height(), piece.box.height());
}

/** The rows from the top, each from the left. */
std::vector<Row> RowsOf(std::vector<Piece> pieces)
{
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) {
        return a.box.center().y() < b.box.center().y();
    });
    std::vector<Row> rows;
    for (Piece& piece : pieces) {
        if (rows.empty() || !IsOfRow(rows.back(), piece))
            rows.emplace_back();
        rows.back().push_back(std::move(piece));
    }
    for (Row& row : rows)
        std::stable_sort(row.begin(), row.end(), [](const Piece& a, const Piece& b) {
            return a.box.left() < b.box.left();
        });
    return rows;
}

/** The value that a part of them is below; `otherwise` where there are none. */
double Quantile(std::vector<double> values, double part, double otherwise)
{
    if (values.empty())
        return otherwise;
    const auto place = values.begin() + std::ptrdiff_t(part * double(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

/** How wide a column is: as most letters are, or less where pieces would push others aside. */
double WidthOfColumn(const std::vector<Row>& rows)
{
    std::vector<double> ofLetters;
    std::vector<double> ofSteps;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            ofLetters.push_back(row[i].box.width() / std::max(1, row[i].columns));
            if (i > 0)
                ofSteps.push_back((row[i].box.left() - row[i - 1].box.left()) /
                                  (row[i - 1].columns + 1));
        }
    }
    const double usual = std::max(smallestWidth, Quantile(ofLetters, 0.5, 1));
    return std::clamp(Quantile(ofSteps, 0.05, usual), usual / 2, usual);
}

/** What most rows are apart, but no less than letters are high: columns may lie between rows. */
double HeightOfRow(const std::vector<Row>& rows)
{
    std::vector<double> steps;
    std::vector<double> heights;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const QRectF& box = rows[i].front().box;
        heights.push_back(box.height());
        if (i > 0)
            steps.push_back(box.center().y() - rows[i - 1].front().box.center().y());
    }
    return std::max({smallestWidth, Quantile(steps, 0.5, 1), Quantile(heights, 0.5, 1)});
}

/** Spaces that the line wants before a piece that stands `right` of the text's left. */
int SpacesBefore(double right, double width, int written)
{
    const double column = std::clamp(right / width, 0.0, double(mostColumns));
    return std::max(int(std::lround(column)) - written, written > 0 ? 1 : 0);
}

QByteArray LineOf(const Row& row, double left, double width)
{
    QByteArray line;
    int written = 0;
    for (const Piece& piece : row) {
        const int spaces = SpacesBefore(piece.box.left() - left, width, written);
        line += QByteArray(spaces, ' ') + piece.text.toUtf8();
        written += spaces + piece.columns;
    }
    return line + '\n';
}

} // namespace

QByteArray LaidOutText(const TextPage& page)
{
    const std::vector<Row> rows = RowsOf(PiecesOf(page));
    if (rows.empty())
        return {};
    double left = rows.front().front().box.left();
    for (const Row& row : rows)
        left = std::min(left, row.front().box.left());
    const double width = WidthOfColumn(rows);
    const double height = HeightOfRow(rows);
    QByteArray text;
    double before = rows.front().front().box.center().y();
    for (const Row& row : rows) {
        const double place = row.front().box.center().y();
        const double lines = std::clamp((place - before) / height, 1.0, 1.0 + mostEmptyLines);
        text += QByteArray(int(std::lround(lines)) - 1, '\n') + LineOf(row, left, width);
        before = place;
    }
    return text;
}

} // namespace Korvel::Worker
