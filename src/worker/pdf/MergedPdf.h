#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>

#include <QtGlobal>

namespace Korvel::Worker {

/**
 * A document to whose pages those of others are added, each with what it lists: headings, labels,
 * form fields, layers, attachments and named places. What the first one says of itself stays; tags
 * go, as they would name pages by numbers that others have, too. Throws libqpdf's own.
 */
class MergedPdf
{
public:
    /** @param pdf  the first one, which lives longer */
    explicit MergedPdf(QPDF& pdf);

    /**
     * Adds all pages of another document, which is changed for that and may go; its file has to
     * stay until the result is written.
     */
    void Append(QPDF& other);

    /** Lists what the documents have listed. Called once, after the last Append. */
    void Finish();

private:
    MergedPdf(const MergedPdf&) = delete;
    MergedPdf& operator=(const MergedPdf&) = delete;

    QPDFObjectHandle CopyOf(QPDF& other, const QPDFObjectHandle& object);
    std::vector<QPDFObjectHandle> CopiesOf(QPDF& other, const QPDFObjectHandle& list);
    void TakeLabels(QPDF& other);
    void TakePages(QPDF& other, QPDFOutlineDocumentHelper& named);
    void TakeHeadings(QPDF& other, QPDFOutlineDocumentHelper& named);
    std::vector<QPDFObjectHandle> HeadingsBelow(QPDF& other, QPDFOutlineDocumentHelper& named,
                                                QPDFObjectHandle above, int depth);
    void TakeForm(QPDF& other);
    void TakeFormSettings(QPDF& other, QPDFObjectHandle theirs);
    void TakeLayers(QPDF& other);
    void TakeNames(QPDF& other);
    void TakeAttachments(QPDF& other);

    QPDF& pdf;
    QPDFObjectHandle root;
    QPDFAcroFormDocumentHelper form;
    /** How many pages the documents have whose labels were taken. */
    qint64 labelled = 0;
    bool hasLabels = false;
    std::vector<QPDFObjectHandle> labels;
    std::vector<QPDFObjectHandle> headings;
    /** Headings that were met, as a damaged list may lead back to them. */
    std::set<QPDFObjGen> seen;
    /** Named places. */
    std::map<std::string, QPDFObjectHandle> places;
};

} // namespace Korvel::Worker
