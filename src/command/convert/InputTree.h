#pragma once

#include <string>
#include <vector>

namespace Korvel::App {

class Interruption;

/** The PDFs in a folder and in those below it, and what of it is no input. */
struct InputTree
{
    struct File
    {
        std::string path;
        /** Its folder, as seen from the one at the top; empty for that one. */
        std::string below;
    };

    struct Unread
    {
        std::string folder;
        std::string why;
    };

    /** Regular files that are called .pdf, and links to such, ordered by the bytes of their names.
     */
    std::vector<File> files;
    /** Folders that could not be read, or not to their end. */
    std::vector<Unread> unread;
    /** How many PDFs and folders begin with a dot, which hides them and what is in them. */
    int hidden = 0;
    /** How many links lead to folders; none is followed, so that no folder is met twice. */
    int linkedFolders = 0;

    /**
     * Reads `root` and the folders below it, of whatever depth the system takes paths.
     *
     * @throws Interrupted  a signal came meanwhile
     */
    static InputTree Read(const std::string& root, const Interruption& interruption);

    /** What the user is to know of it: what was left away, or that there is nothing. */
    std::string Note() const;
};

} // namespace Korvel::App
