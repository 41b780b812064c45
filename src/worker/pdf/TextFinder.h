#pragma once

#include <map>

#include <qpdf/QPDF.hh>

namespace Korvel::Worker {

/** Tells of pages of one document whether their content shows text. */
class TextFinder
{
public:
    TextFinder() = default;

    /**
     * Whether a page, or a form that it draws, shows text, in whatever colour or none. Pages
     * without a font show none; where they have one and draw more than a million bytes, they are
     * taken to.
     *
     * @throws std::exception  libqpdf's own
     */
    bool HasText(const QPDFObjectHandle& page) { return ShowsText(page, 0); }

private:
    TextFinder(const TextFinder&) = delete;
    TextFinder& operator=(const TextFinder&) = delete;

    bool MayShowText(QPDFObjectHandle resources, int depth);
    bool FormMayShowText(QPDFObjectHandle form, int depth);
    bool ShowsText(const QPDFObjectHandle& content, int depth);
    bool FormShowsText(QPDFObjectHandle form, int depth);

    /** What is known of forms, which many pages may share. */
    std::map<QPDFObjGen, bool> forms;
    /** Whether a font is listed by them or by what they may draw. */
    std::map<QPDFObjGen, bool> fonts;
};

} // namespace Korvel::Worker
