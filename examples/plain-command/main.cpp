// Makes a picture of every page: plain-command DOCUMENT.pdf FOLDER [PASSWORD-FILE]

#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <fstream>
#include <iostream>

#include <QCoreApplication>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

static int Complain(const std::string& what)
{
    std::cerr << "plain-command: " << what << '\n';
    return 1;
}

static std::string Explain(OpenFailure why)
{
    if (why == OpenFailure::NoPassword)
        return " is encrypted; name a file that holds its password";
    return why == OpenFailure::WrongPassword ? " has another password" : " is no PDF to be opened";
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc < 3 || argc > 4)
        return Complain("usage: plain-command DOCUMENT.pdf FOLDER [PASSWORD-FILE]");
    const std::string source = argv[1];
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
    WorkerSettings settings;
    settings.folder = QString::fromStdString(session->Path()); // a worker writes nowhere else
    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files = std::make_shared<LocalFileSystem>(session);
    const auto provider = std::make_shared<WorkerPdfProvider>(settings);

    const DocumentHandle document = provider->OpenDocument(source, password).get();
    const auto info = provider->Describe(document);
    if (!info)
        return Complain(source + Explain(provider->WhyOpenFailed(source)));
    provider->CloseDocument(document);

    const auto makeChain = [&] {
        return std::make_shared<TempFileWrapper>(names, std::make_shared<WorkerConverter>(settings),
                                                 files);
    };
    const auto fanOut = std::make_shared<PageFanOut>(makeChain, 2); // so many pages at once
    UnencryptDocWrapper converter(names, fanOut, provider, files);

    QObject::connect(&converter,
                     qOverload<const QString&, QStringList>(&AbstractConverter::Finished),
                     &application, [](const QString&, QStringList pictures) {
                         // Pictures that could not be put in their place have an empty path.
                         const auto lost = pictures.removeAll(QString());
                         for (const QString& picture : qAsConst(pictures))
                             std::cout << picture.toStdString() << '\n';
                         QCoreApplication::exit(lost == 0 ? 0 : Complain("cannot write them all"));
                     });
    QObject::connect(&converter, &AbstractConverter::Failed, &application,
                     [&source](const QString&, AbstractConverter::ErrorType why) {
                         QCoreApplication::exit(Complain("cannot convert " + source + ", error " +
                                                         std::to_string(why)));
                     });

    std::vector<PageFanOut::PageTask> pages;
    for (int page = 1; page <= info->pages; ++page)
        pages.push_back(
            {page, QString::fromUtf8(argv[2]) + QStringLiteral("/page-%1.png").arg(page)});
    AbstractConverter::Task task;
    task.source = QString::fromStdString(source);
    task.options = {{"need_export", true}, {"password", password}, {"page_tasks", pages}};
    if (!converter.ConvertFile(task))
        return Complain("cannot make an unencrypted copy of " + source);
    return QCoreApplication::exec();
}
