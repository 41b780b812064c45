#include "OperationMaker.h"

namespace Korvel::PDF::Test {

namespace {

const QStringList callersSources{QStringLiteral("docs/open.pdf"), QStringLiteral("docs/locked.pdf"),
                                 QStringLiteral("docs/документ (1).pdf"),
                                 QStringLiteral("docs/missing.pdf"), QStringLiteral("")};

const QStringList destinations{
    QStringLiteral("out/report.png"), QStringLiteral("out/report.png"),
    QStringLiteral("out/report.PNG"), QStringLiteral("out/report"), QStringLiteral("report.png"),
    QStringLiteral("out/archive.tar.gz"), QStringLiteral("out/out(3).png"),
    QStringLiteral("out/страница (1).png"), QStringLiteral("out/[draft].png"),
    QStringLiteral("out/a+b.png"), QStringLiteral("out/.png"), QStringLiteral("out/../up.png"),
    QStringLiteral("missing/report.png"), QStringLiteral("out/nul%1l.png").arg(QChar(0)),
    QStringLiteral("out/"), QStringLiteral(""),
    // No valid regular expressions.
    QStringLiteral("out/a(b.png"), QStringLiteral("out/[x.png"), QStringLiteral("out/*x.png")};

const std::vector<std::string> numberedFiles{"out/report(2).png", "out/report(4).png",
                                             "out/REPORT(3).PNG", "out/archive.tar(2).gz",
                                             "out/out(3)(2).png", "out/страница (1)(2).png",
                                             "out/up(2).png",     "outreport.png",
                                             "outreport(2).png",  "report(2).png"};

/** A null name stands for the destination that the innermost converter was given last. */
const QStringList madeFiles{QString(),
                            QStringLiteral("tmp/made.png"),
                            QStringLiteral("tmp/made.PNG"),
                            QStringLiteral("tmp/made.tar.gz"),
                            QStringLiteral("tmp/made"),
                            QStringLiteral("out/report.png"),
                            QStringLiteral("")};

constexpr std::size_t stemsInUse = 8;

QString CopyNamed(const std::string& stem)
{
    return QString::fromStdString("tmp/" + stem + ".pdf");
}

Operation EmissionOf(const ConverterSignal& signal, const QString& source,
                     const QStringList& results)
{
    Operation operation;
    operation.kind = Operation::Kind::Emit;
    operation.emission = {&signal, source, results};
    return operation;
}

} // namespace

OperationMaker::OperationMaker(std::uint64_t randomSeed) : engine(randomSeed) {}

std::size_t OperationMaker::MakeCount()
{
    return 1 + Pick(Chance(10) ? 60 : 24);
}

Beginning OperationMaker::MakeBeginning()
{
    Beginning beginning;
    const std::size_t shape = 2 + Pick(2 + 4 + 8); // a leading one, then a bit for each wrapper
    for (std::size_t bits = shape; bits > 1; bits >>= 1U)
        beginning.shape.push_back(bits % 2 == 0 ? Wrapper::TempFile : Wrapper::Unencrypt);
    beginning.verbosity = Chance(90) ? 30 : 29;
    beginning.keepsShares = Chance(50);
    beginning.stems = MakeStems();
    beginning.answers = MakeAnswers();
    for (std::size_t count = Pick(5); count > 0; --count)
        beginning.files.push_back(Chance(50) ? PickFrom(numberedFiles)
                                             : PickFrom(destinations).toStdString());
    for (std::size_t count = Chance(30) ? 1 + Pick(2) : 0; count > 0; --count)
        beginning.lastEmissions.push_back(MakeEmission(Kind::Emit, {}).emission);
    beginning.inServices =
        MakeInside({Kind::Emit, Kind::Emit, Kind::Convert, Kind::Forward}, QString(), {});
    return beginning;
}

Operation OperationMaker::Make(const std::vector<Task>& given)
{
    static const std::vector<Kind> kinds = [] {
        std::vector<Kind> result;
        const std::pair<Kind, std::size_t> percentages[]{
            {Kind::Convert, 40},      {Kind::Emit, 43},   {Kind::EmitElsewhere, 3},
            {Kind::DeliverQueued, 4}, {Kind::Forward, 2}, {Kind::Answer, 7},
            {Kind::Destroy, 1}};
        for (const auto& [kind, percentage] : percentages)
            result.insert(result.end(), percentage, kind);
        return result;
    }();
    Operation operation = MakeKind(PickFrom(kinds), given);
    operation.inSlots =
        MakeInside({Kind::Nothing, Kind::Nothing, Kind::Convert, Kind::Convert, Kind::Emit,
                    Kind::Emit, Kind::EmitElsewhere, Kind::Answer, Kind::Throw, Kind::Destroy},
                   operation.emission.source, given);
    operation.inConverter =
        MakeInside({Kind::Nothing, Kind::Emit, Kind::Emit, Kind::Emit, Kind::Emit,
                    Kind::EmitElsewhere, Kind::Convert, Kind::Throw},
                   QString(), given);
    return operation;
}

std::vector<Operation> OperationMaker::MakeProbes(const QString& source)
{
    std::vector<Operation> probes;
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (signal.name == "ConvertationProgress")
            probes.push_back(EmissionOf(signal, source, {}));
        if (signal.name == "FinishedFile")
            probes.push_back(EmissionOf(signal, source, {QStringLiteral("tmp/probe.png")}));
    }
    return probes;
}

std::vector<Operation> OperationMaker::MakeInside(const std::vector<Kind>& kinds,
                                                  const QString& source,
                                                  const std::vector<Task>& given)
{
    std::vector<Operation> operations;
    for (std::size_t count = Chance(30) ? 1 + Pick(3) : 0; count > 0; --count) {
        operations.push_back(MakeKind(PickFrom(kinds), given));
        if (Chance(50))
            operations.back().emission.source = source;
    }
    return operations;
}

Operation OperationMaker::MakeKind(Kind kind, const std::vector<Task>& given)
{
    if (kind == Kind::Convert)
        return MakeConvert();
    if (kind == Kind::Emit || kind == Kind::EmitElsewhere)
        return MakeEmission(kind, given);
    Operation operation;
    operation.kind = kind;
    if (kind == Kind::Answer)
        operation.answers = MakeAnswers();
    return operation;
}

Operation OperationMaker::MakeConvert()
{
    Operation operation;
    operation.kind = Kind::Convert;
    operation.task = MakeTask();
    operation.stems = MakeStems();
    if (Chance(15))
        operation.failingCopy = int(Pick(5));
    return operation;
}

Task OperationMaker::MakeTask()
{
    Task task{QStringLiteral("type"), PickFrom(callersSources), PickFrom(destinations), {}};
    if (Chance(75))
        task.options["need_export"] = false;
    if (Chance(75))
        task.options["password"] = std::string("secret");
    else if (Chance(30))
        task.options["password"] = std::string("wrong");
    else if (Chance(20))
        task.options["password"] = Chance(50) ? std::any(7) : std::any();
    if (Chance(10))
        task.options["other"] = std::string("text");
    return task;
}

std::vector<std::string> OperationMaker::MakeStems()
{
    if (!Chance(15))
        return {};
    return {MakeRepeatedStem(), MakeRepeatedStem()};
}

std::string OperationMaker::MakeRepeatedStem()
{
    return Chance(10) ? "имя" : "stem" + std::to_string(1 + Pick(stemsInUse));
}

Operation OperationMaker::MakeEmission(Kind kind, const std::vector<Task>& given)
{
    const ConverterSignal& signal =
        ConverterSignals()[Chance(60) ? 5 + Pick(3) : Pick(ConverterSignals().size())];
    const bool isOfTask = !given.empty() && Chance(65);
    const Task task = isOfTask ? PickFrom(given) : Task{};
    const QString source = isOfTask ? task.source : MakeSource(given);
    Operation operation = EmissionOf(signal, source, MakeResults(signal, task.destination));
    operation.kind = kind;
    operation.resultsExist = Chance(85);
    return operation;
}

QString OperationMaker::MakeSource(const std::vector<Task>& given)
{
    if (!given.empty() && Chance(30))
        return given.back().source;
    if (Chance(50))
        return CopyNamed(MakeRepeatedStem());
    return Chance(60) ? PickFrom(callersSources) : QStringLiteral("docs/unknown.pdf");
}

QStringList OperationMaker::MakeResults(const ConverterSignal& signal, const QString& destination)
{
    if (signal.name != "FinishedFile" && signal.name != "FinishedFiles")
        return {};
    QStringList results;
    for (std::size_t count = signal.name == "FinishedFile" ? 1 : Pick(4); count > 0; --count)
        results.push_back(Chance(70) ? destination : PickFrom(madeFiles));
    return results;
}

Answers OperationMaker::MakeAnswers()
{
    const auto usually = [this] {
        return Chance(80);
    };
    const auto answer = [&] {
        return Chance(85) ? PdfAnswer::Proper : PdfAnswer(Pick(4));
    };
    Answers answers;
    answers.accepts = usually();
    answers.seesFiles = usually();
    answers.createsFolders = usually();
    answers.movesFiles = usually();
    answers.removesFolders = usually();
    answers.open = answer();
    answers.save = answer();
    return answers;
}

} // namespace Korvel::PDF::Test
