#include "AnnotationsAsContent.h"

#include "TextFinder.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QString>

namespace Korvel::Worker {

namespace {

using IsWanted = std::function<bool(const QPDFObjectHandle& annotation)>;

bool IsField(QPDFObjectHandle annotation)
{
    return annotation.isDictionaryOfType("", "/Widget");
}

/** Whether its appearance is there and shows text; none shows what has popped up. */
bool DrawsText(QPDFObjectHandle annotation, TextFinder& finder)
{
    if (!annotation.isDictionary() || annotation.isDictionaryOfType("", "/Popup"))
        return false;
    const QPDFObjectHandle appearance =
        QPDFAnnotationObjectHelper(annotation).getAppearanceStream("/N");
    return QPDFObjectHandle(appearance).isStream() && finder.HasText(appearance);
}

bool HasAnnotation(QPDFObjectHandle page, const IsWanted& isWanted)
{
    QPDFObjectHandle all = page.getKey("/Annots");
    for (int i = 0; all.isArray() && i < all.getArrayNItems(); ++i) {
        if (isWanted(all.getArrayItem(i)))
            return true;
    }
    return false;
}

/** Leaves a page only annotations that are wanted, and answers the others. */
QPDFObjectHandle TakeOtherAnnotations(QPDFObjectHandle page, const IsWanted& isWanted)
{
    QPDFObjectHandle wanted = QPDFObjectHandle::newArray();
    QPDFObjectHandle others = QPDFObjectHandle::newArray();
    QPDFObjectHandle all = page.getKey("/Annots");
    for (int i = 0; all.isArray() && i < all.getArrayNItems(); ++i) {
        QPDFObjectHandle annotation = all.getArrayItem(i);
        (isWanted(annotation) ? wanted : others).appendItem(annotation);
    }
    page.replaceKey("/Annots", wanted);
    return others;
}

/** libqpdf would draw a password as it was filled in. */
void CoverPasswords(QPDFAcroFormDocumentHelper& form)
{
    for (QPDFFormFieldObjectHelper& field : form.getFormFields()) {
        if (field.getFieldType() != "/Tx" || (field.getFlags() & ff_tx_password) == 0)
            continue;
        const auto length = std::size_t(QString::fromStdString(field.getValueAsString()).size());
        field.setV(std::string(length, '*'), false);
    }
}

/** libqpdf makes appearances only where the document asks for it. */
void MakeMissingAppearances(QPDF& pdf)
{
    QPDFAcroFormDocumentHelper form(pdf);
    CoverPasswords(form);
    form.generateAppearancesIfNeeded();
    for (const QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        for (QPDFAnnotationObjectHelper& widget : form.getWidgetAnnotationsForPage(page)) {
            if (!widget.getAppearanceDictionary().isDictionary())
                form.getFieldForAnnotation(widget).generateAppearance(widget);
        }
    }
}

/** Makes such annotations content. libqpdf would drop others that engines draw. */
void MakeContent(QPDF& pdf, const IsWanted& isWanted)
{
    MakeMissingAppearances(pdf);
    std::vector<QPDFObjectHandle> pages = pdf.getAllPages();
    std::vector<QPDFObjectHandle> others;
    std::transform(
        pages.begin(), pages.end(), std::back_inserter(others),
        [&](const QPDFObjectHandle& page) { return TakeOtherAnnotations(page, isWanted); });
    QPDFPageDocumentHelper(pdf).flattenAnnotations(0, an_hidden | an_no_view);
    for (std::size_t i = 0; i < pages.size(); ++i)
        pages[i].replaceKey("/Annots", others[i]);
}

bool AnyHas(QPDF& pdf, const IsWanted& isWanted)
{
    const std::vector<QPDFObjectHandle> pages = pdf.getAllPages();
    return std::any_of(pages.begin(), pages.end(),
                       [&](const QPDFObjectHandle& page) { return HasAnnotation(page, isWanted); });
}

} // namespace

bool HasFields(QPDF& pdf)
{
    return AnyHas(pdf, IsField);
}

bool HasAnnotationsOfText(QPDF& pdf)
{
    TextFinder finder;
    return AnyHas(pdf, [&finder](const QPDFObjectHandle& annotation) {
        return !IsField(annotation) && DrawsText(annotation, finder);
    });
}

void MakeFieldsContent(QPDF& pdf)
{
    MakeContent(pdf, IsField);
}

void MakeAnnotationsOfTextContent(QPDF& pdf)
{
    TextFinder finder;
    MakeContent(pdf, [&finder](const QPDFObjectHandle& annotation) {
        return IsField(annotation) || DrawsText(annotation, finder);
    });
}

} // namespace Korvel::Worker
