#include "SyllableOrder.h"

#include "Script.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

#include <QChar>

namespace Korvel::Worker {

namespace {

using Characters = std::vector<TextCharacter>;
using Place = Characters::iterator;

constexpr double nearest = 0.2; // in ems

/** Whether it is a vowel that stands before its consonant, of Devanagari to Khmer. */
bool IsVowelBefore(char32_t code)
{
    constexpr char32_t vowels[] = {0x93f, 0x9bf,  0x9c7,  0x9c8,  0xa3f, 0xabf, 0xb47,
                                   0xbc6, 0xbc7,  0xbc8,  0xd46,  0xd47, 0xd48, 0xdd9,
                                   0xddb, 0x1031, 0x17c1, 0x17c2, 0x17c3};
    return code >= vowels[0] &&
           std::find(std::begin(vowels), std::end(vowels), code) != std::end(vowels);
}

/** Whether it is the sign that the consonant before it has no vowel, and goes together with the
 * next.
 */
bool IsVirama(char32_t code)
{
    constexpr unsigned char classOfViramas = 9;
    return IsBrahmic(code) && QChar::combiningClass(code) == classOfViramas;
}

bool IsLetter(const TextCharacter& character)
{
    return IsBrahmic(character.code) && QChar::isLetter(character.code);
}

bool AreOfGlyph(const TextCharacter& one, const TextCharacter& other)
{
    return one.box == other.box && one.origin == other.origin;
}

/** Whether the right one is drawn beside the left one, in the same upright line. */
bool AreBeside(const TextCharacter& left, const TextCharacter& right)
{
    return left.turned == 0 && right.turned == 0 &&
           std::abs(left.origin.y() - right.origin.y()) < nearest * left.fontSize &&
           std::abs(right.box.left() - left.box.right()) < nearest * left.fontSize;
}

/** The end of the consonants that are one cluster. */
Place EndOfCluster(Place letter, Place end)
{
    while (end - letter > 2 && IsVirama((letter + 1)->code) && IsLetter(*(letter + 2)))
        letter += 2;
    return letter + 1;
}

/** Gives the characters, which have changed their order, the room that they have from left to
 * right. */
void PlaceAnew(Place first, Place end, double left, double right)
{
    const double sum = std::accumulate(first, end, 0.0, [](double all, const TextCharacter& one) {
        return all + one.box.width();
    });
    const double scale = sum > 0 ? (right - left) / sum : 0;
    for (; first != end; ++first) {
        const double width = first->box.width() * scale;
        first->box = QRectF(left, first->box.top(), width, first->box.height());
        first->origin.setX(left);
        left += width;
    }
}

void Rotate(Place first, Place middle, Place end)
{
    const auto [leftmost, rightmost] =
        std::minmax_element(first, end, [](const TextCharacter& a, const TextCharacter& b) {
            return a.box.left() < b.box.left();
        });
    const double left = leftmost->box.left();
    const double right = std::max(rightmost->box.right(), (end - 1)->box.right());
    std::rotate(first, middle, end);
    PlaceAnew(first, end, left, right);
}

/** Whether it is such a vowel, and drawn before its consonant: what is of one glyph is in order. */
bool IsBeforeConsonant(const Characters& characters, std::size_t index)
{
    const TextCharacter& vowel = characters[index];
    return IsVowelBefore(vowel.code) && index + 1 < characters.size() &&
           IsLetter(characters[index + 1]) && AreBeside(vowel, characters[index + 1]) &&
           !(index > 0 && AreOfGlyph(characters[index - 1], vowel));
}

/** Whether a page tells its vowels as they look: then words begin with some, as none is spoken. */
bool IsToldAsDrawn(const Characters& characters)
{
    int vowels = 0;
    int firstOfWords = 0;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (!IsBeforeConsonant(characters, i))
            continue;
        ++vowels;
        const bool isFirst = i == 0 || !IsBrahmic(characters[i - 1].code) ||
                             !AreBeside(characters[i - 1], characters[i]);
        firstOfWords += int(isFirst);
    }
    constexpr int manyOf = 10;
    return firstOfWords > 0 && firstOfWords * manyOf >= vowels;
}

} // namespace

void OrderSyllables(Characters& characters)
{
    if (!IsToldAsDrawn(characters))
        return;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (!IsBeforeConsonant(characters, i))
            continue;
        const auto vowel = characters.begin() + std::ptrdiff_t(i);
        const auto end = EndOfCluster(vowel + 1, characters.end());
        Rotate(vowel, vowel + 1, end);
        i = std::size_t(end - characters.begin()) - 1;
    }
}

} // namespace Korvel::Worker
