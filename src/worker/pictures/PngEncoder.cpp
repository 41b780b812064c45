#include "PngEncoder.h"

#include "Pixels.h"
#include "RequestError.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include <QtEndian>

#include <isa-l.h>
#include <libdeflate.h>

namespace Korvel::Worker {

namespace {

constexpr char signature[] = "\x89PNG\r\n\x1a\n";
constexpr char noFilter = 0; // filters make text, lines and scans of them larger and slower
constexpr int bytesABlock = 1 << 17;
constexpr quint32 bytesOfBeginning = 8; // too few for the method that reads the address
constexpr int levelOfSmall = 6;

quint32 Checksum(const char* data, std::size_t size, quint32 before = 0)
{
    return crc32_gzip_refl(before, reinterpret_cast<const unsigned char*>(data), size);
}

void AppendNumber(QByteArray& bytes, quint32 number)
{
    const quint32 bigEndian = qToBigEndian(number);
    bytes.append(reinterpret_cast<const char*>(&bigEndian), sizeof bigEndian);
}

void AppendChunk(QByteArray& file, const char* type, const char* data, std::size_t size)
{
    AppendNumber(file, quint32(size));
    file.append(type, 4);
    file.append(data, int(size));
    AppendNumber(file, Checksum(data, size, Checksum(type, 4)));
}

void AppendChunk(QByteArray& file, const char* type, const QByteArray& data)
{
    AppendChunk(file, type, data.constData(), std::size_t(data.size()));
}

QByteArray Header(const QImage& picture, bool isGray)
{
    QByteArray header;
    AppendNumber(header, quint32(picture.width()));
    AppendNumber(header, quint32(picture.height()));
    header += char(8);              // bits a sample
    header += char(isGray ? 0 : 2); // or red, green and blue
    header += QByteArray(3, '\0');  // the only compression, the only set of filters, no interlacing
    return header;
}

QByteArray Resolution(const QImage& picture)
{
    QByteArray resolution;
    AppendNumber(resolution, quint32(picture.dotsPerMeterX()));
    AppendNumber(resolution, quint32(picture.dotsPerMeterY()));
    resolution += char(1); // dots per metre
    return resolution;
}

/** Rows of a picture as a PNG has them, each behind its filter. */
class Rows
{
public:
    Rows(const QImage& picture, bool isGray)
        : picture(picture), isGray(isGray), length(std::size_t(picture.width()) * (isGray ? 1 : 3))
    {
    }

    /** How many bytes a row has with its filter. */
    std::size_t Length() const { return 1 + length; }

    void Copy(int first, int count, char* into) const
    {
        const QImage some(picture.constScanLine(first), picture.width(), count,
                          picture.bytesPerLine(), picture.format());
        const QImage colors = isGray ? some : some.convertToFormat(QImage::Format_RGB888);
        if (colors.isNull())
            throw std::bad_alloc();
        for (int row = 0; row < count; ++row) {
            *into++ = noFilter;
            if (isGray && picture.format() != QImage::Format_Grayscale8)
                CopyGray(reinterpret_cast<const QRgb*>(colors.constScanLine(row)), length, into);
            else
                std::memcpy(into, colors.constScanLine(row), length);
            into += length;
        }
    }

    /** Calls `take` with the first row of each block and how many rows the block has. */
    template <typename Take>
    void ForEachBlock(Take take) const
    {
        const int rowsABlock = std::max(1, int(std::size_t(bytesABlock) / Length()));
        for (int first = 0; first < picture.height(); first += rowsABlock)
            take(first, std::min(rowsABlock, picture.height() - first));
    }

    std::vector<char> All() const
    {
        std::vector<char> all(std::size_t(picture.height()) * Length());
        ForEachBlock([&](int first, int count) {
            Copy(first, count, all.data() + std::size_t(first) * Length());
        });
        return all;
    }

private:
    const QImage& picture;
    const bool isGray;
    const std::size_t length;
};

/** A zlib stream by the fastest method, cut into chunks. */
class FastStream
{
public:
    explicit FastStream(QByteArray& file)
        : file(file), level(ISAL_DEF_LVL1_DEFAULT), compressed(bytesABlock)
    {
        isal_deflate_init(&stream);
        stream.level = 1;
        stream.level_buf = level.data();
        stream.level_buf_size = quint32(level.size());
        stream.gzip_flag = IGZIP_ZLIB;
        StartChunk();
    }

    void Add(std::vector<char>& data, bool isLast)
    {
        stream.next_in = reinterpret_cast<unsigned char*>(data.data());
        stream.avail_in = quint32(data.size());
        if (stream.total_in == 0)
            Begin();
        stream.end_of_stream = isLast ? 1 : 0;
        Deflate();
        if (isLast)
            EndChunk();
    }

private:
    /**
     * Flushes the first bytes by themselves. ISA-L 2.30 would else take the stream's own address
     * for the third to sixth of them when it looks for what repeats, and sometimes pack otherwise.
     */
    void Begin()
    {
        const quint32 size = stream.avail_in;
        if (size <= bytesOfBeginning)
            return;
        stream.avail_in = bytesOfBeginning;
        stream.flush = SYNC_FLUSH;
        isal_deflate(&stream); // which does not fill the block
        stream.flush = NO_FLUSH;
        stream.avail_in = size - bytesOfBeginning;
    }

    void Deflate()
    {
        isal_deflate(&stream);
        for (; stream.avail_out == 0; isal_deflate(&stream))
            EndChunk();
    }

    void StartChunk()
    {
        stream.next_out = compressed.data();
        stream.avail_out = quint32(compressed.size());
    }

    void EndChunk()
    {
        AppendChunk(file, "IDAT", reinterpret_cast<const char*>(compressed.data()),
                    compressed.size() - stream.avail_out);
        StartChunk();
    }

    QByteArray& file;
    isal_zstream stream = {};
    std::vector<unsigned char> level;
    std::vector<unsigned char> compressed;
};

/** The code of the fast method leaves the wide registers in a state that slows others down. */
void CleanRegisters()
{
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx"))
        __asm__ volatile("vzeroupper");
#endif
}

void AppendFast(QByteArray& file, const Rows& rows, int height)
{
    FastStream stream(file);
    std::vector<char> block;
    rows.ForEachBlock([&](int first, int count) {
        block.resize(std::size_t(count) * rows.Length());
        rows.Copy(first, count, block.data());
        stream.Add(block, first + count == height);
    });
    CleanRegisters();
}

void AppendSmall(QByteArray& file, const std::vector<char>& rows)
{
    const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
        libdeflate_alloc_compressor(levelOfSmall), libdeflate_free_compressor);
    if (!compressor)
        throw std::bad_alloc();
    const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), rows.size());
    const std::unique_ptr<char[]> compressed(new char[bound]); // little of it is ever touched
    const std::size_t size = libdeflate_zlib_compress(compressor.get(), rows.data(), rows.size(),
                                                      compressed.get(), bound);
    if (size > std::size_t(std::numeric_limits<int>::max() / 2))
        throw RequestError(Reason::CannotRender, "the picture is too large for a PNG");
    AppendChunk(file, "IDAT", compressed.get(), size);
}

} // namespace

QByteArray EncodePng(QImage picture, Compression compression)
{
    const bool isGray = picture.format() == QImage::Format_Grayscale8 || IsGray(picture);
    const Rows rows(picture, isGray);
    QByteArray file(signature, sizeof signature - 1);
    AppendChunk(file, "IHDR", Header(picture, isGray));
    AppendChunk(file, "pHYs", Resolution(picture));
    if (compression == Compression::Fast) {
        AppendFast(file, rows, picture.height());
    } else {
        const std::vector<char> all = rows.All();
        picture = QImage(); // makes room for what is packed
        AppendSmall(file, all);
    }
    AppendChunk(file, "IEND", QByteArray());
    return file;
}

} // namespace Korvel::Worker
