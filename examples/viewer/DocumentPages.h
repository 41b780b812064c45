#pragma once

#include "ConversionResult.h"

#include <map>
#include <memory>
#include <vector>

#include <QImage>
#include <QObject>
#include <QSizeF>

namespace Korvel::PDF::Converter {
class PdfConversion;
class PdfConverter;
struct ConversionRequest;
} // namespace Korvel::PDF::Converter

/** One document, opened once, and pictures of those of its pages that are wanted. */
class DocumentPages : public QObject
{
    Q_OBJECT

public:
    /** @param converter  lives longer; tells details of documents */
    DocumentPages(Korvel::PDF::Converter::PdfConverter& converter, const QString& file);

    /** Cancels what is left. */
    ~DocumentPages() override;

    /** Opens the document; with a password when PasswordNeeded has asked for one. */
    void Open(const QString& password = {});

    /** Ends opening; Failed tells it. */
    void CancelOpening();

    /** How many pages there are; 0 before Opened. */
    int Count() const;

    /** In points, as it is shown. */
    QSizeF SizeOf(int page) const;

    /** What stands for its number. */
    QString LabelOf(int page) const;

    /**
     * Has these pages drawn, also those that have failed when they were wanted before, and cancels
     * and forgets all others.
     */
    void Want(const std::vector<int>& pages, double dotsPerInch);

    /** The last picture of a page that is wanted, whatever its resolution; null where none has
     * come.
     */
    QImage PictureOf(int page) const;

    /** A request for the picture of a page. */
    Korvel::PDF::Converter::ConversionRequest RequestFor(int page, double dotsPerInch) const;

    Korvel::PDF::Converter::PdfConverter& Converter() const { return converter; }

Q_SIGNALS:
    /** @param isWrong  there was one, and it does not open the document */
    void PasswordNeeded(bool isWrong);
    void Opened();
    void PageMade(int page);
    /** The document as a whole, or a page, cannot be shown. */
    void Failed(const QString& text);

private:
    struct Page
    {
        double dotsPerInch = 0;
        std::unique_ptr<Korvel::PDF::Converter::PdfConversion> drawing;
        QImage picture;
        /** Why it could not be drawn, as it was told last. */
        QString told;
    };

    void OpeningEnded(bool hadPassword);
    void Draw(int page, double dotsPerInch);
    void DrawingEnded(Page& page);

    Korvel::PDF::Converter::PdfConverter& converter;
    const QString file;
    std::unique_ptr<Korvel::PDF::Converter::PdfConversion> opening;
    Korvel::PDF::Converter::ConversionResult document;
    std::map<int, Page> pages;
};
