#pragma once

#include "ConverterServicesExport.h"
#include "IFileSystem.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Korvel::PDF {

class SessionFolder;

/**
 * The local file system, with a session folder as the folder for temporary files.
 *
 * Nothing throws; the reason of a failed operation goes to Qt's log, category `korvel.services`. A
 * path that is empty or holds a NUL is refused by every operation. Thread-safe.
 */
class CONVERTERSERVICES_EXPORT LocalFileSystem : public IFileSystem
{
public:
    /**
     * @param session  shared, so the folder lives as long as this object; null for that of a
     *                 SessionFolder::Create that has failed: all that changes files fails then
     */
    explicit LocalFileSystem(std::shared_ptr<const SessionFolder> session);

    /** The session folder. */
    ioPath GetTempFolder() override;

    /**
     * Removes a folder and everything inside it. Links inside are removed, never followed.
     *
     * Refused: a path that is no folder, a link to a folder, a path that ends in "." or "..", the
     * root, and the session folder or any folder above it.
     */
    bool RemoveFolder(const ioPath& folder) override;

    /** Whether anything is at `path`, a dangling symbolic link included. */
    bool Exists(const ioPath& path) override;

    /**
     * Moves a regular file; never replaces, and never shows a partial file at `to`.
     *
     * On one volume it is one atomic step. Across volumes the bytes are copied into an unnamed or
     * hidden file in the target's folder, flushed to the disk and put in place under its name in
     * one step, and then only the source is removed; the file has the permissions that the umask
     * gives new files, whatever its source had, where the volume knows any. The hidden file is
     * called like the session folder, with a dot before and a random end, and locked as long as
     * this process writes it; Sweep removes what a killed one has left. The file counts as moved
     * when it lies at `to`, even if its source could not be removed. A volume that can neither
     * rename without replacing nor link is refused.
     *
     * @return false with the reason in errno
     */
    bool Move(const ioPath& from, const ioPath& to) override;

    /**
     * Moves a regular file and replaces what is at `to`, in one step: whoever reads it sees the old
     * content or the new one, whole.
     *
     * @param isStillWanted  asked once more when the bytes of another volume have come
     * @return false, with the reason in errno, when `to` and `from` are as they were
     */
    bool Replace(const ioPath& from, const ioPath& to, const std::function<bool()>& isStillWanted);

    /**
     * Removes the hidden files that killed processes of this user have left in a folder that files
     * were moved to. Where it is not sure that the locks of all machines are seen, such as on
     * network folders, only those that nobody has written to for an hour.
     *
     * @return the paths of those that are gone; none when the folder cannot be read
     */
    static std::vector<std::string> Sweep(const std::string& folder);

    /** Creates one folder with mode 0700. */
    bool CreateFolder(const ioPath& folder) override;

private:
    const std::shared_ptr<const SessionFolder> session;
};

} // namespace Korvel::PDF
