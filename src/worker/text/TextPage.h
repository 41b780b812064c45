#pragma once

#include <string>
#include <vector>

#include <QRectF>
#include <QSizeF>
#include <QString>

namespace Korvel::Worker {

/** A word and where it stands, in points from the top left of what is shown of its page. */
struct TextWord
{
    QString text;
    QRectF box;
    /** The em of its font, in points. */
    double size = 0;
    /** An index into the fonts of the page; -1 where they are not known. */
    int font = -1;
};

/** Words on one baseline, in the order in which they are read. */
struct TextLine
{
    std::vector<TextWord> words;
    QRectF box;
};

/** A paragraph, a heading, a row of a table: what blank lines set apart. */
struct TextBlock
{
    std::vector<TextLine> lines;
    QRectF box;
};

/** The text of a page in reading order. */
struct TextPage
{
    QSizeF size;
    std::vector<TextBlock> blocks;
    std::vector<std::string> fonts;
    /** How many characters are drawn. */
    int drawn = 0;
    /** Of how many of them the document does not say which they are. */
    int unmapped = 0;
};

} // namespace Korvel::Worker
