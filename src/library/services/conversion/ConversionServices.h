#pragma once

#include "PdfConverter.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace Korvel::PDF {
class LocalFileSystem;
class SessionFolder;
class UuidFileNameGenerator;
class WorkerPdfProvider;
class WorkerPool;
} // namespace Korvel::PDF

namespace Korvel::PDF::Converter {

/**
 * What the conversions of a converter share. Made, used and destroyed on the engine's thread; all
 * but the pool is used by others, too.
 */
class ConversionServices
{
public:
    /** @throws ConversionFailure  there is no folder for temporary files */
    explicit ConversionServices(const PdfConverter::Settings& settings);
    ~ConversionServices();

    /** A path in the private folder at which nothing is. */
    std::string FreshPath() const;

    /** Removes what killed processes have left in a folder of results, once. */
    void SweepTarget(const std::string& folder);

    const std::shared_ptr<const SessionFolder> session;
    const std::shared_ptr<LocalFileSystem> files;
    const std::shared_ptr<UuidFileNameGenerator> names;
    const std::shared_ptr<WorkerPdfProvider> provider;
    const std::shared_ptr<WorkerPool> pool;

private:
    ConversionServices(const ConversionServices&) = delete;
    ConversionServices& operator=(const ConversionServices&) = delete;

    std::mutex mutex;
    std::set<std::string> swept;
};

/** How many processes such settings ask for. */
int ProcessesOf(const PdfConverter::Settings& settings);

} // namespace Korvel::PDF::Converter
