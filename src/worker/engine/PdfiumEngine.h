#pragma once

#include "Affine.h"
#include "PageEngine.h"
#include "Pdfium.h"
#include "WatchedFile.h"

#include <string>

namespace Korvel::Worker {

/** Pages by PDFium's own interface, drawn in bands where they are large. */
class PdfiumEngine : public PageEngine
{
public:
    /**
     * @param pdfium      outlives the engine
     * @param mostAtOnce  bytes of a picture that is drawn as a whole, and of a band of a larger one
     */
    explicit PdfiumEngine(const Pdfium& pdfium, std::size_t mostAtOnce = std::size_t(64) << 20)
        : pdfium(pdfium), mostAtOnce(mostAtOnce)
    {
    }
    ~PdfiumEngine() override;

    bool Open(const std::string& path) override;
    bool Open(const QByteArray& bytes) override;
    bool HasFailed() const override { return file.HasFailed(); }
    int PageCount() const override;
    QSizeF PageSize(int page) override;
    DrawRows Draw(int page, const PictureShape& shape) override;
    bool KnowsPlaces() const override { return true; }
    QString Text(int page) override;
    DrawnCharacters Characters(int page, bool wantsFonts) override;

private:
    bool OpenDocument();
    void CloseDocument();
    void Load(int page);
    void LoadText(int page);
    void Close();
    void CloseText();
    void DrawBand(const PictureShape& shape, int first, const Rows& into);
    TextCharacter Character(int number, const Affine& shown, double turnOfPage) const;
    double AngleOf(int character) const;
    void PlaceUpright(TextCharacter& character, int number, double baseline,
                      const Affine& shown) const;
    void PlaceTurned(TextCharacter& character, int number, const Affine& shown) const;
    QRectF Inked(int character) const;
    std::string FontOf(int character) const;
    bool IsOfTexSymbols(int character) const;
    bool HasNamedFont(int character) const;
    Affine Shown() const;
    QPointF Point(double x, double y) const;

    const Pdfium& pdfium;
    const std::size_t mostAtOnce;
    WatchedFile file;
    QByteArray bytes;
    Pdfium::Document document = nullptr;
    /** Pages that were loaded since the document was opened. */
    int loads = 0;
    /** The page that is loaded, its size, and its text once it was wanted. */
    int index = -1;
    QSizeF size;
    Pdfium::Page loaded = nullptr;
    Pdfium::TextPage text = nullptr;
};

} // namespace Korvel::Worker
