#include "PdfiumLibrary.h"

#include "WarmUpDocument.h"

#include <array>
#include <cstdlib>
#include <vector>

#include <dlfcn.h>

namespace Korvel::Worker {

namespace {

constexpr char libreOffices[] = "/usr/lib/libreoffice/program/libpdfiumlo.so";

std::vector<std::string> Candidates(const std::string& path)
{
    if (!path.empty())
        return {path};
    const char* const ofEnvironment = std::getenv("PDFCONVERT_PDFIUM");
    for (const char* const named : {ofEnvironment, PDFIUM_OF_BUILD}) {
        if (named && *named)
            return {named};
    }
    return {"libpdfium.so", libreOffices};
}

template <typename Function>
bool Find(void* library, const char* name, Function*& function)
{
    function = reinterpret_cast<Function*>(::dlsym(library, name));
    return function;
}

bool FindAll(void* library, Pdfium& pdfium)
{
    return Find(library, "FPDF_InitLibraryWithConfig", pdfium.InitLibraryWithConfig) &&
           Find(library, "FPDF_LoadCustomDocument", pdfium.LoadCustomDocument) &&
           Find(library, "FPDF_LoadMemDocument", pdfium.LoadMemDocument) &&
           Find(library, "FPDF_CloseDocument", pdfium.CloseDocument) &&
           Find(library, "FPDF_GetPageCount", pdfium.GetPageCount) &&
           Find(library, "FPDF_GetPageSizeByIndex", pdfium.GetPageSizeByIndex) &&
           Find(library, "FPDF_LoadPage", pdfium.LoadPage) &&
           Find(library, "FPDF_ClosePage", pdfium.ClosePage) &&
           Find(library, "FPDF_PageToDevice", pdfium.PageToDevice) &&
           Find(library, "FPDFBitmap_CreateEx", pdfium.BitmapCreateEx) &&
           Find(library, "FPDFBitmap_Destroy", pdfium.BitmapDestroy) &&
           Find(library, "FPDF_RenderPageBitmap", pdfium.RenderPageBitmap) &&
           Find(library, "FPDFText_LoadPage", pdfium.TextLoadPage) &&
           Find(library, "FPDFText_ClosePage", pdfium.TextClosePage) &&
           Find(library, "FPDFText_CountChars", pdfium.TextCountChars) &&
           Find(library, "FPDFText_GetUnicode", pdfium.TextGetUnicode) &&
           Find(library, "FPDFText_GetFontSize", pdfium.TextGetFontSize) &&
           Find(library, "FPDFText_GetCharBox", pdfium.TextGetCharBox) &&
           Find(library, "FPDFText_GetLooseCharBox", pdfium.TextGetLooseCharBox) &&
           Find(library, "FPDFText_GetCharOrigin", pdfium.TextGetCharOrigin) &&
           Find(library, "FPDFText_GetCharAngle", pdfium.TextGetCharAngle) &&
           Find(library, "FPDFText_GetFontInfo", pdfium.TextGetFontInfo) &&
           Find(library, "FPDFText_GetMatrix", pdfium.TextGetMatrix) &&
           Find(library, "FPDFText_GetText", pdfium.TextGetText);
}

struct Pixel
{
    unsigned char blue = 0xff;
    unsigned char green = 0xff;
    unsigned char red = 0xff;
    unsigned char unused = 0xff;

    bool IsGrayWithin(int darkest, int lightest) const
    {
        return blue == green && green == red && darkest <= red && red <= lightest;
    }
};

constexpr int side = warmUpSide;
using Pixels = std::array<Pixel, std::size_t(side) * side>;

void Draw(const Pdfium& pdfium, Pdfium::Document document, Pixels& pixels)
{
    const Pdfium::Page page = pdfium.LoadPage(document, 0);
    const Pdfium::Bitmap bitmap =
        pdfium.BitmapCreateEx(side, side, Pdfium::Bgrx, pixels.data(), side * int(sizeof(Pixel)));
    if (page && bitmap)
        pdfium.RenderPageBitmap(bitmap, page, 0, 0, side, side, 0, Pdfium::Annotations);
    if (bitmap)
        pdfium.BitmapDestroy(bitmap);
    if (page)
        pdfium.ClosePage(page);
}

/** Whether the page shows what it is to show: gray with a black frame, and white around it. */
bool IsRight(const Pixels& pixels)
{
    const auto at = [&pixels](int x, int y) {
        return pixels[std::size_t(y) * side + std::size_t(x)];
    };
    return at(side - 1, 0).IsGrayWithin(255, 255) && at(3, 5).IsGrayWithin(126, 129) &&
           at(2, 5).IsGrayWithin(0, 100) && at(0, side - 1).IsGrayWithin(255, 255);
}

bool DrawsRight(const Pdfium& pdfium)
{
    const Pdfium::LibraryConfig config;
    pdfium.InitLibraryWithConfig(&config);
    const Pdfium::Document document =
        pdfium.LoadMemDocument(warmUpDocument, sizeof(warmUpDocument) - 1, nullptr);
    if (!document)
        return false;
    Pixels pixels;
    if (pdfium.GetPageCount(document) == 1)
        Draw(pdfium, document, pixels);
    pdfium.CloseDocument(document);
    return IsRight(pixels);
}

std::string FileOf(const Pdfium& pdfium)
{
    Dl_info info = {};
    ::dladdr(reinterpret_cast<const void*>(pdfium.RenderPageBitmap), &info);
    return info.dli_fname ? info.dli_fname : "";
}

std::optional<PdfiumLibrary> LoadFrom(const std::string& path)
{
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return std::nullopt;
    PdfiumLibrary found = {};
    if (!FindAll(library, found.functions) || !DrawsRight(found.functions)) {
        ::dlclose(library);
        return std::nullopt;
    }
    found.file = FileOf(found.functions);
    return found;
}

} // namespace

std::optional<PdfiumLibrary> LoadPdfium(const std::string& path)
{
    for (const std::string& candidate : Candidates(path)) {
        if (auto library = LoadFrom(candidate))
            return library;
    }
    return std::nullopt;
}

} // namespace Korvel::Worker
