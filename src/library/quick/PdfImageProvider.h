#pragma once

#include "ConverterQuickExport.h"
#include "PictureOptions.h"

#include <memory>

#include <QQuickAsyncImageProvider>
#include <QString>

namespace Korvel::PDF::Converter {

class OpenedDocument;
class PdfConverter;

/**
 * Hands pages of open documents to QML, as images that are drawn in other processes while the scene
 * goes on, and that lie in no file.
 *
 *     auto* const pages = new PdfImageProvider(converter);
 *     engine.addImageProvider("pdf", pages); // whose it is from now on
 *     pages->Show("report", conversion.Request().document, conversion.Result().opened);
 *
 * where the conversion was one of ConversionRequest::opensOnly. The third page, as wide as the
 * item:
 *
 *     Image {
 *         source: "image://pdf/report/3"
 *         sourceSize.width: width
 *     }
 *
 * A page becomes as large as fits into the item's `sourceSize`, of which one side may be left away,
 * and as large as the options say without. What was asked for last is drawn first, and what no item
 * wants any more is cancelled. An item whose page cannot be shown has the status Image.Error, and
 * QML's warning says why.
 *
 * Thread-safe.
 */
class CONVERTERQUICK_EXPORT PdfImageProvider : public QQuickAsyncImageProvider
{
public:
    /** @param converter  draws the pages, and lives longer than the engine */
    explicit PdfImageProvider(PdfConverter& converter);

    /** Requests that are left end by themselves. */
    ~PdfImageProvider() override;

    /**
     * Shows the pages of a document from now on, in place of one that has the name. QML keeps
     * images by their URLs, so an item shows the earlier document's page then unless its `cache`
     * is false: take another name for another document, or that.
     *
     * @param name      what stands before the number of a page in URLs, which may hold slashes
     * @param document  path of the PDF, as it was opened
     * @param opened    ConversionResult::opened of the same converter
     * @param pictures  how pages look; the size of those that are asked for in one is that
     */
    void Show(const QString& name, const QString& document,
              std::shared_ptr<const OpenedDocument> opened, const PictureOptions& pictures = {});

    /**
     * Shows no further page of a document.
     *
     * @param name  as in Show
     */
    void Forget(const QString& name);

    /**
     * Starts on a page, for the engine. The calling thread needs an event loop.
     *
     * @param id    name and page, "report/3"
     * @param size  into which the page is to fit; 0 or less for any
     */
    QQuickImageResponse* requestImageResponse(const QString& id, const QSize& size) override;

private:
    Q_DISABLE_COPY_MOVE(PdfImageProvider)

    struct CONVERTERQUICK_NO_EXPORT Impl;
    const std::unique_ptr<Impl> impl;
};

} // namespace Korvel::PDF::Converter
