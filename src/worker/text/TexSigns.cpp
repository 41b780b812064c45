#include "TexSigns.h"

#include "Affine.h"

#include <algorithm>
#include <iterator>

#include <QChar>

namespace Korvel::Worker {

namespace {

// Of OMX, by their codes; 0 for wide accents, parts that say nothing alone, and what has the code
// of the underscore, which hangs in every font.
constexpr char32_t largeSigns[] = {
    '(',    ')',    '[',    ']',    0x230a, 0x230b, 0x2308, 0x2309, // 00
    '{',    '}',    0x27e8, 0x27e9, '|',    0x2225, '/',    '\\',   // 08
    '(',    ')',    '(',    ')',    '[',    ']',    0x230a, 0x230b, // 10
    0x2308, 0x2309, '{',    '}',    0x27e8, 0x27e9, '/',    '\\',   // 18
    '(',    ')',    '[',    ']',    0x230a, 0x230b, 0x2308, 0x2309, // 20
    '{',    '}',    0x27e8, 0x27e9, '/',    '\\',   '/',    '\\',   // 28
    0x239b, 0x239e, 0x23a1, 0x23a4, 0x23a3, 0x23a6, 0x23a2, 0x23a5, // 30
    0x23a7, 0x23ab, 0x23a9, 0x23ad, 0x23a8, 0x23ac, 0x23aa, 0x23d0, // 38
    0x239d, 0x23a0, 0x239c, 0x239f, 0x27e8, 0x27e9, 0x2a06, 0x2a06, // 40
    0x222e, 0x222e, 0x2a00, 0x2a00, 0x2a01, 0x2a01, 0x2a02, 0x2a02, // 48
    0x2211, 0x220f, 0x222b, 0x22c3, 0x22c2, 0x2a04, 0x22c0, 0x22c1, // 50
    0x2211, 0x220f, 0x222b, 0x22c3, 0x22c2, 0x2a04, 0x22c0, 0,      // 58
    0x2210, 0x2210, 0,      0,      0,      0,      0,      0,      // 60
    '[',    ']',    0x230a, 0x230b, 0x2308, 0x2309, '{',    '}',    // 68
    0x221a, 0x221a, 0x221a, 0x221a, 0x221a, 0,      0,      0x2225, // 70
    0x2191, 0x2193, 0,      0,      0,      0,      0x21d1, 0x21d3, // 78
};

struct Symbol
{
    char32_t code;
    char32_t sign;
};

// Of OMS, those whose names are not known.
constexpr Symbol symbols[] = {
    {0x05, 0x22c4}, {0x07, 0x2213}, {0x09, 0x2296}, {0x0b, 0x2298}, {0x0c, 0x2299}, {0x0e, 0x25e6},
    {0x10, 0x224d}, {0x16, 0x2aaf}, {0x17, 0x2ab0}, {'%', 0x2197},  {'&', 0x2198},  {'\'', 0x2243},
    {'-', 0x2196},  {'.', 0x2199},  {'0', 0x2032},  {'6', 0x338},   {'7', '|'},     {'>', 0x22a4},
    {']', 0x228e},  {'`', 0x22a2},  {'a', 0x22a3},  {'b', 0x230a},  {'c', 0x230b},  {'d', 0x2308},
    {'e', 0x2309},  {'h', 0x27e8},  {'i', 0x27e9},  {'k', 0x2016},  {'l', 0x2195},  {'m', 0x21d5},
    {'o', 0x2240},  {'q', 0x2210},  {'t', 0x2294},  {'u', 0x2293},  {'v', 0x2291},  {'w', 0x2292}};

/** Whether it may be the sign that it says, as in documents that name what they have. */
bool IsNamed(char32_t code)
{
    const QChar::Category category = QChar::category(code);
    return category == QChar::Symbol_Math || category == QChar::Punctuation_Open ||
           category == QChar::Punctuation_Close || code == '/' || code == '\\';
}

/** The large sign of that code; 0 for none. */
char32_t LargeSignOf(char32_t code)
{
    if (IsNamed(code))
        return code;
    return code < std::size(largeSigns) ? largeSigns[code] : 0;
}

char32_t SymbolOf(char32_t code)
{
    const auto found = std::find_if(std::begin(symbols), std::end(symbols),
                                    [code](const Symbol& one) { return one.code == code; });
    return found == std::end(symbols) ? 0 : found->sign;
}

/** Puts a large sign, whose middle is on the axis of its formula, to the formula's baseline. */
void PutToBaseline(TextCharacter& sign)
{
    constexpr double axis = 0.25; // above the baseline, in ems
    const Affine upright = Affine::Turned(-sign.turned);
    const Affine back = Affine::Turned(sign.turned);
    const double em = sign.fontSize;
    QPointF origin = upright.Map(sign.origin);
    QRectF box = upright.Map(sign.box);
    box.moveTop(origin.y() + (sign.hang / 2 - 0.5) * em);
    origin.ry() += (sign.hang / 2 + axis) * em;
    sign.origin = back.Map(origin);
    sign.box = back.Map(box);
    sign.hang = 0;
}

} // namespace

void NameTexSigns(std::vector<TextCharacter>& characters)
{
    constexpr std::ptrdiff_t leastOthers = 4; // for each: other fonts hang as a whole
    const auto hanging = std::count_if(characters.begin(), characters.end(),
                                       [](const TextCharacter& one) { return one.hang > 0; });
    const bool hasLargeSigns = hanging * leastOthers < std::ptrdiff_t(characters.size());
    for (TextCharacter& character : characters) {
        const bool isLarge = hasLargeSigns && character.hang > 0;
        if (!isLarge && !character.isOfTexSymbols)
            continue;
        const char32_t sign = isLarge ? LargeSignOf(character.code) : SymbolOf(character.code);
        if (sign == 0)
            continue;
        character.code = sign;
        if (isLarge)
            PutToBaseline(character);
    }
}

} // namespace Korvel::Worker
