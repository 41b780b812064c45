#include "ViewerWindow.h"

#include "DocumentPages.h"
#include "DocumentView.h"
#include "PagePrinter.h"

#include <QAccessible>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QMimeData>
#include <QPrintDialog>
#include <QPushButton>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Korvel::PDF::Converter;

static constexpr double zoomStep = 1.25;

static PdfConverter::Settings Settings()
{
    PdfConverter::Settings settings;
    settings.worker.wantsDetails = true; // for the sizes of pages, and their labels
    return settings;
}

static QLabel* MakeNote(const QString& text)
{
    auto* const note = new QLabel(text);
    note->setAlignment(Qt::AlignCenter);
    note->setWordWrap(true);
    note->setFrameShape(QFrame::StyledPanel);
    note->setFrameShadow(QFrame::Sunken);
    note->setBackgroundRole(QPalette::Base);
    note->setAutoFillBackground(true);
    return note;
}

/** The one local file that is dragged; empty when it is something else. */
static QString DraggedFile(const QDropEvent& event)
{
    const QList<QUrl> urls = event.mimeData()->urls();
    return urls.size() == 1 ? urls.front().toLocalFile() : QString();
}

ViewerWindow::ViewerWindow()
    : converter(Settings()),
      open(new QPushButton(tr("&Open…"))),
      print(new QPushButton(tr("&Print…"))),
      smaller(new QToolButton),
      larger(new QToolButton),
      fit(new QPushButton(tr("Fit &width"))),
      title(new QLabel),
      place(new QLabel),
      message(new QLabel),
      cancel(new QPushButton(tr("&Cancel"))),
      content(MakeNote(tr("Drop a PDF here, or open one.")))
{
    setWindowTitle(tr("Pages of a PDF"));
    setAcceptDrops(true);
    resize(800, 600);
    LayOut();
    Connect();
    ShowWork({});
    ShowPlace();
}

ViewerWindow::~ViewerWindow() = default;

void ViewerWindow::LayOut()
{
    smaller->setText(QStringLiteral("−"));
    smaller->setAccessibleName(tr("Smaller"));
    larger->setText(QStringLiteral("+"));
    larger->setAccessibleName(tr("Larger"));
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    message->setWordWrap(true);

    auto* const top = new QHBoxLayout;
    top->addWidget(open);
    top->addWidget(print);
    top->addWidget(title, 1);
    top->addWidget(place);
    for (QWidget* const widget : {static_cast<QWidget*>(smaller), static_cast<QWidget*>(larger),
                                  static_cast<QWidget*>(fit)})
        top->addWidget(widget);
    auto* const work = new QHBoxLayout;
    work->addWidget(message, 1);
    work->addWidget(cancel);
    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(content, 1);
    layout->addLayout(work);
}

void ViewerWindow::Connect()
{
    open->setShortcut(QKeySequence::Open);
    print->setShortcut(QKeySequence::Print);
    smaller->setShortcut(QKeySequence::ZoomOut);
    larger->setShortcut(QKeySequence::ZoomIn);
    connect(open, &QPushButton::clicked, this, &ViewerWindow::ChooseFile);
    connect(print, &QPushButton::clicked, this, &ViewerWindow::ChoosePrinter);
    connect(smaller, &QToolButton::clicked, this,
            [this] { view->SetZoom(view->Zoom() / zoomStep); });
    connect(larger, &QToolButton::clicked, this,
            [this] { view->SetZoom(view->Zoom() * zoomStep); });
    connect(fit, &QPushButton::clicked, this, [this] { view->FitWidth(); });
    connect(cancel, &QPushButton::clicked, this, [this] {
        if (printing)
            printing.reset();
        else if (pages)
            pages->CancelOpening();
        ShowWork({});
    });
    auto* const escape = new QShortcut(QKeySequence::Cancel, this);
    connect(escape, &QShortcut::activated, cancel, &QPushButton::click);
}

void ViewerWindow::Open(const QString& file)
{
    name = QFileInfo(file).fileName();
    setWindowTitle(tr("%1 – Pages of a PDF").arg(name));
    title->setText(name);
    printing.reset();
    Replace(MakeNote({}));
    pages = std::make_unique<DocumentPages>(converter, file);
    connect(pages.get(), &DocumentPages::PasswordNeeded, this, &ViewerWindow::AskForPassword);
    connect(pages.get(), &DocumentPages::Opened, this, &ViewerWindow::ShowPages);
    connect(pages.get(), &DocumentPages::Failed, this, &ViewerWindow::Tell);
    pages->Open();
    ShowWork(tr("Opening…"));
}

void ViewerWindow::AskForPassword(bool isWrong)
{
    ShowWork({});
    auto* const dialog = new QInputDialog(content); // goes when another document is opened
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Password"));
    dialog->setLabelText(isWrong ? tr("This password does not open %1. Please try again.").arg(name)
                                 : tr("%1 is encrypted. Its password:").arg(name));
    dialog->setTextEchoMode(QLineEdit::Password);
    dialog->setOkButtonText(tr("&Open"));
    connect(dialog, &QInputDialog::textValueSelected, this, [this](const QString& password) {
        pages->Open(password);
        ShowWork(tr("Opening…"));
    });
    connect(dialog, &QInputDialog::rejected, this,
            [this] { Tell(tr("The document is encrypted and needs its password.")); });
    dialog->open(); // no event loop inside this one: the document may go at any time
}

void ViewerWindow::ShowPages()
{
    ShowWork({});
    auto* const shown = new DocumentView(*pages);
    Replace(shown);
    view = shown;
    connect(view, &DocumentView::Moved, this, &ViewerWindow::ShowPlace);
    view->setFocus();
    ShowPlace();
}

void ViewerWindow::ShowPlace()
{
    for (QWidget* const widget : {static_cast<QWidget*>(print), static_cast<QWidget*>(smaller),
                                  static_cast<QWidget*>(larger), static_cast<QWidget*>(fit)})
        widget->setEnabled(view != nullptr);
    if (!view) {
        place->clear();
        return;
    }
    const int page = view->PageInView();
    place->setText(tr("Page %1 (%L2 of %L3), %L4 %")
                       .arg(pages->LabelOf(page))
                       .arg(page)
                       .arg(pages->Count())
                       .arg(qRound(view->Zoom() * 100)));
}

void ViewerWindow::ChooseFile()
{
    auto* const dialog = new QFileDialog(this, tr("Open a PDF"), {}, tr("PDF documents (*.pdf)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &ViewerWindow::Open);
    dialog->open();
}

void ViewerWindow::ChoosePrinter()
{
    auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
    QPrintDialog dialog(printer.get(), this);
    dialog.setMinMax(1, pages->Count());
    dialog.setOption(QAbstractPrintDialog::PrintPageRange);
    if (dialog.exec() == QDialog::Accepted && view)
        PrintTo(std::move(printer));
}

void ViewerWindow::PrintTo(std::unique_ptr<QPrinter> printer)
{
    printing = std::make_unique<PagePrinter>(*pages, std::move(printer));
    connect(
        printing.get(), &PagePrinter::Ended, this,
        [this](const QString& text) {
            printing.reset();
            ShowWork({});
            Tell(text.isEmpty() ? tr("Printed.") : text);
        },
        Qt::QueuedConnection);
    printing->Start();
    ShowWork(tr("Printing…"));
}

void ViewerWindow::ShowWork(const QString& text)
{
    message->setText(text);
    cancel->setVisible(!text.isEmpty());
}

void ViewerWindow::Tell(const QString& text)
{
    ShowWork({});
    QLabel* const note = view ? message : qobject_cast<QLabel*>(content);
    note->setText(text);
    QAccessibleEvent told(note, QAccessible::Alert);
    QAccessible::updateAccessibility(&told);
}

void ViewerWindow::Replace(QWidget* widget)
{
    view = nullptr;
    delete layout()->replaceWidget(content, widget);
    delete content;
    content = widget;
    ShowPlace();
}

void ViewerWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (!DraggedFile(*event).isEmpty())
        event->acceptProposedAction();
}

void ViewerWindow::dropEvent(QDropEvent* event)
{
    event->acceptProposedAction();
    Open(DraggedFile(*event));
}
