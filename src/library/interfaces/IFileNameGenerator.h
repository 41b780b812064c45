#pragma once

#include "PDFInterfacesExport.h"

#include <string>

namespace Korvel::PDF {

/** Makes names for files and folders that must not meet another. */
class PDFINTERFACES_EXPORT IFileNameGenerator
{
public:
    virtual ~IFileNameGenerator() = default;

    /**
     * A new name stem on every call: UTF-8, without a path separator and without an extension,
     * usable as a file name and as part of a folder's.
     *
     * Stems must not repeat: callers never test whether a file of that name exists. Called on the
     * thread of the object that uses it; one generator may serve several objects.
     */
    virtual std::string GenerateFileName() = 0;
};

} // namespace Korvel::PDF
