#include "TextFinder.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <qpdf/BufferInputSource.hh>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFTokenizer.hh>

namespace Korvel::Worker {

namespace {

/** Forms within forms are looked into so far: only hostile documents have more. */
constexpr int deepest = 16;

/** So many bytes are read of what a page or a form draws. */
constexpr std::size_t longest = 1'000'000;

/** Takes the first bytes, and stops whoever writes more. */
class Beginning : public Pipeline
{
public:
    Beginning() : Pipeline("beginning", nullptr) {}

    void write(const unsigned char* data, std::size_t size) override
    {
        const std::size_t taken = std::min(size, longest - bytes.size());
        bytes.append(reinterpret_cast<const char*>(data), taken);
        isCut = isCut || taken < size;
        if (isCut)
            throw std::runtime_error("more than is looked at");
    }

    void finish() override
    {
        if (bytes.size() < longest)
            bytes += '\n';
    }

    std::string bytes;
    bool isCut = false;
};

std::vector<QPDFObjectHandle> StreamsOf(QPDFObjectHandle content)
{
    return content.isStream() ? std::vector<QPDFObjectHandle>{content} : content.getPageContents();
}

void Read(const QPDFObjectHandle& content, Beginning& beginning)
{
    try {
        for (QPDFObjectHandle stream : StreamsOf(content)) {
            stream.pipeStreamData(&beginning, 0, qpdf_dl_specialized, true);
            if (beginning.isCut)
                return;
        }
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // What was found before the damage counts.
    }
}

/** What the content draws, as far as the search for text needs it. */
struct Seen
{
    bool hasText = false;
    std::set<std::string> drawn;
};

constexpr std::string_view showing[] = {"Tj", "TJ", "'", "\""};

bool IsShowing(const std::string& name)
{
    return std::find(std::begin(showing), std::end(showing), name) != std::end(showing);
}

/** Whether its bytes allow for what is looked for: that is faster told than its tokens are read. */
bool IsWorthReading(const std::string& content)
{
    return content.find("Do") != std::string::npos ||
           std::any_of(std::begin(showing), std::end(showing), [&](std::string_view name) {
               return content.find(name) != std::string::npos;
           });
}

Seen Look(const std::string& content)
{
    Seen seen;
    if (!IsWorthReading(content))
        return seen;
    const auto input = std::make_shared<BufferInputSource>("content", content);
    QPDFTokenizer tokenizer;
    tokenizer.allowEOF();
    std::string name;
    for (;;) {
        const auto token = tokenizer.readToken(input, "content", true);
        if (token.getType() == QPDFTokenizer::tt_eof)
            return seen;
        if (token.getType() == QPDFTokenizer::tt_name)
            name = token.getValue();
        if (token.getType() != QPDFTokenizer::tt_word)
            continue;
        const std::string word = token.getValue();
        if (word == "ID")
            tokenizer.expectInlineImage(input);
        if (word == "Do")
            seen.drawn.insert(name);
        seen.hasText = IsShowing(word);
        if (seen.hasText)
            return seen;
    }
}

bool HasFont(QPDFObjectHandle resources)
{
    QPDFObjectHandle fonts = resources.getKey("/Font");
    if (!fonts.isNull() && !(fonts.isDictionary() && fonts.getKeys().empty()))
        return true;
    QPDFObjectHandle states = resources.getKey("/ExtGState");
    if (!states.isDictionary())
        return false;
    const auto keys = states.getKeys();
    return std::any_of(keys.begin(), keys.end(), [&](const std::string& key) {
        QPDFObjectHandle state = states.getKey(key);
        return state.isDictionary() && state.hasKey("/Font");
    });
}

} // namespace

bool TextFinder::MayShowText(QPDFObjectHandle resources, int depth)
{
    if (!resources.isDictionary())
        return false;
    if (HasFont(resources) || depth == deepest)
        return true;
    QPDFObjectHandle objects = resources.getKey("/XObject");
    if (!objects.isDictionary())
        return false;
    const auto keys = objects.getKeys();
    return std::any_of(keys.begin(), keys.end(), [&](const std::string& key) {
        return FormMayShowText(objects.getKey(key), depth + 1);
    });
}

bool TextFinder::FormMayShowText(QPDFObjectHandle form, int depth)
{
    if (!form.isFormXObject())
        return false;
    const auto [known, isNew] = fonts.emplace(form.getObjGen(), false); // also while it is read
    if (isNew)
        known->second = MayShowText(form.getDict().getKey("/Resources"), depth);
    return known->second;
}

bool TextFinder::ShowsText(const QPDFObjectHandle& content, int depth)
{
    QPDFObjectHandle resources = QPDFPageObjectHelper(content).getAttribute("/Resources", false);
    // A form that has none of its own uses those of what draws it.
    if (resources.isDictionary() ? !MayShowText(resources, 0) : depth == 0)
        return false;
    Beginning beginning;
    Read(content, beginning);
    const Seen seen = Look(beginning.bytes);
    if (seen.hasText || beginning.isCut || depth == deepest)
        return seen.hasText || beginning.isCut;
    QPDFObjectHandle objects =
        resources.isDictionary() ? resources.getKey("/XObject") : QPDFObjectHandle::newNull();
    return objects.isDictionary() &&
           std::any_of(seen.drawn.begin(), seen.drawn.end(), [&](const std::string& name) {
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
