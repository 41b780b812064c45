#pragma once

#include "PdfConversion.h"

#include <memory>

#include <QPainter>
#include <QPrinter>

class DocumentPages;

/** Prints pages as large as they are, one after the other. */
class PagePrinter : public QObject
{
    Q_OBJECT

public:
    /**
     * @param pages    of a document that is open; lives longer
     * @param printer  where to, which pages, and how fine
     */
    PagePrinter(const DocumentPages& pages, std::unique_ptr<QPrinter> printer);

    /** Begins. */
    void Start();

Q_SIGNALS:
    /** @param text  why it has failed; empty when it has not */
    void Ended(const QString& text);

private:
    void DrawNext();
    void Print(const QImage& picture);
    void End(const QString& text);

    const DocumentPages& pages;
    const std::unique_ptr<QPrinter> printer;
    QPainter painter;
    int page;
    const int last;
    std::unique_ptr<Korvel::PDF::Converter::PdfConversion> drawing;
};
