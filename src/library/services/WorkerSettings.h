#pragma once

#include "DrawingEngine.h"

#include <chrono>

#include <QString>

namespace Korvel::PDF {

/** Which worker is run, and what it may have. */
struct WorkerSettings
{
    /** Path of the worker program; empty to have it looked for. */
    QString program;
    /**
     * How long one request may take before the process is ended; as much CPU time it may use. Of
     * more than 24 days 24 count.
     */
    std::chrono::milliseconds deadline = std::chrono::minutes(10);
    /**
     * How much address space a process may have, in MiB, from 1; it needs about 100 before it has
     * opened anything.
     */
    int memoryLimit = 1024;
    /**
     * The one folder, an absolute path, in which a process can make, write and remove files. Empty
     * for any: a document that takes the worker over could then write wherever this user can.
     */
    QString folder = {};
    /**
     * How large a file a process may make, in MiB: a result, or a copy without encryption; 0 for no
     * limit. A larger one is a failure, and nothing is looked at of it but its size.
     */
    int largestResult = 1024;
    /**
     * Look at no document where the system, or the build, lacks a measure that keeps documents from
     * doing damage (docs/reliability.md lists them): the request fails before its file is opened.
     */
    bool requiresSandbox = false;
    /**
     * By what the pages are drawn. The library of PDFium is the one that the environment's
     * PDFCONVERT_PDFIUM names, else the build's, else one that is looked for.
     */
    DrawingEngine engine = DrawingEngine::Auto;
    /** Find out what is in documents that are opened, for which all pages are read. */
    bool wantsDetails = false;
};

} // namespace Korvel::PDF
