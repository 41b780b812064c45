#include "WarmUp.h"

#include "FileDescriptor.h"
#include "MemoryOutput.h"
#include "PageRenderer.h"
#include "PdfDocument.h"
#include "RequestError.h"
#include "WarmUpDocument.h"
#include "WriteAll.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include <sys/mman.h>

namespace Korvel::Worker {

namespace {

void OpenAndDraw(const std::string& path)
{
    PdfDocument opened(path, std::string());
    opened.Description();
    opened.ForRendering({});
    MemoryOutput picture;
    PictureLook look;
    look.encoding.format = WorkerProtocol::Format::png;
    PageRenderer(path).Write(picture, 1, look);
}

} // namespace

void WarmUp()
{
    constexpr std::size_t size = sizeof(warmUpDocument) - 1;
    const PDF::FileDescriptor file(::memfd_create("warm-up", MFD_CLOEXEC));
    try {
        if (!WriteAll(file.Number(), warmUpDocument, size))
            throw RequestError(Reason::CannotWrite, std::strerror(errno));
        OpenAndDraw("/proc/self/fd/" + std::to_string(file.Number()));
    } catch (const RequestError& failure) { // a warm-up that fails is no failure of the worker
        std::cerr << "warning: each document will take longer to open: " << failure.what()
                  << std::endl;
    }
}

} // namespace Korvel::Worker
