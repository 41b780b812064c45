// Which texts of a document are those of its pages: what is drawn, and nothing else.

#include "WorkerFixture.h"

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFWriter.hh>

#include <QFile>
#include <QImage>
#include <QJsonArray>

namespace Korvel::Worker {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr int hidden = 2;
constexpr int printed = 4;
constexpr int notOnScreens = 32;

QPDFObjectHandle Parse(const std::string& text)
{
    return QPDFObjectHandle::parse(text);
}

std::string Line(const std::string& text, int y)
{
    return "BT /F 12 Tf 50 " + std::to_string(y) + " Td (" + text + ") Tj ET\n";
}

class ShownTextTest : public WorkerFixture
{
protected:
    ShownTextTest()
    {
        pdf.emptyPDF();
        font = pdf.makeIndirectObject(
            Parse("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding"
                  " /WinAnsiEncoding >>"));
        page = pdf.makeIndirectObject(Parse("<< /Type /Page /MediaBox [0 0 400 500] >>"));
        page.replaceKey("/Resources", Resources());
    }

    QPDFObjectHandle Resources()
    {
        QPDFObjectHandle resources = Parse("<< /Font << >> /XObject << >> /Properties << >> >>");
        resources.getKey("/Font").replaceKey("/F", font);
        return resources;
    }

    /** A form of 200 by 100 points that says this. */
    QPDFObjectHandle Form(const std::string& text)
    {
        QPDFObjectHandle form = pdf.newStream(Line(text, 50));
        form.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
        form.getDict().replaceKey("/BBox", Parse("[0 0 200 100]"));
        form.getDict().replaceKey("/Resources", Resources());
        return form;
    }

    /** Adds a font without a name, /B, of nine characters that are called so. */
    QPDFObjectHandle AddFontOfBitmaps(int firstCode, const std::string& names)
    {
        const std::string first = std::to_string(firstCode);
        QPDFObjectHandle bitmaps = pdf.makeIndirectObject(
            Parse("<< /Type /Font /Subtype /Type3 /FontBBox [0 0 50 60] /FirstChar " + first +
                  " /LastChar " + std::to_string(firstCode + 8) +
                  " /FontMatrix [0.01 0 0 0.01 0 0] /Widths [50 50 50 50 50 50 50 50 50]"
                  " /CharProcs << >> /Encoding << /Differences [" +
                  first + names + "] >> >>"));
        QPDFObjectHandle shapes = bitmaps.getKey("/CharProcs");
        for (QPDFObjectHandle name : Parse("[" + names + "]").getArrayAsVector())
            shapes.replaceKey(name.getName(), pdf.newStream("50 0 0 0 40 60 d1 0 0 40 60 re f"));
        page.getKey("/Resources").getKey("/Font").replaceKey("/B", bitmaps);
        return bitmaps;
    }

    void AddForm(const std::string& name, const QPDFObjectHandle& form)
    {
        page.getKey("/Resources").getKey("/XObject").replaceKey(name, form);
    }

    /** Its appearance says the text. */
    QPDFObjectHandle AddAnnotation(const std::string& subtype, const std::string& text,
                                   int flags = printed)
    {
        QPDFObjectHandle annotation = pdf.makeIndirectObject(
            Parse("<< /Type /Annot /Subtype " + subtype + " /Rect [100 300 300 400] /F " +
                  std::to_string(flags) + " >>"));
        annotation.replaceKey("/AP", QPDFObjectHandle::newDictionary({{"/N", Form(text)}}));
        if (!page.hasKey("/Annots"))
            page.replaceKey("/Annots", QPDFObjectHandle::newArray());
        page.getKey("/Annots").appendItem(annotation);
        return annotation;
    }

    /** Adds a field of these members; its appearance is for the reader to make. */
    void AddField(const std::string& members, int flags = printed)
    {
        QPDFObjectHandle field = AddAnnotation("/Widget", "", flags);
        field.removeKey("/AP");
        for (const auto& [key, value] : Parse("<< " + members + " >>").getDictAsMap())
            field.replaceKey(key, value);
        QPDFObjectHandle form = Parse("<< /NeedAppearances true /DA (/F 12 Tf 0 g) >>");
        form.replaceKey("/DR", Resources());
        form.replaceKey("/Fields", QPDFObjectHandle::newArray({field}));
        pdf.getRoot().replaceKey("/AcroForm", form);
    }

    /** Adds a layer that the page's content knows by this name. */
    QPDFObjectHandle AddLayer(const std::string& name, bool isShown)
    {
        const QPDFObjectHandle layer =
            pdf.makeIndirectObject(Parse("<< /Type /OCG /Name (layer) >>"));
        AddMembership(name, layer);
        if (!pdf.getRoot().hasKey("/OCProperties"))
            pdf.getRoot().replaceKey("/OCProperties", Parse("<< /OCGs [] /D << /OFF [] >> >>"));
        QPDFObjectHandle properties = pdf.getRoot().getKey("/OCProperties");
        properties.getKey("/OCGs").appendItem(layer);
        if (!isShown)
            properties.getKey("/D").getKey("/OFF").appendItem(layer);
        return layer;
    }

    void AddMembership(const std::string& name, const QPDFObjectHandle& membership)
    {
        page.getKey("/Resources").getKey("/Properties").replaceKey(name, membership);
    }

    /** The text of the page when it has this content besides. */
    std::string TextWith(const std::string& content = {}, const QString& format = "txt")
    {
        WriteDocument(content);
        const QString output = Path("out." + format);
        QFile::remove(output);
        EXPECT_EQ(Outcome(Convert(Path("shown.pdf"), output, format)), "ok");
        return ReadFile(output).toStdString();
    }

    /** Its lines; one of the engines tells no paragraphs. */
    std::string LinesWith(const std::string& content = {})
    {
        const QString text = QString::fromStdString(TextWith(content));
        return text.split('\n', Qt::SkipEmptyParts).join('\n').remove('\f').toStdString();
    }

    void WriteDocument(const std::string& content)
    {
        page.replaceKey("/Contents", pdf.newStream(Line("plain words", 450) + content));
        if (pdf.getAllPages().empty())
            pdf.addPage(page, false);
        const QByteArray file = Path("shown.pdf").toUtf8(); // the writer keeps the pointer
        QPDFWriter writer(pdf, file.constData());
        writer.write();
    }

    QPDF pdf;
    QPDFObjectHandle font;
    QPDFObjectHandle page;
};

std::string Marked(const std::string& layer, const std::string& content)
{
    return "/OC " + layer + " BDC\n" + content + "EMC\n";
}

TEST_F(ShownTextTest, HasLettersOfBitmapsThatAreNamedAsDingbatsAre)
{
    if (qgetenv("ENGINE") == "qt")
        GTEST_SKIP() << "this engine's text stays as it is";
    AddFontOfBitmaps(1, "/a16 /a17 /a28 /a45 /a50 /a97 /a110 /a161 /a167")
        .replaceKey("/ToUnicode",
                    pdf.newStream("1 beginbfrange <01> <09> [<270f> <2711> <271c> <2732> <2737> "
                                  "<275b> <2765> <2192> <279c>] endbfrange"));
    const std::string words = "BT /B 12 Tf 50 400 Td <01060302> Tj 60 0 Td <060804> Tj"
                              " 60 0 Td <0905> Tj ET";
    EXPECT_EQ(LinesWith(words), "plain words\n\u201cafi\u201d a\u0105- \u00a72\n");
}

TEST_F(ShownTextTest, HasBulletsOfBitmapsThatAreNothingButTheirCodes)
{
    if (qgetenv("ENGINE") == "qt")
        GTEST_SKIP() << "this engine's text stays as it is";
    AddFontOfBitmaps(0x86, "/a134 /a135 /a136 /a137 /a138 /a139 /a140 /a141 /a142");
    const std::string words = "BT /B 12 Tf 50 400 Td <88> Tj /F 12 Tf 20 0 Td (item) Tj"
                              " /B 12 Tf 40 0 Td <88898a8b> Tj ET";
    EXPECT_EQ(LinesWith(words), "plain words\n\u2022 item\n") << "others may be any letters";
}

TEST_F(ShownTextTest, HasDingbatsOfOtherFonts)
{
    font.replaceKey("/ToUnicode", pdf.newStream("1 beginbfchar <61> <275b> endbfchar"));
    EXPECT_EQ(LinesWith(), "pl\u275bin words\n");
}

TEST_F(ShownTextTest, HoldsLettersThatHaveNoWidthOfTheirOwn)
{
    if (qgetenv("ENGINE") == "qt")
        GTEST_SKIP() << "this engine's text stays as it is";
    QPDFObjectHandle khmer = pdf.makeIndirectObject(
        Parse("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar 97 /LastChar 99"
              " /Widths [556 0 500] >>"));
    khmer.replaceKey("/ToUnicode",
                     pdf.newStream("3 beginbfchar <61> <1798> <62> <17d217a1> <63> <179f> "
                                   "endbfchar"));
    page.getKey("/Resources").getKey("/Font").replaceKey("/K", khmer);
    EXPECT_EQ(LinesWith("BT /K 12 Tf 50 400 Td [(a) 556 (b) -556 (c)] TJ ET"),
              "plain words\n\u1798\u17d2\u17a1\u179f\n");
}

TEST_F(ShownTextTest, HoldsAnnotationsThatAreDrawn)
{
    AddAnnotation("/FreeText", "noted by hand");
    AddAnnotation("/Stamp", "stamped on it");
    const std::string text = TextWith();
    EXPECT_THAT(text, HasSubstr("plain words"));
    EXPECT_THAT(text, HasSubstr("noted by hand"));
    EXPECT_THAT(text, HasSubstr("stamped on it"));
}

TEST_F(ShownTextTest, HoldsAnnotationsInEveryFormat)
{
    AddAnnotation("/FreeText", "noted");
    for (const char* format : {"txt", "json", "tsv"})
        EXPECT_THAT(TextWith({}, format), HasSubstr("noted")) << format;
}

TEST_F(ShownTextTest, LacksAnnotationsThatAreHidden)
{
    AddAnnotation("/FreeText", "hidden note", hidden);
    AddAnnotation("/FreeText", "printed note", printed | notOnScreens);
    AddAnnotation("/Popup", "note that pops up");
    AddAnnotation("/FreeText", "shown note");
    const std::string text = TextWith();
    EXPECT_THAT(text, HasSubstr("shown note"));
    EXPECT_THAT(text, Not(HasSubstr("hidden note")));
    EXPECT_THAT(text, Not(HasSubstr("printed note")));
    EXPECT_THAT(text, Not(HasSubstr("pops up")));
}

TEST_F(ShownTextTest, KeepsLinesApartWhereAFontTellsItsHeightsWrongly)
{
    QPDFObjectHandle wrong = Parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Wrong /Encoding /WinAnsiEncoding /FirstChar"
        " 109 /LastChar 109 /Widths [600] /FontDescriptor << /Type /FontDescriptor /FontName"
        " /Wrong /Flags 32 /Ascent 0 /Descent -1000 /FontBBox [0 -1000 1000 0] >> >>");
    page.getKey("/Resources").getKey("/Font").replaceKey("/G", wrong);
    EXPECT_EQ(
        LinesWith("BT /F 12 Tf 50 400 Td (ten ) Tj /G 12 Tf (m) Tj /F 12 Tf ( of it) Tj ET\n" +
                  Line("second line", 387)),
        "plain words\nten m of it\nsecond line\n");
}

TEST_F(ShownTextTest, HoldsTheValuesOfFields)
{
    AddField("/FT /Tx /T (name) /V (filled in)");
    EXPECT_THAT(TextWith(), HasSubstr("filled in"));
}

TEST_F(ShownTextTest, HoldsTheChoicesOfFields)
{
    AddField("/FT /Ch /Ff 131072 /T (name) /Opt [(first) (second)] /V (second)");
    const std::string text = TextWith();
    EXPECT_THAT(text, HasSubstr("second"));
    EXPECT_THAT(text, Not(HasSubstr("first")));
}

TEST_F(ShownTextTest, LacksFieldsThatAreHidden)
{
    for (const int flags : {hidden, printed | notOnScreens}) {
        AddField("/FT /Tx /T (name) /V (filled in)", flags);
        EXPECT_EQ(LinesWith(), "plain words\n") << flags;
    }
}

TEST_F(ShownTextTest, LacksPasswordsThatAreFilledIn)
{
    AddField("/FT /Tx /Ff 8192 /T (name) /V (verysecret)");
    EXPECT_EQ(LinesWith(), "plain words\n**********\n");
}

TEST_F(ShownTextTest, LacksHiddenLayers)
{
    AddLayer("/On", true);
    AddLayer("/Off", false);
    const std::string text = LinesWith(
        Marked("/On", Line("shown layer", 400)) + Marked("/Off", Line("hidden layer", 380)) +
        Marked("/Off", Marked("/On", Line("within it", 360)) + "/Artifact BMC\nEMC\n" +
                           "BT /F 12 Tf 12 TL 50 340 Td (again) ' [(a) 2 (gain)] TJ ET\n") +
        Line("words after it", 320));
    EXPECT_EQ(text, "plain words\nshown layer\nwords after it\n");
}

TEST_F(ShownTextTest, LacksHiddenLayersOfForms)
{
    const QPDFObjectHandle layer = AddLayer("/Off", false);
    QPDFObjectHandle form = Form("hidden form");
    form.getDict().replaceKey("/OC", layer);
    AddForm("/Hidden", form);
    QPDFObjectHandle inner = Form("outer form");
    inner.replaceStreamData(Line("outer form", 50) + "/OC /Off BDC (" + ") pop\n" +
                                Line("inner layer", 30) + "EMC\n",
                            QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
    inner.getDict().getKey("/Resources").getKey("/Properties").replaceKey("/Off", layer);
    AddForm("/Shown", inner);
    AddForm("/Other", Form("other form"));
    const std::string text = LinesWith("/Hidden Do /Shown Do\n" + Marked("/Off", "/Other Do\n"));
    EXPECT_EQ(text, "plain words\nouter form\n");
}

TEST_F(ShownTextTest, LacksAnnotationsOfHiddenLayers)
{
    AddAnnotation("/FreeText", "layered note").replaceKey("/OC", AddLayer("/Off", false));
    EXPECT_EQ(LinesWith(), "plain words\n");
}

TEST_F(ShownTextTest, HoldsWhatIsShownByTheStateOfSeveralLayers)
{
    QPDFObjectHandle membership = Parse("<< /Type /OCMD /P /AllOff >>");
    membership.replaceKey("/OCGs", QPDFObjectHandle::newArray({AddLayer("/Off", false)}));
    AddMembership("/Without", pdf.makeIndirectObject(membership));
    QPDFObjectHandle reversed = Parse("<< /Type /OCMD /VE [/Not] >>");
    reversed.getKey("/VE").appendItem(AddLayer("/On", true));
    AddMembership("/Not", pdf.makeIndirectObject(reversed));
    EXPECT_EQ(LinesWith(Marked("/Without", Line("only without", 400)) +
                        Marked("/Not", Line("not shown", 380))),
              "plain words\nonly without\n");
}

TEST_F(ShownTextTest, GoesByTheStateThatALayerItselfTellsForScreens)
{
    AddLayer("/Off", false).replaceKey("/Usage", Parse("<< /View << /ViewState /ON >> >>"));
    AddLayer("/On", true).replaceKey("/Usage", Parse("<< /View << /ViewState /OFF >> >>"));
    EXPECT_EQ(LinesWith(Marked("/Off", Line("told to show", 400)) +
                        Marked("/On", Line("told to hide", 380))),
              "plain words\ntold to show\n");
}

TEST_F(ShownTextTest, HoldsInvisibleTextAsItIsLaidOverScans)
{
    EXPECT_THAT(TextWith("3 Tr " + Line("read from a scan", 400)), HasSubstr("read from a scan"));
}

TEST_F(ShownTextTest, LacksWhatLiesBesideThePage)
{
    if (qgetenv("ENGINE") == "qt")
        GTEST_SKIP() << "this engine does not tell where characters stand";
    page.replaceKey("/CropBox", Parse("[0 100 400 500]"));
    EXPECT_EQ(LinesWith(Line("cut off", 50) + Line("far above", 520) +
                        "BT /F 12 Tf -100 300 Td (far left) Tj ET\n"),
              "plain words\n");
}

TEST_F(ShownTextTest, LeavesPicturesAsTheyAre)
{
    AddAnnotation("/FreeText", "noted by hand");
    page.getKey("/Annots").appendItem(
        Parse("<< /Type /Annot /Subtype /Square /Rect [120 320 200 390] /F 4 /IC [0 1 0] >>"));
    WriteDocument({});
    const auto picture = [this](const QString& name) {
        EXPECT_EQ(Outcome(Convert(Path("shown.pdf"), Path(name), "png",
                                  {{"page", 1}, {"resolution", 72}})),
                  "ok");
        return QImage(Path(name));
    };
    const QImage before = picture("before.png");
    EXPECT_EQ(Outcome(Convert(Path("shown.pdf"), Path("between.txt"), "txt")), "ok");
    EXPECT_FALSE(before.isNull());
    EXPECT_EQ(picture("after.png"), before);
}

} // namespace
} // namespace Korvel::Worker
