#include "OptionalContent.h"

#include "HiddenTextFilter.h"
#include "OptionalContentGroups.h"

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include <qpdf/QPDFPageObjectHelper.hh>

namespace Korvel::Worker {

namespace {

using Groups = OptionalContentGroups;

std::vector<QPDFObjectHandle> AnnotationsOf(QPDFObjectHandle page)
{
    QPDFObjectHandle all = page.getKey("/Annots");
    return all.isArray() ? all.getArrayAsVector() : std::vector<QPDFObjectHandle>{all};
}

bool IsHidden(QPDFObjectHandle owned, Groups& groups)
{
    return owned.isDictionary() && groups.Hide(owned.getKey("/OC"));
}

bool HasHiddenAnnotation(const QPDFObjectHandle& page, Groups& groups)
{
    const std::vector<QPDFObjectHandle> all = AnnotationsOf(page);
    return std::any_of(all.begin(), all.end(), [&](const QPDFObjectHandle& annotation) {
        return IsHidden(annotation, groups);
    });
}

void RemoveHiddenAnnotations(QPDFObjectHandle page, Groups& groups)
{
    QPDFObjectHandle shown = QPDFObjectHandle::newArray();
    for (const QPDFObjectHandle& annotation : AnnotationsOf(page)) {
        if (!IsHidden(annotation, groups))
            shown.appendItem(annotation);
    }
    page.replaceKey("/Annots", shown);
}

QPDFObjectHandle MembersOf(QPDFObjectHandle resources, const std::string& key)
{
    QPDFObjectHandle members = resources.getKey(key);
    return members.isDictionary() ? members : QPDFObjectHandle::newDictionary();
}

/** What draws, a page or a form, and the resources that it does so with. */
struct Content
{
    QPDFObjectHandle object;
    QPDFObjectHandle resources;
};

/** Goes over pages and the forms that they may draw, each form once. */
class Contents
{
public:
    explicit Contents(QPDF& pdf)
    {
        for (const QPDFObjectHandle& page : pdf.getAllPages())
            Add(page, QPDFObjectHandle::newDictionary());
    }

    bool IsDone() const { return next == contents.size(); }

    Content Take()
    {
        Content content = contents[next++];
        for (auto& [name, form] : MembersOf(content.resources, "/XObject").getDictAsMap()) {
            if (form.isFormXObject() && seen.insert(form.getObjGen()).second)
                Add(form, content.resources);
        }
        return content;
    }

private:
    /** A form without resources has those of what draws it. */
    void Add(const QPDFObjectHandle& object, const QPDFObjectHandle& ofOther)
    {
        QPDFObjectHandle own = QPDFPageObjectHelper(object).getAttribute("/Resources", false);
        contents.push_back({object, own.isDictionary() ? own : ofOther});
    }

    std::vector<Content> contents;
    std::size_t next = 0;
    std::set<QPDFObjGen> seen;
};

bool Hides(const Content& content, Groups& groups)
{
    const auto layers = MembersOf(content.resources, "/Properties").getDictAsMap();
    const auto objects = MembersOf(content.resources, "/XObject").getDictAsMap();
    return std::any_of(layers.begin(), layers.end(),
                       [&](const auto& layer) { return groups.Hide(layer.second); }) ||
           std::any_of(objects.begin(), objects.end(), [&](auto object) {
               return object.second.isFormXObject() && IsHidden(object.second.getDict(), groups);
           });
}

HiddenTextFilter::Names NamesIn(const Content& content, Groups& groups)
{
    HiddenTextFilter::Names names;
    for (const auto& [name, layer] : MembersOf(content.resources, "/Properties").getDictAsMap()) {
        if (groups.Hide(layer))
            names.hiddenLayers.insert(name);
    }
    for (auto& [name, object] : MembersOf(content.resources, "/XObject").getDictAsMap()) {
        if (object.isFormXObject())
            (IsHidden(object.getDict(), groups) ? names.hiddenForms : names.forms).insert(name);
    }
    return names;
}

} // namespace

bool HasHiddenAnnotations(QPDF& pdf)
{
    Groups groups(pdf);
    const std::vector<QPDFObjectHandle> pages = pdf.getAllPages();
    // Without groups no annotation needs to be read.
    return groups.AreThere() &&
           std::any_of(pages.begin(), pages.end(), [&](const QPDFObjectHandle& page) {
               return HasHiddenAnnotation(page, groups);
           });
}

void RemoveHiddenAnnotations(QPDF& pdf)
{
    Groups groups(pdf);
    if (!groups.AreThere())
        return;
    for (const QPDFObjectHandle& page : pdf.getAllPages()) {
        if (HasHiddenAnnotation(page, groups))
            RemoveHiddenAnnotations(page, groups);
    }
}

bool HasHiddenContent(QPDF& pdf)
{
    Groups groups(pdf);
    if (!groups.AreThere())
        return false;
    for (Contents contents(pdf); !contents.IsDone();) {
        if (Hides(contents.Take(), groups))
            return true;
    }
    return false;
}

void RemoveHiddenText(QPDF& pdf)
{
    Groups groups(pdf);
    if (!groups.AreThere())
        return;
    std::set<QPDFObjGen> shared; // a content of many pages is filtered once
    for (Contents contents(pdf); !contents.IsDone();) {
        const Content content = contents.Take();
        if (!Hides(content, groups))
            continue;
        QPDFPageObjectHelper helper(content.object);
        QPDFObjectHandle stream = helper.getAttribute("/Contents", false);
        if (!stream.isStream() || shared.insert(stream.getObjGen()).second)
            helper.addContentTokenFilter(
                std::make_shared<HiddenTextFilter>(NamesIn(content, groups)));
    }
}

} // namespace Korvel::Worker
