#include "MarginNotes.h"

#include "Prose.h"
#include "Rivers.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>
#include <utility>

#include <QRectF>

namespace Korvel::Worker {

namespace {

constexpr double narrowestGap = 0.7; // in ems of the prose

/** What stands close below each other in a margin. */
struct Note
{
    /** From the top. */
    Runs runs;
    QRectF box;
    double em = 0;
    bool isRight = false;
};

std::vector<Note> FindNotes(const std::vector<Run>& runs, const Prose& prose, bool isRight)
{
    Runs beside;
    for (const Run& run : runs) {
        const double gap = isRight ? run.box.left() - prose.right : prose.left - run.box.right();
        if (!prose.IsUsual(run.em) && gap >= narrowestGap * prose.em)
            beside.push_back(&run);
    }
    std::stable_sort(beside.begin(), beside.end(),
                     [](const Run* a, const Run* b) { return a->box.top() < b->box.top(); });
    std::vector<Note> notes;
    for (const Run* const run : beside) {
        constexpr double farthest = 1.2; // in ems
        if (notes.empty() || run->box.top() - notes.back().box.bottom() > farthest * run->em)
            notes.push_back({{}, run->box, 0, isRight});
        Note& note = notes.back();
        note.runs.push_back(run);
        note.box |= run->box;
        note.em = std::max(note.em, run->em);
    }
    return notes;
}

bool IsOfLetters(const Note& note)
{
    constexpr int fewest = 3;
    int letters = 0;
    int characters = 0;
    for (const Run* const run : note.runs) {
        for (const TextWord& word : run->words) {
            characters += int(word.text.size());
            letters += int(std::count_if(word.text.begin(), word.text.end(),
                                         [](QChar one) { return one.isLetter(); }));
        }
    }
    return letters >= fewest && letters * 2 >= characters;
}

/** Whether most of it begins at its left, or ends at its right. */
bool IsAligned(const Note& note)
{
    const double near = 0.3 * note.em;
    const auto aligned = std::count_if(note.runs.begin(), note.runs.end(), [&](const Run* run) {
        return run->box.left() - note.box.left() < near ||
               note.box.right() - run->box.right() < near;
    });
    return aligned * 2 >= std::ptrdiff_t(note.runs.size());
}

bool IsBeside(const Run& run, const Note& note)
{
    const double inset = run.box.height() / 8; // the ends of a box are hardly ever inked
    return run.box.bottom() - inset > note.box.top() && run.box.top() + inset < note.box.bottom() &&
           std::find(note.runs.begin(), note.runs.end(), &run) == note.runs.end();
}

/** How many of the note's lines the run could be a cell beside. */
int RowsWith(const Run& run, const Note& note)
{
    constexpr double otherSize = 0.05;
    constexpr double near = 0.1; // in ems
    if (std::abs(run.em - note.em) >= otherSize * note.em)
        return 0;
    return int(std::count_if(note.runs.begin(), note.runs.end(), [&](const Run* one) {
        return std::abs(one->baseline - run.baseline) < near * note.em;
    }));
}

/** Whether nothing reaches to where it is, and what is beside it is no other cell of its rows. */
bool StandsAlone(const Note& note, const std::vector<Run>& runs, const Prose& prose)
{
    int rows = 0;
    for (const Run& run : runs) {
        if (!IsBeside(run, note))
            continue;
        const double gap =
            note.isRight ? note.box.left() - run.box.right() : run.box.left() - note.box.right();
        if (gap < narrowestGap * prose.em)
            return false;
        rows += RowsWith(run, note);
    }
    return rows * 2 < int(note.runs.size());
}

bool IsNote(const Note& note, const std::vector<Run>& runs, const Prose& prose)
{
    constexpr double mostOfWidth = 0.6;
    return note.box.width() <= mostOfWidth * prose.Width() && note.box.bottom() > prose.top &&
           note.box.top() < prose.bottom && IsOfLetters(note) && IsAligned(note) &&
           StandsAlone(note, runs, prose);
}

/** How many lines of a note stand beside rows of prose, and in how many a sentence goes on. */
struct Neighbours
{
    int rows = 0;
    /** With that of the row before. */
    int goingOn = 0;
    /** In the row below. */
    int goneOnWith = 0;
};

Neighbours NeighboursOf(const Note& note, const Prose& prose)
{
    Neighbours neighbours;
    for (const Run* const run : note.runs) {
        const auto row = prose.RowAt(run->box.center().y());
        if (!row)
            continue;
        ++neighbours.rows;
        neighbours.goingOn += int(prose.GoesOn(*row));
        neighbours.goneOnWith += int(prose.GoesOn(*row + 1));
    }
    return neighbours;
}

/** Where lines end: whether it would be read within a sentence, or line by line with others. */
bool PartsLines(const Note& note, const Prose& prose)
{
    const Neighbours neighbours = NeighboursOf(note, prose);
    return neighbours.goingOn + neighbours.goneOnWith > 0 || note.box.height() > 2 * note.em;
}

/** Where lines begin: whether it stands at the first line of what is beside it. */
bool IsHeading(const Note& note, const Prose& prose)
{
    const auto row = prose.RowAt(note.runs.front()->box.center().y());
    return !row || !prose.GoesOn(*row);
}

/** Where lines begin: whether it stands beside one paragraph, and not before rows of a list. */
bool StandsBesideParagraph(const Note& note, const Prose& prose)
{
    const auto row = prose.RowAt(note.runs.front()->box.center().y());
    if (row && prose.GoesOn(*row)) {
        const QChar first = prose.rows[*row].first;
        if (!first.isLower() && first.category() != QChar::Letter_Other)
            return false; // an item may begin with it, behind one that fills its line
    }
    const Neighbours neighbours = NeighboursOf(note, prose);
    return neighbours.goingOn > 0 && neighbours.goingOn * 3 >= (neighbours.rows - 1) * 2;
}

/** Those of one margin that are to be taken. */
std::vector<Note> NotesOf(const std::vector<Run>& runs, const Prose& prose, bool isRight)
{
    const bool areWhereLinesBegin = isRight == prose.isRightToLeft;
    std::vector<Note> notes = FindNotes(runs, prose, isRight);
    notes.erase(std::remove_if(notes.begin(), notes.end(),
                               [&](const Note& note) {
                                   return !IsNote(note, runs, prose) ||
                                          (areWhereLinesBegin &&
                                           !StandsBesideParagraph(note, prose));
                               }),
                notes.end());
    const bool areTaken =
        areWhereLinesBegin || std::any_of(notes.begin(), notes.end(), [&prose](const Note& note) {
            return PartsLines(note, prose);
        });
    return areTaken ? notes : std::vector<Note>();
}

/** Whether the order has all notes before the prose, or all behind it, as it has a column. */
bool AreReadApart(const std::vector<Note>& notes, const std::vector<Region>& order,
                  const Prose& prose)
{
    std::set<const Run*> ofNotes;
    for (const Note& note : notes)
        ofNotes.insert(note.runs.begin(), note.runs.end());
    const auto isOfNote = [&ofNotes](const Run* run) {
        return ofNotes.count(run) > 0;
    };
    const auto isOfProse = [&](const Run* run) {
        return !isOfNote(run) && run->baseline > prose.top && run->baseline < prose.bottom;
    };
    int turns = 0;
    bool wasNote = false;
    for (const Region& region : order) {
        for (const RunLine& line : region) {
            const bool hasNote = std::any_of(line.runs.begin(), line.runs.end(), isOfNote);
            const bool hasProse = std::any_of(line.runs.begin(), line.runs.end(), isOfProse);
            if (hasNote && hasProse)
                return false;
            if (!hasNote && !hasProse)
                continue;
            turns += int(hasNote != wasNote);
            wasNote = hasNote;
        }
    }
    return turns <= 1 || (turns == 2 && !wasNote);
}

} // namespace

MarginNotes TakeMarginNotes(std::vector<Run>& runs, const std::vector<Region>& order)
{
    constexpr std::size_t mostRuns = 5000; // a page of more is a table
    const auto prose = runs.size() <= mostRuns ? FindProse(runs) : std::nullopt;
    if (!prose)
        return {};
    std::vector<Note> notes = NotesOf(runs, *prose, false);
    for (Note& note : NotesOf(runs, *prose, true))
        notes.push_back(std::move(note));
    if (notes.empty() || AreReadApart(notes, order, *prose))
        return {};
    MarginNotes taken;
    taken.bottom = prose->bottom;
    std::set<const Run*> ofNotes;
    for (Note& note : notes) {
        MarginNote& one = taken.notes.emplace_back();
        one.isHeading = note.isRight == prose->isRightToLeft && IsHeading(note, *prose);
        std::sort(note.runs.begin(), note.runs.end()); // as they are drawn
        for (const Run* const run : note.runs)
            one.runs.push_back(*run);
        ofNotes.insert(note.runs.begin(), note.runs.end());
    }
    std::vector<Run> rest;
    for (Run& run : runs) {
        if (ofNotes.count(&run) == 0)
            rest.push_back(std::move(run));
    }
    runs = std::move(rest);
    return taken;
}

} // namespace Korvel::Worker
