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

std::vector<QPDFObjectHandle> ItemsOf(QPDFObjectHandle array)
{
    return array.isArray() ? array.getArrayAsVector() : std::vector<QPDFObjectHandle>();
}

/** A copy that stays as it is when resources of the original are removed. */
QPDFObjectHandle CopyOf(QPDFObjectHandle original)
{
    QPDFObjectHandle copy = original.shallowCopy();
    QPDFObjectHandle resources = copy.getKey("/Resources");
    if (resources.isDictionary() && !resources.isIndirect())
        copy.replaceKey("/Resources", resources.shallowCopy());
    return copy;
}

/** Whether it can be a field, or the part of one that a page shows; damaged lists name others. */
bool CanBeField(QPDFObjectHandle object)
{
    if (!object.isIndirect() || !object.isDictionary())
        return false;
    QPDFObjectHandle type = object.getKey("/Type");
    return !type.isName() || type.getName() == "/Annot";
}

void MakeNothing(QPDF& pdf, const QPDFObjGen& id)
{
    pdf.replaceObject(id, QPDFObjectHandle::newNull());
}

} // namespace

PageSelection::PageSelection(QPDF& pdf)
    : pdf(pdf),
      originalRoot(pdf.getRoot()),
      root(pdf.makeIndirectObject(QPDFObjectHandle::newDictionary())),
      tree(pdf.makeIndirectObject(QPDFObjectHandle::newDictionary()))
{
    QPDFPageDocumentHelper(pdf).pushInheritedAttributesToPage();
    for (QPDFObjectHandle page : pdf.getAllPages()) {
        pages.emplace_back(page.getObjGen(), CopyOf(page));
        for (QPDFObjectHandle annotation : ItemsOf(page.getKey("/Annots"))) {
            if (annotation.isDictionaryOfType("", "/Widget"))
                SetFieldsAside(annotation);
        }
    }
    QPDFObjectHandle form = originalRoot.getKey("/AcroForm");
    if (form.isDictionary()) {
        for (const QPDFObjectHandle& field : ItemsOf(form.getKey("/Fields")))
            SetFieldsAside(field);
    }
    for (const auto& [id, page] : pages)
        MakeNothing(pdf, id);
    for (const auto& [id, field] : fields)
        MakeNothing(pdf, id);
}

/** Copies a field, and all those above and below it. */
void PageSelection::SetFieldsAside(const QPDFObjectHandle& first)
{
    std::vector<QPDFObjectHandle> next{first};
    while (!next.empty()) {
        QPDFObjectHandle field = next.back();
        next.pop_back();
        if (!CanBeField(field) || fields.count(field.getObjGen()) > 0)
            continue;
        fields.emplace(field.getObjGen(), CopyOf(field));
        next.push_back(field.getKey("/Parent"));
        for (const QPDFObjectHandle& kid : ItemsOf(field.getKey("/Kids")))
            next.push_back(kid);
    }
}

void PageSelection::Show(const std::set<qint64>& numbers)
{
    for (const qint64 number : numbers) {
        if (number < 1 || number > qint64(pages.size()))
            throw RequestError(Reason::NoSuchPage, "there is no page " + std::to_string(number));
        const auto& [id, page] = pages[std::size_t(number - 1)];
        pdf.replaceObject(id, CopyOf(page));
        indexes.push_back(int(number - 1));
        kept.push_back(pdf.getObjectByObjGen(id));
        BringFieldsBack(kept.back());
    }
    for (const QPDFObjGen& id : keptFields) {
        QPDFObjectHandle field = pdf.getObjectByObjGen(id);
        if (field.getKey("/Kids").isArray())
            field.replaceKey("/Kids", KeptParts::Fields(field.getKey("/Kids")));
    }
    MakeTree();
    MakeRoot();
    pdf.getTrailer().replaceKey("/Root", root);
    pdf.updateAllPagesCache();
    for (QPDFPageObjectHelper page : kept)
        page.removeUnreferencedResources(); // which may be those of all pages
}

/** Brings back the fields that a page shows, with those above them. */
void PageSelection::BringFieldsBack(QPDFObjectHandle page)
{
    for (const QPDFObjectHandle& field : ItemsOf(page.getKey("/Annots"))) {
        auto found = fields.find(field.getObjGen());
        while (found != fields.end() && keptFields.insert(found->first).second) {
            pdf.replaceObject(found->first, CopyOf(found->second));
            found = fields.find(QPDFObjectHandle(found->second).getKey("/Parent").getObjGen());
        }
    }
}

/** Makes the list of all pages, which are told that they belong to it. */
void PageSelection::MakeTree()
{
    tree.replaceKey("/Type", QPDFObjectHandle::newName("/Pages"));
    tree.replaceKey("/Count", QPDFObjectHandle::newInteger(qint64(kept.size())));
    tree.replaceKey("/Kids", QPDFObjectHandle::newArray(kept));
    for (QPDFObjectHandle page : kept)
        page.replaceKey("/Parent", tree);
}

/** Makes the catalog, without what tells of other pages. */
void PageSelection::MakeRoot()
{
    pdf.replaceObject(root.getObjGen(), originalRoot.shallowCopy());
    KeptParts parts(pdf, kept);
    Put(root, "/Outlines", parts.Outlines());
    Put(root, "/Dests", parts.NamedByCatalog());
    Put(root, "/Names", parts.Names());
    Put(root, "/AcroForm", parts.Form());
    Put(root, "/PageLabels", Labels());
    // Tags hold texts of all pages, and what was signed is another document.
    for (const char* const key : {"/StructTreeRoot", "/MarkInfo", "/Threads", "/Perms"})
        root.removeKey(key);
    root.replaceKey("/Pages", tree);
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
    QPDFObjectHandle labelled = QPDFObjectHandle::newDictionary();
    labelled.replaceKey("/Nums", QPDFObjectHandle::newArray(numbers));
    return labelled;
}

void PageSelection::Hide()
{
    pdf.getTrailer().replaceKey("/Root", originalRoot);
    for (const QPDFObjectHandle& page : kept)
        MakeNothing(pdf, page.getObjGen());
    for (const QPDFObjGen& id : keptFields)
        MakeNothing(pdf, id);
    indexes.clear();
    kept.clear();
    keptFields.clear();
}

void PageSelection::PutBack()
{
    for (const auto& [id, page] : pages)
        pdf.replaceObject(id, CopyOf(page));
    for (const auto& [id, field] : fields)
        pdf.replaceObject(id, CopyOf(field));
    pdf.updateAllPagesCache();
}

} // namespace Korvel::Worker
