// Makes a picture of every page of many documents: many-documents FOLDER DOCUMENT.pdf...

#include "PdfConversion.h"
#include "PdfConverter.h"

#include <iostream>
#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QFileInfo>

using namespace Korvel::PDF::Converter;

static void Complain(const QString& what)
{
    std::cerr << "many-documents: " << what.toStdString() << '\n';
}

/** Reads a line of standard input; nothing at its end, or for an empty one. */
static std::optional<std::string> AskForPassword(const QString& document)
{
    std::cerr << "Password of " << document.toStdString() << ": " << std::flush;
    std::string password;
    if (!std::getline(std::cin, password) || password.empty())
        return std::nullopt;
    return password;
}

static ConversionRequest MakeRequest(const QString& folder, const QString& document)
{
    const QString name = QFileInfo(document).completeBaseName();
    ConversionRequest request{document, folder + QLatin1Char('/') + name + ".png"};
    request.askForPassword = [document](int) {
        return AskForPassword(document);
    };
    return request;
}

static void Show(const PdfConversion& conversion)
{
    QObject::connect(&conversion, &PdfConversion::PageFinished, [](int, const QString& path) {
        std::cout << path.toStdString() << std::endl;
    });
    QObject::connect(
        &conversion, &PdfConversion::PageFailed,
        [](int, AbstractConverter::ErrorType, const QString& text) { Complain(text); });
    QObject::connect(&conversion, &PdfConversion::Warned,
                     [](ConversionResult::Warning, const QString& text) { Complain(text); });
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QStringList documents = QCoreApplication::arguments().mid(1);
    if (documents.size() < 2) {
        Complain("usage: many-documents FOLDER DOCUMENT.pdf...");
        return 2;
    }
    const QString folder = documents.takeFirst();

    PdfConverter converter;
    std::vector<std::unique_ptr<PdfConversion>> conversions;
    std::size_t ended = 0;
    bool isWell = true;
    for (const QString& document : documents) {
        conversions.push_back(
            std::make_unique<PdfConversion>(converter, MakeRequest(folder, document)));
        const PdfConversion& conversion = *conversions.back();
        Show(conversion);
        QObject::connect(&conversion, &PdfConversion::Ended, [&] {
            if (conversion.Error())
                Complain(conversion.ErrorText());
            isWell = isWell && !conversion.Error() && conversion.Result().failures.empty();
            if (++ended == conversions.size())
                QCoreApplication::exit(isWell ? 0 : 1);
        });
    }
    for (const auto& conversion : conversions)
        conversion->Start();
    return QCoreApplication::exec();
}
