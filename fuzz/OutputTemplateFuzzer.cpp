// Line 1: the wanted format, or nothing. Line 2: the input's name. Line 3: the template. Further
// lines: paths at which something exists.

#include "Failure.h"
#include "Fuzzing.h"
#include "IFileSystem.h"
#include "OutputTemplate.h"
#include "PlannedPaths.h"

#include <optional>
#include <set>

#include <QStringList>

using namespace Korvel;

namespace {

class Existing : public PDF::IFileSystem
{
public:
    explicit Existing(std::set<std::string> paths) : paths(std::move(paths)) {}

    ioPath GetTempFolder() override { return {}; }
    bool RemoveFolder(const ioPath&) override { return false; }
    bool Exists(const ioPath& path) override { return paths.count(path.utf8string()) > 0; }
    bool Move(const ioPath&, const ioPath&) override { return false; }
    bool CreateFolder(const ioPath&) override { return false; }

private:
    const std::set<std::string> paths;
};

std::optional<App::OutputTemplate> Parse(const QString& text, const QString& format)
{
    try {
        return App::OutputTemplate::Parse(text, format);
    } catch (const App::Failure& failure) {
        Fuzz::Require(failure.code == App::ExitCode::Usage, "refused as a usage error");
        return std::nullopt;
    }
}

void RequireAPathForEachPage(const App::OutputTemplate& output, const QString& input)
{
    std::set<QString> paths;
    for (const int page : {1, 2, 9, 10, 11, 99, 100, 111, 1000, 1111})
        Fuzz::Require(paths.insert(output.Path(input, page)).second, "no two pages share a path");
}

void RequireLiteral(QString text, const QString& format)
{
    const QString path = text;
    const auto output = Parse(text.replace("%", "%%"), format);
    if (output)
        Fuzz::Require(output->Path("input", 1) == path,
                      "%% is a percent sign, all else is literal");
}

void RequireFreePaths(const QString& wanted, const std::vector<std::string>& existing)
{
    Existing fileSystem({existing.begin(), existing.end()});
    PDF::Converter::PlannedPaths planned;
    for (int i = 0; i < 3; ++i) {
        const QString path = planned.FindFree(wanted, &fileSystem);
        Fuzz::Require(!fileSystem.Exists(path.toStdString()), "nothing exists at the path");
        Fuzz::Require(planned.InputOf(path).isNull(), "nobody has planned the path");
        planned.Add(path, "input");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto lines = Fuzz::Lines(Fuzz::Text(data, size), 3);
    const QString format = QString::fromStdString(lines[0]);
    const QString input = QString::fromStdString(lines[1]);
    const QString text = QString::fromStdString(lines[2]);
    RequireLiteral(text, format);
    const auto output = Parse(text, format);
    if (!output)
        return 0;
    Fuzz::Require(App::OutputTemplate::Formats().contains(output->Format()), "a known format");
    const auto numbered = output->HasPageNumber() ? *output : output->WithPageNumber(1111);
    Fuzz::Require(numbered.HasPageNumber(), "a page number finds its place");
    RequireAPathForEachPage(numbered, input);
    RequireFreePaths(output->Path(input, 1), {lines.begin() + 3, lines.end()});
    return 0;
}
