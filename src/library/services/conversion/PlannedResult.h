#pragma once

#include "PagePicture.h"

#include <QByteArray>
#include <QString>

namespace Korvel::PDF::Converter {

/** One result to make. */
struct PlannedResult
{
    /** From 1; 0 for the document as a whole. */
    int page = 0;
    /** Where it goes when nothing is there. */
    QString wanted;
    /** Where it goes, or has gone; empty when it is left away. */
    QString path;
    /** It is wanted as bytes, and its path names nothing. */
    bool isInMemory = false;
    bool isPlaced = false;
    QByteArray bytes = {};
    PagePicture picture = {};
};

} // namespace Korvel::PDF::Converter
