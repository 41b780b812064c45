// Says what is wrong with the installation or a document: trouble-shooting DOCUMENT.pdf [PASSWORD]

#include "SessionFolder.h"
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
const char* Explain(OpenFailure why)
{
    switch (why) {
    case OpenFailure::None:
        return "it opens";
    case OpenFailure::Unreadable:
        return "it is missing, no regular file, or must not be read";
    case OpenFailure::Empty:
        return "it has no bytes";
    case OpenFailure::NotAPdf:
        return "it is a file of another kind";
    case OpenFailure::Damaged:
        return "it is damaged beyond repair";
    case OpenFailure::NoPassword:
        return "it needs a password";
    case OpenFailure::WrongPassword:
        return "the password does not open it";
    case OpenFailure::UnsupportedEncryption:
        return "its encryption is not supported";
    case OpenFailure::OutOfMemory:
        return "it needs more than WorkerSettings::memoryLimit";
    case OpenFailure::TimedOut:
        return "it takes longer than WorkerSettings::deadline";
    case OpenFailure::WorkerFailed:
        return "the worker died";
    case OpenFailure::NotStarted:
        return "no worker could be started";
    case OpenFailure::Changed:
        return "somebody changed it while it was read";
    case OpenFailure::Unconfined:
        return "the system cannot confine a worker as WorkerSettings::requiresSandbox wants it";
    case OpenFailure::TooManyPages:
        return "it lists more pages than a file of its size can hold";
    }
    return "for a reason that is new";
}

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
    qInfo("%s: %s", argv[1], Explain(failure));
    return failure == OpenFailure::None ? 0 : 1;
}
