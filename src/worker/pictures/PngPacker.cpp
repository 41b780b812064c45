#include "PngPacker.h"

#include <algorithm>
#include <new>

#include <isa-l.h>
#include <libdeflate.h>
#include <zlib.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesAChunk = 1 << 17;
constexpr std::uint32_t bytesOfBeginning = 8; // too few for the method that reads the address
constexpr int levelOfSmall = 6;
// What is packed small is packed as a whole, which takes its own memory once more.
constexpr std::uint64_t mostAsAWhole = 64 << 20;

/** Takes what a compressor's stream writes, and makes a chunk of it whenever that is enough. */
class ChunkBuffer
{
public:
    explicit ChunkBuffer(PngChunks& into) : into(into), bytes(bytesAChunk) {}

    template <typename Stream>
    void Start(Stream& stream)
    {
        stream.next_out = bytes.data();
        stream.avail_out = std::uint32_t(bytes.size());
    }

    /** Makes a chunk of what the stream has written, and starts the next one. */
    template <typename Stream>
    void End(Stream& stream)
    {
        into.Add("IDAT", reinterpret_cast<const char*>(bytes.data()),
                 bytes.size() - stream.avail_out);
        Start(stream);
    }

private:
    PngChunks& into;
    std::vector<unsigned char> bytes;
};

/** By the fastest method. */
class FastPacker : public PngPacker
{
public:
    explicit FastPacker(PngChunks& into) : level(ISAL_DEF_LVL1_DEFAULT), chunk(into)
    {
        isal_deflate_init(&stream);
        stream.level = 1;
        stream.level_buf = level.data();
        stream.level_buf_size = std::uint32_t(level.size());
        stream.gzip_flag = IGZIP_ZLIB;
        chunk.Start(stream);
    }

    void Add(const std::vector<unsigned char>& rows, bool isLast) override
    {
        stream.next_in = const_cast<unsigned char*>(rows.data());
        stream.avail_in = std::uint32_t(rows.size());
        if (stream.total_in == 0)
            Begin();
        stream.end_of_stream = isLast ? 1 : 0;
        Deflate();
        if (!isLast)
            return;
        chunk.End(stream);
        CleanRegisters();
    }

private:
    /**
     * Flushes the first bytes by themselves. ISA-L 2.30 would else take the stream's own address
     * for the third to sixth of them when it looks for what repeats, and sometimes pack otherwise.
     */
    void Begin()
    {
        const std::uint32_t size = stream.avail_in;
        if (size <= bytesOfBeginning)
            return;
        stream.avail_in = bytesOfBeginning;
        stream.flush = SYNC_FLUSH;
        isal_deflate(&stream); // which does not fill the chunk
        stream.flush = NO_FLUSH;
        stream.avail_in = size - bytesOfBeginning;
    }

    void Deflate()
    {
        isal_deflate(&stream);
        for (; stream.avail_out == 0; isal_deflate(&stream))
            chunk.End(stream);
    }

    /** The code of this method leaves the wide registers in a state that slows others down. */
    static void CleanRegisters()
    {
#ifdef __x86_64__
        if (__builtin_cpu_supports("avx"))
            __asm__ volatile("vzeroupper");
#endif
    }

    isal_zstream stream = {};
    std::vector<unsigned char> level;
    ChunkBuffer chunk;
};

/** All rows in one chunk. */
class SmallPacker : public PngPacker
{
public:
    SmallPacker(PngChunks& into, std::uint64_t size) : into(into)
    {
        all.reserve(std::size_t(size));
    }

    void Add(const std::vector<unsigned char>& rows, bool isLast) override
    {
        all.insert(all.end(), rows.begin(), rows.end());
        if (isLast)
            Pack();
    }

private:
    void Pack()
    {
        const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
            libdeflate_alloc_compressor(levelOfSmall), libdeflate_free_compressor);
        if (!compressor)
            throw std::bad_alloc();
        const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), all.size());
        const std::unique_ptr<char[]> packed(new char[bound]); // little of it is ever touched
        into.Add("IDAT", packed.get(),
                 libdeflate_zlib_compress(compressor.get(), all.data(), all.size(), packed.get(),
                                          bound));
    }

    PngChunks& into;
    std::vector<unsigned char> all;
};

/** Rows as they come: several times slower, and no smaller, than all of them at once. */
class SmallStreamPacker : public PngPacker
{
public:
    explicit SmallStreamPacker(PngChunks& into) : chunk(into)
    {
        if (::deflateInit(&stream, levelOfSmall) != Z_OK)
            throw std::bad_alloc();
        chunk.Start(stream);
    }
    ~SmallStreamPacker() override { ::deflateEnd(&stream); }

    void Add(const std::vector<unsigned char>& rows, bool isLast) override
    {
        stream.next_in = const_cast<unsigned char*>(rows.data());
        stream.avail_in = uInt(rows.size());
        const int flush = isLast ? Z_FINISH : Z_NO_FLUSH;
        for (::deflate(&stream, flush); stream.avail_out == 0; ::deflate(&stream, flush))
            chunk.End(stream);
        if (isLast)
            chunk.End(stream);
    }

private:
    z_stream stream = {};
    ChunkBuffer chunk;
};

} // namespace

std::unique_ptr<PngPacker> MakePngPacker(PngChunks& into, Compression compression,
                                         std::uint64_t size)
{
    if (compression == Compression::Fast)
        return std::make_unique<FastPacker>(into);
    if (size <= mostAsAWhole)
        return std::make_unique<SmallPacker>(into, size);
    return std::make_unique<SmallStreamPacker>(into);
}

} // namespace Korvel::Worker
