#pragma once

#include "PlannedResult.h"
#include "WorkerSettings.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <QStringList>

namespace Korvel::PDF {
struct DocumentHandle;
class LocalFileSystem;
class SessionFolder;
class UuidFileNameGenerator;
class WorkerPdfProvider;
class WorkerPool;
class WorkerServer;
} // namespace Korvel::PDF

namespace Korvel::PDF::Converter {

class TemporaryFile;

/**
 * What conversions share: a folder for what is temporary, and the worker processes, which can write
 * into it alone. Made, used and destroyed on one thread; all but the pool is used by others, too.
 */
class ConversionServices
{
public:
    /** @param processes  how many convert at once */
    ConversionServices(std::shared_ptr<const SessionFolder> session, WorkerSettings worker,
                       int processes);
    ~ConversionServices();

    /** A path in the session folder at which nothing is. */
    std::string FreshPath() const;

    /**
     * Makes the folders that results go to, where they are missing, and removes what killed
     * processes have left in them, once.
     *
     * @return their paths
     * @throws ConversionFailure  nothing can be written into one
     */
    std::set<QString> PrepareFolders(const std::vector<PlannedResult>& results);

    /**
     * Saves a document that the provider has opened, without encryption and damage, in the session
     * folder. Blocks as long as that takes.
     *
     * @return null where that fails, for which the provider has the reason
     */
    std::shared_ptr<const TemporaryFile> SaveCopy(const DocumentHandle& document) const;

    /** Which filters the worker did without that was asked last to open a document. */
    QStringList MissingFilters() const;

    const std::shared_ptr<const SessionFolder> session;
    const std::shared_ptr<LocalFileSystem> files;
    const std::shared_ptr<UuidFileNameGenerator> names;
    const std::shared_ptr<WorkerServer> server;
    const std::shared_ptr<WorkerPdfProvider> provider;
    const std::shared_ptr<WorkerPool> pool;

private:
    ConversionServices(const ConversionServices&) = delete;
    ConversionServices& operator=(const ConversionServices&) = delete;

    void PrepareFolder(const std::string& folder);

    std::mutex mutex;
    std::set<std::string> swept;
};

/** How many processes convert at once where so many are wanted; below one, as many as there are
 * processors. */
int ProcessesFor(int wanted);

} // namespace Korvel::PDF::Converter
