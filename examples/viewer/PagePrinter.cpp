#include "PagePrinter.h"

#include "DocumentPages.h"
#include "PdfConverter.h"
#include "ToImage.h"

#include <algorithm>

#include <QPageSize>

using namespace Korvel::PDF::Converter;

static constexpr int fineEnough = 300; // dots per inch: finer ones take memory and are not seen

PagePrinter::PagePrinter(const DocumentPages& pages, std::unique_ptr<QPrinter> given)
    : pages(pages),
      printer(std::move(given)),
      page(std::max(printer->fromPage(), 1)),
      last(printer->toPage() > 0 ? std::min(printer->toPage(), pages.Count()) : pages.Count())
{
    printer->setFullPage(true); // margins are those of the document
}

void PagePrinter::Start()
{
    DrawNext();
}

void PagePrinter::DrawNext()
{
    if (page > last) {
        painter.end();
        End({});
        return;
    }
    const int dotsPerInch = std::min(printer->resolution(), fineEnough);
    drawing =
        std::make_unique<PdfConversion>(pages.Converter(), pages.RequestFor(page, dotsPerInch));
    // Queued, as the next page takes the place of what tells.
    connect(
        drawing.get(), &PdfConversion::Ended, this,
        [this] {
            if (drawing->Error())
                End(drawing->ErrorText());
            else
                Print(ToImage(drawing->Result().pages.front().picture));
        },
        Qt::QueuedConnection);
    drawing->Start();
}

/** On paper of the size of the page, from edge to edge. */
void PagePrinter::Print(const QImage& picture)
{
    const QSizeF size = pages.SizeOf(page);
    printer->setPageSize(QPageSize(size, QPageSize::Point, {}, QPageSize::ExactMatch));
    const bool isReady = painter.isActive() ? printer->newPage() : painter.begin(printer.get());
    if (!isReady) {
        End(tr("The printer takes no page."));
        return;
    }
    const double dotsAPoint = printer->resolution() / 72.0;
    painter.drawImage(QRectF(QPointF(), size * dotsAPoint), picture);
    ++page;
    DrawNext();
}

void PagePrinter::End(const QString& text)
{
    Q_EMIT Ended(text);
}
