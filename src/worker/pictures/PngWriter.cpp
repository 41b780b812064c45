#include "PngWriter.h"

#include "PngChunks.h"
#include "PngLook.h"
#include "PngPacker.h"
#include "PngRows.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bytesABlock = 1 << 17;
constexpr int longestSide = std::numeric_limits<int>::max() / 3 - 1; // a row has 2 GB at most

/** The number that PNGs have for it. */
char ColorType(PngForm::Kind kind)
{
    switch (kind) {
    case PngForm::Kind::Bilevel:
    case PngForm::Kind::Gray:
        return 0;
    case PngForm::Kind::Palette:
        return 3;
    case PngForm::Kind::Transparent:
        return 6;
    case PngForm::Kind::Color:
        break;
    }
    return 2;
}

std::string Header(const PictureShape& shape, const PngForm& form)
{
    std::string header;
    PngChunks::AppendNumber(header, std::uint32_t(shape.width));
    PngChunks::AppendNumber(header, std::uint32_t(shape.height));
    header += char(form.Bits());
    header += ColorType(form.kind);
    header.append(3, '\0'); // the only compression, the only set of filters, no interlacing
    return header;
}

std::string Resolution(const PictureShape& shape)
{
    std::string resolution;
    for (int direction = 0; direction < 2; ++direction)
        PngChunks::AppendNumber(resolution, std::uint32_t(shape.DotsPerMetre()));
    resolution += char(1); // dots per metre
    return resolution;
}

/** A PNG that is of one form from its first row to its last. */
class PngFile
{
public:
    PngFile(Output& into, const PictureShape& shape, Compression compression, const PngLook& look)
        : look(look),
          chunks(into),
          writer(shape, look.Form()),
          packer(MakePngPacker(chunks, compression,
                               std::uint64_t(writer.Length()) * std::uint64_t(shape.height))),
          rowsToCome(shape.height)
    {
        chunks.Add("IHDR", Header(shape, look.Form()));
        chunks.Add("pHYs", Resolution(shape));
        if (look.Form().kind == PngForm::Kind::Palette)
            chunks.Add("PLTE", look.Form().palette.Samples());
        StartBlock();
    }

    /** Answers false where a row is not of the form, and the file has no more use. */
    bool Add(int first, const Rows& rows)
    {
        for (int row = 0; row < rows.count; ++row) {
            unsigned char* const into = block.data() + place;
            if (const unsigned char* const known = look.Row(first + row))
                writer.WriteKnown(known, into);
            else if (!writer.Write(rows.first + row * rows.stride, into))
                return false;
            place += writer.Length();
            if (place == block.size())
                PackBlock();
        }
        return true;
    }

    void Finish() { chunks.Add("IEND", std::string()); }

private:
    void StartBlock()
    {
        const std::size_t rows = std::min(std::max<std::size_t>(1, bytesABlock / writer.Length()),
                                          std::size_t(rowsToCome));
        block.resize(rows * writer.Length());
        rowsToCome -= int(rows);
        place = 0;
    }

    void PackBlock()
    {
        packer->Add(block, rowsToCome == 0);
        StartBlock();
    }

    const PngLook& look;
    PngChunks chunks;
    PngRows writer;
    const std::unique_ptr<PngPacker> packer;
    std::vector<unsigned char> block;
    std::size_t place = 0;
    /** Below the block. */
    int rowsToCome;
};

} // namespace

void WritePng(Output& into, const PictureShape& shape, Compression compression,
              const DrawRows& draw)
{
    shape.RequireSides("PNG", longestSide);
    Rows rows = draw(0);
    for (PngLook look(shape, rows);; look.Widen(), rows = draw(0)) {
        PngFile file(into, shape, compression, look);
        int first = 0;
        while (file.Add(first, rows)) {
            first += rows.count;
            if (first == shape.height)
                return file.Finish();
            rows = draw(first);
        }
        into.Clear();
    }
}

} // namespace Korvel::Worker
