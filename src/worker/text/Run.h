#pragma once

#include "TextPage.h"

#include <vector>

#include <QRectF>

namespace Korvel::Worker {

/** Words that are drawn one after the other on one baseline; boxes are in the writing's frame. */
struct Run
{
    std::vector<TextWord> words;
    QRectF box;
    double baseline = 0;
    /** The largest em of its characters. */
    double em = 0;
    int characters = 0;
    /** How many more letters are written to the right than to the left. */
    int direction = 0;

    /** Whether it is of punctuation alone, which is drawn from left to right wherever it stands. */
    bool isPunctuation = false;

    bool IsRightToLeft() const { return direction < 0; }
};

} // namespace Korvel::Worker
