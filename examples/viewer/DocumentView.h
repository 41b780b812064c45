#pragma once

#include <QAbstractScrollArea>

#include <vector>

class DocumentPages;

/** The pages of a document below each other, drawn when they come into view. */
class DocumentView : public QAbstractScrollArea
{
    Q_OBJECT

public:
    /** @param pages  of a document that is open; lives longer */
    explicit DocumentView(DocumentPages& pages);

    /** How large pages are; with 1 as large as on paper. */
    double Zoom() const { return zoom; }

    /** Makes pages larger or smaller; what is in the middle stays there. */
    void SetZoom(double zoom);

    /** Makes the page in view as wide as the view. */
    void FitWidth();

    /** Has a page begin at the top. */
    void GoTo(int page);

    /** Where a page is in the viewport, which need not be in view. */
    QRect PlaceOf(int page) const;

    /** The one whose top is seen, or else that which fills the view. */
    int PageInView() const;

Q_SIGNALS:
    /** Another page is in view, or the zoom has changed. */
    void Moved();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    double PixelsAPoint() const;
    std::vector<int> PagesInView() const;
    void LayOut();
    void AskForPages();

    DocumentPages& pages;
    double zoom = 1;
    /** From the top of the first page, of each, and of the end. */
    std::vector<int> tops;
    int widest = 0;
};
