#pragma once

#include "AbstractConverter.h"
#include "DocumentInfo.h"
#include "PagePicture.h"

#include <memory>
#include <optional>
#include <vector>

#include <QByteArray>
#include <QMetaType>
#include <QString>

namespace Korvel::PDF::Converter {

class OpenedDocument;

/**
 * What has become of a document that a PdfConverter was given. A plain value.
 *
 *     if (result.error)
 *         qWarning() << result.errorText; // /docs/secret.pdf needs a password
 *
 * Texts are in English, and whole sentences without a full stop.
 */
struct ConversionResult
{
    /** A result that was made. */
    struct Page
    {
        /** From 1; 0 for the document as a whole. */
        int page = 0;
        /** Where it lies; empty where it was wanted in memory. */
        QString path = {};
        /** What is in it, where it was wanted in memory. */
        QByteArray bytes = {};
        /** The picture in place of both, where `pixels` were wanted. */
        PagePicture picture = {};
    };

    /** A page that has failed while others have not. */
    struct Failure
    {
        /** From 1; 0 for the document as a whole. */
        int page = 0;
        /** Why it failed. */
        AbstractConverter::ErrorType error = AbstractConverter::Unknown;
        /** What to tell people of it, which names document and page. */
        QString text;
    };

    /** Of what a warning is. */
    enum class Warning {
        Repaired,     ///< the document is damaged and was repaired; the result may lack something
        NoText,       ///< pages on which no text is drawn
        UnmappedText, ///< pages whose fonts do not say which characters they draw
        LessConfined  ///< this machine lacks measures by which documents are confined
    };

    /** Something that the user should know of a document that was converted. */
    struct Note
    {
        /** Of what it is. */
        Warning warning = Warning::Repaired;
        /** What to tell people of it, which names the document. */
        QString text;
    };

    /** What the document says of itself; nothing when it was not opened. */
    std::optional<DocumentInfo> document = {};

    /**
     * The document as it was opened, where ConversionRequest::opensOnly; further requests for its
     * pages need not open it again. A copy without encryption goes with the last one who has it.
     */
    std::shared_ptr<const OpenedDocument> opened = {};

    /** The results in the order of the pages that were wanted; those that were made before an
     * error, too. */
    std::vector<Page> pages = {};

    /** The pages that are missing, in the order in which they failed. */
    std::vector<Failure> failures = {};

    /** What the user should know; nothing of the text of a document that has failed. */
    std::vector<Note> warnings = {};

    /** Why the document has failed; nothing when it has not. */
    std::optional<AbstractConverter::ErrorType> error = {};

    /** What to tell people of that, which names the document; empty when it has not failed. */
    QString errorText = {};
};

} // namespace Korvel::PDF::Converter

Q_DECLARE_METATYPE(Korvel::PDF::Converter::ConversionResult)
Q_DECLARE_METATYPE(Korvel::PDF::Converter::ConversionResult::Warning)
