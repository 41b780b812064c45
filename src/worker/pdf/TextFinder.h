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
     * Whether a page, or a form that it draws, shows text, in whatever colour or none.
     *
     * @throws std::exception  libqpdf's own
     */
    bool HasText(const QPDFObjectHandle& page) { return ShowsText(page, 0); }

private:
    TextFinder(const TextFinder&) = delete;
    TextFinder& operator=(const TextFinder&) = delete;

    bool ShowsText(const QPDFObjectHandle& content, int depth);
    bool FormShowsText(QPDFObjectHandle form, int depth);

    /** What is known of forms, which many pages may share. */
    std::map<QPDFObjGen, bool> forms;
};

} // namespace Korvel::Worker
