// A list of inputs, and the same bytes as a map from paths to passwords.

#include "Failure.h"
#include "Fuzzing.h"
#include "InputOptions.h"
#include "Inputs.h"
#include "Interruption.h"
#include "PasswordOptions.h"
#include "Passwords.h"
#include "PathText.h"
#include "Text.h"

#include <optional>

#include <sys/mman.h>
#include <unistd.h>

using namespace Korvel;

namespace {

/** A file in memory, open anew under its path as often as wanted. */
class File
{
public:
    explicit File(const std::string& bytes) : descriptor(::memfd_create("list", MFD_CLOEXEC))
    {
        Fuzz::Require(::write(descriptor, bytes.data(), bytes.size()) == ssize_t(bytes.size()),
                      "the file can be written");
    }
    ~File() { ::close(descriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    const int descriptor;
};

std::string WithoutReturn(std::string line)
{
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

std::size_t CountOfNames(const std::string& text, bool isNulSeparated)
{
    std::size_t count = 0;
    std::istringstream stream(isNulSeparated ? text : std::string(App::WithoutMark(text)));
    for (std::string piece; std::getline(stream, piece, isNulSeparated ? '\0' : '\n');)
        count += (isNulSeparated ? piece : WithoutReturn(piece)).empty() ? 0 : 1;
    return count;
}

void ReadList(const std::string& path, const std::string& text, bool isNulSeparated,
              const App::Interruption& interruption)
{
    App::InputOptions options;
    options.list = path;
    options.isListNulSeparated = isNulSeparated;
    std::size_t count = 0;
    try {
        for (const App::Input& input : App::CollectInputs(options, {}, {}, interruption)) {
            ++count;
            Fuzz::Require(!input.name.isEmpty() && IsUtf8(input.name.toStdString()),
                          "an input has a name to print");
            Fuzz::Require(!input.problem.empty() || !input.path.contains(QChar(0)),
                          "a path with a NUL is a problem");
        }
    } catch (const App::Failure& failure) {
        Fuzz::Require(failure.code == App::ExitCode::Input, "refused as a fault of the input");
    }
    Fuzz::Require(count == CountOfNames(text, isNulSeparated), "every path is an input");
}

bool IsMap(const std::vector<std::string>& lines)
{
    return std::all_of(lines.begin(), lines.end(), [](const std::string& line) {
        return WithoutReturn(line).empty() || line.find('\t') != std::string::npos;
    });
}

std::optional<App::Passwords> ReadMap(const std::string& path,
                                      const App::Interruption& interruption)
{
    App::PasswordOptions options;
    options.map = path;
    try {
        return std::optional<App::Passwords>(std::in_place, options, interruption);
    } catch (const App::Failure& failure) {
        Fuzz::Require(failure.code == App::ExitCode::Password, "refused as a fault of the map");
        return std::nullopt;
    }
}

void RequireLastPassword(App::Passwords& passwords, const std::vector<std::string>& lines)
{
    const auto entry = std::find_if(lines.rbegin(), lines.rend(), [](const std::string& line) {
        return line.find('\t') != std::string::npos;
    });
    if (entry == lines.rend())
        return;
    const std::string line = WithoutReturn(*entry);
    const std::size_t tab = line.find('\t');
    App::Input input;
    input.path = QString::fromStdString(line.substr(0, tab));
    std::vector<std::string> tried;
    passwords.Find(input, [&tried](const std::string& password) {
        tried.push_back(password);
        return false;
    });
    Fuzz::Require(tried == std::vector<std::string>{line.substr(tab + 1)},
                  "the last line of a path gives its password");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const App::Interruption interruption;
    const std::string text = Fuzz::Text(data, size);
    const File file(text);
    ReadList(file.Path(), text, false, interruption);
    ReadList(file.Path(), text, true, interruption);
    const auto lines = Fuzz::Lines(text);
    auto passwords = ReadMap(file.Path(), interruption);
    Fuzz::Require(passwords.has_value() == IsMap(lines), "what is no entry is refused");
    if (passwords)
        RequireLastPassword(*passwords, lines);
    return 0;
}
