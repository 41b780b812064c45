#pragma once

#include "Affine.h"
#include "Glyph.h"
#include "PageEngine.h"

#include <vector>

#include <QString>

namespace Korvel::Worker {

/** The glyphs of a page that are written in one direction, as they are drawn. */
struct Writing
{
    /** How far its baselines are turned, clockwise in degrees. */
    int turned = 0;
    /** Whether its characters stand below each other, upright, in lines from right to left. */
    bool isVertical = false;
    std::vector<Glyph> glyphs;

    /** What takes points of the page to its frame. */
    Affine frame;

    /** What takes points of its frame to the page. */
    Affine Back() const { return Affine::Turned(isVertical ? 90 : turned); }
};

/** A page's glyphs, by the direction in which they are written, those of the most first. */
struct PageGlyphs
{
    std::vector<Writing> writings;
    int drawn = 0;
    /** How many have no code that says what they are. */
    int unmapped = 0;
};

/**
 * Finds what can be seen: without control characters and marks of direction, ligatures and shapes
 * of letters as the letters that they stand for.
 */
PageGlyphs FindGlyphs(const std::vector<TextCharacter>& characters);

/**
 * A line of text as FindGlyphs leaves it, a space in the place of each.
 *
 * @param drawn, unmapped  are counted on
 */
QString CleanLine(const QString& line, int& drawn, int& unmapped);

} // namespace Korvel::Worker
