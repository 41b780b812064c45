#include "ExpectedCourse.h"

#include <future>
#include <sstream>
#include <stdexcept>

namespace Korvel::PDF::Test {

namespace {

std::string Document(int id)
{
    return std::to_string(id) + '/' + std::to_string(1000 + id);
}

std::string Suffix(const std::string& path)
{
    const std::size_t dot = path.rfind('.');
    return dot == std::string::npos ? std::string() : path.substr(dot + 1);
}

/** A future that cannot be taken from throws, and what it holds; what has come late has come. */
void TakeFrom(Outcome future, const char* operation)
{
    if (future == Outcome::HasNoState)
        throw std::future_error(std::future_errc::no_state);
    if (future == Outcome::BreaksItsPromise)
        throw std::future_error(std::future_errc::broken_promise);
    if (future == Outcome::HoldsAnException)
        throw std::runtime_error(operation);
}

bool LeavesWorkUndone(Outcome outcome)
{
    return outcome == Outcome::Refuses || outcome == Outcome::HasNoState ||
           outcome == Outcome::BreaksItsPromise || outcome == Outcome::HoldsAnException;
}

} // namespace

ExpectedCourse::ExpectedCourse(const Stack& stack, const std::string& folder, const Fault& fault,
                               const std::shared_ptr<CallJournal>& lines)
    : Course(fault, lines), folder(folder)
{
    for (const Wrapper wrapper : stack.wrappers)
        layers.push_back({wrapper, {}, {}});
}

// Building and destroying

/** An exception leaves the constructor; what was built inside is destroyed, and may be again. */
void ExpectedCourse::Construct()
{
    shares = {{"FakeNameGenerator", 1},
              {"FakeConverter", 1},
              {"FakePdfProvider", 1},
              {"FakeFileSystem", 1}};
    for (std::size_t depth = layers.size(); depth-- > 0;) {
        try {
            Build(layers[depth]);
        } catch (...) {
            Destroy(depth + 1);
            throw;
        }
        if (depth + 1 == layers.size()) {
            for (const ConverterSignal& signal : ConverterSignals())
                Write("connect " + signal.signature.toStdString());
            ++shares["FakeConverter"];
        }
        ++shares["FakeNameGenerator"];
        ++shares["FakeFileSystem"];
        if (layers[depth].wrapper == Wrapper::Unencrypt)
            ++shares["FakePdfProvider"];
    }
    isBuilt = true;
    isHeard = true;
}

/** A folder that cannot be made shows in the log only. */
void ExpectedCourse::Build(Layer& layer)
{
    layer.isGone = false;
    if (layer.wrapper == Wrapper::Unencrypt)
        return;
    const std::string name = GenerateFileName();
    layer.folder = GetTempFolder() + "/PDFConverter" + name;
    const bool isReady = Exists(layer.folder) || CreateFolder(layer.folder);
    Log("temp folder: " + layer.folder + " exists: " + std::to_string(isReady));
}

void ExpectedCourse::Destroy()
{
    isBuilt = false;
    for (const char* service :
         {"FakeNameGenerator", "FakeConverter", "FakePdfProvider", "FakeFileSystem"})
        Release(service);
    Destroy(0);
}

/**
 * From the outside in; each wrapper gives its shares up in the reverse order of its record. A
 * record is whole until its folder is removed; one without a folder is gone at once.
 */
void ExpectedCourse::Destroy(std::size_t depth)
{
    if (depth == layers.size())
        return;
    Layer& layer = layers[depth];
    const auto releaseConverter = [&] {
        if (depth + 1 == layers.size())
            Release("FakeConverter");
        Destroy(depth + 1);
    };
    if (layer.wrapper == Wrapper::TempFile) {
        const bool isRemoved = RemoveFolder(layer.folder);
        Log("temp folder: " + layer.folder + " removed: " + std::to_string(isRemoved));
        layer.isGone = true;
        releaseConverter();
        Release("FakeNameGenerator");
        Release("FakeFileSystem");
    } else {
        layer.isGone = true;
        Release("FakeFileSystem");
        Release("FakePdfProvider");
        releaseConverter();
        Release("FakeNameGenerator");
    }
    Write("wrapper " + std::to_string(depth + 1) + " is destroyed");
}

void ExpectedCourse::Release(const std::string& service)
{
    if (--shares[service] == 0)
        Write("~" + service);
}

// Calls that are handed on: every outcome reaches the caller as it is.

bool ExpectedCourse::Cancel()
{
    return Call(Operation::CancelConvertation, "CancelConvertation");
}

bool ExpectedCourse::HasFormats()
{
    return Call(Operation::GetSupportedFormats, "GetSupportedFormats");
}

bool ExpectedCourse::IsAvailable()
{
    return Call(Operation::DoesServiceAvailable, "DoesServiceAvailable");
}

// Starting a task: every exception leaves ConvertFile, and later tasks do not notice.

bool ExpectedCourse::Convert(const std::string& name)
{
    return Convert(0, {name, folder + '/' + name + ".pdf", folder + "/out/" + name + ".png"});
}

bool ExpectedCourse::Convert(std::size_t depth, const Told& task)
{
    if (depth == layers.size()) {
        told.push_back(task);
        return Call(Operation::ConvertFile,
                    "ConvertFile " + task.source + " to " + task.destination);
    }
    if (layers[depth].wrapper == Wrapper::TempFile)
        return ConvertIntoFolder(depth, task);
    return ConvertCopy(depth, task);
}

/** The entry is made before the inner call, and stays however that ends; the first one wins. */
bool ExpectedCourse::ConvertIntoFolder(std::size_t depth, Told task)
{
    Layer& layer = layers[depth];
    const std::string file = layer.folder + '/' + GenerateFileName() + ".png";
    layer.tasks.try_emplace(task.source, task.destination);
    task.destination = file;
    Meet(Operation::CopyTask);
    Log(" For: " + task.source + " using tmp file: " + file);
    return Convert(depth + 1, task);
}

/**
 * No entry before there is a copy; then entry and copy stay however the inner call ends. The copy
 * stays without an entry where the task cannot be copied for it.
 */
bool ExpectedCourse::ConvertCopy(std::size_t depth, Told task)
{
    const std::string source = task.source;
    const std::string stem = GenerateFileName();
    const std::string copy = GetTempFolder() + '/' + stem + ".pdf";
    const int document = OpenDocument(source);
    Log("Unencrypying: " + source + " to: " + copy + " with using password");
    if (document < 0) {
        Log("Cannot open: " + source);
        return false;
    }
    if (!SaveAndClose(document, copy)) {
        Log("Cannot save: " + source + " to: " + copy);
        return false;
    }
    Log("File: " + source + " unencrypted and saved to: " + copy);
    Meet(Operation::CopyTask);
    layers[depth].tasks.try_emplace(copy, source);
    task.source = copy;
    return Convert(depth + 1, task);
}

// Signals

void ExpectedCourse::EmitProgress(const std::string& source)
{
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (!signal.endsTask)
            Relay(layers.size(), source, {signal.name, signal.arguments, false, {}});
    }
}

void ExpectedCourse::EmitFailed(const std::string& source)
{
    Relay(layers.size(), source, {"Failed", " 0", true, {}});
}

void ExpectedCourse::EmitFinished(const std::string& source, const std::string& file)
{
    Relay(layers.size(), source, {"FinishedFile", ' ' + file, true, {file}});
}

void ExpectedCourse::EmitFinished(const std::string& source, const std::vector<std::string>& list)
{
    std::string text;
    for (const std::string& file : list)
        text += (text.empty() ? "" : " ") + file;
    Relay(layers.size(), source, {"FinishedFiles", " [" + text + ']', true, list});
}

/** What leaves the receiver's side ends the task all the same: the copy and its entry go. */
void ExpectedCourse::Relay(std::size_t depth, const std::string& path, const Emission& emission)
{
    if (depth == 0) {
        if (isHeard)
            Write("received " + emission.name + ' ' + path + emission.arguments);
        return;
    }
    Layer& layer = layers[depth - 1];
    if (layer.wrapper == Wrapper::TempFile) {
        if (emission.name == "FinishedFile" || emission.name == "FinishedFiles")
            RelayResults(depth, path, emission);
        else
            Relay(depth - 1, path, emission);
        return;
    }
    const auto entry = layer.isGone ? layer.tasks.end() : layer.tasks.find(path);
    if (entry == layer.tasks.end()) {
        Relay(depth - 1, path, emission);
        return;
    }
    const std::string source = entry->second;
    try {
        Relay(depth - 1, source, emission);
    } catch (...) {
        if (emission.endsTask)
            RemoveCopy(layer, path);
        throw;
    }
    if (emission.endsTask)
        RemoveCopy(layer, path);
}

/** An exception leaves before the entry goes and anything is emitted: the task has not ended. */
void ExpectedCourse::RelayResults(std::size_t depth, const std::string& path, Emission emission)
{
    Layer& layer = layers[depth - 1];
    const auto entry = layer.isGone ? layer.tasks.end() : layer.tasks.find(path);
    const bool isList = emission.name == "FinishedFiles";
    if (entry == layer.tasks.end()) {
        Log((isList ? " Cannot find info for files: " + std::to_string(emission.files.size())
                    : " Cannot find info for file: " + emission.files.front()) +
            "; Original file: " + path);
        return;
    }
    const std::string destination = entry->second;
    if (isList) {
        std::string target = destination;
        target.erase(target.rfind('/'), 1);
        for (const std::string& file : emission.files)
            MoveResult(file, target);
        emission.files.clear();
        emission.arguments = " []";
    } else {
        emission.files.front() = MoveResult(emission.files.front(), destination);
        emission.arguments = ' ' + emission.files.front();
    }
    layer.tasks.erase(path);
    Relay(depth - 1, path, emission);
}

void ExpectedCourse::RemoveCopy(Layer& layer, const std::string& copy)
{
    Log("Removing: " + copy);
    copies.erase(copy);
    layer.tasks.erase(copy);
}

/** The path is empty when the file was not moved. */
std::string ExpectedCourse::MoveResult(const std::string& from, std::string to)
{
    if (Suffix(from) != Suffix(to))
        to += '.' + Suffix(from);
    if (Exists(to))
        to.insert(to.rfind('.'), "(2)");
    if (Move(from, to))
        return to;
    Log("Cannot move from: " + from + " to " + to + ". Possibly file already exists");
    return {};
}

// The services, which do nothing where they refuse

bool ExpectedCourse::Call(Operation operation, const std::string& line)
{
    if (Meet(operation) == Outcome::Refuses)
        return false;
    Write(line);
    return true;
}

std::string ExpectedCourse::GenerateFileName()
{
    Call(Operation::GenerateFileName, "GenerateFileName");
    return "stem" + std::to_string(++stems);
}

std::string ExpectedCourse::GetTempFolder()
{
    Call(Operation::GetTempFolder, "GetTempFolder");
    return folder;
}

bool ExpectedCourse::Exists(const std::string& path)
{
    const bool isWrong = Meet(Operation::Exists) == Outcome::Refuses;
    Write("Exists " + path);
    return (files.count(path) + folders.count(path) > 0) != isWrong;
}

bool ExpectedCourse::CreateFolder(const std::string& path)
{
    return Call(Operation::CreateFolder, "CreateFolder " + path) && folders.insert(path).second;
}

bool ExpectedCourse::RemoveFolder(const std::string& path)
{
    if (!Call(Operation::RemoveFolder, "RemoveFolder " + path) || folders.erase(path) == 0)
        return false;
    files.erase(files.lower_bound(path + '/'), files.lower_bound(path + '0'));
    return true;
}

bool ExpectedCourse::Move(const std::string& from, const std::string& to)
{
    return Call(Operation::Move, "Move " + from + " to " + to) && files.count(from) > 0 &&
           folders.count(to.substr(0, to.rfind('/'))) > 0 && files.insert(to).second &&
           files.erase(from) > 0;
}

int ExpectedCourse::OpenDocument(const std::string& path)
{
    const Outcome outcome = Meet(Operation::OpenDocument);
    TakeFrom(outcome, "OpenDocument");
    if (outcome == Outcome::Refuses)
        return -1;
    Write("OpenDocument " + path + " with \"secret\"");
    documents.insert(++lastDocument);
    return lastDocument;
}

/**
 * The document is closed once the save has answered, whatever the answer is: also an exception that
 * its future holds, but not where there is no answer to wait for. How closing ends is not looked
 * at, but for an exception of the call itself.
 */
bool ExpectedCourse::SaveAndClose(int document, const std::string& copy)
{
    const Outcome saving = Meet(Operation::SaveDocument);
    if (!LeavesWorkUndone(saving)) {
        Write("SaveDocument " + Document(document) + " to " + copy);
        copies.insert(copy);
    }
    if (saving == Outcome::HasNoState)
        TakeFrom(saving, "SaveDocument");
    if (!LeavesWorkUndone(Meet(Operation::CloseDocument))) {
        Write("CloseDocument " + Document(document));
        documents.erase(document);
    }
    TakeFrom(saving, "SaveDocument");
    return saving != Outcome::Refuses;
}

void ExpectedCourse::Produce(const std::string& file)
{
    files.insert(file);
}

std::string ExpectedCourse::State()
{
    if (shares.at("FakeFileSystem") == 0)
        return Describe(copies, {}, {}, 0);
    return Describe(copies, files, folders, documents.size());
}

std::string Describe(const std::set<std::string>& copies, const std::set<std::string>& files,
                     const std::set<std::string>& folders, std::size_t documents)
{
    std::ostringstream text;
    const auto list = [&text](const char* title, const std::set<std::string>& paths) {
        text << title;
        for (const std::string& path : paths)
            text << ' ' << path;
    };
    list("copies:", copies);
    list(", files:", files);
    list(", folders:", folders);
    text << ", open: " << documents;
    return text.str();
}

} // namespace Korvel::PDF::Test
