#include "SamplePdf.h"

#include <cmath>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPdfWriter>
#include <QTemporaryDir>

namespace {

constexpr int pointsPerInch = 72;
constexpr double pi = 3.14159265358979323846;

QFont Font(int points)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSize(points);
    return font;
}

/** A picture as a camera would give one: no two neighbours quite alike. */
QImage Picture()
{
    using Share = decltype(QColor().hueF()); // double in Qt 5, float in Qt 6
    QImage picture(160, 120, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const double wave = 0.5 + 0.5 * std::sin(x / 9.0) * std::cos(y / 7.0);
            const double light = 0.4 + 0.6 * y / picture.height();
            picture.setPixelColor(x, y, QColor::fromHsvF(Share(wave), Share(0.6), Share(light)));
        }
    }
    return picture;
}

QPainterPath Star(const QPointF& centre, double radius, int points)
{
    QPainterPath star;
    for (int i = 0; i <= 2 * points; ++i) {
        const double angle = pi * i / points - pi / 2;
        const double r = i % 2 == 0 ? radius : radius / 2;
        const QPointF corner = centre + r * QPointF(std::cos(angle), std::sin(angle));
        i == 0 ? star.moveTo(corner) : star.lineTo(corner);
    }
    return star;
}

void PaintPage(QPainter& painter, int page)
{
    painter.setFont(Font(48));
    painter.drawText(QPointF(60, 110), QStringLiteral("Page %1").arg(page));
    painter.fillRect(samplePatch, SampleColour(page));

    painter.setFont(Font(12));
    painter.drawText(QRectF(60, 150, 470, 80), Qt::TextWordWrap,
                     QStringLiteral("This page was text, a drawing and a picture in a PDF. Whoever "
                                    "sees it as a picture has converted it. \u00c4 \u00f6 \u00df "
                                    "\u20ac \u03a9 \u0416"));
    painter.setPen(QPen(Qt::darkBlue, 3));
    painter.setBrush(QColor(255, 220, 120));
    painter.drawPath(Star({150, 380}, 90, 4 + page % 7));
    painter.setBrush(Qt::NoBrush);
    for (int ring = 0; ring < 8; ++ring)
        painter.drawEllipse(QPointF(150, 380), 100 + 6 * ring, 100 + 6 * ring);
    painter.setPen(Qt::black);
    painter.drawImage(QRectF(310, 280, 220, 165), Picture());
}

/** Makes a sample and changes it. */
void MakeChangedPages(const QString& path, int pages, const std::function<void(QPDF&)>& change)
{
    const QTemporaryDir folder;
    const QString plain = folder.filePath(QStringLiteral("plain.pdf"));
    MakeSamplePdf(plain, pages);
    QPDF pdf;
    pdf.processFile(plain.toUtf8().constData());
    change(pdf);
    const QByteArray file = path.toUtf8(); // the writer keeps the pointer
    QPDFWriter writer(pdf, file.constData());
    writer.write();
}

/** Makes a sample of one page and changes it. */
void MakeChanged(const QString& path,
                 const std::function<void(QPDF&, QPDFObjectHandle page)>& change)
{
    MakeChangedPages(path, 1, [&](QPDF& pdf) { change(pdf, pdf.getAllPages().front()); });
}

/** On the page, where points are counted from the bottom left. */
QPDFObjectHandle OnPage(QPDFObjectHandle page, const QRect& rectangle)
{
    const double top = page.getKey("/MediaBox").getArrayItem(3).getNumericValue();
    return QPDFObjectHandle::newFromRectangle(
        {double(rectangle.x()), top - rectangle.y() - rectangle.height(),
         double(rectangle.x() + rectangle.width()), top - rectangle.y()});
}

QPDFObjectHandle AddAnnotation(QPDF& pdf, QPDFObjectHandle page, const QRect& place,
                               const std::string& dictionary)
{
    QPDFObjectHandle annotation = pdf.makeIndirectObject(QPDFObjectHandle::parse(dictionary));
    annotation.replaceKey("/Rect", OnPage(page, place));
    if (!page.hasKey("/Annots"))
        page.replaceKey("/Annots", QPDFObjectHandle::newArray());
    page.getKey("/Annots").appendItem(annotation);
    return annotation;
}

std::string ColourOfAnnotation()
{
    return QStringLiteral("%1 %2 %3")
        .arg(sampleAnnotationColour.redF())
        .arg(sampleAnnotationColour.greenF())
        .arg(sampleAnnotationColour.blueF())
        .toStdString();
}

/** A square whose appearance is for the reader to make. */
QPDFObjectHandle AddSquare(QPDF& pdf, QPDFObjectHandle page)
{
    const std::string colour = "[" + ColourOfAnnotation() + "]";
    return AddAnnotation(pdf, page, sampleAnnotation,
                         "<< /Type /Annot /Subtype /Square /F 4 /C " + colour + " /IC " + colour +
                             " >>");
}

void AddSquareWithAppearance(QPDF& pdf, QPDFObjectHandle page)
{
    QPDFObjectHandle appearance = pdf.newStream(ColourOfAnnotation() + " rg 0 0 1 1 re f");
    appearance.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
    appearance.getDict().replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 1 1]"));
    AddSquare(pdf, page).replaceKey("/AP", QPDFObjectHandle::newDictionary({{"/N", appearance}}));
}

void AddField(QPDF& pdf, QPDFObjectHandle page)
{
    QPDFObjectHandle field =
        AddAnnotation(pdf, page, sampleField,
                      "<< /Type /Annot /Subtype /Widget /FT /Tx /T (field) /V (Filled in) /F 4"
                      " /DA (/Helv 24 Tf 0 g) >>");
    QPDFObjectHandle form = QPDFObjectHandle::parse(
        "<< /NeedAppearances true /DA (/Helv 24 Tf 0 g) /DR << /Font << /Helv"
        " << /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"
        " >> >> >>");
    form.replaceKey("/Fields", QPDFObjectHandle::newArray({field}));
    pdf.getRoot().replaceKey("/AcroForm", pdf.makeIndirectObject(form));
}

using Objects = std::vector<QPDFObjectHandle>;

QPDFObjectHandle Dictionary(QPDF& pdf, const std::string& text)
{
    return pdf.makeIndirectObject(QPDFObjectHandle::parse(text));
}

QPDFObjectHandle To(const QPDFObjectHandle& page)
{
    return QPDFObjectHandle::newArray({page, QPDFObjectHandle::newName("/Fit")});
}

/** Puts headings in a row below another one. */
void Hang(QPDFObjectHandle above, const Objects& headings)
{
    for (std::size_t i = 0; i < headings.size(); ++i) {
        QPDFObjectHandle heading = headings[i];
        heading.replaceKey("/Parent", above);
        if (i > 0)
            heading.replaceKey("/Prev", headings[i - 1]);
        if (i + 1 < headings.size())
            heading.replaceKey("/Next", headings[i + 1]);
    }
    above.replaceKey("/First", headings.front());
    above.replaceKey("/Last", headings.back());
}

void AddHeadings(QPDF& pdf, const Objects& pages)
{
    QPDFObjectHandle one = Dictionary(pdf, "<< /Title (One) /Count -1 >>");
    one.replaceKey("/Dest", To(pages[0]));
    QPDFObjectHandle below = Dictionary(pdf, "<< /Title (One below) >>");
    below.replaceKey("/Dest", To(pages[pages.size() > 2 ? 2 : 0]));
    Hang(one, {below});
    const QPDFObjectHandle two =
        Dictionary(pdf, "<< /Title (Two) /A << /S /GoTo /D (second) >> >>");
    const QPDFObjectHandle out =
        Dictionary(pdf, "<< /Title (Out) /A << /S /URI /URI (https://example.org/) >> >>");
    const QPDFObjectHandle all = Dictionary(pdf, "<< /Type /Outlines /Count 3 >>");
    Hang(all, {one, two, out});
    pdf.getRoot().replaceKey("/Outlines", all);
    QPDFObjectHandle places = QPDFObjectHandle::parse("[(second) null]");
    places.setArrayItem(1, To(pages[pages.size() > 1 ? 1 : 0]));
    QPDFObjectHandle names = Dictionary(pdf, "<< /Dests << >> >>");
    names.getKey("/Dests").replaceKey("/Names", places);
    pdf.getRoot().replaceKey("/Names", names);
}

void AddFieldsAndLinks(QPDF& pdf, const Objects& pages)
{
    Objects fields;
    for (std::size_t i = 0; i < pages.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        fields.push_back(AddAnnotation(pdf, pages[i], sampleField,
                                       "<< /Type /Annot /Subtype /Widget /FT /Tx /F 4"
                                       " /DA (/Helv 24 Tf 0 g) /T (field " +
                                           number + ") /V (value " + number + ") >>"));
        AddAnnotation(pdf, pages[i], samplePatch, "<< /Type /Annot /Subtype /Link >>")
            .replaceKey("/Dest", To(pages[(i + 1) % pages.size()]));
    }
    QPDFObjectHandle form = Dictionary(
        pdf, "<< /DA (/Helv 24 Tf 0 g) /DR << /Font << /Helv << /Type /Font /Subtype /Type1"
             " /BaseFont /Helvetica /Encoding /WinAnsiEncoding >> >> >> >>");
    form.replaceKey("/Fields", QPDFObjectHandle::newArray(fields));
    pdf.getRoot().replaceKey("/AcroForm", form);
}

void AddTags(QPDF& pdf, const Objects& pages)
{
    const QPDFObjectHandle root = Dictionary(pdf, "<< /Type /StructTreeRoot >>");
    Objects tags;
    for (std::size_t i = 0; i < pages.size(); ++i) {
        tags.push_back(Dictionary(pdf, "<< /Type /StructElem /S /P /ActualText (tag " +
                                           std::to_string(i + 1) + ") >>"));
        tags.back().replaceKey("/Pg", pages[i]);
        tags.back().replaceKey("/P", root);
    }
    QPDFObjectHandle(root).replaceKey("/K", QPDFObjectHandle::newArray(tags));
    pdf.getRoot().replaceKey("/StructTreeRoot", root);
    pdf.getRoot().replaceKey("/MarkInfo", QPDFObjectHandle::parse("<< /Marked true >>"));
}

/** The resources of one page stay what that page needs where all pages have those of all. */
void ShareResources(QPDF& pdf, const Objects& pages)
{
    const QPDFObjectHandle shared = Dictionary(pdf, "<< >>");
    for (QPDFObjectHandle page : pages) {
        QPDFObjectHandle own = page.getKey("/Resources");
        QPDFObjectHandle(shared).mergeResources(own);
        page.replaceKey("/Resources", shared);
    }
}

void ChangeBytes(const QString& path, const std::function<void(QByteArray&)>& change)
{
    QFile file(path);
    file.open(QIODevice::ReadWrite);
    QByteArray bytes = file.readAll();
    change(bytes);
    file.resize(0);
    file.seek(0);
    file.write(bytes);
}

/** A dictionary of such members, of which others stand in place of those of the same keys. */
QPDFObjectHandle Dictionary(const std::string& members, const std::string& others)
{
    QPDFObjectHandle dictionary = QPDFObjectHandle::parse("<<" + members + ">>");
    for (const auto& [key, value] : QPDFObjectHandle::parse("<<" + others + ">>").getDictAsMap())
        dictionary.replaceKey(key, value);
    return dictionary;
}

} // namespace

QColor SampleColour(int page)
{
    return QColor::fromHsv(page * 47 % 360, 200, 220);
}

void MakeSamplePdf(const QString& path, int pages)
{
    QPdfWriter writer(path);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF());
    writer.setResolution(pointsPerInch);
    writer.setTitle(QStringLiteral("Sample"));
    writer.setCreator(QStringLiteral("pdfconvert"));
    QPainter painter;
    if (!painter.begin(&writer))
        throw std::runtime_error("cannot write " + path.toStdString());
    for (int page = 1; page <= pages; ++page) {
        if (page > 1)
            writer.newPage();
        PaintPage(painter, page);
    }
}

void EncryptPdf(const QString& from, const QString& to, Encryption encryption,
                const QByteArray& userPassword, const QByteArray& ownerPassword,
                const Allowed& allowed)
{
    QPDF pdf;
    pdf.processFile(from.toUtf8().constData());
    const QByteArray file = to.toUtf8(); // the writer keeps the pointer
    QPDFWriter writer(pdf, file.constData());
    const char* const user = userPassword.constData();
    const char* const owner = ownerPassword.constData();
    const qpdf_r3_print_e printing = !allowed.print                ? qpdf_r3p_none
                                     : allowed.printHighResolution ? qpdf_r3p_full
                                                                   : qpdf_r3p_low;
    switch (encryption) {
    case Encryption::Rc4_40:
        writer.setR2EncryptionParametersInsecure(user, owner, allowed.print, allowed.modify,
                                                 allowed.copy, allowed.annotate);
        break;
    case Encryption::Rc4_128:
        writer.setR3EncryptionParametersInsecure(user, owner, allowed.accessibility, allowed.copy,
                                                 allowed.assemble, allowed.annotate,
                                                 allowed.fillForms, allowed.modify, printing);
        break;
    case Encryption::Aes128:
        writer.setR4EncryptionParametersInsecure(
            user, owner, allowed.accessibility, allowed.copy, allowed.assemble, allowed.annotate,
            allowed.fillForms, allowed.modify, printing, true, true);
        break;
    case Encryption::Aes256:
        writer.setR6EncryptionParameters(user, owner, allowed.accessibility, allowed.copy,
                                         allowed.assemble, allowed.annotate, allowed.fillForms,
                                         allowed.modify, printing, true);
        break;
    }
    writer.write();
}

void MakeListedPdf(const QString& path, int pages)
{
    MakeChangedPages(path, pages, [](QPDF& pdf) {
        const Objects all = pdf.getAllPages();
        AddHeadings(pdf, all);
        AddFieldsAndLinks(pdf, all);
        AddTags(pdf, all);
        ShareResources(pdf, all);
        pdf.getRoot().replaceKey("/PageLabels",
                                 QPDFObjectHandle::parse("<< /Nums [0 << /S /r >> 2 << /S /D >>]"
                                                         " >>"));
        QPDFEmbeddedFileDocumentHelper(pdf).replaceEmbeddedFile(
            "notes.txt",
            QPDFFileSpecObjectHelper::createFileSpec(
                pdf, "notes.txt", QPDFEFStreamObjectHelper::createEFStream(pdf, "to attach")));
    });
}

void MakeFormPdf(const QString& path)
{
    MakeChanged(path, [](QPDF& pdf, QPDFObjectHandle page) {
        AddSquare(pdf, page);
        AddField(pdf, page);
    });
}

void MakeAnnotatedPdf(const QString& path)
{
    MakeChanged(path, AddSquareWithAppearance);
}

void MakeRotatedPdf(const QString& path)
{
    MakeChanged(path, [](QPDF&, QPDFObjectHandle page) {
        page.replaceKey("/Rotate", QPDFObjectHandle::newInteger(90));
    });
}

void MakeCroppedPdf(const QString& path, const QRect& part)
{
    MakeChanged(path, [&](QPDF&, QPDFObjectHandle page) {
        page.replaceKey("/CropBox", OnPage(page, part));
    });
}

void MakePdfWithBoxes(const QString& path, const std::map<std::string, QRect>& boxes, int degrees)
{
    MakeChanged(path, [&](QPDF&, QPDFObjectHandle page) {
        for (const auto& [name, box] : boxes)
            page.replaceKey('/' + name, OnPage(page, box));
        page.replaceKey("/Rotate", QPDFObjectHandle::newInteger(degrees));
    });
}

void MakePdfOfSize(const QString& path, const QSizeF& size)
{
    MakeChanged(path, [&](QPDF&, QPDFObjectHandle page) {
        page.replaceKey("/MediaBox",
                        QPDFObjectHandle::newFromRectangle({0, 0, size.width(), size.height()}));
    });
}

void MakePagesOfSizes(const QString& path, const std::vector<QSizeF>& sizes)
{
    MakeChanged(path, [&](QPDF& pdf, QPDFObjectHandle page) {
        for (const QSizeF& size : sizes) {
            QPDFObjectHandle copy = pdf.makeIndirectObject(page.shallowCopy());
            copy.replaceKey("/MediaBox", QPDFObjectHandle::newFromRectangle(
                                             {0, 0, size.width(), size.height()}));
            pdf.addPage(copy, false);
        }
        pdf.removePage(page);
    });
}

void MakeScannedPdf(const QString& path, const std::vector<ScannedPage>& pages)
{
    QPDF pdf;
    pdf.emptyPDF();
    for (const ScannedPage& scanned : pages) {
        const QImage shown = QImage::fromData(scanned.jpeg);
        QPDFObjectHandle picture = QPDFObjectHandle::newStream(
            &pdf, std::string(scanned.jpeg.constData(), std::size_t(scanned.jpeg.size())));
        const std::string size =
            "/Width " + std::to_string(shown.width()) + "/Height " + std::to_string(shown.height());
        const std::string colors = shown.isGrayscale() ? "/DeviceGray" : "/DeviceRGB";
        picture.replaceDict(Dictionary("/Subtype/Image/Filter/DCTDecode/BitsPerComponent 8" + size +
                                           "/ColorSpace" + colors,
                                       scanned.picture));
        QPDFObjectHandle page = pdf.makeIndirectObject(
            Dictionary("/Type/Page/MediaBox[0 0 288 144]/Resources<</Font<</F<</Type/Font/Subtype"
                       "/Type1/BaseFont/Helvetica>>>>/XObject<<>>>>",
                       scanned.page));
        page.getKey("/Resources").getKey("/XObject").replaceKey("/Scan", picture);
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&pdf, scanned.content));
        pdf.addPage(page, false);
    }
    const QByteArray file = path.toUtf8(); // the writer keeps the pointer
    QPDFWriter writer(pdf, file.constData());
    writer.setStreamDataMode(qpdf_s_preserve);
    writer.write();
}

QByteArray PdfStream(const QByteArray& data, const QByteArray& dictionary)
{
    return "<<" + dictionary + "/Length " + QByteArray::number(data.size()) + ">>stream\n" + data +
           "\nendstream";
}

QByteArray PdfOf(const QByteArrayList& objects)
{
    QByteArray bytes = "%PDF-1.7\n";
    QByteArray table = "0000000000 65535 f \n";
    for (int i = 0; i < objects.size(); ++i) {
        table += QByteArray::number(bytes.size()).rightJustified(10, '0') + " 00000 n \n";
        bytes += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const QByteArray size = QByteArray::number(objects.size() + 1);
    const QByteArray start = QByteArray::number(bytes.size());
    return bytes + "xref\n0 " + size + '\n' + table + "trailer<</Size " + size +
           "/Root 1 0 R>>\nstartxref\n" + start + "\n%%EOF\n";
}

void MakePdfOfCropBoxes(const QString& path, const QByteArrayList& cropBoxes,
                        const QByteArray& drawn)
{
    QByteArrayList objects{"<</Type/Catalog/Pages 2 0 R>>", "", PdfStream(drawn)};
    QByteArray kids;
    for (const QByteArray& box : cropBoxes) {
        objects << "<</Type/Page/Parent 2 0 R/Contents 3 0 R/MediaBox[0 0 200 200]/CropBox[" + box +
                       "]>>";
        kids += QByteArray::number(objects.size()) + " 0 R ";
    }
    objects[1] =
        "<</Type/Pages/Kids[" + kids + "]/Count " + QByteArray::number(cropBoxes.size()) + ">>";
    QFile file(path);
    const QByteArray bytes = PdfOf(objects);
    if (!file.open(QFile::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

void MakePdfWithoutPages(const QString& path)
{
    MakeChanged(path, [](QPDF& pdf, QPDFObjectHandle page) { pdf.removePage(page); });
}

void BreakCrossReferences(const QString& path)
{
    ChangeBytes(path, [](QByteArray& bytes) {
        const auto number = bytes.lastIndexOf("startxref") + int(qstrlen("startxref\n"));
        bytes.replace(number, bytes.indexOf('\n', number) - number, "7");
    });
}

void LoseStreamLengths(const QString& path)
{
    ChangeBytes(path, [](QByteArray& bytes) { bytes.replace("/Length ", "/Lengtx "); });
}
