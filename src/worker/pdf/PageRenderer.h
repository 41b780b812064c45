#pragma once

#include "Encoding.h"
#include "FileState.h"
#include "Output.h"
#include "PageEngine.h"
#include "PdfDocument.h"
#include "PixelFormat.h"

#include <memory>
#include <string>
#include <vector>

#include <QByteArray>
#include <QSize>

namespace Korvel::Worker {

/** The pages of an unencrypted PDF, as pictures and as text. */
class PageRenderer
{
public:
    /**
     * @throws RequestError         why it cannot be opened
     * @throws std::exception  libqpdf's own: it cannot be made ready to be drawn
     */
    explicit PageRenderer(const std::string& path);

    /**
     * The same without opening it anew.
     *
     * @param path    the file's
     * @param opened  of that file, and without a password; of no use afterwards
     * @throws RequestError         it cannot be drawn
     * @throws std::exception  libqpdf's own: it cannot be made ready to be drawn
     */
    PageRenderer(const std::string& path, PdfDocument&& opened);

    /** Whether `path` names the file that was opened, unchanged since. */
    bool Serves(const std::string& path) const;

    /**
     * The resolution at which a page is as large as fits into so many pixels.
     *
     * @param page  from 1
     * @throws RequestError  "no-such-page", "unreadable"
     */
    double ResolutionToFit(qint64 page, const QSize& pixels) const;

    /**
     * Writes a page on white, annotations and form fields drawn, with its resolution.
     *
     * @param page  from 1
     * @throws RequestError  "no-such-page", "cannot-render", "cannot-write", "unreadable"
     * @throws std::bad_alloc
     */
    void Write(Output& into, qint64 page, double dotsPerInch, PixelFormat pixels,
               const Encoding& encoding);

    /**
     * The text of pages, each followed by a form feed; of all pages when none are named.
     *
     * @param pages  from 1
     * @throws RequestError  "no-such-page", "unreadable"
     */
    QByteArray Text(const std::vector<qint64>& pages);

private:
    /** The index of a page, from 0. */
    int Check(qint64 page) const;
    void RequireWhatWasRead() const;

    const std::string path;
    const FileState file;
    std::unique_ptr<PageEngine> engine;
};

} // namespace Korvel::Worker
