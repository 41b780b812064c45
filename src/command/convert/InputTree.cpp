#include "InputTree.h"

#include "Interruption.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <QString>

namespace Korvel::App {

namespace {

using Entry = std::filesystem::directory_entry;

bool IsCalledPdf(const std::string& name)
{
    return QString::fromStdString(name).endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive);
}

/** Whether it is for the converter to find out what is wrong with it, if anything is. */
bool IsFile(const Entry& entry)
{
    std::error_code ignored;
    return entry.is_regular_file(ignored) || !entry.exists(ignored);
}

std::string Counted(int number, const std::string& one, const std::string& many)
{
    return std::to_string(number) + ' ' + (number == 1 ? one : many);
}

class Reader
{
public:
    Reader(InputTree& tree, const Interruption& interruption)
        : tree(tree), interruption(interruption)
    {
    }

    /** What has been read of a folder counts, also where the rest cannot be. */
    void Read(const std::string& folder, const std::string& below)
    {
        interruption.Check();
        std::error_code problem;
        std::vector<Entry> entries;
        std::filesystem::directory_iterator entry(folder, problem);
        for (; !problem && entry != std::filesystem::directory_iterator(); entry.increment(problem))
            entries.push_back(*entry);
        if (problem)
            tree.unread.push_back({folder, problem.message()});
        std::sort(entries.begin(), entries.end());
        for (const Entry& found : entries)
            Take(found, below);
    }

private:
    void Take(const Entry& entry, const std::string& below)
    {
        const std::string name = entry.path().filename().native();
        std::error_code ignored;
        const bool isFolder = entry.is_directory(ignored);
        if (!isFolder && !(IsCalledPdf(name) && IsFile(entry)))
            return;
        if (name.front() == '.')
            ++tree.hidden;
        else if (isFolder && entry.is_symlink(ignored))
            ++tree.linkedFolders;
        else if (isFolder)
            Read(entry.path().native(), below.empty() ? name : below + '/' + name);
        else
            tree.files.push_back({entry.path().native(), below});
    }

    InputTree& tree;
    const Interruption& interruption;
};

} // namespace

InputTree InputTree::Read(const std::string& root, const Interruption& interruption)
{
    InputTree tree;
    Reader(tree, interruption).Read(root, {});
    return tree;
}

std::string InputTree::Note() const
{
    std::string left;
    if (hidden > 0)
        left = Counted(hidden, "hidden file or folder", "hidden files and folders");
    if (linkedFolders > 0)
        left += (left.empty() ? "" : " and ") +
                Counted(linkedFolders, "link to a folder", "links to folders");
    if (!left.empty())
        left = "left away: " + left;
    if (files.empty() && unread.empty())
        left = "there is no PDF in it" + (left.empty() ? "" : "; " + left);
    return left;
}

} // namespace Korvel::App
