#pragma once

#include "IFileSystem.h"

namespace Korvel::PDF::Test {

/** The plainest file system over real folders, for tests in which names must really be free. */
class FolderFileSystem : public IFileSystem
{
public:
    explicit FolderFileSystem(std::string tempFolder);

    ioPath GetTempFolder() override;
    bool RemoveFolder(const ioPath& folder) override;
    bool Exists(const ioPath& path) override;
    bool Move(const ioPath& from, const ioPath& to) override;
    bool CreateFolder(const ioPath& folder) override;

private:
    const std::string tempFolder;
};

} // namespace Korvel::PDF::Test
