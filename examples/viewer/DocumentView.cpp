#include "DocumentView.h"

#include "DocumentPages.h"

#include <algorithm>
#include <cmath>

#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

static constexpr int gap = 12; // pixels around pages
static constexpr double pointsAnInch = 72;
static constexpr double smallest = 0.1;
static constexpr double largest = 8;

DocumentView::DocumentView(DocumentPages& pages) : pages(pages)
{
    viewport()->setBackgroundRole(QPalette::Mid);
    viewport()->setAutoFillBackground(true);
    setAccessibleName(tr("Pages"));
    connect(&pages, &DocumentPages::PageMade, this,
            [this](int page) { viewport()->update(PlaceOf(page)); });
    LayOut();
}

double DocumentView::PixelsAPoint() const
{
    return zoom * logicalDpiX() / pointsAnInch;
}

void DocumentView::LayOut()
{
    tops = {gap};
    widest = 0;
    for (int page = 1; page <= pages.Count(); ++page) {
        const QSizeF size = pages.SizeOf(page) * PixelsAPoint();
        tops.push_back(tops.back() + int(std::ceil(size.height())) + gap);
        widest = std::max(widest, int(std::ceil(size.width())));
    }
    const QSize view = viewport()->size();
    verticalScrollBar()->setRange(0, std::max(0, tops.back() - view.height()));
    verticalScrollBar()->setPageStep(view.height());
    verticalScrollBar()->setSingleStep(gap * 3);
    horizontalScrollBar()->setRange(0, std::max(0, widest + 2 * gap - view.width()));
    horizontalScrollBar()->setPageStep(view.width());
    viewport()->update();
    AskForPages();
}

QRect DocumentView::PlaceOf(int page) const
{
    const QSizeF size = pages.SizeOf(page) * PixelsAPoint();
    const QSize pixels(int(std::ceil(size.width())), int(std::ceil(size.height())));
    const int middle = std::max(viewport()->width(), widest + 2 * gap) / 2;
    return {QPoint(middle - pixels.width() / 2 - horizontalScrollBar()->value(),
                   tops[std::size_t(page - 1)] - verticalScrollBar()->value()),
            pixels};
}

std::vector<int> DocumentView::PagesInView() const
{
    std::vector<int> inView;
    for (int page = 1; page <= pages.Count(); ++page) {
        if (PlaceOf(page).intersects(viewport()->rect()))
            inView.push_back(page);
    }
    return inView;
}

int DocumentView::PageInView() const
{
    const std::vector<int> inView = PagesInView();
    const auto begins = std::find_if(inView.begin(), inView.end(),
                                     [this](int page) { return PlaceOf(page).top() >= 0; });
    if (begins != inView.end())
        return *begins;
    return inView.empty() ? 1 : inView.front();
}

void DocumentView::AskForPages()
{
    pages.Want(PagesInView(), zoom * logicalDpiX() * devicePixelRatioF());
    Q_EMIT Moved();
}

void DocumentView::SetZoom(double wanted)
{
    const auto middleOf = [](const QScrollBar* bar) {
        return (bar->value() + bar->pageStep() / 2.0) /
               std::max(1, bar->maximum() + bar->pageStep());
    };
    const double across = middleOf(horizontalScrollBar());
    const double down = middleOf(verticalScrollBar());
    zoom = std::clamp(wanted, smallest, largest);
    LayOut();
    const auto moveTo = [](QScrollBar* bar, double middle) {
        bar->setValue(int(middle * (bar->maximum() + bar->pageStep()) - bar->pageStep() / 2.0));
    };
    moveTo(horizontalScrollBar(), across);
    moveTo(verticalScrollBar(), down);
}

void DocumentView::FitWidth()
{
    const double width = pages.SizeOf(PageInView()).width() * logicalDpiX() / pointsAnInch;
    SetZoom((viewport()->width() - 2 * gap) / width);
}

void DocumentView::GoTo(int page)
{
    verticalScrollBar()->setValue(tops[std::size_t(page - 1)] - gap);
}

void DocumentView::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const int page : PagesInView()) {
        const QRect place = PlaceOf(page);
        painter.fillRect(place, Qt::white);
        const QImage picture = pages.PictureOf(page);
        if (!picture.isNull())
            painter.drawImage(place, picture);
    }
}

void DocumentView::resizeEvent(QResizeEvent*)
{
    LayOut();
}

void DocumentView::scrollContentsBy(int, int)
{
    viewport()->update();
    AskForPages();
}

void DocumentView::wheelEvent(QWheelEvent* event)
{
    constexpr double aStep = 120;
    if (event->modifiers().testFlag(Qt::ControlModifier))
        SetZoom(zoom * std::pow(1.1, event->angleDelta().y() / aStep));
    else
        QAbstractScrollArea::wheelEvent(event);
}
