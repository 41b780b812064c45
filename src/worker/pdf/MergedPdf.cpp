#include "MergedPdf.h"

#include "HangHeadings.h"

#include <string>

#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>
#include <qpdf/QPDFNameTreeObjectHelper.hh>
#include <qpdf/QPDFPageLabelDocumentHelper.hh>

namespace Korvel::Worker {

namespace {

// What of a page leads to others.
constexpr char annotations[] = "/Annots";
constexpr char actions[] = "/AA";

void Put(QPDFObjectHandle dictionary, const char* key, const QPDFObjectHandle& value)
{
    if (!QPDFObjectHandle(value).isNull())
        dictionary.replaceKey(key, value);
}

std::vector<QPDFObjectHandle> ItemsOf(QPDFObjectHandle array)
{
    return array.isArray() ? array.getArrayAsVector() : std::vector<QPDFObjectHandle>();
}

void Extend(QPDFObjectHandle dictionary, const char* key, const std::vector<QPDFObjectHandle>& more)
{
    std::vector<QPDFObjectHandle> all = ItemsOf(dictionary.getKey(key));
    all.insert(all.end(), more.begin(), more.end());
    if (!all.empty())
        dictionary.replaceKey(key, QPDFObjectHandle::newArray(all));
}

/** Those of a list that are not in another one. */
std::vector<QPDFObjectHandle> Without(const std::vector<QPDFObjectHandle>& list,
                                      const std::vector<QPDFObjectHandle>& others)
{
    std::set<QPDFObjGen> ids;
    for (const QPDFObjectHandle& other : others)
        ids.insert(other.getObjGen());
    std::vector<QPDFObjectHandle> left;
    for (const QPDFObjectHandle& item : list) {
        if (ids.count(item.getObjGen()) == 0)
            left.push_back(item);
    }
    return left;
}

/** Puts a place where its name is, which may be that of another place in the result. */
void Resolve(QPDFOutlineDocumentHelper& named, QPDFObjectHandle dictionary, const char* key)
{
    QPDFObjectHandle place = dictionary.getKey(key);
    if (!place.isName() && !place.isString())
        return;
    place = named.resolveNamedDest(place);
    if (place.isDictionary())
        place = place.getKey("/D");
    if (place.isArray())
        dictionary.replaceKey(key, place);
    else
        dictionary.removeKey(key); // it leads nowhere
}

/** Resolves where a heading or an annotation leads. */
void Resolve(QPDFOutlineDocumentHelper& named, QPDFObjectHandle leading)
{
    Resolve(named, leading, "/Dest");
    QPDFObjectHandle action = leading.getKey("/A");
    if (action.isDictionary() && action.getKey("/S").isNameAndEquals("/GoTo"))
        Resolve(named, action, "/D");
}

/** Frees a page of what binds it to its document. */
void Loosen(QPDFOutlineDocumentHelper& named, QPDFObjectHandle page)
{
    page.removeKey("/StructParents");
    page.removeKey("/B"); // a chain of articles through all pages
    for (QPDFObjectHandle annotation : ItemsOf(page.getKey(annotations))) {
        if (!annotation.isDictionary())
            continue;
        annotation.removeKey("/StructParent");
        Resolve(named, annotation);
    }
}

QPDFObjectHandle OwnDictionary(QPDFObjectHandle dictionary, const char* key)
{
    if (!dictionary.getKey(key).isDictionary())
        dictionary.replaceKey(key, QPDFObjectHandle::newDictionary());
    return dictionary.getKey(key);
}

QPDFObjectHandle PlacesOf(QPDF& pdf)
{
    QPDFObjectHandle names = pdf.getRoot().getKey("/Names");
    return names.isDictionary() ? names.getKey("/Dests") : QPDFObjectHandle::newNull();
}

bool IsHidingAll(QPDFObjectHandle settings)
{
    return settings.getKey("/BaseState").isNameAndEquals("/OFF");
}

} // namespace

MergedPdf::MergedPdf(QPDF& pdf) : pdf(pdf), root(pdf.getRoot()), form(pdf)
{
    for (const char* const key : {"/StructTreeRoot", "/MarkInfo", "/Threads", "/Perms"})
        root.removeKey(key);
    TakeLabels(pdf);
    QPDFOutlineDocumentHelper named(pdf);
    TakeHeadings(pdf, named);
    TakeNames(pdf);
}

void MergedPdf::Append(QPDF& other)
{
    QPDFOutlineDocumentHelper named(other);
    TakeLabels(other);
    TakePages(other, named);
    TakeHeadings(other, named);
    TakeForm(other);
    TakeLayers(other);
    TakeNames(other);
    TakeAttachments(other);
}

/** The first document's objects are their own copies. */
QPDFObjectHandle MergedPdf::CopyOf(QPDF& other, const QPDFObjectHandle& object)
{
    if (&other == &pdf || QPDFObjectHandle(object).isNull())
        return object;
    return pdf.copyForeignObject(object.isIndirect() ? object : other.makeIndirectObject(object));
}

std::vector<QPDFObjectHandle> MergedPdf::CopiesOf(QPDF& other, const QPDFObjectHandle& list)
{
    return ItemsOf(CopyOf(other, list));
}

/** Takes the numbers of the pages as they are, counted from 1 where none are given. */
void MergedPdf::TakeLabels(QPDF& other)
{
    const auto count = qint64(other.getAllPages().size());
    QPDFPageLabelDocumentHelper helper(other);
    std::vector<QPDFObjectHandle> numbers;
    if (helper.hasPageLabels()) {
        helper.getLabelsForPageRange(0, count - 1, labelled, numbers);
        hasLabels = true;
    } else { // for more than one page libqpdf would look into a list that is not there
        numbers = {QPDFObjectHandle::newInteger(labelled),
                   QPDFObjectHandle::parse("<</S /D /St 1>>")};
    }
    const auto copies = CopiesOf(other, QPDFObjectHandle::newArray(numbers));
    labels.insert(labels.end(), copies.begin(), copies.end());
    labelled += count;
}

/** What leads to pages is copied when these are there: libqpdf would make nothing of it before. */
void MergedPdf::TakePages(QPDF& other, QPDFOutlineDocumentHelper& named)
{
    const std::vector<QPDFObjectHandle> pages = other.getAllPages();
    std::map<const char*, std::vector<QPDFObjectHandle>> leading;
    for (QPDFObjectHandle page : pages) {
        Loosen(named, page);
        for (const char* const key : {annotations, actions}) {
            leading[key].push_back(page.getKey(key));
            page.removeKey(key);
        }
    }
    const std::size_t before = pdf.getAllPages().size();
    for (const QPDFObjectHandle& page : pages)
        pdf.addPage(page, false);
    const std::vector<QPDFObjectHandle> all = pdf.getAllPages();
    for (const auto& [key, values] : leading) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            const bool isIndirect = values[i].isIndirect(); // which it becomes to be copied
            QPDFObjectHandle copy = CopyOf(other, values[i]);
            Put(all[before + i], key, isIndirect ? copy : copy.shallowCopy());
        }
    }
}

void MergedPdf::TakeHeadings(QPDF& other, QPDFOutlineDocumentHelper& named)
{
    seen.clear();
    QPDFObjectHandle all = other.getRoot().getKey("/Outlines");
    if (!all.isDictionary())
        return;
    const auto taken = HeadingsBelow(other, named, all, 0);
    headings.insert(headings.end(), taken.begin(), taken.end());
}

/**
 * Each heading is copied by itself: libqpdf would follow the row from one to the next, deeper and
 * deeper.
 */
std::vector<QPDFObjectHandle> MergedPdf::HeadingsBelow(QPDF& other,
                                                       QPDFOutlineDocumentHelper& named,
                                                       QPDFObjectHandle above, int depth)
{
    std::vector<QPDFObjectHandle> taken;
    QPDFObjectHandle next = above.getKey("/First");
    for (; next.isDictionary() && seen.insert(next.getObjGen()).second;
         next = next.getKey("/Next")) {
        QPDFObjectHandle loose = LooseHeading(other, next);
        if (&other != &pdf)
            Resolve(named, loose);
        QPDFObjectHandle heading = CopyOf(other, loose);
        if (depth < deepestHeading)
            HangHeadings(HeadingsBelow(other, named, next, depth + 1), heading,
                         IsOpenHeading(next));
        taken.push_back(heading);
    }
    return taken;
}

void MergedPdf::TakeForm(QPDF& other)
{
    QPDFObjectHandle theirs = other.getRoot().getKey("/AcroForm");
    if (!theirs.isDictionary())
        return;
    std::vector<QPDFObjectHandle> fields;
    for (QPDFObjectHandle field : CopiesOf(other, theirs.getKey("/Fields"))) {
        if (!field.isIndirect() || !field.isDictionary())
            continue;
        for (const char* const key : {"/DA", "/Q"}) { // which it has had from its form
            if (!field.hasKey(key) && theirs.hasKey(key))
                field.replaceKey(key, theirs.getKey(key).shallowCopy());
        }
        fields.push_back(field);
    }
    if (fields.empty())
        return;
    form.addAndRenameFormFields(fields);
    TakeFormSettings(other, theirs);
}

void MergedPdf::TakeFormSettings(QPDF& other, QPDFObjectHandle theirs)
{
    QPDFObjectHandle ours = root.getKey("/AcroForm");
    ours.removeKey("/XFA"); // would be shown in place of all pages
    QPDFObjectHandle resources = CopyOf(other, theirs.getKey("/DR"));
    if (resources.isDictionary())
        OwnDictionary(ours, "/DR").mergeResources(resources);
    QPDFObjectHandle lacks = theirs.getKey("/NeedAppearances");
    if (lacks.isBool() && lacks.getBoolValue())
        ours.replaceKey("/NeedAppearances", QPDFObjectHandle::newBool(true));
    Extend(ours, "/CO", CopiesOf(other, theirs.getKey("/CO")));
}

/** Takes the layers, hidden ones as hidden ones. */
void MergedPdf::TakeLayers(QPDF& other)
{
    QPDFObjectHandle theirs = CopyOf(other, other.getRoot().getKey("/OCProperties"));
    if (!theirs.isDictionary())
        return;
    QPDFObjectHandle ours = OwnDictionary(root, "/OCProperties");
    QPDFObjectHandle to = OwnDictionary(ours, "/D");
    QPDFObjectHandle from = OwnDictionary(theirs, "/D");
    const std::vector<QPDFObjectHandle> layers = ItemsOf(theirs.getKey("/OCGs"));
    const std::vector<QPDFObjectHandle> hidden = IsHidingAll(from)
                                                     ? Without(layers, ItemsOf(from.getKey("/ON")))
                                                     : ItemsOf(from.getKey("/OFF"));
    Extend(ours, "/OCGs", layers);
    Extend(to, "/OFF", hidden);
    if (IsHidingAll(to))
        Extend(to, "/ON", Without(layers, hidden));
    for (const char* const key : {"/Order", "/RBGroups", "/Locked", "/AS"})
        Extend(to, key, ItemsOf(from.getKey(key)));
}

/** Takes names that no document before has; links and headings do without. */
void MergedPdf::TakeNames(QPDF& other)
{
    QPDFObjectHandle theirs = PlacesOf(other);
    if (!theirs.isDictionary())
        return;
    for (const auto& [name, place] : QPDFNameTreeObjectHelper(theirs, other)) {
        if (places.count(name) == 0)
            places.emplace(name, CopyOf(other, place));
    }
}

void MergedPdf::TakeAttachments(QPDF& other)
{
    QPDFEmbeddedFileDocumentHelper ours(pdf);
    for (const auto& [name, file] : QPDFEmbeddedFileDocumentHelper(other).getEmbeddedFiles()) {
        std::string key = name;
        for (int number = 2; ours.getEmbeddedFile(key); ++number)
            key = name + '(' + std::to_string(number) + ')';
        const QPDFObjectHandle copy = CopyOf(other, file->getObjectHandle());
        ours.replaceEmbeddedFile(key, QPDFFileSpecObjectHelper(copy));
    }
}

void MergedPdf::Finish()
{
    if (hasLabels) {
        QPDFObjectHandle labelling = QPDFObjectHandle::newDictionary();
        labelling.replaceKey("/Nums", QPDFObjectHandle::newArray(labels));
        root.replaceKey("/PageLabels", labelling);
    }
    if (!headings.empty()) {
        QPDFObjectHandle all = pdf.makeIndirectObject(QPDFObjectHandle::newDictionary());
        all.replaceKey("/Type", QPDFObjectHandle::newName("/Outlines"));
        HangHeadings(headings, all, true);
        root.replaceKey("/Outlines", all);
    }
    if (places.empty())
        return;
    QPDFNameTreeObjectHelper tree = QPDFNameTreeObjectHelper::newEmpty(pdf);
    for (const auto& [name, place] : places)
        tree.insert(name, place);
    OwnDictionary(root, "/Names").replaceKey("/Dests", tree.getObjectHandle());
}

} // namespace Korvel::Worker
