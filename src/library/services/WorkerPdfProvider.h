#pragma once

#include "ConverterServicesExport.h"
#include "IPDFProvider.h"
#include "WorkerProcess.h"

#include <map>
#include <memory>
#include <optional>

#include <QString>

namespace Korvel::PDF {

/**
 * What a document allows to whoever opens it without its owner password. Only a declaration: a
 * WorkerPdfProvider opens and saves the document all the same.
 */
struct Permissions
{
    /** Perhaps only coarsely. */
    bool print = false;
    /** As finely as the printer can. */
    bool printHighResolution = false;
    /** In other ways than by annotations, in forms, or page by page. */
    bool modify = false;
    /** To take text and pictures out. */
    bool copy = false;
    /** To add and change annotations. */
    bool annotate = false;
    /** To fill in the fields of forms. */
    bool fillForms = false;
    /** To copy for those who cannot see. */
    bool accessibility = false;
    /** To add, remove and turn pages. */
    bool assemble = false;
};

/** The cipher that a document was encrypted with. */
enum class EncryptionMethod { Rc4, Aes, Other };

/** Which of its passwords has opened a document; the empty one is tried first. */
enum class OpenedWith { EmptyPassword, UserPassword, OwnerPassword, UserAndOwnerPassword };

/** How a document was encrypted. */
struct EncryptionInfo
{
    /** That of its streams, unless only strings or attached files are encrypted. */
    EncryptionMethod method = EncryptionMethod::Other;
    /** The length of the key: 40, 128, 256 ... */
    int bits = 0;
    /** Which password has opened it. */
    OpenedWith openedWith = OpenedWith::EmptyPassword;
    /** What it allows. */
    Permissions permissions;
};

/** What a PDF says of itself. */
struct DocumentInfo
{
    /** How many pages it has. */
    int pages = 0;
    /** It was encrypted, with whatever password, the empty one included. */
    bool encrypted = false;
    /** How; there when it was encrypted. */
    std::optional<EncryptionInfo> encryption;
    /** It opened only after its structure had been repaired. */
    bool repaired = false;
    /** The PDF version, such as "1.7". */
    QString version;
    /** The document information that is there, by name: "Title", "Author", "Producer" ... */
    std::map<QString, QString> properties;
};

/** Why a document could not be opened. */
enum class OpenFailure {
    None,                  ///< it was opened, or nobody tried
    Unreadable,            ///< missing, no regular file, not allowed to be read
    Empty,                 ///< a file without any bytes
    NotAPdf,               ///< a file of another kind
    Damaged,               ///< a PDF that is damaged beyond repair
    NoPassword,            ///< encrypted, and no password was given
    WrongPassword,         ///< encrypted, and the password given does not open it
    UnsupportedEncryption, ///< encrypted in a way that is not supported
    OutOfMemory,           ///< it needs more memory than a worker is given
    TimedOut,              ///< the worker took longer than it was given
    WorkerFailed,          ///< the worker died, spoke nonsense, or was shut down
    NotStarted,            ///< no worker could be started; the document is not to blame
    Changed                ///< somebody changed the file while it was read
};

/** Why a document could not be saved. */
enum class SaveFailure {
    None,         ///< it was saved, or nobody tried
    CannotWrite,  ///< the file exists, its folder is missing or full, or the path is none
    Damaged,      ///< the document opened, but is too damaged to be written
    OutOfMemory,  ///< it needs more memory than a worker is given
    TimedOut,     ///< the worker took longer than it was given
    WorkerFailed, ///< the worker does not hold the document, died, or was shut down
    Changed       ///< somebody has changed the file since it was opened
};

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
    /** Starts the provider's thread, and no worker yet. */
    explicit WorkerPdfProvider(const WorkerSettings& settings = {});

    /** Ends the workers; whatever is still open is answered as failed. */
    ~WorkerPdfProvider() override;

    /** Starts a worker, so that the first document need not wait for that. */
    void Prepare();

    std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                             const std::string& password) override;

    /** Writes a new file that its owner alone can read; an existing one is a failure. */
    std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) override;

    std::future<bool> CloseDocument(const DocumentHandle& document) override;

    /** What was learned of a document when it was opened; nothing after it has been closed. */
    std::optional<DocumentInfo> Describe(const DocumentHandle& document) const;

    /**
     * Why the last attempt to open `file`, under just this path, failed. Kept until it is opened,
     * so that a provider has a line in memory for every path that never was.
     */
    OpenFailure WhyOpenFailed(const ioPath& file) const;

    /** What kept the last worker that was not started from it; empty when none was. */
    QString WhyNotStarted() const;

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
