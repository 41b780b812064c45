#pragma once

#include "AbstractConverter.h"
#include "ConverterServicesExport.h"
#include "PagePicture.h"
#include "WorkerPool.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include <QByteArray>

namespace Korvel::PDF::Converter {

class TextInParts;

/**
 * Converts unencrypted PDFs in worker processes: one task, one result file.
 *
 * A task's `type` is the format ("png", "jpg", "tif", "bmp", "webp", "txt", "json", "tsv", "hocr",
 * "pdf"); when it is empty the suffix of the destination is. The destination must not exist.
 * Options:
 * - "page" (`int`, from 1): the one page that is wanted; needed for the picture formats but "tif"
 * - "resolution" (`double`, dots per inch, from 1 to 4800): 150 when absent
 * - "size" (`QSize`, from 1 to 65000 each way): in place of "resolution", the pixels into which the
 *   page is to fit; it becomes as large as its shape allows. One of both may be 0: as many as
 * follow from the other
 * - "as_is" (`bool`): of the format "jpg", a page that is nothing but one JPEG becomes the bytes of
 *   that; neither with "size", "box", "crop" and "rotate" nor with "gray"
 * - "box" (`QString`, "crop", "media", "trim", "bleed" or "art"): the box of the page that is
 * shown; its crop box when absent, and where the page has no such box
 * - "crop" (`QRectF`, in points): the part of that box which is shown, from the top left of the
 * page as it says that it is turned; all when absent. What lies beyond the box is cut off
 * - "rotate" (`int`, 90, 180 or 270): by how many degrees what is shown is turned clockwise
 * - "gray" (`bool`): a picture of 8-bit gray
 * - "mono" (`QString`, "threshold" or "dither"): of the formats "png" and "tif", a picture of one
 * bit a pixel, whose grays are black or white, whichever is nearer, or dots
 * - "transparent" (`bool`): of the formats "png", "tif" and "webp", a picture on nothing in place
 * of white; neither with "gray" nor with "mono"
 * - "quality" (`int`, from 1 to 100): of the formats "jpg" and "webp"; 90 when absent, and with 100
 *   a WebP loses nothing
 * - "compression" (`QString`, "fast" or "small"): of the format "png"; "fast" when absent, and
 *   "small" makes files about a quarter smaller in several times the time
 * - "pages" (`std::vector<int>`, from 1): the pages whose text is wanted, or which one "tif" is to
 *   have, unless "page" is given; all when both are absent
 * - "merge" (`std::vector<WorkerConverter::MergedSource>`): of the format "pdf", the unencrypted
 *   PDFs whose pages come behind those of the source, each with what it lists
 * - "missing_page" (`WorkerConverter::OnPageFailed`): told of each page that such a "tif" or a text
 * lacks, as it could not be rendered; a task fails when none is left
 * - "dehyphenate" (`bool`): of a "txt", whether words that are parted at the end of a line are put
 *   together; true when absent
 * - "layout" (`bool`): of a "txt", whether words are kept where they stand on the page
 * - "text_report" (`OnTextReport`): called with what a text lacks
 * - "linearize" (`bool`): of the format "pdf", the file is laid out for being shown while it loads
 * - "picture_made" (`WorkerConverter::OnPicture`): of the type "pixels", which wants it: called
 *   with the picture of the "page", before Finished. Nothing is made at the destination
 * - "bytes_made" (`WorkerConverter::OnBytes`): of the picture formats, with "page": called with
 *   what the file would hold, before Finished. Nothing is made at the destination
 * - "why_failed" (`std::function<void(const QString&)>`): told what the worker says of a failure,
 *   before Failed
 *
 * The processes of a pool read the text of many "pages" side by side; parts of it lie meanwhile
 * beside the destination, under names that begin with its own. In the place of a missing page is
 * the form feed that ends it.
 *
 * PictureOptions, TextOptions and PageSelection set them by their types. A page as a picture:
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
    /**
     * Called before Finished, from the event loop.
     *
     * @param page   from 1
     * @param error  why it failed
     * @param why    what the worker says of that
     */
    using OnPageFailed = std::function<void(int page, ErrorType error, const QString& why)>;

    /** A document that is merged with others. */
    struct MergedSource
    {
        /** Path of the PDF. */
        QString source;
        /** The pages that are wanted, from 1; all when there are none. */
        std::vector<int> pages;
    };

    /**
     * Called before Finished, from the event loop.
     *
     * @param page     from 1
     * @param picture  not null
     */
    using OnPicture = std::function<void(int page, const PagePicture& picture)>;

    /**
     * Called before Finished, from the event loop.
     *
     * @param page   from 1
     * @param bytes  of its picture, as a file has them; not empty
     */
    using OnBytes = std::function<void(int page, const QByteArray& bytes)>;

    /** With a worker process of its own. */
    explicit WorkerConverter(const WorkerSettings& settings = {});

    /** With the processes of a pool, which other converters on this thread may share. */
    explicit WorkerConverter(const std::shared_ptr<WorkerPool>& pool);

    /** Ends the work; tasks in hand end without a signal. */
    ~WorkerConverter() override;

    /**
     * Accepts every task; what is wrong with one is told by Failed.
     *
     * @throws OptionError  an option is none of those above, nor one of UnencryptDocWrapper's, or
     *                      holds a value of another type; whole numbers do for a `double`
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
    void AskToDraw(const QJsonObject& request,
                   const std::function<void(const PictureMemory&)>& take,
                   const WorkerProcess::Receiver& receiver, int tries = 2);
    void AskInParts(const Task& task, const QJsonObject& request,
                    const WorkerProcess::Receiver& receiver);
    void EmitOutcome(const QString& source, const QString& result, const QJsonObject& answer);

    std::shared_ptr<WorkerPool> pool;
    /** What is read in parts, by the order in which it came. */
    std::map<quint64, std::unique_ptr<TextInParts>> texts;
    quint64 lastText = 0;
};

} // namespace Korvel::PDF::Converter
