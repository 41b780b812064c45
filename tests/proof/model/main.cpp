#include "Sequence.h"
#include "WorkingFolder.h"

#include <glog/logging.h>
#include <iostream>
#include <QCommandLineParser>
#include <QCoreApplication>

using namespace Korvel::PDF::Test;

namespace {

struct Options
{
    std::uint64_t randomSeed;
    std::uint64_t first;
    std::uint64_t sequences;
    bool verbose;
};

std::uint64_t RandomSeed()
{
    std::random_device device;
    return (std::uint64_t(device()) << 32U) + device();
}

std::uint64_t Number(const QCommandLineParser& parser, const QString& option,
                     std::uint64_t otherwise)
{
    const QString value = parser.value(option);
    bool isNumber = true;
    const std::uint64_t number = parser.isSet(option) ? value.toULongLong(&isNumber) : otherwise;
    if (!isNumber) {
        std::cerr << "--" << option.toStdString() << " is no number: " << value.toStdString()
                  << '\n';
        std::exit(2);
    }
    return number;
}

Options Parse(const QCoreApplication& application)
{
    const QString randomSeed = QStringLiteral("seed"); // --seed
    const QString first = QStringLiteral("first");
    const QString sequences = QStringLiteral("sequences");
    const QString verbose = QStringLiteral("verbose");
    const QString number = QStringLiteral("N");
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Lets random operations happen to stacks of wrappers and to a model of them, and\n"
        "compares the traces. Ends with 1 at the first difference, and tells the options that\n"
        "lead there again."));
    parser.addHelpOption();
    parser.addOptions(
        {{randomSeed, QStringLiteral("The random seed; one of the system's when left out."),
          number},
         {first, QStringLiteral("Number of the first sequence; 0 when left out."), number},
         {sequences, QStringLiteral("How many sequences; 1000 when left out."), number},
         {verbose,
          QStringLiteral("Write each operation before it happens, and what then happens.")}});
    parser.process(application);
    return {Number(parser, randomSeed, RandomSeed()), Number(parser, first, 0),
            Number(parser, sequences, 1000), parser.isSet(verbose)};
}

/** Only LogCapture is told what is logged. */
void LogNowhere(const char* program)
{
    google::InitGoogleLogging(program);
    FLAGS_stderrthreshold = google::NUM_SEVERITIES;
    for (int severity = 0; severity < google::NUM_SEVERITIES; ++severity)
        google::SetLogDestination(severity, "");
}

/** Sequences of one run are unlike each other, and each can be run again alone. */
std::uint64_t RandomSeedOf(const Options& options, std::uint64_t number)
{
    return options.randomSeed + number * 0x9E3779B97F4A7C15U;
}

/** Tells where to look with --verbose when the program dies instead of reporting. */
void ReportProgress(std::uint64_t number)
{
    if (number % 1000 == 0)
        std::cout << "sequence " << number << std::endl;
}

bool Run(const Options& options, std::uint64_t number)
{
    ReportProgress(number);
    std::ostream* const log = options.verbose ? &std::cerr : nullptr;
    if (log)
        *log << "Sequence " << number << '\n';
    Sequence sequence(RandomSeedOf(options, number), log);
    if (sequence.Run())
        return true;
    std::cerr << "Sequence " << number << " fails; again with --seed " << options.randomSeed
              << " --first " << number << " --sequences 1\n";
    sequence.Report(std::cerr);
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const Options options = Parse(application);
    LogNowhere(argv[0]);
    const WorkingFolder folder;
    std::cout << "random seed " << options.randomSeed << std::endl;
    for (std::uint64_t i = 0; i < options.sequences; ++i)
        if (!Run(options, options.first + i))
            return 1;
    std::cout << options.sequences << " sequences agree\n";
}
