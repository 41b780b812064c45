#pragma once

#include "DescribeDetails.h"
#include "DocumentInfo.h"
#include "MappedFile.h"
#include "PageSelection.h"
#include "PagesOfFile.h"
#include "PageView.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>

#include <QByteArray>
#include <QString>
#include <QVersionNumber>

namespace Korvel::Worker {

class NewFile;

/** A PDF opened by libqpdf, and repaired as far as that goes. */
class PdfDocument
{
public:
    /**
     * Tries the empty password first, then `password`, as user and as owner password.
     *
     * @throws RequestError  why it cannot be opened
     */
    PdfDocument(const std::string& path, const std::string& password);

    /**
     * What it says of itself.
     *
     * @throws std::exception  libqpdf's own
     */
    PDF::DocumentInfo Description();

    /**
     * What is in it, as far as it is not damaged; all pages are read for it.
     *
     * @throws std::bad_alloc
     */
    PDF::DocumentDetails Details() { return DescribeDetails(*pdf); }

    bool IsEncrypted() const { return pdf->isEncrypted(); }

    bool IsRepaired() const { return repaired; }

    /**
     * Whether it has form fields, also such as only a page lists. Throws as Description does.
     */
    bool HasForm();

    /** Whether annotations belong to hidden optional content. Throws as Description does. */
    bool HidesAnnotations();

    /**
     * Whether its pages themselves have other text than is shown: annotations draw some, or hidden
     * optional content has some. Throws as Description does.
     */
    bool HasOtherText();

    /**
     * Writes it without encryption; one that is sound and not encrypted byte by byte.
     *
     * @throws RequestError  "cannot-write", "damaged"
     */
    void Save(NewFile& output);

    /**
     * Writes some of its pages, with what the document lists for them, without encryption. From
     * then on only this function may be called, and none after it has thrown.
     *
     * @param pages         from 1; all of them when there are none
     * @param isLinearized  so that its first page can be shown before the rest has come
     * @throws RequestError  "no-such-page", "cannot-write", "damaged"
     */
    void SavePages(NewFile& output, const std::set<qint64>& pages, bool isLinearized);

    /**
     * Writes documents that need no password as one, in their order.
     *
     * @param files         at least one
     * @param isLinearized  so that its first page can be shown before the rest has come
     * @throws RequestError  "cannot-render": what is amiss with which file; "cannot-write",
     *                       "damaged"
     */
    static void Merge(NewFile& output, const std::vector<PagesOfFile>& files, bool isLinearized);

    /**
     * The document as it is to be drawn: without encryption, form fields made content, annotations
     * of hidden optional content omitted.
     *
     * @param view  what is shown of its pages
     * @throws RequestError         "cannot-render": it is too large
     * @throws std::exception  libqpdf's own
     */
    QByteArray ForRendering(const PageView& view);

    /**
     * The document as its text is to be read: as it is drawn, annotations that draw text made
     * content as well, and text of hidden optional content omitted. Throws as ForRendering does.
     */
    QByteArray ForReading();

    /**
     * The JPEG that a page is nothing but, as LoneJpeg has it; null where the page is another one.
     *
     * @param page  from 1
     * @throws RequestError  "no-such-page"
     * @throws std::bad_alloc
     */
    std::shared_ptr<Buffer> Jpeg(qint64 page);

    const MappedFile& File() const { return file; }

private:
    bool OpenOrRepair(const std::string& path, const std::vector<std::string>& passwords);
    bool Open(const std::string& path, const std::string& password, bool repair);
    bool AreAll(const std::set<qint64>& pages);
    void SaveAll(NewFile& output, bool isLinearized);
    void SaveSome(NewFile& output, const std::set<qint64>& pages, bool isLinearized);
    void Choose(const std::set<qint64>& pages);
    QByteArray InMemory();
    void Write(NewFile& output, qpdf_object_stream_e packing, bool isLinearized,
               const PDFVersion& atLeast = {});
    std::map<QString, QString> Properties();
    /** The version in the file's header, or a later one that the catalog names. */
    QVersionNumber Version();

    const MappedFile file;
    std::unique_ptr<QPDF> pdf;
    /** The pages that SavePages has written one after another. */
    std::unique_ptr<PageSelection> selection;
    bool repaired = false;
    /** Whether another password than the empty one has opened it. */
    bool neededPassword = false;
};

} // namespace Korvel::Worker
