#include "KeptParts.h"

#include "HangHeadings.h"

#include <string>

#include <qpdf/QPDFNameTreeObjectHelper.hh>

namespace Korvel::Worker {

namespace {

/** Where a heading leads in its own document; null for nowhere. */
QPDFObjectHandle DestinationOf(QPDFObjectHandle heading)
{
    QPDFObjectHandle action = heading.getKey("/A");
    if (heading.hasKey("/Dest") || !action.isDictionary())
        return heading.getKey("/Dest");
    return action.getKey("/S").isNameAndEquals("/GoTo") ? action.getKey("/D")
                                                        : QPDFObjectHandle::newNull();
}

} // namespace

KeptParts::KeptParts(QPDF& pdf, const std::vector<QPDFObjectHandle>& pages)
    : pdf(pdf), pages(pages), places(pdf)
{
    for (const QPDFObjectHandle& page : pages)
        ids.insert(page.getObjGen());
}

bool KeptParts::LeadsHere(QPDFObjectHandle destination)
{
    if (destination.isName() || destination.isString())
        destination = places.resolveNamedDest(destination);
    if (destination.isDictionary())
        destination = destination.getKey("/D");
    return destination.isArray() && destination.getArrayNItems() > 0 &&
           ids.count(destination.getArrayItem(0).getObjGen()) > 0;
}

/** Whether a heading leads to one of the pages, or out of the document. */
bool KeptParts::LeadsSomewhere(QPDFObjectHandle heading)
{
    QPDFObjectHandle destination = DestinationOf(heading);
    return destination.isNull() ? heading.getKey("/A").isDictionary() : LeadsHere(destination);
}

QPDFObjectHandle KeptParts::Outlines()
{
    QPDFObjectHandle all = pdf.getRoot().getKey("/Outlines");
    seen.clear();
    const auto headings = all.isDictionary() ? Headings(all, 0) : std::vector<QPDFObjectHandle>();
    if (headings.empty())
        return QPDFObjectHandle::newNull();
    QPDFObjectHandle outlines = pdf.makeIndirectObject(QPDFObjectHandle::newDictionary());
    outlines.replaceKey("/Type", QPDFObjectHandle::newName("/Outlines"));
    HangHeadings(headings, outlines, true);
    return outlines;
}

std::vector<QPDFObjectHandle> KeptParts::Headings(QPDFObjectHandle above, int depth)
{
    std::vector<QPDFObjectHandle> headings;
    QPDFObjectHandle next = above.getKey("/First");
    for (; next.isDictionary() && seen.insert(next.getObjGen()).second;
         next = next.getKey("/Next")) {
        const auto below =
            depth < deepestHeading ? Headings(next, depth + 1) : std::vector<QPDFObjectHandle>();
        const bool leads = LeadsSomewhere(next);
        if (!leads && below.empty())
            continue;
        QPDFObjectHandle heading = LooseHeading(pdf, next);
        if (!leads) {
            heading.removeKey("/Dest");
            heading.removeKey("/A");
        }
        HangHeadings(below, heading, IsOpenHeading(next));
        headings.push_back(heading);
    }
    return headings;
}

QPDFObjectHandle KeptParts::NamedByCatalog()
{
    QPDFObjectHandle all = pdf.getRoot().getKey("/Dests");
    if (!all.isDictionary())
        return QPDFObjectHandle::newNull();
    QPDFObjectHandle named = QPDFObjectHandle::newDictionary();
    for (const std::string& name : all.getKeys()) {
        if (LeadsHere(all.getKey(name)))
            named.replaceKey(name, all.getKey(name));
    }
    return named;
}

QPDFObjectHandle KeptParts::Names()
{
    QPDFObjectHandle all = pdf.getRoot().getKey("/Names");
    if (!all.isDictionary())
        return QPDFObjectHandle::newNull();
    QPDFObjectHandle names = all.shallowCopy();
    names.removeKey("/Pages"); // further pages, which no list of pages has
    names.removeKey("/Templates");
    if (!names.getKey("/Dests").isDictionary())
        return names;
    QPDFNameTreeObjectHelper tree = QPDFNameTreeObjectHelper::newEmpty(pdf);
    for (const auto& [name, destination] : QPDFNameTreeObjectHelper(names.getKey("/Dests"), pdf)) {
        if (LeadsHere(destination))
            tree.insert(name, destination);
    }
    names.replaceKey("/Dests", tree.getObjectHandle());
    return names;
}

/** Whether the pages show parts of a form. */
bool KeptParts::ShowFields()
{
    for (QPDFObjectHandle page : pages) {
        QPDFObjectHandle all = page.getKey("/Annots");
        for (int i = 0; all.isArray() && i < all.getArrayNItems(); ++i) {
            if (all.getArrayItem(i).isDictionaryOfType("", "/Widget"))
                return true;
        }
    }
    return false;
}

QPDFObjectHandle KeptParts::Fields(QPDFObjectHandle list)
{
    std::vector<QPDFObjectHandle> fields;
    for (int i = 0; list.isArray() && i < list.getArrayNItems(); ++i) {
        QPDFObjectHandle field = list.getArrayItem(i);
        if (field.isIndirect() && field.isDictionary())
            fields.push_back(field);
    }
    return QPDFObjectHandle::newArray(fields);
}

QPDFObjectHandle KeptParts::Form()
{
    QPDFObjectHandle all = pdf.getRoot().getKey("/AcroForm");
    if (!all.isDictionary() || !ShowFields())
        return QPDFObjectHandle::newNull();
    QPDFObjectHandle form = all.shallowCopy();
    form.removeKey("/XFA"); // has what all fields hold
    form.replaceKey("/Fields", Fields(all.getKey("/Fields")));
    if (all.hasKey("/CO"))
        form.replaceKey("/CO", Fields(all.getKey("/CO")));
    return pdf.makeIndirectObject(form);
}

} // namespace Korvel::Worker
