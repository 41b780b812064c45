// Makes a picture of the first page by a chain of its own: by-hand DOCUMENT.pdf PASSWORD
// PICTURE.png

#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <QCoreApplication>
#include <QDebug>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) {
        qCritical("usage: by-hand DOCUMENT.pdf PASSWORD PICTURE.png");
        return 2;
    }

    std::string error;
    const std::shared_ptr<SessionFolder> session =
        SessionFolder::Create(SessionFolder::DefaultParent(), error);
    if (!session) {
        qCritical("no folder for temporary files: %s", error.c_str());
        return 1;
    }
    WorkerSettings settings;
    settings.folder = QString::fromStdString(session->Path()); // the one place workers write to

    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files = std::make_shared<LocalFileSystem>(session);
    const auto provider = std::make_shared<WorkerPdfProvider>(settings);

    const auto worker = std::make_shared<WorkerConverter>(settings);
    const auto mover = std::make_shared<TempFileWrapper>(names, worker, files);
    UnencryptDocWrapper converter(names, mover, provider, files);

    QObject::connect(&converter, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     [](const QString& source, const QString& result) {
                         qInfo() << source << "is now" << result;
                         QCoreApplication::exit(result.isEmpty() ? 1 : 0);
                     });
    QObject::connect(&converter, &AbstractConverter::Failed,
                     [](const QString& source, AbstractConverter::ErrorType why) {
                         qCritical() << source << "was not converted:" << why;
                         QCoreApplication::exit(1);
                     });

    AbstractConverter::Task task;
    task.source = arguments[1];
    task.destination = arguments[3];
    task.options["need_export"] = true; // by way of an unencrypted copy
    task.options["password"] = arguments[2].toStdString();
    task.options["page"] = 1;
    if (!converter.ConvertFile(task)) {
        qCritical() << task.source << "cannot be opened";
        return 1;
    }
    return QCoreApplication::exec();
}
