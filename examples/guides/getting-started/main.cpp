// Makes a picture of each page: getting-started DOCUMENT.pdf PICTURE.png

#include "PdfConversion.h"
#include "PdfConverter.h"

#include <QCoreApplication>
#include <QDebug>

using namespace Korvel::PDF::Converter;

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    PdfConverter converter;
    PdfConversion conversion(converter, {arguments.value(1), arguments.value(2)});
    QObject::connect(&conversion, &PdfConversion::PageFinished,
                     [](int page, const QString& path) { qInfo() << "page" << page << path; });
    QObject::connect(&conversion, &PdfConversion::Ended, [&conversion] {
        if (conversion.Error())
            qCritical() << conversion.ErrorText();
        QCoreApplication::exit(conversion.Error() ? 1 : 0);
    });
    conversion.Start();
    return QCoreApplication::exec();
}
