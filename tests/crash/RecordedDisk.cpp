#include "RecordedDisk.h"

#include "FileTestTools.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <sys/syscall.h>

namespace Korvel::Failing {

namespace {

constexpr std::size_t sectorSize = 512;

std::vector<std::string> Words(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(std::filesystem::path(word).lexically_normal().native());
    return words;
}

std::string PathOf(const Call& call, int argument)
{
    return "/proc/" + std::to_string(call.thread) + "/fd/" +
           std::to_string(int(call.arguments[std::size_t(argument)]));
}

/** `before` with some of the sectors of `after`, and as long as `size`. */
std::string Mixed(const std::string& before, const std::string& after, std::size_t size,
                  const std::function<bool()>& isNew)
{
    std::string mixed = before;
    mixed.resize(size);
    for (std::size_t at = 0; at < size; at += sectorSize) {
        if (isNew() && at < after.size())
            mixed.replace(at, std::min(sectorSize, size - at), after, at,
                          std::min(sectorSize, size - at));
    }
    mixed.resize(size);
    return mixed;
}

} // namespace

/** What is on the disk for sure, and what is on its way there. */
struct RecordedDisk::State
{
    using Entries = std::map<int, std::map<std::string, int>>;

    static void Apply(const Step& step, Entries& entries)
    {
        if (step.kind != Step::Put)
            entries[step.from.folder].erase(step.from.name);
        if (step.kind != Step::Take)
            entries[step.to.folder][step.to.name] = step.node;
    }

    void Make(const Step& step)
    {
        if (step.kind == Step::Content)
            current[step.node] = step.content;
        else if (step.kind == Step::Flush)
            Flush(step.node);
        else
            pending.push_back(&step);
    }

    void Flush(int node)
    {
        flushed[node] = current[node];
        const auto isElsewhere = [node](const Step* step) {
            const bool isTo = step->kind != Step::Take && step->to.folder == node;
            const bool isFrom = step->kind != Step::Put && step->from.folder == node;
            return !isTo && !isFrom;
        };
        const auto first = std::stable_partition(pending.begin(), pending.end(), isElsewhere);
        std::for_each(first, pending.end(), [this](const Step* step) { Apply(*step, entries); });
        pending.erase(first, pending.end());
    }

    Entries entries;
    std::vector<const Step*> pending;
    std::map<int, std::string> flushed;
    std::map<int, std::string> current;
};

RecordedDisk::RecordedDisk(std::vector<std::string> folders) : roots(std::move(folders))
{
    for (const std::string& root : roots) {
        struct stat status = {};
        if (::stat(root.c_str(), &status) == 0)
            tree[root] = Add(status);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
            Named(entry.path().native());
    }
    for (int node = 0; node < int(nodes.size()); ++node)
        Take({Step::Flush, node, {}, {}, {}, {}});
    begin = steps.size();
}

int RecordedDisk::Add(const struct stat& status)
{
    nodes.push_back({S_ISDIR(status.st_mode), status.st_mode & 07777});
    const int node = int(nodes.size()) - 1;
    known[{status.st_dev, status.st_ino}] = node;
    return node;
}

/** The file or folder at the path, whatever it is called; -1 for none that is known. */
int RecordedDisk::Find(const std::string& path) const
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        return -1;
    const auto found = known.find({status.st_dev, status.st_ino});
    return found == known.end() ? -1 : found->second;
}

RecordedDisk::Place RecordedDisk::PlaceOf(const std::string& path) const
{
    const std::filesystem::path split(path);
    const auto folder = tree.find(split.parent_path().native());
    return {folder == tree.end() ? -1 : folder->second, split.filename().native()};
}

void RecordedDisk::Take(Step step)
{
    step.told = told;
    steps.push_back(std::move(step));
}

void RecordedDisk::Record(const Call& call, long answer)
{
    if (answer < 0)
        return;
    static const std::set<long> writes{SYS_write, SYS_pwrite64, SYS_writev, SYS_ftruncate,
                                       SYS_sendfile};
    told = Describe(call);
    const std::vector<std::string> words = Words(told);
    const auto path = [&words](std::size_t index) {
        return index < words.size() ? words[index] : std::string();
    };
    switch (call.number) {
    case SYS_open:
    case SYS_openat:
        Opened(call, answer, path(1));
        break;
    case SYS_mkdir:
    case SYS_mkdirat:
        Named(path(1));
        break;
    case SYS_link:
    case SYS_linkat:
        Named(path(2));
        break;
    case SYS_rename:
    case SYS_renameat2: {
        const auto moved = tree.find(path(1));
        const Place to = PlaceOf(path(2));
        if (moved == tree.end() || to.folder < 0)
            break;
        Changed(path(2));
        Take({Step::Move, moved->second, to, PlaceOf(path(1)), {}, {}});
        tree[path(2)] = moved->second;
        tree.erase(path(1));
        break;
    }
    case SYS_unlink:
    case SYS_unlinkat:
    case SYS_rmdir:
        if (tree.erase(path(1)) > 0)
            Take({Step::Take, -1, {}, PlaceOf(path(1)), {}, {}});
        break;
    case SYS_chmod:
        if (const int node = Find(path(1)); node >= 0)
            nodes[std::size_t(node)].mode = mode_t(call.arguments[1]) & 07777;
        break;
    case SYS_fchmod:
        if (const int node = Find(PathOf(call, 0)); node >= 0)
            nodes[std::size_t(node)].mode = mode_t(call.arguments[1]) & 07777;
        break;
    case SYS_copy_file_range:
        Changed(PathOf(call, 2));
        break;
    case SYS_fsync:
    case SYS_fdatasync:
        Flushed(PathOf(call, 0));
        break;
    default:
        if (writes.count(call.number) > 0)
            Changed(PathOf(call, 0));
    }
}

void RecordedDisk::Opened(const Call& call, long answer, const std::string& path)
{
    const bool isAt = call.number == SYS_openat;
    const auto flags = int(call.arguments[isAt ? 2 : 1]);
    const bool isNameless = (flags & O_TMPFILE) == O_TMPFILE;
    if ((flags & O_CREAT) == 0 && !isNameless)
        return;
    struct stat status = {};
    const std::string opened =
        "/proc/" + std::to_string(call.thread) + "/fd/" + std::to_string(answer);
    if (isNameless && tree.count(path) > 0 && ::stat(opened.c_str(), &status) == 0)
        Add(status);
    else if (!isNameless)
        Named(path);
}

/** Takes down what a path stands for now, if it did not before. */
void RecordedDisk::Named(const std::string& path)
{
    struct stat status = {};
    const Place place = PlaceOf(path);
    if (place.folder < 0 || tree.count(path) > 0 || ::lstat(path.c_str(), &status) != 0)
        return;
    const int node = told.rfind("link", 0) == 0 ? Find(path) : Add(status);
    if (node < 0)
        return;
    tree[path] = node;
    Take({Step::Put, node, place, {}, {}, {}});
    Changed(path);
}

void RecordedDisk::Changed(const std::string& path)
{
    const int node = Find(path);
    if (node < 0 || nodes[std::size_t(node)].isFolder)
        return;
    std::string content = PDF::Test::ReadFile(path);
    if (content == contents[node])
        return;
    contents[node] = content;
    Take({Step::Content, node, {}, {}, std::move(content), {}});
}

void RecordedDisk::Flushed(const std::string& path)
{
    Changed(path);
    if (const int node = Find(path); node >= 0)
        Take({Step::Flush, node, {}, {}, {}, {}});
}

std::string RecordedDisk::Content(const State& state, int node, Survivors survivors,
                                  std::mt19937& chance) const
{
    const auto find = [node](const std::map<int, std::string>& all) {
        const auto found = all.find(node);
        return found == all.end() ? std::string() : found->second;
    };
    const std::string before = find(state.flushed);
    const std::string after = find(state.current);
    const auto never = [] {
        return false;
    };
    switch (survivors) {
    case Survivors::Everything:
    case Survivors::Contents:
        return after;
    case Survivors::Nothing:
    case Survivors::Names:
        return before;
    case Survivors::NamesAndZeros:
        return Mixed(before, after, after.size(), never);
    case Survivors::NamesAndHalves:
        return before == after ? after : after.substr(0, (before.size() + after.size()) / 2);
    case Survivors::Some:
        break;
    }
    if (before == after)
        return after;
    const std::size_t least = std::min(before.size(), after.size());
    const std::size_t most = std::max(before.size(), after.size());
    const std::size_t sizes[] = {before.size(), after.size(),
                                 least + chance() % (most - least + 1)};
    return Mixed(before, after, sizes[chance() % 3], [&chance] { return chance() % 2 == 0; });
}

RecordedDisk::Image RecordedDisk::After(std::size_t step, Survivors survivors, unsigned seed) const
{
    State state;
    std::for_each(steps.begin(), steps.begin() + std::ptrdiff_t(begin + step),
                  [&state](const Step& made) { state.Make(made); });
    std::mt19937 chance(seed);
    for (const Step* const pending : state.pending) {
        const bool isSome = survivors == Survivors::Some;
        const bool isLost = survivors == Survivors::Nothing || survivors == Survivors::Contents;
        if (isSome ? chance() % 2 == 0 : !isLost)
            State::Apply(*pending, state.entries);
    }
    Image image;
    std::vector<std::pair<std::string, int>> folders;
    for (const std::string& root : roots)
        folders.emplace_back(root, tree.at(root));
    while (!folders.empty()) {
        const auto [folder, number] = folders.back();
        folders.pop_back();
        for (const auto& [name, node] : state.entries[number]) {
            const Node& made = nodes[std::size_t(node)];
            const std::string path = folder + "/" + name;
            image[path] = {made.isFolder, made.mode,
                           made.isFolder ? std::string() : Content(state, node, survivors, chance)};
            if (made.isFolder)
                folders.emplace_back(path, node);
        }
    }
    return image;
}

void RecordedDisk::Restore(const Image& image) const
{
    for (const std::string& root : roots) {
        for (const std::string& name : PDF::Test::NamesIn(root))
            std::filesystem::remove_all(root + "/" + name);
    }
    for (const auto& [path, left] : image) {
        if (left.isFolder)
            std::filesystem::create_directory(path);
        else
            PDF::Test::WriteFile(path, left.content);
        ::chmod(path.c_str(), left.mode);
    }
}

} // namespace Korvel::Failing
