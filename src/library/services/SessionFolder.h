#pragma once

#include "ConverterServicesExport.h"

#include <memory>
#include <string>
#include <vector>

namespace Korvel::PDF {

/**
 * One private folder for everything temporary of this process, removed with the object.
 *
 * The folder is `pdfconvert-XXXXXX` below a folder for temporary files. Nobody but this user can
 * look into it (mode 0700), and a lock on it (flock) is held as long as the object lives. Making
 * one also sweeps: session folders of this user whose lock is free belonged to processes that were
 * killed, and are removed with what is in them. A folder that merely bears such a name is safe from
 * that: session folders carry the sticky bit as their mark, set only once they are locked.
 *
 *     std::string error;
 *     std::shared_ptr<SessionFolder> session =
 *         SessionFolder::Create(SessionFolder::DefaultParent(), error);
 *
 * Thread-safe after it was made, but for Keep.
 */
class CONVERTERSERVICES_EXPORT SessionFolder
{
public:
    /** `$TMPDIR` when it is set to an absolute path, else "/tmp". */
    static std::string DefaultParent();

    /**
     * Makes a session folder below `parent`, an existing folder, and sweeps abandoned ones there.
     *
     * Refused is a folder whose content another user could exchange: every folder on the way to it,
     * and itself, has to belong to root or to this user and be writable by nobody else, unless it
     * has the sticky bit, as /tmp has; links on the way have to belong to them, too. A group that
     * is root's or this user's own, and has no other member, counts as nobody else.
     *
     * @param parent  UTF-8; a relative path is taken from the working folder
     * @param error   receives the reason, such as "Permission denied" or "/data
     *                belongs to another user", when null is returned
     * @return null when the folder could not be made, or not be kept private and locked, or when
     * its path is no UTF-8. Throws nothing.
     */
    static std::unique_ptr<SessionFolder> Create(const std::string& parent,
                                                 std::string& error) noexcept;

    /**
     * Removes the abandoned session folders of this user below `parent`.
     *
     * @return the paths of those that are gone; none when `parent` cannot be read
     */
    static std::vector<std::string> Sweep(const std::string& parent);

    /** Removes the folder with everything inside it unless it is kept, and lets the lock go. */
    ~SessionFolder();

    /**
     * Lets the folder outlive this object and this process: nobody sweeps it, and whoever asked for
     * that has to remove it. Called before other threads use the object.
     *
     * @return false when it is swept all the same, should this process be killed
     */
    bool Keep() noexcept;

    /** The folder's absolute path, UTF-8, free of links and without a trailing separator. */
    const std::string& Path() const;

private:
    SessionFolder(std::string path, int lock);
    SessionFolder(const SessionFolder&) = delete;
    SessionFolder& operator=(const SessionFolder&) = delete;

    const std::string path;
    const int lock;
    bool isKept = false;
};

} // namespace Korvel::PDF
