#include "OptionalContent.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace Korvel::Worker {

namespace {

/** An array's elements, or the one object that stands in an array's place. */
std::vector<QPDFObjectHandle> Elements(QPDFObjectHandle object)
{
    if (object.isArray())
        return object.getArrayAsVector();
    return {object};
}

/** Which groups of optional content are shown when the document is opened. */
class Groups
{
public:
    explicit Groups(QPDF& pdf)
    {
        QPDFObjectHandle properties = pdf.getRoot().getKey("/OCProperties");
        if (!properties.isDictionary() || !properties.getKey("/D").isDictionary())
            return;
        defaults = properties.getKey("/D");
        on = Listed("/ON");
        off = Listed("/OFF");
    }

    bool AreThere() { return defaults.isDictionary(); }

    bool Hide(QPDFObjectHandle annotation)
    {
        if (!annotation.isDictionary())
            return false;
        QPDFObjectHandle owner = annotation.getKey("/OC");
        return owner.isDictionary() &&
               !(owner.isDictionaryOfType("/OCMD") ? ShowsMembership(owner) : Shows(owner));
    }

private:
    bool Shows(const QPDFObjectHandle& group)
    {
        const bool hidesOthers = defaults.getKey("/BaseState").isNameAndEquals("/OFF");
        return hidesOthers ? on.count(group.getObjGen()) > 0 : off.count(group.getObjGen()) == 0;
    }

    std::set<QPDFObjGen> Listed(const std::string& key)
    {
        std::set<QPDFObjGen> groups;
        for (const QPDFObjectHandle& group : Elements(defaults.getKey(key))) {
            if (group.isIndirect())
                groups.insert(group.getObjGen());
        }
        return groups;
    }

    /** Whether content is shown that goes by whether some, all or none of several groups are. */
    bool ShowsMembership(QPDFObjectHandle membership)
    {
        std::vector<QPDFObjectHandle> groups = Elements(membership.getKey("/OCGs"));
        groups.erase(std::remove_if(groups.begin(), groups.end(),
                                    [](QPDFObjectHandle group) { return !group.isDictionary(); }),
                     groups.end());
        if (groups.empty())
            return true;
        const auto shows = [this](const QPDFObjectHandle& group) {
            return Shows(group);
        };
        QPDFObjectHandle policy = membership.getKey("/P");
        if (policy.isNameAndEquals("/AllOn"))
            return std::all_of(groups.begin(), groups.end(), shows);
        if (policy.isNameAndEquals("/AnyOff"))
            return !std::all_of(groups.begin(), groups.end(), shows);
        if (policy.isNameAndEquals("/AllOff"))
            return std::none_of(groups.begin(), groups.end(), shows);
        return std::any_of(groups.begin(), groups.end(), shows);
    }

    QPDFObjectHandle defaults = QPDFObjectHandle::newNull();
    std::set<QPDFObjGen> on;
    std::set<QPDFObjGen> off;
};

bool HasHiddenAnnotation(QPDFObjectHandle page, Groups& groups)
{
    const std::vector<QPDFObjectHandle> all = Elements(page.getKey("/Annots"));
    return std::any_of(all.begin(), all.end(),
                       [&](const QPDFObjectHandle& annotation) { return groups.Hide(annotation); });
}

void RemoveHiddenAnnotations(QPDFObjectHandle page, Groups& groups)
{
    QPDFObjectHandle shown = QPDFObjectHandle::newArray();
    for (const QPDFObjectHandle& annotation : Elements(page.getKey("/Annots"))) {
        if (!groups.Hide(annotation))
            shown.appendItem(annotation);
    }
    page.replaceKey("/Annots", shown);
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

} // namespace Korvel::Worker
