#include "DocumentPages.h"

#include "PageLabel.h"
#include "PageSize.h"
#include "PdfConversion.h"
#include "PdfConverter.h"
#include "ToImage.h"

#include <algorithm>

#include <QPageSize>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

DocumentPages::DocumentPages(PdfConverter& converter, const QString& file)
    : converter(converter), file(file)
{
}

DocumentPages::~DocumentPages() = default;

void DocumentPages::Open(const QString& password)
{
    ConversionRequest request;
    request.document = file;
    request.opensOnly = true;
    if (!password.isEmpty())
        request.askForPassword = [utf8 = password.toStdString()](int attempt) {
            return attempt == 1 ? std::optional(utf8) : std::nullopt;
        };
    opening = std::make_unique<PdfConversion>(converter, request);
    // Whoever is told may open again, which destroys what tells.
    connect(
        opening.get(), &PdfConversion::Ended, this,
        [this, hadPassword = !password.isEmpty()] { OpeningEnded(hadPassword); },
        Qt::QueuedConnection);
    opening->Start();
}

void DocumentPages::CancelOpening()
{
    if (opening)
        opening->Cancel();
}

void DocumentPages::OpeningEnded(bool hadPassword)
{
    document = opening->Result();
    if (document.error == AbstractConverter::PasswordRequiredOrWrong)
        Q_EMIT PasswordNeeded(hadPassword);
    else if (document.error)
        Q_EMIT Failed(document.errorText);
    else
        Q_EMIT Opened();
}

int DocumentPages::Count() const
{
    return document.opened ? document.document->pages : 0;
}

QSizeF DocumentPages::SizeOf(int page) const
{
    const QSizeF size = document.document
                            ? PageSize(document.document->details.value_or(DocumentDetails()), page)
                            : QSizeF();
    return size.isEmpty() ? QPageSize(QPageSize::A4).size(QPageSize::Point) : size;
}

QString DocumentPages::LabelOf(int page) const
{
    return PageLabel(document.document ? document.document->details.value_or(DocumentDetails())
                                       : DocumentDetails(),
                     page);
}

ConversionRequest DocumentPages::RequestFor(int page, double dotsPerInch) const
{
    ConversionRequest request;
    request.document = file;
    request.opened = document.opened;
    request.pages = {{page}};
    request.isInMemory = true;
    request.format = QStringLiteral("pixels");
    request.pictures.resolution = std::clamp(dotsPerInch, 1.0, 4800.0);
    return request;
}

void DocumentPages::Want(const std::vector<int>& wanted, double dotsPerInch)
{
    for (auto page = pages.begin(); page != pages.end();) {
        const bool isWanted = std::count(wanted.begin(), wanted.end(), page->first) > 0;
        page = isWanted ? std::next(page) : pages.erase(page);
    }
    // What is asked for last is drawn first: the first of them is seen first.
    for (auto number = wanted.rbegin(); number != wanted.rend(); ++number) {
        const Page& page = pages[*number];
        if (page.dotsPerInch != dotsPerInch || page.drawing->Error())
            Draw(*number, dotsPerInch);
    }
}

void DocumentPages::Draw(int number, double dotsPerInch)
{
    Page& page = pages[number];
    page.dotsPerInch = dotsPerInch;
    page.drawing = std::make_unique<PdfConversion>(converter, RequestFor(number, dotsPerInch));
    connect(page.drawing.get(), &PdfConversion::PictureMade, this,
            [this](int made, const PagePicture& picture) {
                pages[made].picture = ToImage(picture);
                Q_EMIT PageMade(made);
            });
    connect(page.drawing.get(), &PdfConversion::Ended, this,
            [this, number] { DrawingEnded(pages[number]); });
    page.drawing->Start();
}

void DocumentPages::DrawingEnded(Page& page)
{
    const QString text = page.drawing->ErrorText();
    // Once: the place for a text may make pages move, and these are asked for again then.
    if (text.isEmpty() || page.told == text)
        return;
    page.told = text;
    Q_EMIT Failed(text);
}

QImage DocumentPages::PictureOf(int page) const
{
    const auto found = pages.find(page);
    return found == pages.end() ? QImage() : found->second.picture;
}
