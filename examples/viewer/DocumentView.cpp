#include "DocumentView.h"

#include "PageMaker.h"
#include "SessionFolder.h"

#include <QAccessible>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QPageSize>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

/** Into which every picture is to fit: a portrait and a landscape page look alike in size. */
static constexpr QSize pictureBox(160, 160);

DocumentView::DocumentView(std::shared_ptr<const Korvel::PDF::SessionFolder> session,
                           const QString& file)
    : name(QFileInfo(file).fileName()),
      pageList(new QListWidget),
      note(new QLabel),
      message(new QLabel),
      progress(new QProgressBar),
      cancel(new QPushButton(tr("&Cancel"))),
      maker(new PageMaker(std::move(session), file, pictureBox * devicePixelRatioF()))
{
    LayOut();
    Connect();
    maker->moveToThread(&thread);
    thread.start();
    Open({});
}

DocumentView::~DocumentView()
{
    maker->Stop();
    thread.quit();
    thread.wait();
}

void DocumentView::LayOut()
{
    pageList->setViewMode(QListView::IconMode);
    pageList->setMovement(QListView::Static);
    pageList->setResizeMode(QListView::Adjust);
    pageList->setUniformItemSizes(true);
    pageList->setIconSize(pictureBox);
    pageList->setSpacing(12);
    pageList->setAcceptDrops(false); // documents are for the window
    pageList->setAccessibleName(tr("Pages"));
    note->setWordWrap(true);
    note->setAlignment(Qt::AlignCenter);
    message->setWordWrap(true);
    progress->setAccessibleName(tr("Progress"));
    QSizePolicy stays = cancel->sizePolicy(); // else the pages would move when it goes
    stays.setRetainSizeWhenHidden(true);
    cancel->setSizePolicy(stays);

    auto* const middle = new QVBoxLayout(pageList->viewport());
    middle->addWidget(note);
    auto* const work = new QHBoxLayout;
    work->addWidget(message, 1);
    work->addWidget(progress, 1);
    work->addWidget(cancel);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(pageList);
    layout->addLayout(work);
}

void DocumentView::Connect()
{
    connect(&thread, &QThread::finished, maker, &QObject::deleteLater);
    connect(cancel, &QPushButton::clicked, this, [this] { maker->Stop(); });
    auto* const escape = new QShortcut(QKeySequence::Cancel, this);
    connect(escape, &QShortcut::activated, cancel, &QPushButton::click);
    connect(maker, &PageMaker::PasswordNeeded, this, &DocumentView::AskForPassword);
    connect(maker, &PageMaker::Opened, this, &DocumentView::ShowPages);
    connect(maker, &PageMaker::PageMade, this, &DocumentView::ShowPage);
    connect(maker, &PageMaker::Progressed, this,
            [this](double part) { progress->setValue(int(part * 100)); });
    connect(maker, &PageMaker::Finished, this, [this] { End(message->text()); });
    connect(maker, &PageMaker::Stopped, this, [this] { End(tr("Cancelled.")); });
    connect(maker, &PageMaker::Failed, this, &DocumentView::End);
}

void DocumentView::Open(const QString& password)
{
    message->setText(tr("Opening…"));
    progress->setRange(0, 0); // busy: nobody knows how long it takes
    ShowWork(true);
    QMetaObject::invokeMethod(
        maker, [maker = maker, utf8 = password.toStdString()] { maker->Open(utf8); });
}

void DocumentView::ShowWork(bool isAtWork)
{
    progress->setVisible(isAtWork);
    cancel->setVisible(isAtWork);
}

void DocumentView::AskForPassword(bool isWrong)
{
    message->clear();
    ShowWork(false);
    auto* const dialog = new QInputDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Password"));
    dialog->setLabelText(isWrong ? tr("This password does not open %1. Please try again.").arg(name)
                                 : tr("%1 is encrypted. Its password:").arg(name));
    dialog->setTextEchoMode(QLineEdit::Password);
    dialog->setOkButtonText(tr("&Open"));
    connect(dialog, &QInputDialog::textValueSelected, this, &DocumentView::Open);
    connect(dialog, &QInputDialog::rejected, this,
            [this] { End(tr("The document is encrypted and needs its password.")); });
    dialog->open(); // no event loop inside this one: the view may go at any time
}

/** An icon of the size of the box, with the page in its middle. */
QIcon DocumentView::MakeIcon(const QImage& page) const
{
    QPixmap icon(pictureBox * devicePixelRatioF());
    icon.fill(Qt::transparent);
    QRect place = page.rect();
    place.moveCenter(icon.rect().center());
    QPainter painter(&icon);
    painter.drawImage(place, page);
    painter.setPen(palette().color(QPalette::Dark)); // pages may be as white as what is around them
    painter.drawRect(place.adjusted(0, 0, -1, -1));
    painter.end();
    icon.setDevicePixelRatio(devicePixelRatioF());
    return icon;
}

void DocumentView::ShowPages(int pages, int shown)
{
    const QSizeF paper = QPageSize(QPageSize::A4).size(QPageSize::Point);
    const QSize box = pictureBox * devicePixelRatioF();
    QImage empty(paper.scaled(box, Qt::KeepAspectRatio).toSize(), QImage::Format_RGB32);
    empty.fill(palette().color(QPalette::Window));
    const QIcon icon = MakeIcon(empty);
    for (int page = 1; page <= shown; ++page)
        new QListWidgetItem(icon, tr("Page %1").arg(page), pageList);
    note->setVisible(shown == 0);
    progress->setRange(0, 100);
    message->setText(
        shown == pages ? tr("Pages: %L1").arg(pages)
                       : tr("Pages: %L1, of which the first %L2 are shown").arg(pages).arg(shown));
}

void DocumentView::ShowPage(int page, const QImage& picture)
{
    if (QListWidgetItem* const item = pageList->item(page - 1))
        item->setIcon(MakeIcon(picture));
}

void DocumentView::End(const QString& text)
{
    ShowWork(false);
    QLabel* const place = pageList->count() > 0 ? message : note;
    message->clear();
    place->setText(text);
    QAccessibleEvent told(place, QAccessible::Alert);
    QAccessible::updateAccessibility(&told);
}
