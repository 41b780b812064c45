#include "WarmUp.h"

#include "FileDescriptor.h"
#include "ImageEncoder.h"
#include "PageRenderer.h"
#include "PdfDocument.h"
#include "RequestError.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include <QPdfDocument>

#include <sys/mman.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

// The document has no text: the search for fonts takes long where there are many, and not all
// documents need it.
constexpr char document[] = R"(%PDF-1.4
1 0 obj
<</Type/Catalog/Pages 2 0 R>>
endobj
2 0 obj
<</Type/Pages/Kids[3 0 R]/Count 1>>
endobj
3 0 obj
<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Contents 4 0 R>>
endobj
4 0 obj
<</Length 35>>
stream
.5 g 1 1 5 5 re f 0 g
2 2 5 5 re s
endstream
endobj
xref
0 5
0000000000 65535 f 
0000000009 00000 n 
0000000054 00000 n 
0000000105 00000 n 
0000000181 00000 n 
trailer
<</Size 5/Root 1 0 R>>
startxref
263
%%EOF
)";

void OpenAndDraw(const std::string& path)
{
    PdfDocument opened(path, std::string());
    opened.Description();
    opened.ForRendering();
    Encode(PageRenderer(path).Render(1, 72, QImage::Format_RGB32), {QStringLiteral("png")});
}

} // namespace

void WarmUp()
{
    static const QPdfDocument engine; // else the engine is shut down with the last document
    const PDF::FileDescriptor file(::memfd_create("warm-up", MFD_CLOEXEC));
    try {
        if (::write(file.Number(), document, sizeof(document) - 1) != sizeof(document) - 1)
            throw RequestError(Reason::CannotWrite, std::strerror(errno));
        OpenAndDraw("/proc/self/fd/" + std::to_string(file.Number()));
    } catch (const RequestError& failure) { // a warm-up that fails is no failure of the worker
        std::cerr << "warning: each document will take longer to open: " << failure.what()
                  << std::endl;
    }
}

} // namespace Korvel::Worker
