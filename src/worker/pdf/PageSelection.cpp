#include "PageSelection.h"

#include "KeptParts.h"
#include "RequestError.h"

#include <string>

#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageLabelDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

namespace Korvel::Worker {

namespace {

void Put(QPDFObjectHandle dictionary, const char* key, const QPDFObjectHandle& value)
{
    if (QPDFObjectHandle(value).isNull())
        dictionary.removeKey(key);
    else
        dictionary.replaceKey(key, value);
}

} // namespace

PageSelection::PageSelection(QPDF& pdf, const std::set<qint64>& pages)
    : pdf(pdf), originalRoot(pdf.getRoot())
{
    QPDFPageDocumentHelper(pdf).pushInheritedAttributesToPage();
    Choose(pages);
    QPDFObjectHandle root = MakeRoot();
    RemoveOthers();
    for (QPDFPageObjectHelper page : kept)
        page.removeUnreferencedResources(); // which may be those of all pages
    root.replaceKey("/Pages", MakeTree());
    pdf.getTrailer().replaceKey("/Root", root);
    pdf.updateAllPagesCache();
}

void PageSelection::Choose(const std::set<qint64>& pages)
{
    const std::vector<QPDFObjectHandle>& all = pdf.getAllPages();
    for (const qint64 page : pages) {
        if (page < 1 || page > qint64(all.size()))
            throw RequestError(Reason::NoSuchPage, "there is no page " + std::to_string(page));
        indexes.push_back(int(page - 1));
        kept.push_back(all[std::size_t(page - 1)]);
    }
}

/** One list of all pages, which are told that they belong to it. */
QPDFObjectHandle PageSelection::MakeTree()
{
    QPDFObjectHandle tree = pdf.makeIndirectObject(QPDFObjectHandle::newDictionary());
    tree.replaceKey("/Type", QPDFObjectHandle::newName("/Pages"));
    tree.replaceKey("/Count", QPDFObjectHandle::newInteger(qint64(kept.size())));
    tree.replaceKey("/Kids", QPDFObjectHandle::newArray(kept));
    for (QPDFObjectHandle page : kept)
        page.replaceKey("/Parent", tree);
    return tree;
}

/** The catalog, but for the tree of pages and for what tells of other ones. */
QPDFObjectHandle PageSelection::MakeRoot()
{
    QPDFObjectHandle root = pdf.makeIndirectObject(originalRoot.shallowCopy());
    KeptParts parts(pdf, kept);
    Put(root, "/Outlines", parts.Outlines());
    Put(root, "/Dests", parts.NamedByCatalog());
    Put(root, "/Names", parts.Names());
    Put(root, "/AcroForm", parts.Form());
    Put(root, "/PageLabels", Labels());
    // Tags hold texts of all pages, and what was signed is another document.
    for (const char* const key : {"/StructTreeRoot", "/MarkInfo", "/Threads", "/Perms"})
        root.removeKey(key);
    return root;
}

/** The numbers that the pages had; null where they are counted from 1. */
QPDFObjectHandle PageSelection::Labels()
{
    QPDFPageLabelDocumentHelper labels(pdf);
    if (!labels.hasPageLabels())
        return QPDFObjectHandle::newNull();
    std::vector<QPDFObjectHandle> numbers;
    for (std::size_t i = 0; i < indexes.size(); ++i)
        labels.getLabelsForPageRange(indexes[i], indexes[i], qint64(i), numbers);
    QPDFObjectHandle tree = QPDFObjectHandle::newDictionary();
    tree.replaceKey("/Nums", QPDFObjectHandle::newArray(numbers));
    return tree;
}

/** Makes the other pages nothing, so that what still leads there leads nowhere. */
void PageSelection::RemoveOthers()
{
    const std::set<int> staying(indexes.begin(), indexes.end());
    const std::vector<QPDFObjectHandle> all = pdf.getAllPages();
    for (std::size_t i = 0; i < all.size(); ++i) {
        QPDFObjectHandle page = all[i];
        if (staying.count(int(i)) > 0)
            continue;
        others.emplace_back(page.getObjGen(), page.shallowCopy());
        pdf.replaceObject(page.getObjGen(), QPDFObjectHandle::newNull());
    }
}

void PageSelection::PutBack()
{
    for (const auto& [id, page] : others)
        pdf.replaceObject(id, page);
    pdf.getTrailer().replaceKey("/Root", originalRoot);
    pdf.updateAllPagesCache();
}

} // namespace Korvel::Worker
