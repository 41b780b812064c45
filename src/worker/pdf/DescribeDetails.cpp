#include "DescribeDetails.h"

#include "TextFinder.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <new>
#include <set>
#include <string>
#include <tuple>

#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>
#include <qpdf/QPDFPageLabelDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

namespace Korvel::Worker {

using PDF::DocumentDetails;

namespace {

constexpr int longestName = 256;
constexpr long long largestStart = 1'000'000'000;

QString Short(const std::string& name)
{
    return QString::fromStdString(name).left(longestName);
}

template <typename T>
bool HasRoom(const std::vector<T>& list)
{
    return list.size() < std::size_t(DocumentDetails::most);
}

/** The part of the crop box that is shown, turned as the page is. */
DocumentDetails::Size SizeOf(QPDFPageObjectHelper page)
{
    const auto media = page.getMediaBox().getArrayAsRectangle();
    const auto crop = page.getCropBox().getArrayAsRectangle();
    QPDFObjectHandle turned = page.getAttribute("/Rotate", false);
    DocumentDetails::Size size;
    size.width = std::max(0.0, std::min(media.urx, crop.urx) - std::max(media.llx, crop.llx));
    size.height = std::max(0.0, std::min(media.ury, crop.ury) - std::max(media.lly, crop.lly));
    if (turned.isInteger())
        size.rotation = int((turned.getIntValue() % 360 + 360) % 360 / 90 * 90);
    if (size.rotation % 180 != 0)
        std::swap(size.width, size.height);
    return size;
}

bool AreAlike(const DocumentDetails::Size& a, const DocumentDetails::Size& b)
{
    return std::tie(a.width, a.height, a.rotation) == std::tie(b.width, b.height, b.rotation);
}

void AddSize(DocumentDetails& details, DocumentDetails::Size size, int number)
{
    size.pages = {number, number};
    if (!details.sizes.empty() && AreAlike(details.sizes.back(), size) &&
        details.sizes.back().pages.last == number - 1)
        details.sizes.back().pages.last = number;
    else if (HasRoom(details.sizes))
        details.sizes.push_back(size);
}

void AddPageWithText(DocumentDetails& details, int number)
{
    if (!details.withText.empty() && details.withText.back().last == number - 1)
        details.withText.back().last = number;
    else if (HasRoom(details.withText))
        details.withText.push_back({number, number});
}

/** Finds the fonts that pages, and what they draw, have among their resources. */
class FontFinder
{
public:
    void Look(QPDFObjectHandle resources, int depth = 0)
    {
        constexpr int deepest = 16;
        if (!resources.isDictionary() || depth == deepest)
            return;
        if (resources.isIndirect() && !seen.insert(resources.getObjGen()).second)
            return;
        ForEach(resources.getKey("/Font"), [this](const QPDFObjectHandle& font) { Add(font); });
        for (const char* const kind : {"/XObject", "/Pattern"}) {
            ForEach(resources.getKey(kind), [&](QPDFObjectHandle drawn) {
                if (drawn.isStream() && seen.insert(drawn.getObjGen()).second)
                    Look(drawn.getDict().getKey("/Resources"), depth + 1);
            });
        }
    }

    /** By name. */
    std::vector<DocumentDetails::Font> Fonts() const
    {
        std::vector<DocumentDetails::Font> list;
        for (const auto& [name, type, isEmbedded] : fonts) {
            if (HasRoom(list))
                list.push_back({name, type, isEmbedded});
        }
        return list;
    }

private:
    template <typename Visitor>
    static void ForEach(QPDFObjectHandle dictionary, const Visitor& visit)
    {
        if (!dictionary.isDictionary())
            return;
        for (const std::string& key : dictionary.getKeys())
            visit(dictionary.getKey(key));
    }

    void Add(QPDFObjectHandle font)
    {
        if (!font.isDictionary() || (font.isIndirect() && !seen.insert(font.getObjGen()).second))
            return;
        QPDFObjectHandle kin = font.getKey("/DescendantFonts");
        QPDFObjectHandle described =
            kin.isArray() && kin.getArrayNItems() > 0 && kin.getArrayItem(0).isDictionary()
                ? kin.getArrayItem(0)
                : font;
        const QString type = Name(described.getKey("/Subtype"));
        QPDFObjectHandle program = described.getKey("/FontDescriptor");
        const bool isEmbedded = type == QLatin1String("Type3") ||
                                (program.isDictionary() &&
                                 (program.hasKey("/FontFile") || program.hasKey("/FontFile2") ||
                                  program.hasKey("/FontFile3")));
        fonts.emplace(WithoutSubset(Name(font.getKey("/BaseFont"))), type, isEmbedded);
    }

    static QString Name(QPDFObjectHandle name)
    {
        return name.isName() ? Short(name.getName().substr(1)) : QString();
    }

    /** Subsets begin with six capital letters and a plus sign. */
    static QString WithoutSubset(const QString& name)
    {
        constexpr int letters = 6;
        const bool isSubset = name.indexOf(QLatin1Char('+')) == letters &&
                              std::all_of(name.begin(), name.begin() + letters, [](QChar letter) {
                                  return letter >= 'A' && letter <= 'Z';
                              });
        return isSubset ? name.mid(letters + 1) : name;
    }

    std::set<QPDFObjGen> seen;
    std::set<std::tuple<QString, QString, bool>> fonts;
};

void AddPages(DocumentDetails& details, QPDF& pdf)
{
    TextFinder text;
    FontFinder fonts;
    int number = 0;
    for (const QPDFObjectHandle& object : pdf.getAllPages()) {
        QPDFPageObjectHelper page(object);
        ++number;
        AddSize(details, SizeOf(page), number);
        if (text.HasText(object))
            AddPageWithText(details, number);
        fonts.Look(page.getAttribute("/Resources", false));
    }
    details.fonts = fonts.Fonts();
}

DocumentDetails::Labels::Numbering NumberingOf(QPDFObjectHandle style)
{
    using Numbering = DocumentDetails::Labels::Numbering;
    const std::string name = style.isName() ? style.getName() : std::string();
    if (name == "/D")
        return Numbering::Decimal;
    if (name == "/r")
        return Numbering::LowerRoman;
    if (name == "/R")
        return Numbering::UpperRoman;
    if (name == "/a")
        return Numbering::LowerLetters;
    return name == "/A" ? Numbering::UpperLetters : Numbering::None;
}

DocumentDetails::Labels LabelsOf(QPDFObjectHandle described, int first)
{
    DocumentDetails::Labels labels;
    labels.pages.first = first;
    if (!described.isDictionary())
        return labels;
    labels.numbering = NumberingOf(described.getKey("/S"));
    if (described.getKey("/P").isString())
        labels.prefix = Short(described.getKey("/P").getUTF8Value());
    if (described.getKey("/St").isInteger())
        labels.start = int(std::clamp(described.getKey("/St").getIntValue(), 1LL, largestStart));
    return labels;
}

/** libqpdf makes up a row of nothing for the pages before the first one of the document's own. */
bool SayAnything(const DocumentDetails::Labels& labels)
{
    return labels.numbering != DocumentDetails::Labels::Numbering::None || !labels.prefix.isEmpty();
}

/** Many documents describe each page by itself, which goes on where the one before ends. */
bool GoesOn(const DocumentDetails::Labels& labels, const DocumentDetails::Labels& next)
{
    using Numbering = DocumentDetails::Labels::Numbering;
    return labels.numbering != Numbering::None && labels.numbering == next.numbering &&
           labels.prefix == next.prefix &&
           next.start - labels.start == next.pages.first - labels.pages.first;
}

void AddLabels(DocumentDetails& details, QPDF& pdf)
{
    QPDFPageLabelDocumentHelper helper(pdf);
    if (!helper.hasPageLabels())
        return;
    const int pages = int(pdf.getAllPages().size());
    std::vector<QPDFObjectHandle> rows; // an index from 0, and what its label is, in turn
    helper.getLabelsForPageRange(0, pages - 1, 0, rows);
    bool isOpen = false; // the last of the labels go on to the next row
    for (std::size_t i = 0; i + 1 < rows.size(); i += 2) {
        const DocumentDetails::Labels labels =
            LabelsOf(rows[i + 1], int(rows[i].getIntValue()) + 1);
        if (isOpen && GoesOn(details.labels.back(), labels))
            continue;
        if (isOpen)
            details.labels.back().pages.last = labels.pages.first - 1;
        isOpen = SayAnything(labels) && HasRoom(details.labels);
        if (isOpen)
            details.labels.push_back(labels);
    }
    if (isOpen)
        details.labels.back().pages.last = pages;
}

void AddForm(DocumentDetails& details, QPDF& pdf)
{
    QPDFObjectHandle form = pdf.getRoot().getKey("/AcroForm");
    details.hasXfa = form.isDictionary() && form.hasKey("/XFA");
    for (QPDFFormFieldObjectHelper field : QPDFAcroFormDocumentHelper(pdf).getFormFields()) {
        ++details.fields;
        if (field.getFieldType() != "/Sig" || !HasRoom(details.signatures))
            continue;
        QPDFObjectHandle value = field.getInheritableFieldValue("/V");
        DocumentDetails::Signature signature;
        signature.field = Short(field.getFullyQualifiedName());
        signature.isSigned = value.isDictionary();
        if (signature.isSigned && value.getKey("/Name").isString())
            signature.name = Short(value.getKey("/Name").getUTF8Value());
        details.signatures.push_back(signature);
    }
}

void AddAttachments(DocumentDetails& details, QPDF& pdf)
{
    for (const auto& [key, file] : QPDFEmbeddedFileDocumentHelper(pdf).getEmbeddedFiles()) {
        if (!HasRoom(details.attachments))
            return;
        const std::string name = file->getFilename();
        QPDFObjectHandle content = file->getEmbeddedFileStream();
        QPDFObjectHandle told =
            content.isStream() ? content.getDict().getKey("/Params") : QPDFObjectHandle::newNull();
        QPDFObjectHandle size =
            told.isDictionary() ? told.getKey("/Size") : QPDFObjectHandle::newNull();
        details.attachments.push_back(
            {Short(name.empty() ? key : name), size.isInteger() ? size.getIntValue() : -1});
    }
}

} // namespace

DocumentDetails DescribeDetails(QPDF& pdf)
{
    DocumentDetails details;
    for (const auto add : {AddPages, AddLabels, AddForm, AddAttachments}) {
        try {
            add(details, pdf);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception&) {
            // What is damaged is left away.
        }
    }
    return details;
}

} // namespace Korvel::Worker
