// What makes the program pdfconvert-worker of the parts that both programs have.

#include "Engine.h"
#include "NotStarted.h"
#include "PdfiumEngine.h"
#include "PdfiumLibrary.h"

#include <climits>

#include <unistd.h>

namespace Korvel::Worker {

namespace {

std::optional<PdfiumLibrary> library;

/** The program that has Qt PDF, beside this one. */
std::string OtherProgram()
{
    char self[PATH_MAX] = {};
    const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
    const std::string path(self, length < 0 ? 0 : std::size_t(length));
    return path.substr(0, path.rfind('/') + 1) + "pdfconvert-worker-qt";
}

} // namespace

void StartEngine(const EngineSettings& wanted, char** arguments)
{
    if (wanted.choice != PDF::DrawingEngine::Qt)
        library = LoadPdfium(wanted.library);
    if (library)
        return;
    if (wanted.choice == PDF::DrawingEngine::Pdfium)
        EndAsNotStarted("no library of PDFium serves; install the package libreoffice-core-nogui, "
                        "or name a library in the environment's PDFCONVERT_PDFIUM");
    ::execv(OtherProgram().c_str(), arguments);
    EndAsNotStarted("pdfconvert-worker-qt is not beside pdfconvert-worker");
}

bool UsesThreadOfPool()
{
    return false;
}

std::string EngineName()
{
    return "PDFium (" + library->file + ")";
}

std::unique_ptr<PageEngine> MakePageEngine()
{
    return std::make_unique<PdfiumEngine>(library->functions);
}

} // namespace Korvel::Worker
