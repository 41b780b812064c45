#pragma once

#include "ConversionRequest.h"
#include "ConversionResult.h"
#include "ConverterServicesExport.h"
#include "WorkerSettings.h"

#include <memory>

#include <QFuture>

namespace Korvel::PDF::Converter {

class ConversionEngine;

/**
 * What conversions of PDFs share: a private folder for what is temporary, worker processes that are
 * the only ones to open a document, and a thread of its own for both. One is enough for a program.
 *
 *     PdfConverter converter;
 *     QFuture<ConversionResult> future = converter.Convert({"/docs/report.pdf", "/out/page.png"});
 *
 * Each document goes through a chain of its own,
 *
 *     UnencryptDocWrapper(PageFanOut(TempFileWrapper(WorkerConverter)))
 *
 * whose workers can write into the private folder alone. As many documents are in work at once as
 * there are processes; others wait. Nothing is made before the first conversion is started. What
 * cannot be made then fails that conversion, is told by its error's text, and is tried anew for the
 * next one.
 *
 * Needs a QCoreApplication. Thread-safe. Calls return at once: documents are opened and copied, and
 * results are named and moved, on other threads. All results are moved on one: what goes to another
 * volume than the private folder's is copied there, and keeps other documents waiting meanwhile. A
 * private folder on the volume of the results spares that.
 */
class CONVERTERSERVICES_EXPORT PdfConverter
{
public:
    /** What conversions may use up. */
    struct Settings
    {
        /** Of the workers; their folder is the converter's own, whatever is set. */
        WorkerSettings worker = {};
        /** How many processes convert at once; as many as there are processors when below one. */
        int processes = 0;
        /** The folder below which the private one is made; SessionFolder::DefaultParent() when
         * empty. */
        QString tempFolder = {};
    };

    /** With what Settings has by default. */
    PdfConverter();

    /** @param settings  what conversions may use up */
    explicit PdfConverter(const Settings& settings);

    /**
     * Ends the conversions that are left, which are told `Cancelled`, and the workers, and removes
     * everything temporary. Waits for the thread, and for passwords that Convert asks for.
     */
    ~PdfConverter();

    /**
     * Starts a conversion.
     *
     * @param request  what is to be made of which document
     * @return has one result at the end, and progress from 0 to 1000 until then. Cancelled, it ends
     *         the conversion, and has no result: do not ask for one then
     */
    QFuture<ConversionResult> Convert(const ConversionRequest& request);

private:
    Q_DISABLE_COPY_MOVE(PdfConverter)

    friend class PdfConversion;

    /** Shared with conversions, which may outlive this. */
    const std::shared_ptr<ConversionEngine> engine;
};

} // namespace Korvel::PDF::Converter
