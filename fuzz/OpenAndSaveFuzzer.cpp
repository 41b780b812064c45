// A PDF, which is opened with the password "user", described, saved, and opened again.

#include "NewFile.h"
#include "PdfDocument.h"
#include "RequestError.h"
#include "WorkerFolder.h"

#include <cstdint>
#include <limits>
#include <new>

#include <QCoreApplication>

using namespace Korvel;

namespace {

const std::string original = std::string(Fuzz::currentFolder) + "original.pdf";
const std::string saved = std::string(Fuzz::currentFolder) + "saved.pdf";

void OpenAndSave()
{
    Worker::PdfDocument document(original, "user");
    const int pages = document.Description().pages;
    Fuzz::Require(pages > 0, "a document that opens has pages");
    {
        Worker::NewFile copy(saved, 0600, std::numeric_limits<std::uint64_t>::max());
        document.Save(copy);
        copy.Keep();
    }

    Worker::PdfDocument again(saved, {});
    const PDF::DocumentInfo description = again.Description();
    Fuzz::Require(!description.encrypted, "a saved document is not encrypted");
    Fuzz::Require(description.pages == pages, "a saved document has the pages of the original");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication application(*argc, *argv);
    Fuzz::EnterTempFolder();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::WriteFile(original, Fuzz::Text(data, size));
    try {
        OpenAndSave();
    } catch (const Worker::RequestError&) {
        // the document's fault
    } catch (const std::bad_alloc&) {
        // ends a worker, by its memory limit
    } catch (...) {
        Fuzz::Require(false, "documents throw nothing else");
    }
    ::unlink(saved.c_str());
    return 0;
}
