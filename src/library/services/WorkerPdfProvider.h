#pragma once

#include "ConverterServicesExport.h"
#include "DocumentInfo.h"
#include "IPDFProvider.h"
#include "OpenFailure.h"
#include "SaveFailure.h"
#include "WorkerProcess.h"

#include <functional>
#include <memory>
#include <optional>

#include <QStringList>

namespace Korvel::PDF {

/**
 * A PDF service whose documents are held by worker processes, one for each.
 *
 * The workers are asked on a thread of the provider's own, so the futures need nobody's event loop,
 * and none of the operations blocks. When a worker dies, its document is lost: saving it answers
 * false. The other documents know nothing of it.
 *
 *     auto provider = std::make_shared<WorkerPdfProvider>();
 *     const DocumentHandle document = provider->OpenDocument(file, password).get();
 *     if (document.id < 0)
 *         complain(provider->WhyOpenFailed(file));
 *
 * Needs a QCoreApplication. Thread-safe.
 */
class CONVERTERSERVICES_EXPORT WorkerPdfProvider : public IPDFProvider
{
public:
    /** With a server of its own. Starts the provider's thread, and no worker yet. */
    explicit WorkerPdfProvider(const WorkerSettings& settings = {});

    /** With a server that others share. */
    explicit WorkerPdfProvider(const std::shared_ptr<WorkerServer>& server);

    /** Ends the workers; whatever is still open is answered as failed. */
    ~WorkerPdfProvider() override;

    /** Starts a worker, so that the first document need not wait for that. */
    void Prepare();

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override;

    /**
     * Has a function called whenever a document has been opened, or could not be, after its future
     * has the answer.
     *
     * @param told  called on a thread of the provider's, or on that of OpenDocument where there is
     *              nothing to open; it must not block, nor call WhenOpened. Empty for none: the
     *              one before is not called any more once this returns
     */
    void WhenOpened(std::function<void()> told);

    /**
     * Ends at once what is being done, by calls that were made before, with documents at `file`,
     * under just this path: opening, saving and holding them. All of it is answered as failed. Does
     * not block.
     */
    void GiveUp(const ioPath& file);

    /** Writes a new file that its owner alone can read; an existing one is a failure. */
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override;

    std::future<bool> CloseDocument(const DocumentHandle& document) override;

    /**
     * Closes a document and gives away its worker, on the calling thread, which has the document's
     * file in hand still: a request to convert it need not wait for it to be opened. Blocks until
     * the worker is free.
     *
     * @return null where the worker has died, or the provider was shut down
     */
    std::unique_ptr<WorkerProcess> TakeWorker(const DocumentHandle& document);

    /**
     * Takes a worker back that TakeWorker has given away, to open further documents with; what it
     * has in hand is let go of.
     *
     * @param worker  of the calling thread, and asked nothing any more; null for none
     */
    void TakeBack(std::unique_ptr<WorkerProcess> worker);

    /** What was learned of a document when it was opened; nothing after it has been closed. */
    std::optional<DocumentInfo> Describe(const DocumentHandle& document) const;

    /**
     * Why the last attempt to open `file`, under just this path, failed. Kept until it is opened,
     * so that a provider has a line in memory for every path that never was.
     */
    OpenFailure WhyOpenFailed(const ioPath& file) const;

    /**
     * What draws the pages, and the file that it comes from, for people; as the worker of the first
     * document that was opened tells, and empty before.
     */
    QString Engine() const;

    /**
     * What kept the last worker that was not started from it, or which measures of the sandbox it
     * lacked where all are required; empty when none was.
     */
    QString WhyNotStarted() const;

    /**
     * The measures of the sandbox that the worker did not have in force that was asked last to open
     * a document, as `pdfconvert --version` names them: this machine lacks them.
     */
    QStringList MissingMeasures() const;

    /**
     * Why the last attempt to save a document failed, since it was opened from `source`, under just
     * this path.
     */
    SaveFailure WhySaveFailed(const ioPath& source) const;

    /**
     * Ends the workers at once and for good. Everything open, and every later operation, is
     * answered as failed. Does not block.
     */
    void Shutdown();

private:
    Q_DISABLE_COPY_MOVE(WorkerPdfProvider)

    struct CONVERTERSERVICES_NO_EXPORT Impl;
    const std::unique_ptr<Impl> impl;
};

} // namespace Korvel::PDF
