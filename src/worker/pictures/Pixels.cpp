#include "Pixels.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesOfBgrx = 4;

/** The order of three samples in what is written. */
enum class Order { Bgr, Rgb };

// Inlined into functions for several processors, each of which the compiler makes its own loop for.
#define FOR_EACH_PROCESSOR inline __attribute__((always_inline))

FOR_EACH_PROCESSOR Tones CopyGrays(const unsigned char* bgrx, std::size_t count,
                                   unsigned char* into)
{
    unsigned differences = 0;
    unsigned between = 0; // neither 0 nor 255, to which 1 adds up to bits of their own
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel;
        std::memcpy(&pixel, bgrx + i * bytesOfBgrx, sizeof pixel);
        differences |= pixel ^ (pixel >> 8);
        between |= (pixel & 0xff) + 1;
        into[i] = static_cast<unsigned char>(pixel);
    }
    const bool areGray = (differences & 0xffff) == 0;
    return {areGray, areGray && (between & 0xfe) == 0};
}

FOR_EACH_PROCESSOR Tones SeeGrays(const unsigned char* gray, std::size_t count)
{
    unsigned char between = 0;
    for (std::size_t i = 0; i < count; ++i)
        between |= static_cast<unsigned char>(gray[i] + 1);
    return {true, (between & 0xfe) == 0};
}

FOR_EACH_PROCESSOR void FilterPaeth(const unsigned char* row, const unsigned char* above,
                                    std::size_t count, std::size_t bytesAPixel, unsigned char* into)
{
    for (std::size_t i = 0; i < bytesAPixel; ++i)
        into[i] = static_cast<unsigned char>(row[i] - above[i]);
    for (std::size_t i = bytesAPixel; i < count; ++i) {
        const std::int16_t left = row[i - bytesAPixel];
        const std::int16_t up = above[i];
        const std::int16_t corner = above[i - bytesAPixel];
        const auto fromLeft = static_cast<std::int16_t>(std::abs(up - corner));
        const auto fromUp = static_cast<std::int16_t>(std::abs(left - corner));
        const auto fromCorner = static_cast<std::int16_t>(std::abs(left + up - 2 * corner));
        const std::int16_t upOrCorner = fromUp <= fromCorner ? up : corner;
        const std::int16_t nearest =
            fromLeft <= fromUp && fromLeft <= fromCorner ? left : upOrCorner;
        into[i] = static_cast<unsigned char>(row[i] - nearest);
    }
}

FOR_EACH_PROCESSOR void CopySamples(const unsigned char* bgrx, std::size_t count,
                                    unsigned char* into, Order order)
{
    const std::size_t first = order == Order::Rgb ? 2 : 0;
    for (std::size_t i = 0; i < count; ++i, bgrx += bytesOfBgrx) {
        *into++ = bgrx[first];
        *into++ = bgrx[1];
        *into++ = bgrx[2 - first];
    }
}

template <unsigned bits>
unsigned char PackByte(const unsigned char* values)
{
    constexpr unsigned mask = (1U << bits) - 1;
    unsigned packed = 0;
    for (unsigned i = 0; i < 8 / bits; ++i)
        packed |= (values[i] & mask) << (8 - bits - i * bits);
    return static_cast<unsigned char>(packed);
}

template <unsigned bits>
void PackValues(const unsigned char* values, std::size_t count, unsigned char* into)
{
    constexpr std::size_t valuesAByte = 8 / bits;
    for (; count >= valuesAByte; count -= valuesAByte, values += valuesAByte)
        *into++ = PackByte<bits>(values);
    unsigned char rest[valuesAByte] = {};
    std::copy_n(values, count, rest);
    if (count > 0)
        *into = PackByte<bits>(rest);
}

#ifdef __x86_64__

#define FOR_AVX2 __attribute__((target("avx2")))

FOR_AVX2 Tones CopyGraysWide(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    return CopyGrays(bgrx, count, into);
}

FOR_AVX2 Tones SeeGraysWide(const unsigned char* gray, std::size_t count)
{
    return SeeGrays(gray, count);
}

FOR_AVX2 void FilterPaethWide(const unsigned char* row, const unsigned char* above,
                              std::size_t count, std::size_t bytesAPixel, unsigned char* into)
{
    FilterPaeth(row, above, count, bytesAPixel, into);
}

FOR_AVX2 void CopySamplesWide(const unsigned char* bgrx, std::size_t count, unsigned char* into,
                              Order order)
{
    constexpr std::size_t pixelsAtOnce = 8;
    constexpr std::size_t pixelsWritten = 11; // 32 bytes, of which 24 are those of the eight
    const __m256i places = _mm256_broadcastsi128_si256(
        order == Order::Rgb
            ? _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)
            : _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    const __m256i together = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
    for (; count >= pixelsWritten; count -= pixelsAtOnce) {
        const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bgrx));
        const __m256i samples = _mm256_shuffle_epi8(pixels, places);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(into),
                            _mm256_permutevar8x32_epi32(samples, together));
        bgrx += pixelsAtOnce * bytesOfBgrx;
        into += pixelsAtOnce * 3;
    }
    CopySamples(bgrx, count, into, order);
}

bool IsWide()
{
    return __builtin_cpu_supports("avx2");
}

#else

constexpr auto CopyGraysWide = CopyGrays;
constexpr auto SeeGraysWide = SeeGrays;
constexpr auto FilterPaethWide = FilterPaeth;
constexpr auto CopySamplesWide = CopySamples;

bool IsWide()
{
    return false;
}

#endif

} // namespace

Tones CopyGray(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    return IsWide() ? CopyGraysWide(bgrx, count, into) : CopyGrays(bgrx, count, into);
}

Tones TonesOf(const unsigned char* gray, std::size_t count)
{
    return IsWide() ? SeeGraysWide(gray, count) : SeeGrays(gray, count);
}

void CopyRgb(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    IsWide() ? CopySamplesWide(bgrx, count, into, Order::Rgb)
             : CopySamples(bgrx, count, into, Order::Rgb);
}

void CopyRgba(const unsigned char* bgra, std::size_t count, unsigned char* into)
{
    for (std::size_t i = 0; i < count * bytesOfBgrx; i += bytesOfBgrx) {
        into[i] = bgra[i + 2];
        into[i + 1] = bgra[i + 1];
        into[i + 2] = bgra[i];
        into[i + 3] = bgra[i + 3];
    }
}

void CopyBgr(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    IsWide() ? CopySamplesWide(bgrx, count, into, Order::Bgr)
             : CopySamples(bgrx, count, into, Order::Bgr);
}

void PackBits(const unsigned char* values, std::size_t count, int bits, unsigned char* into)
{
    if (bits == 1)
        PackValues<1>(values, count, into);
    else if (bits == 2)
        PackValues<2>(values, count, into);
    else if (bits == 4)
        PackValues<4>(values, count, into);
    else
        std::copy_n(values, count, into);
}

void FilterByPaeth(const unsigned char* row, const unsigned char* above, std::size_t count,
                   std::size_t bytesAPixel, unsigned char* into)
{
    const auto filter = IsWide() ? FilterPaethWide : FilterPaeth;
    filter(row, above, count, bytesAPixel, into);
}

std::size_t CountShades(const unsigned char* row, std::size_t count, std::size_t bytesAPixel)
{
    constexpr int little = 24;
    std::size_t shades = 0;
    for (std::size_t i = bytesAPixel; i < count; ++i) {
        const int difference = std::abs(row[i] - row[i - bytesAPixel]);
        shades += difference > 0 && difference <= little ? 1 : 0;
    }
    return shades;
}

} // namespace Korvel::Worker
