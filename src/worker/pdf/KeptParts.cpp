#include "KeptParts.h"

#include <algorithm>
#include <string>

#include <qpdf/QPDFNameTreeObjectHelper.hh>

namespace Korvel::Worker {

namespace {

/** Deeper ones are cut off: only damaged and hostile documents have them. */
constexpr int deepest = 64;

/** Where a heading leads in its own document; null for nowhere. */
QPDFObjectHandle DestinationOf(QPDFObjectHandle heading)
{
    QPDFObjectHandle action = heading.getKey("/A");
    if (heading.hasKey("/Dest") || !action.isDictionary())
        return heading.getKey("/Dest");
    return action.getKey("/S").isNameAndEquals("/GoTo") ? action.getKey("/D")
                                                        : QPDFObjectHandle::newNull();
}

/** How many headings below one are seen; negative where they are folded away. */
long long CountOf(QPDFObjectHandle heading)
{
    QPDFObjectHandle count = heading.getKey("/Count");
    return count.isInteger() ? count.getIntValue() : 0;
}

/** Puts headings in a row below another one. */
void Hang(const std::vector<QPDFObjectHandle>& headings, QPDFObjectHandle above, bool isOpen)
{
    if (headings.empty())
        return;
    auto seen = static_cast<long long>(headings.size());
    for (std::size_t i = 0; i < headings.size(); ++i) {
        QPDFObjectHandle heading = headings[i];
        seen += std::max(0LL, CountOf(heading));
        heading.replaceKey("/Parent", above);
        if (i > 0)
            heading.replaceKey("/Prev", headings[i - 1]);
        if (i + 1 < headings.size())
            heading.replaceKey("/Next", headings[i + 1]);
    }
    above.replaceKey("/First", headings.front());
    above.replaceKey("/Last", headings.back());
    above.replaceKey("/Count", QPDFObjectHandle::newInteger(isOpen ? seen : -seen));
}

/** The field at the top of another one, or of a widget. */
QPDFObjectHandle FieldOf(QPDFObjectHandle field)
{
    for (int depth = 0; depth < deepest && field.getKey("/Parent").isDictionary(); ++depth)
        field = field.getKey("/Parent");
    return field;
}

/** The array with those of its items that are among `ids`, or below one that is. */
QPDFObjectHandle Filtered(QPDFObjectHandle array, const std::set<QPDFObjGen>& ids)
{
    std::vector<QPDFObjectHandle> items;
    for (int i = 0; array.isArray() && i < array.getArrayNItems(); ++i) {
        QPDFObjectHandle item = array.getArrayItem(i);
        if (item.isDictionary() && ids.count(FieldOf(item).getObjGen()) > 0)
            items.push_back(item);
    }
    return QPDFObjectHandle::newArray(items);
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
    Hang(headings, outlines, true);
    return outlines;
}

std::vector<QPDFObjectHandle> KeptParts::Headings(QPDFObjectHandle above, int depth)
{
    std::vector<QPDFObjectHandle> headings;
    QPDFObjectHandle next = above.getKey("/First");
    for (; next.isDictionary() && seen.insert(next.getObjGen()).second;
         next = next.getKey("/Next")) {
        const auto below =
            depth < deepest ? Headings(next, depth + 1) : std::vector<QPDFObjectHandle>();
        const bool leads = LeadsSomewhere(next);
        if (!leads && below.empty())
            continue;
        QPDFObjectHandle heading = pdf.makeIndirectObject(next.shallowCopy());
        for (const char* const key :
             {"/Parent", "/Prev", "/Next", "/First", "/Last", "/Count", "/SE"})
            heading.removeKey(key);
        if (!leads) {
            heading.removeKey("/Dest");
            heading.removeKey("/A");
        }
        Hang(below, heading, CountOf(next) > 0);
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

/** The fields at the top of those that the pages show. */
std::set<QPDFObjGen> KeptParts::ShownFields()
{
    std::set<QPDFObjGen> fields;
    for (QPDFObjectHandle page : pages) {
        QPDFObjectHandle all = page.getKey("/Annots");
        for (int i = 0; all.isArray() && i < all.getArrayNItems(); ++i) {
            QPDFObjectHandle annotation = all.getArrayItem(i);
            if (annotation.isDictionaryOfType("", "/Widget"))
                fields.insert(FieldOf(annotation).getObjGen());
        }
    }
    return fields;
}

QPDFObjectHandle KeptParts::Form()
{
    QPDFObjectHandle all = pdf.getRoot().getKey("/AcroForm");
    const std::set<QPDFObjGen> shown = ShownFields();
    if (!all.isDictionary() || shown.empty())
        return QPDFObjectHandle::newNull();
    QPDFObjectHandle form = all.shallowCopy();
    form.removeKey("/XFA"); // has what all fields hold
    form.replaceKey("/Fields", Filtered(all.getKey("/Fields"), shown));
    if (all.hasKey("/CO"))
        form.replaceKey("/CO", Filtered(all.getKey("/CO"), shown));
    return pdf.makeIndirectObject(form);
}

} // namespace Korvel::Worker
