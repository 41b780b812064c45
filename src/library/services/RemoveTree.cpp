#include "RemoveTree.h"

#include "ServicesLog.h"

#include "FileDescriptor.h"

#include <cstring>
#include <filesystem>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace {

bool RemoveEntry(int folder, const char* name)
{
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 ||
        ::unlinkat(folder, name, 0) == 0)
        return true;
    if (errno != EISDIR)
        return false;
    const FileDescriptor inner(
        ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return inner && RemoveContent(inner.Number()) && ::unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

} // namespace

bool RemoveTree(const std::string& path) noexcept
{
    try {
        std::error_code failure;
        std::filesystem::remove_all(path, failure);
        if (failure)
            qCWarning(servicesLog)
                << "cannot remove" << QString::fromStdString(path) << failure.message().c_str();
        return !failure;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool RemoveContent(int folder) noexcept
{
    FileDescriptor listed(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(listed.Number()), ::closedir);
    if (!entries)
        return false;
    listed.Release(); // the entries close it
    bool isRemoved = true;
    while (const dirent* const entry = ::readdir(entries.get()))
        isRemoved = RemoveEntry(folder, static_cast<const char*>(entry->d_name)) && isRemoved;
    return isRemoved;
}

} // namespace Korvel::PDF
