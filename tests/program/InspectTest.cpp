#include "DescribedJson.h"
#include "SamplePdf.h"

#include <gmock/gmock.h>

#include <QJsonArray>

namespace Korvel::App {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Not;

/** What --inspect tells of what is in documents. */
class InspectTest : public ProgramTest
{
protected:
    QStringList Lines(const QString& name) const
    {
        const Outcome run = Run({name, "--inspect"});
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        return run.results;
    }

    /** The document in the JSON that docs/pdfconvert.schema.json describes. */
    QJsonObject Json(const QString& name) const
    {
        const QJsonObject closing = Closing(Run({name, "--inspect", "--json"}));
        return closing["documents"].toArray().at(0).toObject();
    }

    /** A PDF of one page of what is drawn and of which resources, and of further objects. */
    void WritePdf(const QString& name, const QByteArray& content, const QByteArray& resources,
                  const QByteArray& ofCatalog = {}, const QByteArray& further = {}) const
    {
        Write("raw.pdf",
              "%PDF-1.7\n1 0 obj << /Type /Catalog /Pages 2 0 R " + ofCatalog +
                  " >> endobj\n"
                  "2 0 obj << /Type /Pages /Kids [3 0 R] /Count 1 >> endobj\n"
                  "3 0 obj << /Type /Page /Parent 2 0 R /MediaBox [0 0 200 100] /Contents 4 0 R"
                  " /Resources << " +
                  resources + " >> >> endobj\n4 0 obj << /Length " +
                  QByteArray::number(content.size()) + " >> stream\n" + content +
                  "\nendstream endobj\n" + further + "trailer << /Root 1 0 R >>\n");
        // It has no list of places, which is made up for once.
        EXPECT_EQ(Run({"raw.pdf", "-o", name}).exitCode, 3);
    }
};

TEST_F(InspectTest, TellsSizesInRowsOfPagesThatAreAlike)
{
    MakeSample("plain.pdf", 12);
    EXPECT_THAT(Lines("plain.pdf"), Contains("  Page size:     595 x 842 pt (210 x 297 mm)"));
    MakeRotatedPdf(Path("turned.pdf"));
    EXPECT_THAT(Lines("turned.pdf"),
                Contains("  Page size:     842 x 595 pt (297 x 210 mm), turned by 90 degrees"));
    MakeCroppedPdf(Path("cropped.pdf"), {10, 20, 300, 200});
    const QJsonArray sizes = Json("cropped.pdf")["pageSizes"].toArray();
    EXPECT_EQ(sizes,
              QJsonArray({QJsonObject{
                  {"first", 1}, {"last", 1}, {"width", 300}, {"height", 200}, {"rotation", 0}}}));
}

TEST_F(InspectTest, TellsWhatViewersShowInPlaceOfPageNumbers)
{
    MakeListedPdf(Path("listed.pdf"), 4);
    EXPECT_THAT(Lines("listed.pdf"), Contains("  Page labels:   i-ii, 1-2"));
    WritePdf("prefix.pdf", "", "", "/PageLabels << /Nums [0 << /S /A /P (App ) /St 27 >>] >>");
    EXPECT_THAT(Lines("prefix.pdf"), Contains("  Page labels:   App AA"));
    EXPECT_EQ(Json("prefix.pdf")["pageLabels"].toArray(),
              QJsonArray({QJsonObject{{"first", 1},
                                      {"last", 1},
                                      {"prefix", "App "},
                                      {"numbering", "upper-letters"},
                                      {"start", 27}}}));
    const auto labelled = [this](const QString& name, const QByteArray& labels) {
        const QByteArray page = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 9 9] >>";
        Write(name,
              PdfOf({"<< /Type /Catalog /Pages 2 0 R /PageLabels << /Nums [" + labels + "] >> >>",
                     "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R 6 0 R] /Count 4 >>", page, page,
                     page, page}));
    };
    labelled("each.pdf", "0 << /S /r >> 1 << /S /r /St 2 >> 2 << /S /D >> 3 << /S /D /St 2 >>");
    EXPECT_THAT(Lines("each.pdf"), Contains("  Page labels:   i-ii, 1-2"));
    labelled("late.pdf", "2 << /S /D >>");
    EXPECT_THAT(Lines("late.pdf"), Contains("  Page labels:   1-2")) << "of the last two";
    WritePdf("odd.pdf", "", "", "/PageLabels << /Nums [0 << /S /r /St 99999999999 >>] >>");
    EXPECT_THAT(Lines("odd.pdf"), Contains("  Page labels:   1000000000"));
    MakeSample("plain.pdf", 2);
    EXPECT_EQ(Json("plain.pdf")["pageLabels"].toArray(), QJsonArray());
}

TEST_F(InspectTest, TellsFontsAndWhetherTheyAreEmbedded)
{
    MakeFormPdf(Path("form.pdf"));
    EXPECT_THAT(Lines("form.pdf"),
                AllOf(Contains("  Font:          DejaVuSans, CIDFontType2, embedded"),
                      Contains("  Form fields:   1")));
    WritePdf("plain.pdf", "BT /F 9 Tf (x) Tj ET",
             "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>");
    EXPECT_THAT(Lines("plain.pdf"), Contains("  Font:          Helvetica, Type1, not embedded"));
}

TEST_F(InspectTest, TellsWhichPagesHaveText)
{
    MakeSample("text.pdf", 3);
    EXPECT_THAT(Lines("text.pdf"), Contains("  Text:          on all pages"));
    WritePdf("drawing.pdf", "0 0 50 50 re f % (no text) Tj", "");
    EXPECT_THAT(Lines("drawing.pdf"), Contains("  Text:          none"));
    EXPECT_EQ(Json("drawing.pdf")["textPages"].toArray(), QJsonArray());
}

TEST_F(InspectTest, LooksForTextOnlyWhereThereAreFonts)
{
    WritePdf("without.pdf", "BT /F 9 Tf (x) Tj ET", "");
    EXPECT_THAT(Lines("without.pdf"), Contains("  Text:          none"));
    const QByteArray font = "/Font << /F << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >>";
    WritePdf("unused.pdf", "BI /W 1 /H 1 /BPC 8 /CS /G ID ' EI 0 0 9 9 re f % Tj", font);
    EXPECT_THAT(Lines("unused.pdf"), Contains("  Text:          none"));
    WritePdf("state.pdf", "/G gs BT (x) Tj ET", "/ExtGState << /G << /Font [5 0 R 9] >> >>", {},
             "5 0 obj << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> endobj\n");
    EXPECT_THAT(Lines("state.pdf"), Contains("  Text:          on all pages"));
}

TEST_F(InspectTest, TellsNoBytesOfAttachmentsThatNoNumberHoldsExactly)
{
    WritePdf("huge.pdf", "", "", "/Names << /EmbeddedFiles << /Names [(a) 5 0 R] >> >>",
             "5 0 obj << /Type /Filespec /F (a) /UF (a) /EF << /F 6 0 R >> >> endobj\n"
             "6 0 obj << /Params << /Size 1152921504606846976 >> /Length 1 >> stream\n"
             "x\nendstream endobj\n");
    EXPECT_EQ(Json("huge.pdf")["attachments"].toArray(), QJsonArray({QJsonObject{{"name", "a"}}}));
}

TEST_F(InspectTest, FindsTextOfFormsOnlyWhereTheyAreDrawn)
{
    const QByteArray form =
        "5 0 obj << /Type /XObject /Subtype /Form /BBox [0 0 9 9]"
        " /Resources << /Font << /F << /Type /Font >> >> /XObject << /Self 5 0 R >> >>"
        " /Length 29 >> stream\n"
        "/Self Do BT (hidden) Tj ET   \nendstream endobj\n";
    const QByteArray resources = "/XObject << /Form 5 0 R >>";
    WritePdf("drawn.pdf", "q /Form Do Q", resources, {}, form);
    EXPECT_THAT(Lines("drawn.pdf"), Contains("  Text:          on all pages"));
    WritePdf("left.pdf", "q Q", resources, {}, form);
    EXPECT_THAT(Lines("left.pdf"), Contains("  Text:          none"));
}

TEST_F(InspectTest, TellsAttachmentsAndSignaturesWithoutBelievingThem)
{
    MakeListedPdf(Path("listed.pdf"), 2);
    EXPECT_THAT(Lines("listed.pdf"), AllOf(Contains("  Attachment:    notes.txt, 9 bytes"),
                                           Contains("  Form fields:   2")));
    WritePdf("signed.pdf", "", "", "/AcroForm << /Fields [5 0 R 6 0 R] /XFA (x) >>",
             "5 0 obj << /Subtype /Widget /FT /Sig /T (first) /V << /Type /Sig /Name (A\\nB) >> "
             ">> endobj\n"
             "6 0 obj << /Subtype /Widget /FT /Sig /T (second) >> endobj\n");
    EXPECT_THAT(Lines("signed.pdf"),
                AllOf(Contains("  Signature:     first, signed by A\\x0aB; not verified"),
                      Contains("  Signature:     second, not signed"),
                      Contains("  Form fields:   2, and XFA")));
    EXPECT_EQ(Json("signed.pdf")["signatures"].toArray().size(), 2);
}

TEST_F(InspectTest, TellsOfEncryptedAndDamagedDocumentsWhatIsInThem)
{
    MakeSample("secret.pdf", 1, "pw");
    Write("pw", "pw");
    EXPECT_THAT(Run({"secret.pdf", "--inspect", "--password-file", "pw"}).results,
                Contains("  Text:          on all pages"));
    WritePdf("odd.pdf", "BT (x) Tj", "/Font 7 /XObject [1]",
             "/AcroForm 3 /Names << /EmbeddedFiles 9 >>");
    EXPECT_THAT(Lines("odd.pdf"), AllOf(Contains("  Text:          on all pages"),
                                        Not(Contains("  Form fields:   1"))));
}

} // namespace
} // namespace Korvel::App
