// Converts one document in several ways: converting-documents DOCUMENT.pdf PASSWORD FOLDER

#include "PdfConversion.h"
#include "PdfConverter.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QTimer>

using namespace Korvel::PDF::Converter;

static ConversionRequest Request(const QString& document, const QString& folder,
                                 const std::string& password)
{
    //! [request]
    ConversionRequest request{document, folder + "/page.jpg"};
    request.pages = {{1, 3}};
    request.pictures.size = QSize(400, 0); // 400 pixels wide
    request.pictures.color = PictureOptions::Color::Gray;
    //! [request]

    //! [password]
    request.askForPassword = [password](int attempt) -> std::optional<std::string> {
        if (attempt > 1)
            return std::nullopt; // it was wrong: no further one
        return password;
    };
    //! [password]
    return request;
}

static void ShowAll(PdfConversion& conversion)
{
    //! [signals]
    QObject::connect(&conversion, &PdfConversion::Progress,
                     [](double part) { qInfo("%d %%", int(part * 100)); });
    QObject::connect(&conversion, &PdfConversion::PageFailed,
                     [](int, AbstractConverter::ErrorType, const QString& text) {
                         qWarning("%s", qPrintable(text)); // the other pages are made
                     });
    QObject::connect(
        &conversion, &PdfConversion::Warned,
        [](ConversionResult::Warning, const QString& text) { qWarning("%s", qPrintable(text)); });
    //! [signals]
}

static int Tell(const ConversionResult& result)
{
    //! [result]
    for (const ConversionResult::Page& page : result.pages)
        qInfo("page %d: %s", page.page, qPrintable(page.path));
    if (result.error)
        qCritical("%s", qPrintable(result.errorText));
    //! [result]
    return result.error ? 1 : 0;
}

static int TellText(const ConversionResult& result)
{
    //! [text]
    for (const ConversionResult::Page& text : result.pages)
        qInfo("%s", text.bytes.constData());
    //! [text]
    return result.error ? Tell(result) : 0;
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString folder = arguments.value(3);
    const ConversionRequest request =
        Request(arguments.value(1), folder, arguments.value(2).toStdString());
    PdfConverter converter;

    //! [cancel]
    PdfConversion slow(converter, request);
    QTimer::singleShot(std::chrono::minutes(1), &slow, &PdfConversion::Cancel);
    //! [cancel]
    ShowAll(slow);

    //! [memory]
    ConversionRequest textRequest = request;
    textRequest.isInMemory = true; // in place of a file
    textRequest.format = QStringLiteral("txt");
    textRequest.text.dehyphenates = false; // words stay parted where a line ends
    //! [memory]
    //! [future]
    QFutureWatcher<ConversionResult> watcher;
    QObject::connect(&watcher, &QFutureWatcherBase::finished,
                     [&watcher] { QCoreApplication::exit(TellText(watcher.result())); });
    //! [future]
    QObject::connect(&slow, &PdfConversion::Ended, [&] {
        Tell(slow.Result());
        //! [convert]
        watcher.setFuture(converter.Convert(textRequest));
        //! [convert]
    });
    slow.Start();
    return QCoreApplication::exec();
}
