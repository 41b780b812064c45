#include "LookOptions.h"

#include "PageOptions.h"

namespace Korvel::App {

using Options = decltype(PDF::Converter::AbstractConverter::Task::options);

namespace {

void AddView(Options& options, const PageOptions& pages)
{
    if (!pages.box.empty())
        options["box"] = QString::fromStdString(pages.box);
    if (pages.part)
        options["crop"] = pages.part->InPoints(pages.resolution);
    if (!pages.rotation.empty())
        options["rotate"] = std::stoi(pages.rotation);
}

void AddColors(Options& options, const PageOptions& pages)
{
    options["gray"] = pages.gray;
    options["transparent"] = pages.transparent;
    if (pages.mono)
        options["mono"] = QString(pages.dithers ? "dither" : "threshold");
}

} // namespace

Options LookOptions(const PageOptions& pages)
{
    Options options;
    AddView(options, pages);
    AddColors(options, pages);
    if (pages.size.isValid())
        options["size"] = pages.size;
    else
        options["resolution"] = pages.resolution;
    if (pages.isNative)
        options["as_is"] = true;
    if (pages.quality > 0)
        options["quality"] = pages.quality;
    if (!pages.compression.empty())
        options["compression"] = QString::fromStdString(pages.compression);
    options["dehyphenate"] = !pages.keepsHyphens;
    options["layout"] = pages.isLaidOut;
    return options;
}

} // namespace Korvel::App
