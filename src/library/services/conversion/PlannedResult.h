#pragma once

#include "PagePicture.h"

#include <QByteArray>
#include <QString>

namespace Korvel::PDF::Converter {

/** One result to make. */
struct PlannedResult
{
    /** Why a result is put nowhere. */
    enum class Refusal {
        Failed, ///< it cannot be put at its path, or read
        Taken,  ///< something is there, and there is to be no other path for it
        Empty   ///< nothing is in it, as there was no space for more
    };

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
    /** Why it is put nowhere, where that was tried. */
    Refusal refusal = Refusal::Failed;
    /** What to tell people of that, such as "cannot write /out/1.png: Permission denied". */
    QString whyRefused = {};
};

} // namespace Korvel::PDF::Converter
