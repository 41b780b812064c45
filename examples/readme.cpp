#include <QCoreApplication>
#include <QDebug>

#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

int main(int argc, char** argv) // secret.pdf password page.png
{
    QCoreApplication application(argc, argv);
    std::string error;
    auto names = std::make_shared<UuidFileNameGenerator>();
    auto files = std::make_shared<LocalFileSystem>(SessionFolder::Create("/tmp", error));
    UnencryptDocWrapper converter(names, std::make_shared<WorkerConverter>(),
                                  std::make_shared<WorkerPdfProvider>(), files);

    using Finished = void (AbstractConverter::*)(const QString&, QString);
    QObject::connect(&converter, Finished(&AbstractConverter::Finished),
                     [&](const QString& source, QString result) {
                         qInfo() << source << "is now" << result;
                         application.quit();
                     });

    AbstractConverter::Task task;
    task.source = argv[1];
    task.destination = argv[3];
    task.options = {{"need_export", true}, {"password", std::string(argv[2])}, {"page", 1}};
    return converter.ConvertFile(task) ? application.exec() : 1;
}
