// An application that has the first page of a document as a texture: quick-consumer DOCUMENT.pdf

#include "PdfConversion.h"
#include "PdfConverter.h"
#include "PdfImageProvider.h"

#include <iostream>
#include <memory>

#include <QGuiApplication>
#include <QQuickTextureFactory>

using namespace Korvel::PDF::Converter;

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    ConversionRequest request;
    request.document = QGuiApplication::arguments().value(1);
    request.opensOnly = true;
    PdfConverter converter;
    PdfImageProvider pages(converter);
    std::unique_ptr<QQuickImageResponse> page;

    PdfConversion opening(converter, request);
    const auto show = [&] {
        const std::unique_ptr<QQuickTextureFactory> texture(page->textureFactory());
        const QSize size = texture ? texture->textureSize() : QSize();
        std::cout << size.width() << " x " << size.height() << ' '
                  << page->errorString().toStdString() << '\n';
        QGuiApplication::exit(size == QSize(100, 142) ? 0 : 1);
    };
    QObject::connect(&opening, &PdfConversion::Ended, [&] {
        pages.Show(QStringLiteral("report"), request.document, opening.Result().opened);
        page.reset(pages.requestImageResponse(QStringLiteral("report/1"), QSize(100, 0)));
        QObject::connect(page.get(), &QQuickImageResponse::finished, &application, show);
    });
    opening.Start();
    return QGuiApplication::exec();
}
