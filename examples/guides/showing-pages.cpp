// Shows pages of a document, as a viewer does, one after the other:
// showing-pages DOCUMENT.pdf PASSWORD

#include "PdfConversion.h"
#include "PdfConverter.h"
#include "ToImage.h"

#include <QCoreApplication>
#include <QImage>

using namespace Korvel::PDF::Converter;

static ConversionRequest
RequestToOpen(const QString& document,
              const std::function<std::optional<std::string>(int attempt)>& askForPassword)
{
    //! [open]
    ConversionRequest toOpen;
    toOpen.document = document;
    toOpen.askForPassword = askForPassword;
    toOpen.opensOnly = true;
    //! [open]
    return toOpen;
}

static ConversionRequest RequestOfPage(const PdfConversion& opening, int page, int width)
{
    //! [page]
    ConversionRequest request;
    request.document = opening.Request().document;
    request.opened = opening.Result().opened;
    request.pages = {{page}};
    request.isInMemory = true;
    request.format = QStringLiteral("pixels");
    request.pictures.size = QSize(width, 0); // as high as follows from that
    //! [page]
    return request;
}

static void ConnectTo(PdfConversion& conversion,
                      const std::function<void(int page, const QImage& image)>& show)
{
    //! [show]
    QObject::connect(
        &conversion, &PdfConversion::PictureMade,
        [show](int page, const PagePicture& picture) { show(page, ToImage(picture)); });
    //! [show]
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const std::string password = arguments.value(2).toStdString();
    PdfConverter converter;
    PdfConversion opening(
        converter,
        RequestToOpen(arguments.value(1), [password](int attempt) -> std::optional<std::string> {
            return attempt > 1 ? std::nullopt : std::optional(password);
        }));
    std::unique_ptr<PdfConversion> conversion;
    std::function<void(int)> showFrom = [&](int page) {
        if (page > opening.Result().document->pages) {
            QCoreApplication::quit();
            return;
        }
        conversion = std::make_unique<PdfConversion>(converter, RequestOfPage(opening, page, 400));
        ConnectTo(*conversion, [](int number, const QImage& image) {
            qInfo("page %d: %d x %d", number, image.width(), image.height());
        });
        QObject::connect(
            conversion.get(), &PdfConversion::Ended, &application,
            [&, page] {
                if (conversion->Error())
                    qCritical("%s", qPrintable(conversion->ErrorText()));
                showFrom(page + 1);
            },
            Qt::QueuedConnection);
        conversion->Start();
    };
    QObject::connect(&opening, &PdfConversion::Ended, [&] {
        if (opening.Error()) {
            qCritical("%s", qPrintable(opening.ErrorText()));
            QCoreApplication::exit(1);
        } else {
            showFrom(1);
        }
    });
    opening.Start();
    return QCoreApplication::exec();
}
