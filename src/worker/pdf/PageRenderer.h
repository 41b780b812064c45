#pragma once

#include "FailedPage.h"
#include "FileState.h"
#include "Output.h"
#include "PageEngine.h"
#include "PageUse.h"
#include "PageView.h"
#include "PdfDocument.h"
#include "PictureLook.h"
#include "PictureShape.h"
#include "TextLook.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <QByteArray>

namespace Korvel::Worker {

/** The text of several pages, and which of them lack some; pages from 1. */
struct PagesText
{
    QByteArray text;
    /** On these something is drawn, and no text: scans. */
    std::vector<qint64> withoutText;
    /** The fonts of these do not say which characters they draw. */
    std::vector<qint64> unmapped;
};

/** The pages of an unencrypted PDF, as pictures and as text. */
class PageRenderer
{
public:
    /**
     * @param view  what is shown of the pages; for text, pages are shown as they say
     * @param use   what the pages are for
     * @throws RequestError         why it cannot be opened
     * @throws std::exception  libqpdf's own: it cannot be made ready to be drawn
     */
    explicit PageRenderer(const std::string& path, const PageView& view = {},
                          PageUse use = PageUse::Pictures);

    /**
     * Takes over a document that is open already.
     *
     * @param path    the file's
     * @param view    what is shown of the pages
     * @param use     what the pages are for
     * @param opened  of that file, and without a password; of no use afterwards
     * @throws RequestError         it cannot be drawn
     * @throws std::exception  libqpdf's own: it cannot be made ready to be drawn
     */
    PageRenderer(const std::string& path, const PageView& view, PageUse use, PdfDocument&& opened);

    /**
     * Whether `path` names the file that was opened, unchanged since, and shows its pages so, for
     * this use.
     */
    bool Serves(const std::string& path, const PageView& view, PageUse use) const;

    /**
     * Writes a page on white, or on nothing, annotations and form fields drawn, with its
     * resolution.
     *
     * @param page  from 1
     * @throws RequestError  "no-such-page", "cannot-render", "cannot-write", "unreadable"
     * @throws std::bad_alloc
     */
    void Write(Output& into, qint64 page, const PictureLook& look);

    /**
     * Writes the pixels of a page, as the format "pixels" has them.
     *
     * @param into     an open descriptor
     * @param page     from 1
     * @param largest  how many bytes they may have
     * @return what they are like
     * @throws RequestError  as Write; "too-large"
     * @throws std::bad_alloc
     */
    PictureShape WritePixels(int into, qint64 page, const PictureLook& look, std::uint64_t largest);

    /**
     * Writes a TIFF of pages, or of all when none are named, each as Write does; one that cannot be
     * rendered is left away.
     *
     * @param pages    from 1
     * @param largest  how many bytes it may have: one of more than 4 GB has to be a BigTIFF
     * @return the pages that are missing
     * @throws RequestError  as Write; "cannot-render" where none is left
     * @throws std::bad_alloc
     */
    std::vector<FailedPage> WriteTiff(Output& into, const std::vector<qint64>& pages,
                                      const PictureLook& look, std::uint64_t largest);

    /**
     * The text of pages; of all pages when none are named.
     *
     * @param pages  from 1
     * @throws RequestError  "no-such-page", "unreadable"; "cannot-render", also where the engine
     *                       does not tell what a text of this kind needs
     */
    PagesText Text(const std::vector<qint64>& pages, const TextLook& look);

    /** Whether another process is to go on, as this one does not get its memory back. */
    bool IsWorn() const { return engine->IsWorn(); }

private:
    /** The index of a page, from 0. */
    int Check(qint64 page) const;
    std::vector<qint64> AllUnlessNamed(const std::vector<qint64>& pages) const;
    PictureShape ShapeOf(int index, const PictureLook& look);
    std::uint64_t MostBytes(const std::vector<qint64>& pages, const PictureLook& look);
    DrawRows Draw(int index, const PictureShape& shape, const PictureLook& look);
    bool IsBlank(int index);
    void RequireWhatWasRead() const;

    const std::string path;
    const PageView view;
    const PageUse use;
    const FileState file;
    std::unique_ptr<PageEngine> engine;
};

} // namespace Korvel::Worker
