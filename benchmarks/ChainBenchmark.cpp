// The pages of a document through a chain of wrappers, beside the bare converter.

#include "LocalFileSystem.h"
#include "PaintingApplication.h"
#include "SamplePdf.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <stdexcept>

#include <benchmark/benchmark.h>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>

namespace {

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

constexpr int pages = 20;
const WorkerSettings settings{WORKER};

/** Converts the document page by page into files that are removed again. */
void ConvertPages(AbstractConverter& converter, const QString& document, const QString& result)
{
    QEventLoop loop;
    QObject::connect(&converter, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     &loop, &QEventLoop::quit);
    AbstractConverter::Task task;
    task.type = QStringLiteral("png");
    task.source = document;
    task.destination = result;
    for (int page = 1; page <= pages; ++page) {
        task.options["page"] = page;
        converter.ConvertFile(task);
        loop.exec();
        if (!QFile::remove(result))
            throw std::runtime_error("there is no result");
    }
}

void Measure(benchmark::State& state, AbstractConverter& converter)
{
    const QTemporaryDir folder(QStringLiteral("/dev/shm/chain-XXXXXX"));
    const QString document = folder.filePath(QStringLiteral("document.pdf"));
    MakeSamplePdf(document, pages);
    const QString result = folder.filePath(QStringLiteral("page.png"));
    ConvertPages(converter, document, result);
    for (auto step : state)
        ConvertPages(converter, document, result);
}

void PagesByTheBareConverter(benchmark::State& state)
{
    WorkerConverter converter(settings);
    Measure(state, converter);
}

void PagesThroughTheChain(benchmark::State& state)
{
    const auto names = std::make_shared<UuidFileNameGenerator>();
    std::string error;
    const auto files = std::make_shared<LocalFileSystem>(
        std::shared_ptr<SessionFolder>(SessionFolder::Create("/dev/shm", error)));
    const auto inner = std::make_shared<TempFileWrapper>(
        names, std::make_shared<WorkerConverter>(settings), files);
    UnencryptDocWrapper chain(names, inner, std::make_shared<WorkerPdfProvider>(settings), files);
    Measure(state, chain);
}

BENCHMARK(PagesByTheBareConverter)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(PagesThroughTheChain)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
