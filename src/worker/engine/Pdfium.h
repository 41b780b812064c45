#pragma once

namespace Korvel::Worker {

/**
 * What the worker uses of PDFium's public C interface. Its reference are the headers in the folder
 * "public" of its sources; above each group stands which one, and each member, behind its prefix,
 * has the name of the function's heading there.
 */
struct Pdfium
{
    // fpdfview.h, "PDF types"
    using Document = struct DocumentRecord*;
    using Page = struct PageRecord*;
    using Bitmap = struct BitmapRecord*;
    using TextPage = struct TextPageRecord*;

    /** fpdfview.h, "FPDF_LIBRARY_CONFIG", of version 2 */
    struct LibraryConfig
    {
        int version = 2;
        const char** userFontPaths = nullptr; ///< where none are told, the system's
        void* isolate = nullptr;
        unsigned int embedderSlot = 0;
    };

    /** fpdfview.h, "FPDF_FILEACCESS" */
    struct FileAccess
    {
        unsigned long fileLength = 0;
        int (*getBlock)(void* parameter, unsigned long position, unsigned char* into,
                        unsigned long size) = nullptr; ///< answers 0 where it cannot be read
        void* parameter = nullptr;
    };

    /** fpdfview.h, "FS_MATRIX" */
    struct Matrix
    {
        float a = 1;
        float b = 0;
        float c = 0;
        float d = 1;
        float e = 0;
        float f = 0;
    };

    /** fpdfview.h, "FS_RECTF" */
    struct FloatRectangle
    {
        float left = 0;
        float top = 0;
        float right = 0;
        float bottom = 0;
    };

    /** fpdfview.h, "More DIB formats" */
    enum BitmapFormat : int { Gray = 1, Bgrx = 3, Bgra = 4 };

    /** fpdfview.h, "Page rendering flags" */
    enum RenderFlag : int { Annotations = 0x01 };

    // fpdfview.h
    void (*InitLibraryWithConfig)(const LibraryConfig* config);
    Document (*LoadCustomDocument)(FileAccess* file, const char* password);
    Document (*LoadMemDocument)(const void* bytes, int size, const char* password);
    void (*CloseDocument)(Document document);
    int (*GetPageCount)(Document document);
    int (*GetPageSizeByIndex)(Document document, int page, double* width, double* height);
    Page (*LoadPage)(Document document, int page);
    void (*ClosePage)(Page page);
    void (*PageToDevice)(Page page, int left, int top, int width, int height, int rotation,
                         double pageX, double pageY, int* x, int* y);
    Bitmap (*BitmapCreateEx)(int width, int height, int format, void* first, int stride);
    void (*BitmapDestroy)(Bitmap bitmap);
    void (*RenderPageBitmap)(Bitmap bitmap, Page page, int left, int top, int width, int height,
                             int rotation, int flags);

    // fpdf_text.h
    TextPage (*TextLoadPage)(Page page);
    void (*TextClosePage)(TextPage page);
    int (*TextCountChars)(TextPage page);
    unsigned int (*TextGetUnicode)(TextPage page, int character);
    double (*TextGetFontSize)(TextPage page, int character);
    int (*TextGetCharBox)(TextPage page, int character, double* left, double* right, double* bottom,
                          double* top);
    int (*TextGetLooseCharBox)(TextPage page, int character, FloatRectangle* box);
    int (*TextGetCharOrigin)(TextPage page, int character, double* x, double* y);
    float (*TextGetCharAngle)(TextPage page, int character); ///< in radians
    unsigned long (*TextGetFontInfo)(TextPage page, int character, void* name, unsigned long size,
                                     int* flags);
    int (*TextGetMatrix)(TextPage page, int character, Matrix* matrix);
    int (*TextGetText)(TextPage page, int start, int count, unsigned short* into);
};

} // namespace Korvel::Worker
