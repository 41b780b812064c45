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

/** Which layers are shown when the document is opened. */
class Layers
{
public:
    explicit Layers(QPDF& pdf)
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
    bool Shows(const QPDFObjectHandle& layer)
    {
        const bool hidesOthers = defaults.getKey("/BaseState").isNameAndEquals("/OFF");
        return hidesOthers ? on.count(layer.getObjGen()) > 0 : off.count(layer.getObjGen()) == 0;
    }

    std::set<QPDFObjGen> Listed(const std::string& key)
    {
        std::set<QPDFObjGen> layers;
        for (const QPDFObjectHandle& layer : Elements(defaults.getKey(key))) {
            if (layer.isIndirect())
                layers.insert(layer.getObjGen());
        }
        return layers;
    }

    /** Of what is shown if some, all or none of several layers are. */
    bool ShowsMembership(QPDFObjectHandle membership)
    {
        std::vector<QPDFObjectHandle> layers = Elements(membership.getKey("/OCGs"));
        layers.erase(std::remove_if(layers.begin(), layers.end(),
                                    [](QPDFObjectHandle layer) { return !layer.isDictionary(); }),
                     layers.end());
        if (layers.empty())
            return true;
        const auto shows = [this](const QPDFObjectHandle& layer) {
            return Shows(layer);
        };
        QPDFObjectHandle policy = membership.getKey("/P");
        if (policy.isNameAndEquals("/AllOn"))
            return std::all_of(layers.begin(), layers.end(), shows);
        if (policy.isNameAndEquals("/AnyOff"))
            return !std::all_of(layers.begin(), layers.end(), shows);
        if (policy.isNameAndEquals("/AllOff"))
            return std::none_of(layers.begin(), layers.end(), shows);
        return std::any_of(layers.begin(), layers.end(), shows);
    }

    QPDFObjectHandle defaults = QPDFObjectHandle::newNull();
    std::set<QPDFObjGen> on;
    std::set<QPDFObjGen> off;
};

bool HasHiddenAnnotation(QPDFObjectHandle page, Layers& layers)
{
    const std::vector<QPDFObjectHandle> all = Elements(page.getKey("/Annots"));
    return std::any_of(all.begin(), all.end(),
                       [&](const QPDFObjectHandle& annotation) { return layers.Hide(annotation); });
}

void RemoveHiddenAnnotations(QPDFObjectHandle page, Layers& layers)
{
    QPDFObjectHandle shown = QPDFObjectHandle::newArray();
    for (const QPDFObjectHandle& annotation : Elements(page.getKey("/Annots"))) {
        if (!layers.Hide(annotation))
            shown.appendItem(annotation);
    }
    page.replaceKey("/Annots", shown);
}

} // namespace

bool HasHiddenAnnotations(QPDF& pdf)
{
    Layers layers(pdf);
    const std::vector<QPDFObjectHandle> pages = pdf.getAllPages();
    // Else all annotations would be read.
    return layers.AreThere() &&
           std::any_of(pages.begin(), pages.end(), [&](const QPDFObjectHandle& page) {
               return HasHiddenAnnotation(page, layers);
           });
}

void RemoveHiddenAnnotations(QPDF& pdf)
{
    Layers layers(pdf);
    if (!layers.AreThere())
        return;
    for (const QPDFObjectHandle& page : pdf.getAllPages()) {
        if (HasHiddenAnnotation(page, layers))
            RemoveHiddenAnnotations(page, layers);
    }
}

} // namespace Korvel::Worker
