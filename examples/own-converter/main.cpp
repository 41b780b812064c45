// Extracts the text of a PDF: own-converter DOCUMENT.pdf TEXT.txt [PASSWORD-FILE]

#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "StopSignals.h"
#include "TempFileWrapper.h"
#include "TextExtractor.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerPdfProvider.h"

#include <fstream>
#include <iostream>

#include <QCoreApplication>
#include <QFileInfo>
#include <QMetaEnum>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

namespace {

int Complain(const std::string& what)
{
    std::cerr << "own-converter: " << what << '\n';
    return 1;
}

/** The name of the error; converters may have some of their own, which have none. */
std::string Name(AbstractConverter::ErrorType error)
{
    const char* const name = QMetaEnum::fromType<AbstractConverter::ErrorType>().valueToKey(error);
    return name ? name : "error " + std::to_string(error);
}

void End(const QString& result)
{
    if (result.isEmpty()) {
        QCoreApplication::exit(Complain("cannot put the text in its place"));
        return;
    }
    std::cout << result.toStdString() << '\n';
    QCoreApplication::exit(0);
}

/** Tells of all that happens, and ends the event loop when the task has ended. */
void Follow(const AbstractConverter& converter, QObject* receiver)
{
    using C = AbstractConverter;
    const auto tell = [](const QString& source, const char* what) {
        std::cerr << source.toStdString() << what << '\n';
    };
    QObject::connect(&converter, &C::UploadProgress, receiver,
                     [=](const QString& source) { tell(source, ": sending"); });
    QObject::connect(&converter, &C::DownloadProgress, receiver,
                     [=](const QString& source) { tell(source, ": receiving"); });
    QObject::connect(&converter, &C::ConvertationStarted, receiver,
                     [=](const QString& source) { tell(source, ": started"); });
    QObject::connect(&converter, &C::ConvertationProgress, receiver,
                     [=](const QString& source) { tell(source, ": under way"); });
    QObject::connect(&converter, &C::ConvertationFinished, receiver,
                     [=](const QString& source) { tell(source, ": at its end"); });
    QObject::connect(&converter, &C::Failed, receiver, [](const QString&, C::ErrorType error) {
        QCoreApplication::exit(Complain("no text, " + Name(error)));
    });
    QObject::connect(&converter, qOverload<const QString&, QString>(&C::Finished), receiver,
                     [](const QString&, const QString& result) { End(result); });
    QObject::connect(&converter, qOverload<const QString&, QStringList>(&C::Finished), receiver,
                     [](const QString&, const QStringList& results) { End(results.value(0)); });
}

} // namespace

int main(int argc, char** argv)
{
    StopSignals::Hold();
    QCoreApplication application(argc, argv);
    if (argc < 3 || argc > 4)
        return Complain("usage: own-converter DOCUMENT.pdf TEXT.txt [PASSWORD-FILE]");
    std::string password;
    if (argc == 4) {
        std::ifstream file(argv[3]);
        if (!std::getline(file, password))
            return Complain(std::string("cannot read a password from ") + argv[3]);
    }

    std::string error;
    const std::shared_ptr<SessionFolder> session =
        SessionFolder::Create(SessionFolder::DefaultParent(), error);
    if (!session)
        return Complain("no folder for temporary files: " + error);
    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files = std::make_shared<LocalFileSystem>(session);
    const auto provider = std::make_shared<WorkerPdfProvider>();
    const auto extractor = std::make_shared<TextExtractor>();
    const auto inner = std::make_shared<TempFileWrapper>(names, extractor, files);
    UnencryptDocWrapper converter(names, inner, provider, files);
    if (!converter.DoesServiceAvailable())
        return Complain("pdftotext is not installed");

    Follow(converter, &application);
    const StopSignals stopSignals([&] {
        provider->Shutdown(); // the main thread may be waiting for it
        QMetaObject::invokeMethod(&converter, [&] { converter.CancelConvertation(); });
    });
    AbstractConverter::Task task;
    task.source = QString::fromUtf8(argv[1]);
    task.destination = QString::fromUtf8(argv[2]);
    task.options = {{"need_export", true}, {"password", password}};
    const QStringList formats = converter.GetSupportedFormats()[QStringLiteral("pdf")];
    if (!formats.contains(QFileInfo(task.destination).suffix()))
        return Complain("the result has to be a file of the kind ." +
                        formats.join(QStringLiteral(" or .")).toStdString());
    if (!converter.ConvertFile(task))
        return Complain("cannot open the document, or not with this password");
    return QCoreApplication::exec();
}
