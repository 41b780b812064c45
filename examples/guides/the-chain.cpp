// Converts all pages through several workers, and prints the signals:
// the-chain DOCUMENT.pdf PASSWORD PAGES FOLDER

#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <QCoreApplication>
#include <QDebug>
#include <QThread>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

namespace {

//! [stack]
std::shared_ptr<AbstractConverter> MakeChain(const std::shared_ptr<SessionFolder>& session)
{
    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files = std::make_shared<LocalFileSystem>(session);
    WorkerSettings settings;
    settings.folder = QString::fromStdString(session->Path());

    const int processes = QThread::idealThreadCount();
    const auto server = std::make_shared<WorkerServer>(settings); // one program for both
    const auto pool = std::make_shared<WorkerPool>(server, processes);
    const auto makeChain = [names, pool, files] {
        return std::make_shared<TempFileWrapper>(names, std::make_shared<WorkerConverter>(pool),
                                                 files);
    };
    return std::make_shared<UnencryptDocWrapper>(
        names, std::make_shared<PageFanOut>(makeChain, processes),
        std::make_shared<WorkerPdfProvider>(server), files);
}
//! [stack]

//! [signals]
void PrintSignals(const AbstractConverter& converter)
{
    using C = AbstractConverter;
    QObject::connect(&converter, &C::ConvertationStarted, [](const QString&) { qInfo("started"); });
    QObject::connect(&converter, &C::ConvertationProgress,
                     [](const QString&, double progress) { qInfo("%3.0f %%", 100 * progress); });
    QObject::connect(&converter, &C::ConvertationFinished,
                     [](const QString&) { qInfo("at the end"); });
    QObject::connect(&converter, qOverload<const QString&, QStringList>(&C::Finished),
                     [](const QString&, const QStringList& results) {
                         qInfo("finished with %d files", int(results.size()));
                         QCoreApplication::exit(results.contains(QString()) ? 1 : 0);
                     });
    QObject::connect(&converter, &C::Failed, [](const QString&, C::ErrorType why) {
        qInfo() << "failed:" << why;
        QCoreApplication::exit(1);
    });
}
//! [signals]

//! [task]
AbstractConverter::Task MakeTask(const QStringList& arguments)
{
    std::vector<PageFanOut::PageTask> pages;
    for (int page = 1; page <= arguments[3].toInt(); ++page)
        pages.push_back({page, QStringLiteral("%1/page-%2.png").arg(arguments[4]).arg(page)});

    AbstractConverter::Task task;
    task.source = arguments[1];
    task.options["need_export"] = true;
    task.options["password"] = arguments[2].toStdString();
    task.options["page_tasks"] = pages;
    return task;
}
//! [task]

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 5)
        return 2;
    std::string error;
    const std::shared_ptr<SessionFolder> session =
        SessionFolder::Create(SessionFolder::DefaultParent(), error);
    if (!session)
        return 1;
    const auto chain = MakeChain(session);
    PrintSignals(*chain);
    return chain->ConvertFile(MakeTask(QCoreApplication::arguments())) ? QCoreApplication::exec()
                                                                       : 1;
}
