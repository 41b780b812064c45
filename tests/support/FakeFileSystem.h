#pragma once

#include "CallJournal.h"
#include "IFileSystem.h"

#include <functional>
#include <map>
#include <set>

namespace Korvel::PDF::Test {

/**
 * A file system in memory that writes every call into the journal, and fails on demand.
 *
 * Folders below the temporary one are those that were created; everywhere else any folder will do.
 */
class FakeFileSystem : public IFileSystem
{
public:
    FakeFileSystem(std::string tempFolder, std::shared_ptr<CallJournal> journal);
    ~FakeFileSystem() override;

    ioPath GetTempFolder() override;
    bool RemoveFolder(const ioPath& folder) override;
    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;
    bool CreateFolder(const ioPath& folder) override;

    /** Path -> content of every file. */
    std::map<std::string, std::string> files;
    std::set<std::string> folders;

    /** False: the operation fails and changes nothing. */
    bool seesFiles = true;
    bool createsFolders = true;
    bool removesFolders = true;
    bool movesFiles = true;

    /** Called when a move or a removal begins, and within the destructor, if set. */
    std::function<void()> onMove;
    std::function<void()> onRemoveFolder;
    std::function<void()> onDestruction;

private:
    /** Whether a file or a folder can be made there. */
    bool IsFree(const std::string& path) const;

    const std::string tempFolder;
    const std::shared_ptr<CallJournal> journal;
};

} // namespace Korvel::PDF::Test
