#include "OptionRules.h"

#include "Failure.h"
#include "OptionList.h"
#include "Options.h"
#include "OutputTemplate.h"
#include "PagePart.h"
#include "PageRanges.h"
#include "ResultFormat.h"
#include "WorkerProtocol.h"

#include <algorithm>

#include <QRectF>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

namespace Korvel::App {

namespace {

void RefuseIf(bool isWrong, const std::string& message)
{
    if (isWrong)
        throw Failure(ExitCode::Usage, "usage", message);
}

void CheckInput(const InputOptions& input, const PasswordOptions& passwords)
{
    RefuseIf(input.paths.empty() && input.list.empty(),
             "there is no INPUT; name the PDFs to convert");
    const auto readers = std::count(input.paths.begin(), input.paths.end(), "-") +
                         int(input.list == "-") + int(passwords.file == "-") +
                         int(passwords.map == "-") + int(passwords.descriptor == 0);
    RefuseIf(readers > 1, "standard input can be read only once; it is named by several '-'");
    RefuseIf(input.isListNulSeparated && input.list.empty(), "-0 goes with --from-list only");
    RefuseIf(input.shard && (input.list.empty() || !input.paths.empty()),
             "--shard goes with --from-list only, and with no INPUT: every run would convert it");
}

void CheckJournal(const Options& options)
{
    const RunOptions& run = options.run;
    if (options.journal.path.empty()) {
        RefuseIf(options.journal.retriesFailed, "--retry-failed goes with --journal only");
        return;
    }
    RefuseIf(run.isDry || run.inspects || run.failsFast || options.output.IsStandardOutput() ||
                 options.input.ReadsStandardInput(),
             "--journal goes neither with standard input or output as a document, nor with "
             "--dry-run, --inspect or --fail-fast");
}

QString FormatOf(const OutputOptions& output)
{
    const QString format = QString::fromStdString(output.format);
    return output.IsStandardOutput()
               ? format
               : OutputTemplate::Parse(QString::fromStdString(output.path), format).Format();
}

/** Whether the option changes anything of results in that format. */
bool Counts(const std::string& option, const QString& format)
{
    static const std::set<std::string> ofPictures{
        "--resolution", "--size", "--width", "--height", "--box",        "--crop",
        "--rotate",     "--gray", "--mono",  "--dither", "--transparent"};
    if (option == "--quality")
        return QStringList{"jpg", "jpeg", "webp"}.contains(format);
    if (option == "--compression")
        return format == QLatin1String("png");
    if (option == "--dehyphenate" || option == "--no-dehyphenate" || option == "--layout")
        return format == QLatin1String("txt");
    if (option == "--resolution" && format == QLatin1String("hocr"))
        return true;
    if (option == "--linearize")
        return format == QLatin1String("pdf");
    return ofPictures.count(option) == 0 || OutputTemplate::IsPictureFormat(format);
}

/** Whether a part of a page lies further away than the worker can look. */
bool IsTooFar(const QRectF& part)
{
    return std::max({part.x(), part.y(), part.width(), part.height()}) > WorkerProtocol::mostPoints;
}

void CheckNative(const PageOptions& pages, const QString& format)
{
    RefuseIf(pages.isNative && OutputTemplate::NameOf(format) != WorkerProtocol::Format::jpg,
             "-r native goes with jpg only, which is what it takes out of pages");
    const bool isChanged =
        pages.gray || pages.part || !pages.box.empty() || !pages.rotation.empty();
    RefuseIf(pages.isNative && isChanged,
             "-r native takes pages as they are; leave --gray, --box, --crop and --rotate away");
}

void CheckLook(const PageOptions& pages, const QString& format)
{
    RefuseIf(pages.part && IsTooFar(pages.part->InPoints(pages.resolution)),
             "--crop has a number beyond a million points, which no page has");
    CheckNative(pages, format);
    RefuseIf(pages.dithers && !pages.mono, "--dither goes with --mono only");
    RefuseIf(
        pages.part && pages.part->unit == PagePart::Unit::Pixels && pages.size.isValid(),
        "--crop in pixels goes with -r only, which says how large they are; in points or mm it "
        "goes with --size, --width and --height, too");
    const QString name = OutputTemplate::NameOf(format);
    RefuseIf(pages.mono && !CanBeBlackAndWhite(name),
             "there is no " + format.toStdString() +
                 " of black and white alone; choose png or tif with --mono");
    RefuseIf(pages.transparent && !CanBeTransparent(name),
             "a " + format.toStdString() +
                 " cannot be transparent; choose png, tif or webp with --transparent");
}

void CheckInspection(const std::set<std::string>& named)
{
    for (const Option& option : OptionList())
        RefuseIf((option.group == "Output" || option.group == "Pages") &&
                     named.count(option.names.back()) > 0,
                 option.names.back() + " does not go with --inspect, which makes no results");
}

/** Complains about places of results that inputs do not have. */
void CheckPlaces(const Options& options)
{
    const OutputOptions& output = options.output;
    RefuseIf(output.isBeside && options.input.ReadsStandardInput(),
             "--beside does not go with standard input, which lies in no folder");
    if (output.IsStandardOutput() || !OutputTemplate::Parse(QString::fromStdString(output.path),
                                                            QString::fromStdString(output.format))
                                          .HasFolder())
        return;
    RefuseIf(!options.input.isRecursive, "%p goes with --recursive only");
    RefuseIf(output.isBeside,
             "%p does not go with --beside, as the input's folder is there already");
}

void CheckMerge(const Options& options, const QString& format)
{
    const OutputOptions& output = options.output;
    if (!output.merges)
        return;
    RefuseIf(output.isBeside, "--merge makes one PDF, and inputs lie in many folders; leave "
                              "--beside away");
    RefuseIf(!options.journal.path.empty(),
             "--merge makes one PDF or none, so there is nothing to go on with; leave --journal "
             "away");
    RefuseIf(format != QLatin1String("pdf"),
             "--merge makes a PDF; end the name of -o with .pdf, or choose pdf with -f");
    if (output.IsStandardOutput())
        return;
    const auto path = OutputTemplate::Parse(QString::fromStdString(output.path),
                                            QString::fromStdString(output.format));
    RefuseIf(path.HasInputName() || path.HasPageNumber() || path.HasFolder(),
             "--merge makes one PDF; name it with -o, without %s, %d and %p");
}

void CheckOutput(const Options& options, const std::set<std::string>& named)
{
    const OutputOptions& output = options.output;
    RefuseIf(output.path.empty(),
             "there is neither --output nor --directory nor --beside to say where the results go");
    RefuseIf(output.IsStandardOutput() && output.format.empty(),
             "-o - needs a format; name it with -f");
    RefuseIf(output.IsStandardOutput() && options.console.json,
             "--json writes to standard output, and so does -o -");
    CheckPlaces(options);
    const QString format = FormatOf(output);
    for (const std::string& option : named)
        RefuseIf(!Counts(option, format),
                 option + " changes nothing of " + format.toStdString() + "; leave it away");
    CheckMerge(options, format);
    CheckLook(options.pages, format);
}

} // namespace

std::string ProblemOfPages(const std::string& text)
{
    try {
        PageRanges::Parse(text);
        return {};
    } catch (const Failure& failure) {
        return failure.what();
    }
}

std::string ProblemOfShard(const std::string& text)
{
    return Shard::Parse(text) ? ""
                              : "'" + text +
                                    "' is no share; shares of 8 are 1/8 to 8/8, so number the "
                                    "tasks from 1";
}

std::string ProblemOfSize(const std::string& text)
{
    return ToSize(text).isEmpty()
               ? "'" + text + "' is not a size such as 1920x1080, up to 65000x65000"
               : "";
}

std::string ProblemOfPart(const std::string& text)
{
    return PagePart::Parse(text) ? ""
                                 : "'" + text +
                                       "' is no part of a page such as 20,30,100,50mm: from the "
                                       "left, from the top, width and height, in pt, mm or px";
}

QSize ToSize(const std::string& text)
{
    static const QRegularExpression form("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$");
    const auto match = form.match(QString::fromStdString(text));
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    return std::max(size.width(), size.height()) <= WorkerProtocol::longestSide ? size : QSize();
}

void PutInto(const std::string& folder, bool keepsTree, OutputOptions& output)
{
    const std::string name = output.path;
    RefuseIf(name == "-" || name[0] == '/',
             "-o " + name + " does not go with " + (output.isBeside ? "--beside" : "--directory"));
    output.path = QString::fromStdString(folder).replace('%', "%%").toStdString() +
                  (output.isBeside ? "" : "/") + name;
    if (!name.empty())
        return;
    if (output.format.empty())
        output.format = "png";
    const bool isPicture = OutputTemplate::IsPictureFormat(QString::fromStdString(output.format));
    output.path += keepsTree && !output.isBeside ? "%p/" : "";
    output.path += (isPicture ? "%s-%d." : "%s.") + output.format;
}

void CheckTogether(const Options& options, const std::set<std::string>& named)
{
    CheckInput(options.input, options.passwords);
    CheckJournal(options);
    if (options.run.inspects)
        CheckInspection(named);
    else
        CheckOutput(options, named);
}

} // namespace Korvel::App
