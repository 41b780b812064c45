#include "Script.h"

#include <algorithm>
#include <iterator>

#include <QChar>

namespace Korvel::Worker {

namespace {

struct Range
{
    char32_t first;
    char32_t last;
};

template <std::size_t count>
bool IsWithin(const Range (&ranges)[count], char32_t code)
{
    return std::any_of(std::begin(ranges), std::end(ranges), [code](const Range& range) {
        return range.first <= code && code <= range.last;
    });
}

constexpr Range ideographic[] = {{0x2e80, 0x2fdf}, {0x3001, 0x303f},  {0x3041, 0x30ff},
                                 {0x3105, 0x312f}, {0x31f0, 0x31ff},  {0x3400, 0x9fff},
                                 {0xf900, 0xfaff}, {0xfe10, 0xfe19},  {0xfe30, 0xfe4f},
                                 {0xff01, 0xff9f}, {0x20000, 0x3ffff}};

// From Devanagari to Myanmar, of the Philippines and Khmer, from Limbu to Vedic extensions, and
// from Syloti Nagri to Meetei Mayek.
constexpr Range brahmic[] = {{0x900, 0x109f}, {0x1700, 0x17ff}, {0x1900, 0x1cff}, {0xa800, 0xabff}};

constexpr char32_t ideographicBegins[] = {0x3008, 0x300a, 0x300c, 0x300e, 0x3010,
                                          0x3014, 0xff08, 0xff3b, 0xff5b};
constexpr char32_t ideographicEnds[] = {0x3001, 0x3002, 0x3009, 0x300b, 0x300d, 0x300f,
                                        0x3011, 0x3015, 0xff01, 0xff09, 0xff0c, 0xff0e,
                                        0xff1a, 0xff1b, 0xff1f, 0xff3d, 0xff5d};

template <std::size_t count>
bool IsOneOf(const char32_t (&codes)[count], char32_t code)
{
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

struct Accent
{
    char32_t alone;
    char32_t combining;
};

constexpr Accent accents[] = {{0x60, 0x300},  {0xb4, 0x301},  {0x5e, 0x302},  {0x2c6, 0x302},
                              {0x7e, 0x303},  {0x2dc, 0x303}, {0xaf, 0x304},  {0x2d8, 0x306},
                              {0x2d9, 0x307}, {0xa8, 0x308},  {0x2da, 0x30a}, {0x2dd, 0x30b},
                              {0x2c7, 0x30c}, {0xb8, 0x327},  {0x2db, 0x328}};

} // namespace

// Most characters are told from their code alone, without a look at Qt's tables.

bool IsRightToLeft(char32_t code)
{
    constexpr char32_t first = 0x590;
    if (code < first)
        return false;
    const QChar::Direction direction = QChar::direction(code);
    return direction == QChar::DirR || direction == QChar::DirAL;
}

bool IsLeftToRight(char32_t code)
{
    if (IsPlain(code))
        return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z');
    return QChar::direction(code) == QChar::DirL;
}

bool IsIdeographic(char32_t code)
{
    return code >= ideographic[0].first && IsWithin(ideographic, code);
}

bool IsIdeographicBegin(char32_t code)
{
    return IsIdeographic(code) && IsOneOf(ideographicBegins, code);
}

bool IsIdeographicEnd(char32_t code)
{
    return IsIdeographic(code) && IsOneOf(ideographicEnds, code);
}

bool IsBrahmic(char32_t code)
{
    return code >= brahmic[0].first && IsWithin(brahmic, code);
}

bool IsCombining(char32_t code)
{
    constexpr char32_t first = 0x300;
    return code >= first && QChar::category(code) == QChar::Mark_NonSpacing;
}

char32_t CombiningFormOf(char32_t accent)
{
    constexpr char32_t last = 0x2dd;
    const bool isLetter = accent > '`' && accent < '~';
    if (accent < '^' || isLetter || accent > last)
        return 0;
    const auto found = std::find_if(std::begin(accents), std::end(accents),
                                    [accent](const Accent& one) { return one.alone == accent; });
    return found == std::end(accents) ? 0 : found->combining;
}

bool IsPlain(char32_t code)
{
    return code > ' ' && code <= '~';
}

bool IsSpace(char32_t code)
{
    if (IsPlain(code))
        return false;
    return code == '\t' || code == '\n' || code == '\r' ||
           QChar::category(code) == QChar::Separator_Space;
}

bool IsHyphen(char32_t code)
{
    return code == '-' || code == 0xad || code == 0x2010 || code == 0x2011;
}

} // namespace Korvel::Worker
