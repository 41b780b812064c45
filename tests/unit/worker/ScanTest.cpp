// Pages that are nothing but a JPEG, and pages that are nearly.

#include "SamplePdf.h"
#include "WorkerFixture.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImage>
#include <QJsonArray>

namespace Korvel::Worker {
namespace {

constexpr int width = 96;
constexpr int height = 48;

QByteArray ToJpeg(const QImage& picture)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    picture.save(&buffer, "jpg");
    return bytes;
}

QImage Colors()
{
    QImage picture(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            picture.setPixelColor(x, y, QColor(2 * x, 5 * y, 90));
    }
    return picture;
}

QByteArray InGray()
{
    return ToJpeg(Colors().convertToFormat(QImage::Format_Grayscale8));
}

QByteArray WithProfile()
{
    QImage picture = Colors();
    picture.setColorSpace(QColorSpace::AdobeRgb);
    return ToJpeg(picture);
}

/** With Exif that says which way up it is. */
QByteArray Turned(char orientation)
{
    const QByteArray exif = QByteArray::fromHex("457869660000"              // Exif
                                                "4d4d002a00000008"          // big-endian TIFF
                                                "0001011200030000000100") + // one entry
                            orientation +
                            QByteArray::fromHex("000000000000");
    return ToJpeg(Colors()).insert(2, QByteArray::fromHex("ffe10022") + exif);
}

class ScanTest : public WorkerFixture
{
protected:
    /** What becomes of the page. */
    QByteArray Converted(const ScannedPage& page, const QJsonObject& further = {})
    {
        MakeScannedPdf(Path("scan.pdf"), {page});
        QJsonObject members{{"page", 1}, {"asIs", true}, {"resolution", 18}};
        for (auto member = further.begin(); member != further.end(); ++member)
            members[member.key()] = member.value();
        const QString output = Path(QStringLiteral("out-%1.jpg").arg(lastId));
        EXPECT_EQ(Outcome(Convert(Path("scan.pdf"), output, "jpg", members)), "ok");
        return ReadFile(output);
    }

    void ExpectAsIs(const char* what, const ScannedPage& page)
    {
        EXPECT_EQ(Converted(page), page.jpeg) << what;
    }

    void ExpectDrawn(const char* what, const ScannedPage& page)
    {
        const QImage drawn = QImage::fromData(Converted(page));
        EXPECT_FALSE(drawn.isNull()) << what;
        EXPECT_NE(drawn.size(), QSize(width, height)) << what;
    }

    const QByteArray jpeg = ToJpeg(Colors());
};

TEST_F(ScanTest, IsTheBytesOfTheJpegThatThePageIs)
{
    ExpectAsIs("colors", {jpeg});
    ExpectAsIs("gray", {InGray()});
    ExpectAsIs("Exif that turns nothing", {Turned(1)});
    ExpectAsIs("two steps", {jpeg, "q 3 0 0 3 0 0 cm q 96 0 0 48 0 0 cm /Scan Do Q Q"});
    ExpectAsIs("less than a pixel beyond", {jpeg, "290 0 0 145 -1 -.5 cm /Scan Do"});
    ExpectAsIs("invisible text", {jpeg, "q 288 0 0 144 0 0 cm /Scan Do Q BT /F 12 Tf 3 Tr "
                                        "9 9 Td (Scan) Tj ET"});
    ExpectAsIs("a box around it", {jpeg, "q 288 0 0 144 9 9 cm /Scan Do Q", "",
                                   "/MediaBox[0 0 500 500]/CropBox[9 9 297 153]"});
    ExpectAsIs("a filter in an array", {jpeg, ScannedPage{}.content, "/Filter[/DCTDecode]"});
    ExpectAsIs("turned in all", {jpeg, ScannedPage{}.content, "", "/Rotate 360"});
}

TEST_F(ScanTest, IsDrawnWhereAnythingElseIs)
{
    const std::string content = ScannedPage{}.content;
    ExpectDrawn("text", {jpeg, content + " BT /F 12 Tf 9 9 Td (Scan) Tj ET"});
    ExpectDrawn("text after invisible text", {jpeg, content + " BT /F 12 Tf q 3 Tr (a) Tj Q (b) Tj"
                                                              " ET"});
    ExpectDrawn("text that cuts", {jpeg, "BT /F 12 Tf 7 Tr 9 9 Td (Scan) Tj ET " + content});
    ExpectDrawn("a line", {jpeg, content + " 0 0 m 9 9 l S"});
    ExpectDrawn("a second picture", {jpeg, content + " " + content});
    ExpectDrawn("a picture in the content",
                {jpeg, content + " BI /W 1 /H 1 /BPC 8 /CS /G ID x EI"});
    ExpectDrawn("nothing", {jpeg, "q Q"});
    ExpectDrawn("what is not there", {jpeg, "q 288 0 0 144 0 0 cm /Other Do Q"});
    ExpectDrawn("an annotation",
                {jpeg, content, "", "/Annots[<</Type/Annot/Subtype/Square/Rect[9 9 29 29]>>]"});
    ExpectDrawn("drawn letters",
                {jpeg, content + " BT /F 12 Tf 3 Tr (a) Tj ET", "",
                 "/Resources<</Font<</F<</Type/Font/Subtype/Type3>>>>/XObject<<>>>>"});
}

TEST_F(ScanTest, IsDrawnWhereThePictureIsNotThePage)
{
    const std::string content = ScannedPage{}.content;
    ExpectDrawn("smaller", {jpeg, "280 0 0 144 0 0 cm /Scan Do"});
    ExpectDrawn("cropped", {jpeg, content, "", "/CropBox[0 0 280 144]"});
    ExpectDrawn("turned by the page", {jpeg, content, "", "/Rotate 90"});
    ExpectDrawn("turned by the content", {jpeg, "0 288 -144 0 144 0 cm /Scan Do"});
    ExpectDrawn("mirrored", {jpeg, "-288 0 0 144 288 0 cm /Scan Do"});
    ExpectDrawn("upside down", {jpeg, "288 0 0 -144 0 144 cm /Scan Do"});
    ExpectDrawn("turned by itself", {Turned(6)});
    ExpectDrawn("in a state", {jpeg, "/State gs " + content});
    ExpectDrawn("cut", {jpeg, "0 0 50 50 re W n " + content});
    ExpectDrawn("a group", {jpeg, content, "", "/Group<</S/Transparency>>"});
}

TEST_F(ScanTest, IsDrawnWhereOthersWouldShowOtherColors)
{
    const std::string content = ScannedPage{}.content;
    const char* const pictures[] = {"/Mask[0 9 0 9 0 9]",
                                    "/Decode[1 0 1 0 1 0]",
                                    "/ColorSpace/DeviceCMYK",
                                    "/ColorSpace[/CalRGB<</WhitePoint[1 1 1]>>]",
                                    "/ColorSpace/DeviceGray",
                                    "/DecodeParms<</ColorTransform 0>>",
                                    "/Width 95",
                                    "/OC<</Type/OCG/Name(a)>>"};
    for (const char* picture : pictures)
        ExpectDrawn(picture, {jpeg, content, picture});
    ExpectDrawn("a profile", {WithProfile()});
    ExpectDrawn(
        "colors by default",
        {jpeg, content, "", "/Resources<</XObject<<>>/ColorSpace<</DefaultRGB/DeviceRGB>>>>"});
    ExpectDrawn("an end that is missing", {jpeg.left(jpeg.size() - 2)});
}

TEST_F(ScanTest, IsDrawnUnlessItIsWantedAsItIs)
{
    EXPECT_NE(Converted({jpeg}, {{"asIs", false}}), jpeg);
}

TEST_F(ScanTest, IsFoundAmongOtherPages)
{
    MakeScannedPdf(Path("scan.pdf"), {{jpeg}, {jpeg, "/Scan Do"}, {InGray()}});
    const auto page = [this](int number) {
        const QString output = Path(QStringLiteral("%1.jpg").arg(number));
        return Outcome(Convert(Path("scan.pdf"), output, "jpg",
                               {{"page", number}, {"asIs", true}, {"resolution", 18}}));
    };
    EXPECT_EQ(page(3), "ok");
    EXPECT_EQ(page(2), "ok");
    EXPECT_EQ(page(1), "ok");
    EXPECT_EQ(page(4), "no-such-page");
    EXPECT_EQ(ReadFile(Path("3.jpg")), InGray());
    EXPECT_EQ(QImage(Path("2.jpg")).size(), QSize(72, 36));
    EXPECT_EQ(ReadFile(Path("1.jpg")), jpeg);
}

TEST_F(ScanTest, IsRefusedWhereItCouldNotBeAsItIs)
{
    MakeScannedPdf(Path("scan.pdf"), {{jpeg}});
    const auto outcome = [this](const char* format, QJsonObject members) {
        members["page"] = 1;
        members["asIs"] = true;
        return Outcome(Convert(Path("scan.pdf"), Path("none"), format, members));
    };
    EXPECT_EQ(outcome("png", {}), "bad-request");
    EXPECT_EQ(outcome("jpg", {{"gray", true}}), "bad-request");
    EXPECT_EQ(outcome("jpg", {{"rotate", 90}}), "bad-request");
    EXPECT_EQ(outcome("jpg", {{"box", "media"}}), "bad-request");
    EXPECT_EQ(outcome("jpg", {{"size", QJsonArray{9, 9}}}), "bad-request");
}

} // namespace
} // namespace Korvel::Worker
