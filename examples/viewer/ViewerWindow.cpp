#include "ViewerWindow.h"

#include "DocumentView.h"
#include "SessionFolder.h"

#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QVBoxLayout>

using Korvel::PDF::SessionFolder;

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
    : open(new QPushButton(tr("&Open…"))),
      title(new QLabel),
      content(MakeNote(tr("Drop a PDF here, or open one.")))
{
    setWindowTitle(tr("Pages of a PDF"));
    setAcceptDrops(true);
    resize(800, 600);
    open->setShortcut(QKeySequence::Open);
    open->setToolTip(
        tr("Open a PDF (%1)").arg(open->shortcut().toString(QKeySequence::NativeText)));
    connect(open, &QPushButton::clicked, this, &ViewerWindow::ChooseFile);

    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);

    auto* const top = new QHBoxLayout;
    top->addWidget(open);
    top->addWidget(title, 1);
    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(content, 1);
}

void ViewerWindow::Open(const QString& file)
{
    const QString name = QFileInfo(file).fileName();
    setWindowTitle(tr("%1 – Pages of a PDF").arg(name));
    title->setText(name);
    std::string error;
    std::shared_ptr<const SessionFolder> session =
        SessionFolder::Create(SessionFolder::DefaultParent(), error);
    if (session)
        Show(new DocumentView(std::move(session), file));
    else
        Show(MakeNote(
            tr("There is no folder for temporary files: %1").arg(QString::fromStdString(error))));
}

void ViewerWindow::Show(QWidget* widget)
{
    delete layout()->replaceWidget(content, widget);
    delete content;
    content = widget;
}

void ViewerWindow::ChooseFile()
{
    auto* const dialog = new QFileDialog(this, tr("Open a PDF"), {}, tr("PDF documents (*.pdf)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &ViewerWindow::Open);
    dialog->open();
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
