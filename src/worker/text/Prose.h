#pragma once

#include "Run.h"

#include <optional>
#include <vector>

#include <QChar>
#include <QRectF>

namespace Korvel::Worker {

/** What stands on one baseline of a page's prose. */
struct ProseRow
{
    QRectF box;
    double baseline = 0;
    QChar first;
    QChar last;
    /** How wide what is written is, without wide gaps. */
    double written = 0;
    /** Whether it is in the usual letters of the page; quotations may be in smaller ones. */
    bool isUsual = false;
};

/** The prose of a page as a whole: the rows of all columns, from the top. */
struct Prose
{
    std::vector<ProseRow> rows;
    /** That of the usual letters. */
    double em = 0;
    /** Where hardly any of the usual letters is before, or behind. */
    double left = 0;
    double right = 0;
    /** Where the rows begin and end that fill the width. */
    double top = 0;
    double bottom = 0;
    /** How far rows are apart. */
    double pitch = 0;
    bool isRightToLeft = false;

    double Width() const { return right - left; }

    /** Whether letters of this size are no smaller than the usual ones. */
    bool IsUsual(double size) const;

    /** Whether the row of this index goes on with a sentence of the one before. */
    bool GoesOn(std::size_t row) const;

    /** The row at this height, by its index. */
    std::optional<std::size_t> RowAt(double height) const;

    /** Whether the row is a line that fills the width, and no row of a table. */
    bool IsFull(const ProseRow& row) const;
};

/** Nothing for a page of hardly any lines that fill the width. */
std::optional<Prose> FindProse(const std::vector<Run>& runs);

/** Whether a sentence ends with it, or what comes before a list. */
bool EndsSentence(QChar last);

} // namespace Korvel::Worker
