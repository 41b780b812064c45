#include "Pixels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesAPixel = 4;

/** The order of three samples in what is written. */
enum class Order { Bgr, Rgb };

// Inlined into functions for several processors, each of which the compiler makes its own loop for.
#define FOR_EACH_PROCESSOR inline __attribute__((always_inline))

FOR_EACH_PROCESSOR bool AreGray(const unsigned char* bgrx, std::size_t count)
{
    unsigned differences = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel;
        std::memcpy(&pixel, bgrx + i * bytesAPixel, sizeof pixel);
        differences |= pixel ^ (pixel >> 8);
    }
    return (differences & 0xffff) == 0;
}

FOR_EACH_PROCESSOR bool CopyGrays(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    unsigned differences = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel;
        std::memcpy(&pixel, bgrx + i * bytesAPixel, sizeof pixel);
        differences |= pixel ^ (pixel >> 8);
        into[i] = static_cast<unsigned char>(pixel);
    }
    return (differences & 0xffff) == 0;
}

FOR_EACH_PROCESSOR void CopySamples(const unsigned char* bgrx, std::size_t count,
                                    unsigned char* into, Order order)
{
    const std::size_t first = order == Order::Rgb ? 2 : 0;
    for (std::size_t i = 0; i < count; ++i, bgrx += bytesAPixel) {
        *into++ = bgrx[first];
        *into++ = bgrx[1];
        *into++ = bgrx[2 - first];
    }
}

#ifdef __x86_64__

#define FOR_AVX2 __attribute__((target("avx2")))

FOR_AVX2 bool AreGrayWide(const unsigned char* bgrx, std::size_t count)
{
    return AreGray(bgrx, count);
}

FOR_AVX2 bool CopyGraysWide(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    return CopyGrays(bgrx, count, into);
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
        bgrx += pixelsAtOnce * bytesAPixel;
        into += pixelsAtOnce * 3;
    }
    CopySamples(bgrx, count, into, order);
}

bool IsWide()
{
    return __builtin_cpu_supports("avx2");
}

#else

constexpr auto AreGrayWide = AreGray;
constexpr auto CopyGraysWide = CopyGrays;
constexpr auto CopySamplesWide = CopySamples;

bool IsWide()
{
    return false;
}

#endif

} // namespace

bool IsGray(const Rows& bgrx, int width)
{
    const auto areGray = IsWide() ? AreGrayWide : AreGray;
    for (int row = 0; row < bgrx.count; ++row) {
        if (!areGray(bgrx.first + row * bgrx.stride, std::size_t(width)))
            return false;
    }
    return true;
}

bool CopyGray(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    return IsWide() ? CopyGraysWide(bgrx, count, into) : CopyGrays(bgrx, count, into);
}

void CopyRgb(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    IsWide() ? CopySamplesWide(bgrx, count, into, Order::Rgb)
             : CopySamples(bgrx, count, into, Order::Rgb);
}

void CopyBgr(const unsigned char* bgrx, std::size_t count, unsigned char* into)
{
    IsWide() ? CopySamplesWide(bgrx, count, into, Order::Bgr)
             : CopySamples(bgrx, count, into, Order::Bgr);
}

} // namespace Korvel::Worker
