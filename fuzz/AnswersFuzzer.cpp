// What a worker answers to requests to open a document, to save it and to close it, a line each. A
// "#" stands for the request's number. The worker lives on as long as it makes sense, and the
// document is open.

#include "TempFolder.h"
#include "WorkerPdfProvider.h"

#include <fstream>

#include <QCoreApplication>

using namespace Korvel;

namespace {

constexpr std::chrono::seconds deadline{10};

std::string& Folder()
{
    static std::string folder;
    return folder;
}

PDF::WorkerSettings Settings()
{
    PDF::WorkerSettings settings{ANSWERING_WORKER, deadline};
    settings.folder = QString::fromStdString(Folder());
    return settings;
}

const ioPath file(std::string("/document.pdf"));

template <typename Answer>
Answer Get(std::future<Answer> answer)
{
    Fuzz::Require(answer.wait_for(2 * deadline) == std::future_status::ready,
                  "every request is answered");
    return answer.get();
}

void OpenSaveAndClose(PDF::WorkerPdfProvider& provider)
{
    const PDF::DocumentHandle document = Get(provider.OpenDocument(file, "user"));
    const bool failed = document.id < 0;
    Fuzz::Require(failed == (provider.WhyOpenFailed(file) != PDF::OpenFailure::None),
                  "a failure to open has a reason");
    Fuzz::Require(failed != provider.Describe(document).has_value(),
                  "an open document is described");
    const bool saved = Get(provider.SaveDocument(document, file));
    Fuzz::Require(failed || saved == (provider.WhySaveFailed(file) == PDF::SaveFailure::None),
                  "a failure to save an open document has a reason");
    Get(provider.CloseDocument(document));
    Fuzz::Require(!provider.Describe(document), "a closed document is forgotten");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication application(*argc, *argv);
    Folder() = Fuzz::MakeTempFolder();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::ofstream(Folder() + "/answers", std::ios::trunc) << Fuzz::Text(data, size);
    static PDF::WorkerPdfProvider provider(Settings());
    OpenSaveAndClose(provider);
    return 0;
}
