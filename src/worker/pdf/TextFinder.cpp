#include "TextFinder.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <set>
#include <string>
#include <string_view>

#include <qpdf/QPDFPageObjectHelper.hh>

namespace Korvel::Worker {

namespace {

/** Forms within forms are looked into so far: only hostile documents have more. */
constexpr int deepest = 16;

/** Looks for what shows text, and notes which objects are drawn. */
class Watcher : public QPDFObjectHandle::ParserCallbacks
{
public:
    void handleObject(QPDFObjectHandle object) override
    {
        if (!object.isOperator()) {
            last = object;
            return;
        }
        const std::string name = object.getOperatorValue();
        constexpr std::string_view showing[] = {"Tj", "TJ", "'", "\""};
        if (name == "Do" && last.isName())
            drawn.insert(last.getName());
        if (std::find(std::begin(showing), std::end(showing), name) == std::end(showing))
            return;
        hasText = true;
        terminateParsing();
    }

    void handleEOF() override {}

    bool hasText = false;
    std::set<std::string> drawn;

private:
    QPDFObjectHandle last = QPDFObjectHandle::newNull();
};

} // namespace

bool TextFinder::ShowsText(const QPDFObjectHandle& content, int depth)
{
    QPDFPageObjectHelper helper(content);
    Watcher watcher;
    try {
        helper.parseContents(&watcher);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // What was found before the damage counts.
    }
    if (watcher.hasText || depth == deepest)
        return watcher.hasText;
    QPDFObjectHandle resources = helper.getAttribute("/Resources", false);
    QPDFObjectHandle objects =
        resources.isDictionary() ? resources.getKey("/XObject") : QPDFObjectHandle::newNull();
    return objects.isDictionary() &&
           std::any_of(watcher.drawn.begin(), watcher.drawn.end(), [&](const std::string& name) {
               return FormShowsText(objects.getKey(name), depth + 1);
           });
}

bool TextFinder::FormShowsText(QPDFObjectHandle form, int depth)
{
    if (!form.isFormXObject())
        return false;
    const auto [known, isNew] = forms.emplace(form.getObjGen(), false); // also while it is read
    if (isNew)
        known->second = ShowsText(form, depth);
    return known->second;
}

} // namespace Korvel::Worker
