#include "PngChunks.h"

#include <isa-l.h>

namespace Korvel::Worker {

namespace {

constexpr char signature[] = "\x89PNG\r\n\x1a\n";
constexpr std::size_t lettersOfType = 4;

std::uint32_t Checksum(const char* data, std::size_t size, std::uint32_t before = 0)
{
    return crc32_gzip_refl(before, reinterpret_cast<const unsigned char*>(data), size);
}

} // namespace

PngChunks::PngChunks(Output& into) : into(into)
{
    into.Write(signature, sizeof signature - 1);
}

void PngChunks::Add(const char* type, const char* data, std::size_t size)
{
    std::string before;
    AppendNumber(before, std::uint32_t(size));
    before.append(type, lettersOfType);
    std::string after;
    AppendNumber(after, Checksum(data, size, Checksum(type, lettersOfType)));
    into.Write(before.data(), before.size());
    into.Write(data, size);
    into.Write(after.data(), after.size());
}

void PngChunks::Add(const char* type, const std::string& data)
{
    Add(type, data.data(), data.size());
}

void PngChunks::AppendNumber(std::string& bytes, std::uint32_t number)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += char(number >> shift);
}

} // namespace Korvel::Worker
