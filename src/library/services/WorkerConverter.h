#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"
#include "WorkerPool.h"

namespace Korvel::PDF::Converter {

/**
 * Converts unencrypted PDFs in worker processes: one task, one result file.
 *
 * A task's `type` is the format ("png", "jpg", "tif", "bmp", "webp", "txt", "pdf"); when it is
 * empty the suffix of the destination is. The destination must not exist. Options:
 * - "page" (`int`, from 1): the one page that is wanted; needed for the picture formats
 * - "resolution" (`double`, dots per inch, from 1 to 4800): 150 when absent
 * - "size" (`QSize`, from 1 to 65000 each way): in place of "resolution", the pixels into which the
 *   page is to fit; it becomes as large as its shape allows
 * - "gray" (`bool`): a picture of 8-bit gray
 * - "quality" (`int`, from 1 to 100): of the formats "jpg" and "webp"; 90 when absent, and with 100
 *   a WebP loses nothing
 * - "compression" (`QString`, "fast" or "small"): of the format "png"; "fast" when absent, and
 *   "small" makes files about a quarter smaller in several times the time
 * - "pages" (`std::vector<int>`, from 1): the pages whose text is wanted, unless "page" is given;
 *   all when both are absent
 *
 *     AbstractConverter::Task task;
 *     task.source = "/docs/report.pdf";
 *     task.destination = "/docs/page-3.png";
 *     task.options["page"] = 3;
 *     converter.ConvertFile(task);
 *
 * All signals are emitted from the event loop of the thread that owns the converter, never inside
 * ConvertFile. Several tasks may be given; a process of the converter's own works on one after
 * another, those of a pool side by side. Failed tasks leave no file behind, unless the worker died
 * or was cancelled while it wrote.
 */
class CONVERTERSERVICES_EXPORT WorkerConverter : public AbstractConverter
{
    Q_OBJECT

public:
    /** With a worker process of its own. */
    explicit WorkerConverter(const WorkerSettings& settings = {});

    /** With the processes of a pool, which other converters on this thread may share. */
    explicit WorkerConverter(const std::shared_ptr<WorkerPool>& pool);

    /** Ends the work; tasks in hand end without a signal. */
    ~WorkerConverter() override;

    /**
     * Accepts every task; what is wrong with one is told by Failed.
     *
     * @throws std::bad_cast  an option holds a value of another type than given above
     */
    bool ConvertFile(const Task& task) override;

    /**
     * Ends the work at once: every task that is not done ends with Failed and `Cancelled`. One that
     * is done ends as it would have. True.
     */
    bool CancelConvertation() override;

    /** The suffixes of the results by that of the source, "pdf". */
    std::map<QString, QStringList> GetSupportedFormats() const override;

    /** Whether the worker program is there. */
    bool DoesServiceAvailable() override;

private:
    Q_DISABLE_COPY_MOVE(WorkerConverter)

    void Ask(const QJsonObject& request, const WorkerProcess::Receiver& receiver);
    void EmitOutcome(const QString& source, const QString& result, const QJsonObject& answer);

    std::shared_ptr<WorkerPool> pool;
};

} // namespace Korvel::PDF::Converter
