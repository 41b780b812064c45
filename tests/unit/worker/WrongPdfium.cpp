// A library with all functions of PDFium that the worker looks for. It draws nothing, or what it is
// built to draw.

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {
int any;
}

EXPORTED void FPDF_InitLibraryWithConfig(const void*) {}
EXPORTED void* FPDF_LoadCustomDocument(void*, const char*)
{
    return &any;
}
EXPORTED void* FPDF_LoadMemDocument(const void*, int, const char*)
{
    return &any;
}
EXPORTED void FPDF_CloseDocument(void*) {}
EXPORTED int FPDF_GetPageCount(void*)
{
    return 1;
}
EXPORTED int FPDF_GetPageSizeByIndex(void*, int, double*, double*)
{
    return 0;
}
EXPORTED void* FPDF_LoadPage(void*, int)
{
    return &any;
}
EXPORTED void FPDF_ClosePage(void*) {}
EXPORTED void FPDF_PageToDevice() {}
EXPORTED void* FPDFBitmap_CreateEx(int, int, int, void*, int)
{
    return &any;
}
EXPORTED void FPDFBitmap_Destroy(void*) {}
EXPORTED void FPDF_RenderPageBitmap() {}
EXPORTED void FPDFText_LoadPage() {}
EXPORTED void FPDFText_ClosePage() {}
EXPORTED void FPDFText_CountChars() {}
EXPORTED void FPDFText_GetUnicode() {}
EXPORTED void FPDFText_GetFontSize() {}
EXPORTED void FPDFText_GetCharBox() {}
EXPORTED void FPDFText_GetLooseCharBox() {}
EXPORTED void FPDFText_GetCharOrigin() {}
EXPORTED void FPDFText_GetCharAngle() {}
EXPORTED void FPDFText_GetFontInfo() {}
EXPORTED void FPDFText_GetMatrix() {}
#ifndef LACKS_A_FUNCTION
EXPORTED void FPDFText_GetText() {}
#endif
