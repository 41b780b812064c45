// What makes the program pdfconvert-worker-qt of the parts that both programs have.

#include "Engine.h"
#include "NotStarted.h"
#include "QtPdfEngine.h"

#include <dlfcn.h>

namespace Korvel::Worker {

void StartEngine(const EngineSettings& wanted, char** /*arguments*/)
{
    if (wanted.choice == PDF::DrawingEngine::Pdfium)
        EndAsNotStarted("pdfconvert-worker has PDFium, pdfconvert-worker-qt has Qt PDF");
}

bool UsesThreadOfPool()
{
    return true; // for conversions of formats
}

std::string EngineName()
{
    Dl_info info = {};
    ::dladdr(reinterpret_cast<const void*>(&QPdfDocument::staticMetaObject), &info);
    return std::string("Qt PDF (") + (info.dli_fname ? info.dli_fname : "") + ")";
}

std::unique_ptr<PageEngine> MakePageEngine()
{
    static const QPdfDocument first; // else Qt PDF is shut down with the last document
    return std::make_unique<QtPdfEngine>();
}

} // namespace Korvel::Worker
