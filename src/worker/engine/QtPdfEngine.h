#pragma once

#include "PageEngine.h"
#include "WatchedFile.h"

#include <QBuffer>
#include <QPdfDocument>

namespace Korvel::Worker {

/** Pages by Qt PDF: each is drawn whole, and loaded anew for whatever is asked of it. */
class QtPdfEngine : public PageEngine
{
public:
    bool Open(const std::string& path) override;
    bool Open(const QByteArray& bytes) override;
    bool HasFailed() const override { return file.HasFailed(); }
    int PageCount() const override { return document.pageCount(); }
    QSizeF PageSize(int page) override;
    DrawRows Draw(int page, const PictureShape& shape) override;
    bool KnowsPlaces() const override { return false; }
    QString Text(int page) override;
    bool IsWorn() const override;

    /** None: to tell of them would load the page for each. */
    DrawnCharacters Characters(int /*page*/, bool /*wantsFonts*/) override { return {}; }

private:
    bool Load(QIODevice& bytes);
    void LoadAnew();

    WatchedFile file;
    QBuffer buffer;
    QPdfDocument document;
    /** How many pages were drawn since the document was loaded. */
    int pictures = 0;
    /** How many pages' text was read, whose memory Qt PDF never gives back. */
    int texts = 0;
};

} // namespace Korvel::Worker
