#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include <qpdf/QPDF.hh>

#include <QtGlobal>

namespace Korvel::Worker {

/**
 * Some pages of a document, which for the time being has no others: what leads to those is gone,
 * and so is what tells of them, such as fields that only they show. All pages are away in between,
 * so that one after another costs no more than what it shows.
 */
class PageSelection
{
public:
    /**
     * Takes all pages away. What throws leaves the document as it may be, here and below.
     *
     * @throws std::exception  libqpdf's own
     */
    explicit PageSelection(QPDF& pdf);

    /** How many pages the document has. */
    std::size_t Count() const { return pages.size(); }

    /**
     * Gives the document these pages and no others.
     *
     * @param numbers  from 1
     * @throws RequestError    "no-such-page"
     * @throws std::exception  libqpdf's own
     */
    void Show(const std::set<qint64>& numbers);

    /** Takes the pages that are shown away again. Throws as the constructor does. */
    void Hide();

    /** Puts all pages back. Throws as the constructor does. */
    void PutBack();

private:
    PageSelection(const PageSelection&) = delete;
    PageSelection& operator=(const PageSelection&) = delete;

    void SetFieldsAside(const QPDFObjectHandle& first);
    void BringFieldsBack(QPDFObjectHandle page);
    void MakeTree();
    void MakeRoot();
    QPDFObjectHandle Labels();

    QPDF& pdf;
    QPDFObjectHandle originalRoot;
    QPDFObjectHandle root;
    /** One list of the pages that are shown. */
    QPDFObjectHandle tree;
    /** The pages as they were, in their order. */
    std::vector<std::pair<QPDFObjGen, QPDFObjectHandle>> pages;
    /** Form fields and what shows them, as they were. */
    std::map<QPDFObjGen, QPDFObjectHandle> fields;
    /** The indexes of the pages that are shown, from 0. */
    std::vector<int> indexes;
    std::vector<QPDFObjectHandle> kept;
    std::set<QPDFObjGen> keptFields;
};

} // namespace Korvel::Worker
