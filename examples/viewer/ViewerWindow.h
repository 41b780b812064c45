#pragma once

#include "PdfConverter.h"

#include <memory>

#include <QWidget>

class DocumentPages;
class DocumentView;
class PagePrinter;
class QLabel;
class QPrinter;
class QPushButton;
class QToolButton;

/** The window: a PDF is dropped onto it, or opened by its button, and its pages are shown. */
class ViewerWindow : public QWidget
{
    Q_OBJECT

public:
    ViewerWindow();
    ~ViewerWindow() override;

    /** Shows a document in place of the one before. */
    void Open(const QString& file);

    /** Prints the document that is shown. */
    void PrintTo(std::unique_ptr<QPrinter> printer);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void LayOut();
    void Connect();
    void ChooseFile();
    void ChoosePrinter();
    void AskForPassword(bool isWrong);
    void ShowPages();
    void ShowPlace();
    void ShowWork(const QString& text);
    void Tell(const QString& text);
    void Replace(QWidget* widget);

    Korvel::PDF::Converter::PdfConverter converter;
    QString name;
    QPushButton* const open;
    QPushButton* const print;
    QToolButton* const smaller;
    QToolButton* const larger;
    QPushButton* const fit;
    QLabel* const title;
    QLabel* const place;
    /** What happens, or has failed. */
    QLabel* const message;
    QPushButton* const cancel;
    /** In the place of the pages when there are none. */
    QWidget* content;
    /** Null as long as there are no pages. */
    DocumentView* view = nullptr;
    std::unique_ptr<DocumentPages> pages;
    std::unique_ptr<PagePrinter> printing;
};
