#pragma once

#include <set>
#include <utility>
#include <vector>

#include <qpdf/QPDF.hh>

#include <QtGlobal>

namespace Korvel::Worker {

/**
 * Some pages of a document, which for the time being has no others: what leads to those is gone,
 * and so is what tells of them, such as fields that only they show.
 */
class PageSelection
{
public:
    /**
     * Takes the other pages away. What throws leaves the document as it may be.
     *
     * @param pages  from 1
     * @throws RequestError    "no-such-page"
     * @throws std::exception  libqpdf's own
     */
    PageSelection(QPDF& pdf, const std::set<qint64>& pages);

    /** Puts all pages back. Throws as the constructor does. */
    void PutBack();

private:
    PageSelection(const PageSelection&) = delete;
    PageSelection& operator=(const PageSelection&) = delete;

    void Choose(const std::set<qint64>& pages);
    QPDFObjectHandle MakeTree();
    QPDFObjectHandle MakeRoot();
    QPDFObjectHandle Labels();
    void RemoveOthers();

    QPDF& pdf;
    QPDFObjectHandle originalRoot;
    /** The indexes of the pages that stay, from 0. */
    std::vector<int> indexes;
    std::vector<QPDFObjectHandle> kept;
    /** The pages that are away for the time being. */
    std::vector<std::pair<QPDFObjGen, QPDFObjectHandle>> others;
};

} // namespace Korvel::Worker
