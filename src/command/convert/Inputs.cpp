#include "Inputs.h"

#include "Failure.h"
#include "InputOptions.h"
#include "InputTree.h"
#include "PathText.h"
#include "Streams.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

using Tell = std::function<void(const std::string& note)>;

/** The file's name without its suffix; as it is where that leaves nothing, or leads elsewhere. */
QString BaseName(const QFileInfo& file)
{
    const QString name = file.completeBaseName();
    return QStringList({"", ".", ".."}).contains(name) ? file.fileName() : name;
}

Input FromPath(const std::string& path)
{
    Input input;
    input.name = QString::fromStdString(path);
    input.path = input.name;
    input.baseName = BaseName(QFileInfo(input.path));
    if (path.empty()) {
        input.name = QStringLiteral("\"\"");
        input.problem = "the name is empty; is a variable not set?";
    } else if (!IsUtf8(path)) {
        input.name = QString::fromStdString(Escaped(path));
        input.problem = "the name is not valid UTF-8; rename the file";
    } else if (HasMark(path)) {
        input.name = QString::fromStdString(Escaped(path));
        input.problem = "the name begins with a byte order mark; put ./ in front of it";
    } else if (HoldsNul(path)) {
        input.name = QString::fromStdString(Escaped(path));
        input.problem = "the name holds a NUL; a list of such names needs -0";
    }
    return input;
}

/** Throws for the reason that errno tells. */
[[noreturn]] void FailToStore(const std::string& name)
{
    throw Failure(ExitCode::Output, "no-temporary-space",
                  name + ": cannot be stored in the folder for temporary files: " +
                      std::strerror(errno) + "; choose another with --temp-dir");
}

/** What `file` gives, "-" for standard input, in a new file that nobody else can read. */
void Store(const std::string& file, const std::string& name, const std::string& path,
           const Interruption& interruption)
{
    const int descriptor =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        FailToStore(name);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stored(::fdopen(descriptor, "wb"),
                                                                 std::fclose);
    ReadBlocks(file, interruption, [&](std::string_view block) {
        if (std::fwrite(block.data(), 1, block.size(), stored.get()) != block.size())
            FailToStore(name);
    });
    if (std::fflush(stored.get()) != 0)
        FailToStore(name);
}

/** The input with what comes through `file` for its document. */
Input Stored(const std::string& file, Input input, const std::string& folder,
             const Interruption& interruption)
{
    const std::string name = input.name.toStdString();
    const std::string path = folder + (file == "-" ? "/standard-input.pdf" : "/pipe.pdf");
    try {
        Store(file, name, path, interruption);
    } catch (const std::system_error& error) {
        throw Failure(ExitCode::Input, "unreadable",
                      name + ": cannot be read: " + error.code().message());
    }
    input.path = QString::fromStdString(path);
    return input;
}

bool IsPipe(const QString& path)
{
    std::error_code ignored;
    return std::filesystem::is_fifo(path.toStdString(), ignored);
}

Input FromArgument(const std::string& argument, const std::function<std::string()>& makeFolder,
                   const Interruption& interruption)
{
    if (argument == "-")
        return Stored(argument, {"standard input", "stdin", {}, {}}, makeFolder(), interruption);
    Input input = FromPath(argument);
    if (makeFolder && input.problem.empty() && IsPipe(input.path))
        return Stored(argument, std::move(input), makeFolder(), interruption);
    return input;
}

/** A line of a list without its return, and without the mark that editors put before the first. */
std::string_view NameIn(std::string_view line, bool isFirst)
{
    if (isFirst)
        line = WithoutMark(line);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

Input Unread(const InputTree::Unread& unread)
{
    Input input = FromPath(unread.folder);
    input.isFolder = true;
    if (input.problem.empty())
        input.problem = "the folder cannot be read: " + unread.why;
    return input;
}

/** The PDFs below a folder, and then the folders there that could not be read. */
std::vector<Input> FromFolder(const std::string& path, const Tell& tell,
                              const Interruption& interruption)
{
    const InputTree tree = InputTree::Read(path, interruption);
    std::vector<Input> inputs;
    for (const InputTree::File& file : tree.files) {
        inputs.push_back(FromPath(file.path));
        inputs.back().folder = QString::fromStdString(file.below);
    }
    std::transform(tree.unread.begin(), tree.unread.end(), std::back_inserter(inputs), Unread);
    if (const std::string note = tree.Note(); !note.empty())
        tell((IsUtf8(path) ? path : Escaped(path)) + ": " + note);
    return inputs;
}

bool IsFolder(const std::string& path)
{
    std::error_code ignored;
    return !HoldsNul(path) && std::filesystem::is_directory(path, ignored);
}

/** Adds what the list names of the share that is wanted. */
void AddFromList(const InputOptions& options, const std::function<void(const std::string&)>& add,
                 const Interruption& interruption)
{
    bool isFirst = true;
    const auto take = [&](std::string_view piece) {
        const bool isLine = !options.isListNulSeparated;
        const std::string_view path = isLine ? NameIn(piece, isFirst) : piece;
        isFirst = false;
        if (!path.empty() && (!options.shard || options.shard->Has(path)))
            add(std::string(path));
    };
    try {
        ReadPieces(options.list, options.isListNulSeparated ? '\0' : '\n', interruption, take);
    } catch (const std::system_error& error) {
        throw Failure(ExitCode::Input, "unreadable",
                      options.list + ": cannot read the list: " + error.code().message());
    }
}

/** Refuses relative paths in a working folder that no QString can name. */
void RefuseRelative(std::vector<Input>& inputs)
{
    std::error_code failure; // a folder that was removed has none of the files
    if (IsUtf8(std::filesystem::current_path(failure).native()))
        return;
    for (Input& input : inputs) {
        if (input.problem.empty() && QFileInfo(input.path).isRelative())
            input.problem = "the working folder's name is not valid UTF-8; rename it, or give the "
                            "file's full path";
    }
}

} // namespace

std::vector<Input> CollectInputs(const InputOptions& options,
                                 const std::function<std::string()>& makeFolder, const Tell& tell,
                                 const Interruption& interruption)
{
    std::vector<Input> inputs;
    const auto addTree = [&](const std::string& path) {
        if (!options.isRecursive || !IsFolder(path))
            return false;
        std::vector<Input> found = FromFolder(path, tell, interruption);
        std::move(found.begin(), found.end(), std::back_inserter(inputs));
        return true;
    };
    const auto addListed = [&](const std::string& path) {
        if (!addTree(path))
            inputs.push_back(FromPath(path));
    };
    for (const std::string& argument : options.paths) {
        if (argument == "-" || !addTree(argument))
            inputs.push_back(FromArgument(argument, makeFolder, interruption));
    }
    if (!options.list.empty())
        AddFromList(options, addListed, interruption);
    RefuseRelative(inputs);
    return inputs;
}

} // namespace Korvel::App
