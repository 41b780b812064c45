// Says what is wrong with the installation or a document: trouble-shooting DOCUMENT.pdf [PASSWORD]

#include "SessionFolder.h"
#include "ToText.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <QCoreApplication>
#include <QDebug>

using Korvel::ioPath;
using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

namespace {

//! [installation]
bool IsInstallationSound()
{
    std::string error;
    if (!SessionFolder::Create(SessionFolder::DefaultParent(), error))
        qWarning("no folder for temporary files: %s", error.c_str());
    const QString worker = WorkerProcess::FindProgram();
    qInfo() << "worker program:" << (worker.isEmpty() ? "not found" : qPrintable(worker));
    return error.empty() && WorkerConverter().DoesServiceAvailable();
}
//! [installation]

//! [document]
OpenFailure TryToOpen(const std::string& path, const std::string& password)
{
    WorkerPdfProvider provider;
    const DocumentHandle document = provider.OpenDocument(ioPath(path), password).get();
    return document.id < 0 ? provider.WhyOpenFailed(ioPath(path)) : OpenFailure::None;
}
//! [document]

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc < 2)
        return 2;
    if (!IsInstallationSound())
        return 1;
    const OpenFailure failure = TryToOpen(argv[1], argc > 2 ? argv[2] : "");
    qInfo("%s %s", argv[1], qPrintable(ToText(failure)));
    return failure == OpenFailure::None ? 0 : 1;
}
