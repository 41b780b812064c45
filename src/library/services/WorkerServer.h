#pragma once

#include "ConverterServicesExport.h"
#include "WorkerSettings.h"

#include <memory>
#include <mutex>

#include <QString>

namespace Korvel::PDF {

class ServerProgram;
class WorkerChild;

/**
 * The program `pdfconvert-worker`, once for all WorkerProcesses that share it, which it is the
 * parent of. It has loaded and set up all that it takes to look at a document and never looks at
 * one, so that a process of it is ready in about a millisecond, where the program takes tens.
 *
 *     const auto server = std::make_shared<WorkerServer>(settings);
 *     server->Prepare();
 *     WorkerPool pool(server, QThread::idealThreadCount());
 *     WorkerPdfProvider provider(server);
 *
 * Started when it is needed, and again when it has died; its processes die with it, and what they
 * were asked fails. After a process has crashed the next ones come from another run of it: no
 * document finds the memory laid out as one did that may have crashed to find out. Ended, with all
 * processes, by the destructor, and when this program dies. Of the
 * environment it is given nothing but what its libraries are found and tuned by
 * (docs/reliability.md). Thread-safe.
 */
class CONVERTERSERVICES_EXPORT WorkerServer
{
public:
    /** Starts nothing yet. */
    explicit WorkerServer(const WorkerSettings& settings = {});

    /** Ends the program, unless a WorkerProcess has a process of it: then that ends it. */
    ~WorkerServer();

    /** The settings, with the program that is run; that is empty when none was found. */
    const WorkerSettings& Settings() const { return settings; }

    /** Starts the program, unless it runs. What keeps it from that is told to those who ask. */
    void Prepare();

private:
    friend class WorkerProcess;

    WorkerServer(const WorkerServer&) = delete;
    WorkerServer& operator=(const WorkerServer&) = delete;

    std::shared_ptr<ServerProgram> Running(QString& why);
    std::unique_ptr<WorkerChild> NewChild(QString& why);
    void Retire(const WorkerChild& child);

    const WorkerSettings settings;
    std::mutex mutex;
    std::shared_ptr<ServerProgram> program;
};

} // namespace Korvel::PDF
