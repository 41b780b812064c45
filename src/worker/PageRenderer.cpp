#include "PageRenderer.h"

#include "Failure.h"
#include "PdfDocument.h"

#include <cmath>
#include <numeric>

#include <QPainter>

namespace Korvel::Worker {

namespace {

constexpr double pointsPerInch = 72;
constexpr double metresPerInch = 0.0254;
constexpr double longestSide = 65'000;
constexpr double mostPixels = 256.0 * 1024 * 1024; // a gigabyte at four bytes each

QSize SizeInPixels(const QSizeF& points, double dotsPerInch)
{
    const double width = std::ceil(points.width() * dotsPerInch / pointsPerInch);
    const double height = std::ceil(points.height() * dotsPerInch / pointsPerInch);
    if (!(width >= 1 && height >= 1))
        throw Failure("cannot-render", "the page has no size");
    if (width > longestSide || height > longestSide || width * height > mostPixels)
        throw Failure("cannot-render", "the page is too large at this resolution");
    return {int(width), int(height)};
}

QImage OnWhite(const QImage& picture)
{
    QImage page(picture.size(), QImage::Format_RGB32);
    if (page.isNull())
        throw Failure("cannot-render", "no memory for the page");
    page.fill(Qt::white);
    QPainter(&page).drawImage(0, 0, picture);
    return page;
}

} // namespace

PageRenderer::PageRenderer(const std::string& path) : path(path), file(path)
{
    PdfDocument source(path, std::string());
    const bool wantsPreparation = source.IsEncrypted() || source.IsRepaired() || source.HasForm();
    if (wantsPreparation || document.load(QString::fromStdString(path)) != QPdfDocument::NoError) {
        prepared.setData(source.ForRendering());
        prepared.open(QIODevice::ReadOnly);
        document.load(&prepared);
    }
    if (document.status() != QPdfDocument::Ready)
        throw Failure("damaged", "Qt PDF does not open it");
}

bool PageRenderer::Serves(const std::string& other) const
{
    return other == path && file.IsCurrent(path);
}

int PageRenderer::Check(int page) const
{
    if (page < 1 || page > document.pageCount())
        throw Failure("no-such-page", "there is no page " + std::to_string(page));
    return page - 1;
}

QImage PageRenderer::Render(int page, double dotsPerInch)
{
    const int index = Check(page);
    QPdfDocumentRenderOptions options;
    options.setRenderFlags(QPdf::RenderAnnotations);
    const QImage picture =
        document.render(index, SizeInPixels(document.pageSize(index), dotsPerInch), options);
    if (picture.isNull())
        throw Failure("cannot-render", "page " + std::to_string(page) + " cannot be drawn");
    QImage result = OnWhite(picture);
    const int dotsPerMeter = qRound(dotsPerInch / metresPerInch);
    result.setDotsPerMeterX(dotsPerMeter);
    result.setDotsPerMeterY(dotsPerMeter);
    return result;
}

QByteArray PageRenderer::Text(const std::vector<int>& pages)
{
    std::vector<int> wanted = pages;
    if (wanted.empty()) {
        wanted.resize(std::size_t(document.pageCount()));
        std::iota(wanted.begin(), wanted.end(), 1);
    }
    QByteArray text;
    for (const int page : wanted) {
        QString content = document.getAllText(Check(page)).text();
        content.replace(QLatin1String("\r\n"), QLatin1String("\n"));
        text += content.toUtf8();
        text += "\n\f";
    }
    return text;
}

} // namespace Korvel::Worker
