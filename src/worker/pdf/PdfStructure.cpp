#include "PdfStructure.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDFXRefEntry.hh>

namespace Korvel::Worker {

namespace {

constexpr std::size_t headerWithin = 1024;
constexpr std::size_t longestBeginning = 64;
constexpr int uncompressed = 1;

std::size_t FindHeader(std::string_view file)
{
    return file.substr(0, headerWithin).find("%PDF-");
}

/** Whether an object begins here: its number, its generation, "obj". */
bool BeginsWithObject(std::string_view bytes, const QPDFObjGen& object)
{
    const std::string beginning(bytes.substr(0, longestBeginning));
    char* rest = nullptr;
    if (std::strtoll(beginning.c_str(), &rest, 10) != object.getObj() ||
        std::strtoll(rest, &rest, 10) != object.getGen())
        return false;
    rest += std::strspn(rest, " \t\r\n\f");
    return std::strncmp(rest, "obj", 3) == 0;
}

/** Whether all objects lie where the table says; a reader that trusts it takes others for null. */
bool AllLieInTheirPlaces(const std::map<QPDFObjGen, QPDFXRefEntry>& table, std::string_view bytes)
{
    return std::all_of(table.begin(), table.end(), [bytes](const auto& entry) {
        const auto& [object, place] = entry;
        // Some programs note objects that are not there as lying at 0.
        if (place.getType() != uncompressed || place.getOffset() == 0)
            return true;
        const auto offset = std::size_t(place.getOffset());
        return offset < bytes.size() && BeginsWithObject(bytes.substr(offset), object);
    });
}

bool HasRightCount(QPDF& pdf)
{
    QPDFObjectHandle count = pdf.getRoot().getKey("/Pages").getKey("/Count");
    return count.isInteger() &&
           count.getIntValue() == static_cast<long long>(pdf.getAllPages().size());
}

bool HasNothingButPages(QPDF& pdf)
{
    const std::vector<QPDFObjectHandle> pages = pdf.getAllPages();
    return std::all_of(pages.begin(), pages.end(),
                       [](QPDFObjectHandle page) { return page.isDictionary(); });
}

/** Leaves only dictionaries in a node of a tree, which is all that trees of any kind consist of. */
void RemoveStrayKids(QPDFObjectHandle node)
{
    if (!node.isDictionary() || !node.getKey("/Kids").isArray())
        return;
    QPDFObjectHandle kids = node.getKey("/Kids");
    for (int i = kids.getArrayNItems() - 1; i >= 0; --i) {
        if (!kids.getArrayItem(i).isDictionary())
            kids.eraseItem(i);
    }
}

} // namespace

bool HasHeader(std::string_view file)
{
    return FindHeader(file) != std::string_view::npos;
}

bool BeginsAndEndsAsPdf(std::string_view file)
{
    constexpr std::string_view end = "%%EOF";
    const std::size_t last = file.find_last_not_of(" \t\r\n\f");
    return FindHeader(file) == 0 && last != file.npos && last + 1 >= end.size() &&
           file.substr(last + 1 - end.size(), end.size()) == end;
}

bool IsSound(QPDF& pdf, std::string_view file)
{
    // Places are counted from the header.
    return HasHeader(file) && HasRightCount(pdf) && HasNothingButPages(pdf) &&
           AllLieInTheirPlaces(pdf.getXRefTable(), file.substr(FindHeader(file))) &&
           !pdf.anyWarnings();
}

bool ListsMorePagesThan(QPDF& pdf, std::size_t most)
{
    std::set<QPDFObjGen> seen;
    std::vector<QPDFObjectHandle> nodes{pdf.getRoot().getKey("/Pages")};
    std::size_t listed = 0;
    while (!nodes.empty()) {
        QPDFObjectHandle node = nodes.back();
        nodes.pop_back();
        const bool isNew = !node.isIndirect() || seen.insert(node.getObjGen()).second;
        if (!isNew || !node.isDictionary() || !node.getKey("/Kids").isArray())
            continue;
        QPDFObjectHandle kids = node.getKey("/Kids");
        listed += std::size_t(kids.getArrayNItems());
        if (listed > most)
            return true;
        for (int i = 0; i < kids.getArrayNItems(); ++i)
            nodes.push_back(kids.getArrayItem(i));
    }
    return false;
}

void MendTrailer(QPDF& pdf)
{
    if (!pdf.getTrailer().hasKey("/Size"))
        pdf.getTrailer().replaceKey("/Size", QPDFObjectHandle::newInteger(0));
}

void MendPages(QPDF& pdf)
{
    // Stray kids go first: libqpdf stumbles over what is listed as a page and is none.
    for (const QPDFObjectHandle& object : pdf.getAllObjects())
        RemoveStrayKids(object);
    const std::vector<QPDFObjectHandle> pages = pdf.getAllPages();
    if (pages.empty() || HasRightCount(pdf))
        return;
    pdf.getRoot().getKey("/Pages").replaceKey(
        "/Count", QPDFObjectHandle::newInteger(static_cast<long long>(pages.size())));
    // libqpdf makes the tree one list at any change, so that no other count is wrong.
    pdf.removePage(pages.back());
    pdf.addPage(pages.back(), false);
}

} // namespace Korvel::Worker
