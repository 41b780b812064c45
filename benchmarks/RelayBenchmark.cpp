// What a wrapper adds to the signals that pass through it.

#include "AgreeableServices.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"

#include <map>
#include <vector>

#include <benchmark/benchmark.h>
#include <glog/logging.h>
#include <QCoreApplication>
#include <QTemporaryDir>

namespace {

using namespace Korvel::PDF;
using Converter::AbstractConverter;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;

enum Wrapping { None, Relay, TempFile, Unencrypt };

/** The least that anything can do which stands between a converter and its caller. */
std::shared_ptr<AbstractConverter> PlainRelay(AbstractConverter* inner)
{
    const auto relay = std::make_shared<Test::HandingOnConverter>();
    AbstractConverter* const sender = relay.get();
    QObject::connect(inner, &AbstractConverter::ConvertationProgress, sender,
                     [sender](const QString& source, double progress) {
                         Q_EMIT sender->ConvertationProgress(source, progress);
                     });
    QObject::connect(inner, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     sender, [sender](const QString& source, const QString& file) {
                         Q_EMIT sender->Finished(source, file);
                     });
    return relay;
}

/** A converter, bare or wrapped, with tasks in flight and a receiver of its signals. */
class Chain
{
public:
    Chain(Wrapping wrapping, int tasks)
    {
        const auto files = std::make_shared<Test::AgreeableFiles>(folder);
        outermost = inner;
        if (wrapping == Relay)
            outermost = PlainRelay(inner.get());
        if (wrapping == TempFile)
            outermost = std::make_shared<TempFileWrapper>(names, inner, files);
        if (wrapping == Unencrypt)
            outermost = std::make_shared<UnencryptDocWrapper>(
                names, inner, std::make_shared<Test::AgreeablePdfs>(), files);
        inner->onTask = [this](const Test::InnerTask& task) {
            inFlight.push_back(task);
        };
        inFlight.push_back({"/documents/report-1.pdf", "/pictures/page-1.png"});
        if (tasks > 0)
            Start(tasks);
        const AbstractConverter* const sender = outermost.get();
        QObject::connect(sender, &AbstractConverter::ConvertationProgress, sender,
                         [this](const QString&, double) { ++received; });
        QObject::connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                         sender, [this](const QString&, const QString&) { ++received; });
    }

    void Start(int tasks)
    {
        inFlight.clear();
        for (int i = 0; i < tasks; ++i) {
            const QString number = QString::number(i);
            outermost->ConvertFile({QString(),
                                    QStringLiteral("/documents/report-") + number + ".pdf",
                                    QStringLiteral("/pictures/page-") + number + ".png",
                                    {{"need_export", true}}});
        }
    }

    const QTemporaryDir folder;
    const std::shared_ptr<Test::CountingNames> names = std::make_shared<Test::CountingNames>();
    const std::shared_ptr<Test::HandingOnConverter> inner =
        std::make_shared<Test::HandingOnConverter>();
    std::shared_ptr<AbstractConverter> outermost;
    /** As the inner converter knows them. */
    std::vector<Test::InnerTask> inFlight;
    int received = 0;
};

void Progress(benchmark::State& state, Wrapping wrapping)
{
    Chain chain(wrapping, int(state.range(0)));
    const QString source = chain.inFlight[chain.inFlight.size() / 2].source;
    for (auto step : state)
        Q_EMIT chain.inner->ConvertationProgress(source, 0.5);
    benchmark::DoNotOptimize(chain.received);
}

BENCHMARK_CAPTURE(Progress, Bare, None)->Arg(0);
BENCHMARK_CAPTURE(Progress, PlainRelay, Relay)->Arg(0);
BENCHMARK_CAPTURE(Progress, TempFileWrapper, TempFile)->Arg(1)->Arg(100'000);
BENCHMARK_CAPTURE(Progress, UnencryptDocWrapper, Unencrypt)->Arg(1)->Arg(100'000);

/** The peer of a relay among many tasks. */
void FindInMap(benchmark::State& state)
{
    std::map<QString, QString> map;
    Chain chain(Unencrypt, int(state.range(0)));
    for (const Test::InnerTask& task : chain.inFlight)
        map[task.source] = task.destination;
    const QString source = chain.inFlight[chain.inFlight.size() / 2].source;
    for (auto step : state)
        benchmark::DoNotOptimize(map.find(source));
}

BENCHMARK(FindInMap)->Arg(1)->Arg(100'000);

/** The end of a task that the wrapper has nothing to do with: a document without encryption. */
void FinishedUnknown(benchmark::State& state, Wrapping wrapping)
{
    Chain chain(wrapping, 0);
    const Test::InnerTask task = chain.inFlight.front();
    for (auto step : state)
        Q_EMIT chain.inner->Finished(task.source, task.destination);
    benchmark::DoNotOptimize(chain.received);
}

BENCHMARK_CAPTURE(FinishedUnknown, Bare, None);
BENCHMARK_CAPTURE(FinishedUnknown, PlainRelay, Relay);
BENCHMARK_CAPTURE(FinishedUnknown, UnencryptDocWrapper, Unencrypt);

/** The ends of a thousand tasks a step, with services that do nothing. */
void Finished(benchmark::State& state, Wrapping wrapping)
{
    constexpr int tasks = 1000;
    Chain chain(wrapping, 0);
    for (auto step : state) {
        state.PauseTiming();
        chain.Start(tasks);
        state.ResumeTiming();
        for (const Test::InnerTask& task : chain.inFlight)
            Q_EMIT chain.inner->Finished(task.source, task.destination);
    }
    state.SetItemsProcessed(state.iterations() * tasks);
}

BENCHMARK_CAPTURE(Finished, TempFileWrapper, TempFile);
BENCHMARK_CAPTURE(Finished, UnencryptDocWrapper, Unencrypt);

/** What the latter spends on the file alone, which nobody has made here. */
void RemoveMissingFiles(benchmark::State& state)
{
    constexpr int tasks = 1000;
    Chain chain(Unencrypt, tasks);
    for (auto step : state) {
        for (const Test::InnerTask& task : chain.inFlight)
            benchmark::DoNotOptimize(Korvel::ioPath::remove(task.source.toStdString()));
    }
    state.SetItemsProcessed(state.iterations() * tasks);
}

BENCHMARK(RemoveMissingFiles);

} // namespace

int main(int argc, char** argv)
{
    FLAGS_minloglevel = google::FATAL;
    google::InitGoogleLogging(argv[0]);
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
