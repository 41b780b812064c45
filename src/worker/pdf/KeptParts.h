#pragma once

#include <set>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>

namespace Korvel::Worker {

/**
 * What a catalog lists for some pages of its document, without what it lists for others. Each is
 * made anew, and null where nothing is left; the document stays as it is. Other pages and the
 * fields that only they show have to be nothing already. Throws libqpdf's own.
 */
class KeptParts
{
public:
    /** @param pages  those that stay */
    KeptParts(QPDF& pdf, const std::vector<QPDFObjectHandle>& pages);

    /** Headings that lead to these pages, or have such below them. */
    QPDFObjectHandle Outlines();

    /** Names of places on these pages, as old documents list them. */
    QPDFObjectHandle NamedByCatalog();

    /** The trees of names, with those of places on these pages. */
    QPDFObjectHandle Names();

    /** The form, with the fields that are there. */
    QPDFObjectHandle Form();

    /** Those of a list of fields that are there; none of what is no list. */
    static QPDFObjectHandle Fields(QPDFObjectHandle list);

private:
    KeptParts(const KeptParts&) = delete;
    KeptParts& operator=(const KeptParts&) = delete;

    bool LeadsHere(QPDFObjectHandle destination);
    bool LeadsSomewhere(QPDFObjectHandle heading);
    std::vector<QPDFObjectHandle> Headings(QPDFObjectHandle above, int depth);
    bool ShowFields();

    QPDF& pdf;
    const std::vector<QPDFObjectHandle> pages;
    std::set<QPDFObjGen> ids;
    QPDFOutlineDocumentHelper places;
    /** Headings that were met, as a damaged list may lead back to them. */
    std::set<QPDFObjGen> seen;
};

} // namespace Korvel::Worker
