#pragma once

#include "ioPath.h"
#include "PDFInterfacesExport.h"

namespace Korvel::PDF {

/**
 * The file operations that converters need.
 *
 * Every operation works synchronously, reports a failure by its result and throws nothing. A path
 * that is empty or holds a NUL names nothing, and nothing can be made there. Called on the thread
 * of the object that uses it; one file system may serve several objects.
 */
class PDFINTERFACES_EXPORT IFileSystem
{
public:
    virtual ~IFileSystem() = default;

    /**
     * The folder for temporary files: one that exists, without a trailing separator. Callers append
     * "/" and a name to its text.
     */
    virtual ioPath GetTempFolder() = 0;

    /** Removes `folder` with everything inside it; true when it was there and is gone. */
    virtual bool RemoveFolder(const ioPath& folder) = 0;

    /** Whether a file or a folder exists at `path`; false also when that cannot be told. */
    virtual bool Exists(const ioPath& path) = 0;

    /**
     * Moves the file `from` to the path `to`, which may lie on another volume, and never replaces.
     *
     * @return true when the file lies at `to`. False when something exists at `to`, or the move
     *         failed for any other reason: then nothing has changed at either path.
     */
    virtual bool Move(const ioPath& from, const ioPath& to) = 0;

    /** Creates `folder`, whose parent exists; true when it was created. */
    virtual bool CreateFolder(const ioPath& folder) = 0;
};

} // namespace Korvel::PDF
