// A page of text as a PNG.

#include "MemoryOutput.h"
#include "PaintingApplication.h"
#include "TextPage.h"
#include "WritePicture.h"

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <QBuffer>

namespace {

using namespace Korvel::Worker;
using Korvel::PDF::Test::TextPage;

/** The unit that the others are measured in. */
void CopyOfMemory(benchmark::State& state)
{
    const QImage page = TextPage(Qt::black);
    std::vector<char> copy(std::size_t(page.sizeInBytes()));
    for (auto step : state) {
        std::memcpy(copy.data(), page.constBits(), copy.size());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(CopyOfMemory);

int SizeAsPng(const QImage& page, Compression compression)
{
    MemoryOutput png;
    WritePicture(
        png, {page.width(), page.height(), PixelFormat::Bgrx, 150},
        {Korvel::WorkerProtocol::Format::png, Korvel::WorkerProtocol::defaultQuality, compression},
        [&page](int row) {
            return Rows{page.constScanLine(row), page.bytesPerLine(), page.height() - row};
        });
    return int(png.Size());
}

void Encoded(benchmark::State& state, const QColor& color, Compression compression)
{
    const QImage page = TextPage(color);
    int size = 0;
    for (auto step : state)
        size = SizeAsPng(page, compression);
    state.counters["bytes"] = size;
}

BENCHMARK_CAPTURE(Encoded, Gray, Qt::black, Compression::Fast);
BENCHMARK_CAPTURE(Encoded, Color, Qt::darkBlue, Compression::Fast);
BENCHMARK_CAPTURE(Encoded, GraySmall, Qt::black, Compression::Small);

void EncodedByQt(benchmark::State& state)
{
    const QImage page = TextPage(Qt::black);
    int size = 0;
    for (auto step : state) {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        page.save(&buffer, "png");
        size = int(buffer.size());
    }
    state.counters["bytes"] = size;
}

BENCHMARK(EncodedByQt);

} // namespace

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
