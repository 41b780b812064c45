#include "FindGlyphs.h"

#include "FindVertical.h"
#include "Script.h"
#include "SyllableOrder.h"
#include "TexLetters.h"
#include "TexSigns.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include <QString>
#include <QVector>

namespace Korvel::Worker {

namespace {

// By PDFium, in the place of a hyphen at the end of a line.
constexpr char32_t partingHyphen = 2;
constexpr char32_t otherPartingHyphen = 0xfffe;

bool IsParting(char32_t code)
{
    return code == partingHyphen || code == otherPartingHyphen;
}

/** Whether it is there for those who draw text, or to mislead those who read it. */
bool IsInvisible(char32_t code)
{
    constexpr char32_t joiners[] = {0x200c, 0x200d}; // which tell words of some languages apart
    if (std::find(std::begin(joiners), std::end(joiners), code) != std::end(joiners) ||
        IsHyphen(code))
        return false;
    const QChar::Category category = QChar::category(code);
    return category == QChar::Other_Control || category == QChar::Other_Format ||
           category == QChar::Other_Surrogate || category == QChar::Separator_Line ||
           category == QChar::Separator_Paragraph || code > QChar::LastValidCodePoint;
}

/** Whether it says that there is a character, and not which. */
bool IsUnmapped(char32_t code)
{
    return code == 0 || code == QChar::ReplacementCharacter ||
           QChar::category(code) == QChar::Other_Control;
}

/** Whether it is a ligature, or the shape that a letter has in some place of a word. */
bool IsShape(char32_t code)
{
    return (code >= 0xfb00 && code <= 0xfdff) || (code >= 0xfe70 && code <= 0xfefc);
}

/** The letters that such a one stands for. */
QVector<uint> LettersOf(char32_t shape)
{
    return QString::fromUcs4(&shape, 1).normalized(QString::NormalizationForm_KC).toUcs4();
}

/** Without what is invisible; a character whose code came in two halves has the box of the first.
 */
std::vector<TextCharacter> WithWholeCodes(const std::vector<TextCharacter>& characters)
{
    std::vector<TextCharacter> whole;
    whole.reserve(characters.size());
    for (const TextCharacter& character : characters) {
        if (!whole.empty() && QChar::isHighSurrogate(whole.back().code) &&
            QChar::isLowSurrogate(character.code))
            whole.back().code =
                QChar::surrogateToUcs4(ushort(whole.back().code), ushort(character.code));
        else if (IsPlain(character.code) || IsUnmapped(character.code) ||
                 IsParting(character.code) || QChar::isHighSurrogate(character.code) ||
                 !IsInvisible(character.code))
            whole.push_back(character);
    }
    return whole;
}

/** Whether it is drawn, and its font does not say which character it is. */
bool IsDrawnUnmapped(const TextCharacter& character)
{
    return !character.box.isEmpty() && IsUnmapped(character.code) && !IsParting(character.code);
}

/** Whether a Latin letter stands beside the other character, not within it as in a copyright sign.
 */
bool IsLetterBeside(const TextCharacter& letter, const TextCharacter& other)
{
    const QPointF apart = letter.box.center() - other.box.center();
    return IsPlain(letter.code) && QChar::isLetter(letter.code) &&
           apart.manhattanLength() > std::max(other.box.width(), other.box.height()) / 3;
}

/**
 * Reads the ligatures of TeX's fonts, which old documents have without the names of characters: in
 * the encoding OT1 of D. Knuth ("Computer Modern Typefaces", 1986) they are control characters, in
 * the order of Unicode. Fonts that have others there, too, are no such ones.
 */
void NameLigatures(std::vector<TextCharacter>& characters)
{
    constexpr char32_t first = 0x0b;
    constexpr char32_t last = 0x0f;
    constexpr char32_t firstOfUnicode = 0xfb00;
    const auto isLigature = [](const TextCharacter& character) {
        return character.code >= first && character.code <= last;
    };
    if (std::any_of(characters.begin(), characters.end(), [&](const TextCharacter& character) {
            return IsDrawnUnmapped(character) && !isLigature(character);
        }))
        return;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        TextCharacter& character = characters[i];
        if (!isLigature(character) || character.box.isEmpty())
            continue;
        const bool isInWord =
            (i > 0 && IsLetterBeside(characters[i - 1], character)) ||
            (i + 1 < characters.size() && IsLetterBeside(characters[i + 1], character));
        if (isInWord)
            character.code = firstOfUnicode + (character.code - first);
    }
}

/** How far the next letter of a ligature is away whose letters have boxes such as this one. */
double StepOf(char32_t letter, const QRectF& share)
{
    return IsRightToLeft(letter) ? -share.width() : share.width();
}

/** Whether both are of one glyph, which an accent never is: TeX's may be as wide as their letters.
 */
bool AreOfLigature(const TextCharacter& one, const TextCharacter& other)
{
    return one.box == other.box && one.origin == other.origin && !one.box.isEmpty() &&
           CombiningFormOf(one.code) == 0 && CombiningFormOf(other.code) == 0;
}

/** Gives each letter of a ligature its share of the box; marks have that of their letter. */
void PartLigature(std::vector<TextCharacter>::iterator first,
                  std::vector<TextCharacter>::iterator end)
{
    const auto letters =
        std::count_if(first, end, [](const TextCharacter& one) { return !IsCombining(one.code); });
    const Affine upright = Affine::Turned(-first->turned);
    const Affine back = Affine::Turned(first->turned);
    QRectF share = upright.Map(first->box);
    share.setWidth(share.width() / double(std::max<std::ptrdiff_t>(1, letters)));
    const double step = StepOf(first->code, share);
    if (step < 0)
        share.translate(-step * double(letters - 1), 0);
    bool hasLetter = false;
    for (; first != end; ++first) {
        if (!IsCombining(first->code) && std::exchange(hasLetter, true))
            share.translate(step, 0);
        first->box = back.Map(share);
    }
}

void PartLigatures(std::vector<TextCharacter>& characters)
{
    for (auto first = characters.begin(); first != characters.end();) {
        const auto end = std::find_if_not(first + 1, characters.end(), [&](const auto& one) {
            return AreOfLigature(*first, one);
        });
        if (end - first > 1)
            PartLigature(first, end);
        first = end;
    }
}

Writing& WritingOf(PageGlyphs& page, int turned, bool isVertical)
{
    for (Writing& writing : page.writings) {
        if (writing.turned == turned && writing.isVertical == isVertical)
            return writing;
    }
    page.writings.push_back({turned, isVertical, {}, Affine::Turned(isVertical ? -90 : -turned)});
    return page.writings.back();
}

/** The box of a character in its frame. */
QRectF BoxOf(const TextCharacter& character, const Affine& frame)
{
    if (character.turned % 90 == 0)
        return frame.Map(character.box);
    const QPointF origin = frame.Map(character.origin);
    const double em = character.fontSize;
    return {origin.x(), origin.y() - 0.8 * em, em / 2, em};
}

void Append(Writing& writing, const TextCharacter& character, Glyph::Before before)
{
    Glyph glyph;
    const bool isHyphen = IsParting(character.code) || IsHyphen(character.code);
    const char32_t code = isHyphen ? U'-' : character.code;
    glyph.box = BoxOf(character, writing.frame);
    glyph.em = character.fontSize;
    glyph.font = character.font;
    glyph.baseline = writing.isVertical ? glyph.box.center().y() + glyph.em / 3
                                        : writing.frame.Map(character.origin).y();
    glyph.before = before;
    glyph.code = code;
    glyph.middle =
        (character.inkedAt.isNull() ? glyph.box.center() : writing.frame.Map(character.inkedAt))
            .x();
    if (!IsShape(code)) {
        writing.glyphs.push_back(glyph);
        return;
    }
    const QVector<uint> letters = LettersOf(code);
    const int count = int(letters.size());
    const double width = glyph.box.width() / std::max(1, count);
    glyph.box.setWidth(width);
    const double step = StepOf(code, glyph.box);
    if (step < 0)
        glyph.box.translate(-step * (count - 1), 0);
    for (const uint letter : letters) {
        glyph.code = letter;
        writing.glyphs.push_back(glyph);
        glyph.box.translate(step, 0);
        glyph.before = Glyph::Before::Nothing;
    }
}

/** Whether the engine has put the space in for the gap that is there, which is looked at itself. */
bool IsGenerated(const TextCharacter& space, const TextCharacter* next)
{
    constexpr double same = 0.01;
    return space.box.width() < same ||
           (next && std::abs(next->origin.x() - space.origin.x()) < same &&
            std::abs(next->origin.y() - space.origin.y()) < same);
}

} // namespace

PageGlyphs FindGlyphs(const std::vector<TextCharacter>& drawn)
{
    std::vector<TextCharacter> characters = WithWholeCodes(drawn);
    NameTexSigns(characters);
    NameTexLetters(characters);
    NameLigatures(characters);
    OrderSyllables(characters);
    PartLigatures(characters);
    const std::vector<bool> isVertical = FindVertical(characters);
    PageGlyphs page;
    Glyph::Before before = Glyph::Before::Nothing;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        const TextCharacter& character = characters[i];
        if (IsSpace(character.code)) {
            const auto* const next = i + 1 < characters.size() ? &characters[i + 1] : nullptr;
            before = std::max(before, IsGenerated(character, next) ? Glyph::Before::Gap
                                                                   : Glyph::Before::Space);
            continue;
        }
        if (character.box.isEmpty() && !IsCombining(character.code))
            continue; // an end of a line that the engine has put in
        ++page.drawn;
        const bool isPlain = IsPlain(character.code);
        if (!isPlain && IsDrawnUnmapped(character))
            ++page.unmapped;
        if (isPlain || IsParting(character.code) || !IsInvisible(character.code)) {
            Writing& writing = WritingOf(page, character.turned, isVertical[i]);
            Append(writing, character, std::exchange(before, Glyph::Before::Nothing));
        }
    }
    std::stable_sort(
        page.writings.begin(), page.writings.end(),
        [](const Writing& a, const Writing& b) { return a.glyphs.size() > b.glyphs.size(); });
    return page;
}

QString CleanLine(const QString& line, int& drawn, int& unmapped)
{
    QString clean;
    for (const char32_t code : line.toUcs4()) {
        drawn += IsSpace(code) ? 0 : 1;
        const bool isHyphen = IsParting(code) || IsHyphen(code);
        if (IsUnmapped(code) && !isHyphen && !IsSpace(code))
            ++unmapped;
        if (IsSpace(code))
            clean += QLatin1Char(' ');
        else if (isHyphen)
            clean += QLatin1Char('-');
        else if (!IsInvisible(code))
            clean += QString::fromUcs4(&code, 1);
    }
    return std::any_of(clean.begin(), clean.end(), [](QChar one) { return IsShape(one.unicode()); })
               ? clean.normalized(QString::NormalizationForm_KC)
               : clean;
}

} // namespace Korvel::Worker
