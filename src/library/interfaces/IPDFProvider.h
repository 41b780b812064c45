#pragma once

#include "ioPath.h"
#include "PDFInterfacesExport.h"

#include <cstdint>
#include <future>
#include <string>
#include <type_traits>

namespace Korvel::PDF {

/**
 * Names a document that an IPDFProvider holds open.
 *
 * It owns nothing: copies may be made and dropped freely, and the document stays open until
 * IPDFProvider::CloseDocument is called with one of them.
 */
struct DocumentHandle
{
    /** Identifies the open document; negative when the document could not be opened. */
    std::int64_t id = -1;

    /** Belongs to the provider; nobody else reads it. */
    std::int64_t providerData = 0;
};

static_assert(std::is_trivially_copyable_v<DocumentHandle> && sizeof(DocumentHandle) == 16);

/**
 * Opens PDF documents, saves them without encryption, and closes them.
 *
 * Callers block on the futures, so a provider completes them on threads of its own and never needs
 * the caller's event loop. Every future handed out has a state and becomes ready. Failures are
 * values, not exceptions. Destroying a future must not block.
 */
class PDFINTERFACES_EXPORT IPDFProvider
{
public:
    virtual ~IPDFProvider() = default;

    /**
     * Opens the document in `file`.
     *
     * @param password  UTF-8; empty for none
     * @return a handle whose `id` is -1 when the document could not be opened: missing or
     *         unreadable file, not a PDF, password missing or wrong
     */
    virtual std::future<DocumentHandle> OpenDocument(const ioPath& file,
                                                     const std::string& password) = 0;

    /**
     * Writes the open document to `file` without the encryption that it was opened from.
     *
     * @return true when the file has been written whole
     */
    virtual std::future<bool> SaveDocument(const DocumentHandle& document, const ioPath& file) = 0;

    /**
     * Releases the open document. Goes ahead whether or not the future is kept.
     *
     * @return true when the document was open and is closed
     */
    virtual std::future<bool> CloseDocument(const DocumentHandle& document) = 0;
};

} // namespace Korvel::PDF
