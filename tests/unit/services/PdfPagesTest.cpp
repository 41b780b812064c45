// Pages one by one, as a viewer wants them: as pictures in memory, of a document that stays open.

#include "OtherThread.h"
#include "PdfConversionFixture.h"
#include "SamplePdf.h"
#include "ToImage.h"
#include "WorkerPdfProvider.h"
#include "WorkerTestTools.h"

#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <QFile>
#include <QImage>

namespace Korvel::PDF::Converter::Test {
namespace {

using PDF::Test::WaitUntil;
using testing::ElementsAre;
using Color = PictureOptions::Color;

class PdfPagesTest : public PdfConversionFixture
{
protected:
    static ConversionRequest PixelsOf(const QString& document, std::vector<int> pages = {1})
    {
        ConversionRequest request = RequestOf(document, {});
        request.pages = {std::move(pages)};
        request.isInMemory = true;
        request.format = QStringLiteral("pixels");
        return request;
    }

    /** What comes of a conversion by a converter, which waits for it. */
    static ConversionResult ConvertBy(PdfConverter& by, const ConversionRequest& request)
    {
        PdfConversion conversion(by, request);
        EXPECT_TRUE(RunToEnd(conversion));
        return conversion.Result();
    }

    /** Opens a document, with this password where one is wanted, and answers what was opened. */
    ConversionResult Open(PdfConverter& by, const QString& document)
    {
        ConversionRequest request;
        request.document = document;
        request.opensOnly = true;
        request.askForPassword = Passwords({"geheim"}, attempts);
        return ConvertBy(by, request);
    }

    /** A request for a page of a document that is open. */
    static ConversionRequest PageOf(const QString& document, const ConversionResult& opening,
                                    int page)
    {
        ConversionRequest request = PixelsOf(document, {page});
        request.opened = opening.opened;
        return request;
    }

    static bool IsOfPage(const PagePicture& picture, int page)
    {
        const double scale = 20.0 / 72;
        const QImage image = ToImage(picture);
        return !image.isNull() &&
               image.pixel(int(samplePatch.center().x() * scale),
                           int(samplePatch.center().y() * scale)) == SampleColour(page).rgb();
    }

    PdfConverter::Settings OneProcess() const
    {
        PdfConverter::Settings settings = RealSettings();
        settings.processes = 1;
        return settings;
    }

    std::vector<int> attempts;
};

TEST_F(PdfPagesTest, AreHandedOverAsTheyWereDrawn)
{
    PdfConversion conversion(converter, PixelsOf(Sample("in.pdf", 3), {1, 2, 3}));
    std::map<int, PagePicture> pictures;
    QObject::connect(&conversion, &PdfConversion::PictureMade,
                     [&](int page, const PagePicture& picture) { pictures[page] = picture; });
    QObject::connect(&conversion, &PdfConversion::PageMade, [] { ADD_FAILURE(); });
    QObject::connect(&conversion, &PdfConversion::PageFinished, [] { ADD_FAILURE(); });
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), std::nullopt) << conversion.ErrorText().toStdString();
    ASSERT_EQ(conversion.Result().pages.size(), 3u);
    for (int page = 1; page <= 3; ++page) {
        EXPECT_TRUE(IsOfPage(pictures[page], page));
        const ConversionResult::Page& result = conversion.Result().pages[std::size_t(page - 1)];
        EXPECT_EQ(result.picture.Pixels(), pictures[page].Pixels()) << "the very same memory";
        EXPECT_EQ(result.path, QString());
    }
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfPagesTest, HaveThePixelsThatTheirPngHas)
{
    MakeListedPdf(Path("in.pdf"), 1);
    for (const DrawingEngine engine : {DrawingEngine::Auto, DrawingEngine::Qt}) {
        PdfConverter::Settings settings = RealSettings();
        settings.worker.engine = engine;
        PdfConverter own(settings);
        for (const Color color :
             {Color::Full, Color::Gray, Color::Threshold, Color::Dither, Color::Transparent}) {
            for (const int degrees : {0, 90}) {
                ConversionRequest request = PixelsOf(Path("in.pdf"));
                request.pictures.resolution = 33;
                request.pictures.color = color;
                request.pictures.rotate = degrees;
                request.pictures.box = PictureOptions::Box::Media;
                const ConversionResult pixels = ConvertBy(own, request);
                request.format = "png";
                const ConversionResult png = ConvertBy(own, request);
                ASSERT_EQ(pixels.pages.size(), 1u) << pixels.errorText.toStdString();
                ASSERT_EQ(png.pages.size(), 1u) << png.errorText.toStdString();
                const QImage drawn = ToImage(pixels.pages[0].picture);
                const QImage encoded = QImage::fromData(png.pages[0].bytes);
                EXPECT_GT(drawn.width(), 100);
                EXPECT_EQ(drawn.hasAlphaChannel(), color == Color::Transparent);
                EXPECT_EQ(drawn.convertToFormat(QImage::Format_ARGB32),
                          encoded.convertToFormat(QImage::Format_ARGB32))
                    << int(engine) << ' ' << int(color) << ' ' << degrees;
            }
        }
    }
}

TEST_F(PdfPagesTest, AreOpaqueWhereTheyAreNotToBeTransparent)
{
    for (const DrawingEngine engine : {DrawingEngine::Auto, DrawingEngine::Qt}) {
        PdfConverter::Settings settings = RealSettings();
        settings.worker.engine = engine;
        PdfConverter own(settings);
        const ConversionResult result = ConvertBy(own, PixelsOf(Sample("in.pdf", 1)));
        ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
        const PagePicture& picture = result.pages[0].picture;
        for (int i = 3; i < picture.Height() * picture.BytesPerLine(); i += 4)
            ASSERT_EQ(picture.Pixels().get()[i], 255) << i;
    }
}

TEST_F(PdfPagesTest, FitIntoTheSizeThatIsAskedFor)
{
    ConversionRequest request = PixelsOf(Sample("in.pdf", 1));
    request.pictures.resolution.reset();
    request.pictures.size = QSize(123, 1000);
    const ConversionResult result = Convert(request);
    ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
    EXPECT_EQ(result.pages[0].picture.Width(), 123);
    EXPECT_EQ(result.pages[0].picture.BytesPerLine(), 4 * 123);
}

TEST_F(PdfPagesTest, NameTheLimitThatTheyAreTooLargeFor)
{
    PdfConverter::Settings settings = RealSettings();
    settings.worker.largestResult = 2;
    PdfConverter own(settings);
    ConversionRequest request = PixelsOf(Sample("in.pdf", 1));
    request.pictures.resolution = 100; // of which an A4 page takes 3.7 MiB
    const ConversionResult result = ConvertBy(own, request);
    EXPECT_EQ(result.error, AbstractConverter::ResultTooLarge);
    const std::string text = result.errorText.toStdString();
    EXPECT_THAT(text, testing::HasSubstr("page 1 of " + Path("in.pdf").toStdString()));
    EXPECT_THAT(text, testing::HasSubstr("its pixels would take 4 MiB, and 2 MiB are allowed; "
                                         "they fit at 73 dots per inch"));
    request.pictures.resolution = 73;
    EXPECT_EQ(ConvertBy(own, request).error, std::nullopt);
}

TEST_F(PdfPagesTest, AreNoFormatOfFiles)
{
    ConversionRequest request = PixelsOf(Sample("in.pdf", 1));
    request.isInMemory = false;
    request.result = Path("out.png");
    EXPECT_EQ(Convert(request).error, AbstractConverter::UnsupportedFormat);
    EXPECT_FALSE(QFile::exists(Path("out.png")));
}

TEST_F(PdfPagesTest, ComeOfEncryptedDocumentsWithTheirPasswordAlone)
{
    ConversionRequest request = PixelsOf(Secret("secret.pdf"));
    request.askForPassword = Passwords({"wrong"}, attempts);
    EXPECT_EQ(Convert(request).error, AbstractConverter::PasswordRequiredOrWrong);
    request.askForPassword = Passwords({"wrong", "geheim"}, attempts);
    const ConversionResult result = Convert(request);
    ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
    EXPECT_TRUE(IsOfPage(result.pages[0].picture, 1));
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfPagesTest, ComeOfADocumentThatWasOpenedBefore)
{
    const QString document = Secret("secret.pdf", 3);
    ConversionResult opening = Open(converter, document);
    EXPECT_EQ(opening.error, std::nullopt) << opening.errorText.toStdString();
    ASSERT_TRUE(opening.opened);
    EXPECT_EQ(opening.document.value().pages, 3);
    EXPECT_TRUE(opening.pages.empty());
    EXPECT_TRUE(QFile::remove(document)); // so that nobody opens it again
    for (const int page : {3, 1, 2, 3}) {
        const ConversionResult result = Convert(PageOf(document, opening, page));
        ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
        EXPECT_TRUE(IsOfPage(result.pages[0].picture, page));
    }
    EXPECT_THAT(attempts, ElementsAre(1));
    EXPECT_EQ(TemporaryFiles().size(), 1) << "the copy without encryption";
    opening.opened.reset(); // which the converter lets go of as well, once it comes to that
    EXPECT_TRUE(WaitUntil([&] { return TemporaryFiles().isEmpty(); }));
}

TEST_F(PdfPagesTest, OfAnOpenDocumentAreFilesAsWell)
{
    const QString document = Secret("secret.pdf", 2);
    const ConversionResult opening = Open(converter, document);
    ConversionRequest request = RequestOf(document, Path("out.png"));
    request.opened = opening.opened;
    EXPECT_EQ(PathsOf(Convert(request)), QStringList({Path("out-1.png"), Path("out-2.png")}));
    EXPECT_EQ(PathsOf(Convert(request)), QStringList({Path("out-1(2).png"), Path("out-2(2).png")}));
}

TEST_F(PdfPagesTest, OfADocumentThatWasChangedSinceFail)
{
    const QString document = Sample("in.pdf", 1);
    const ConversionResult opening = Open(converter, document);
    EXPECT_EQ(Convert(PageOf(document, opening, 1)).error, std::nullopt);
    QFile::remove(document);
    Sample("in.pdf", 2);
    const ConversionResult result = Convert(PageOf(document, opening, 1));
    EXPECT_EQ(result.error, AbstractConverter::SourceChanged) << result.errorText.toStdString();
}

TEST_F(PdfPagesTest, OfAnotherDocumentThanWasOpenedFail)
{
    const ConversionResult opening = Open(converter, Sample("in.pdf", 1));
    const ConversionResult result = Convert(PageOf(Sample("other.pdf", 1), opening, 1));
    EXPECT_EQ(result.error, AbstractConverter::InvalidOption);
    EXPECT_THAT(result.errorText.toStdString(),
                testing::AllOf(testing::HasSubstr("other.pdf"), testing::HasSubstr("in.pdf")));
}

TEST_F(PdfPagesTest, ThatFailNameTheDocumentHoweverManyAreCopiedMeanwhile)
{
    const QString document = Path("secret.pdf");
    EncryptPdf(WithABadPage(), document, Encryption::Aes256, "geheim", "owner");
    const ConversionResult opening = Open(converter, document);
    ASSERT_TRUE(opening.opened) << opening.errorText.toStdString();
    WorkerPdfProvider others({PDF::Test::ScriptedWorker()});
    const ioPath other(PDF::Test::MakeFile("answer").toStdString());
    const DocumentHandle handle = others.OpenDocument(other, {}).get();
    for (int copy = 0; copy < 1000; ++copy)
        ASSERT_TRUE(others.SaveDocument(handle, other).get());
    const PDF::Test::MessageCapture log;
    EXPECT_NE(Convert(PageOf(document, opening, 2)).error, std::nullopt);
    EXPECT_NE(log.Text().find("cannot convert \"" + document.toStdString() + '"'),
              std::string::npos)
        << log.Text();
}

TEST_F(PdfPagesTest, TellWhatTheyLackWhenTheDocumentIsOpened)
{
    EXPECT_EQ(Open(converter, Path("none.pdf")).error, AbstractConverter::CannotOpenSource);
    EXPECT_FALSE(Open(converter, Path("none.pdf")).opened);
    const ConversionResult opening = Open(converter, Sample("in.pdf", 1));
    EXPECT_EQ(Convert(PageOf(Path("in.pdf"), opening, 2)).error, AbstractConverter::InvalidOption);
}

TEST_F(PdfPagesTest, ThatWereAskedForLastComeFirst)
{
    PdfConverter own(OneProcess());
    const QString document = Sample("in.pdf", 5);
    const ConversionResult opening = Open(own, document);
    ConversionRequest slow{Sample("slow.pdf", 200), Path("slow.png")};
    slow.pictures.resolution = 300;
    PdfConversion before(own, slow); // keeps the one process busy until all are asked for
    bool isBusy = false;
    QObject::connect(&before, &PdfConversion::Opened, [&] { isBusy = true; });
    before.Start();
    ASSERT_TRUE(WaitUntil([&] { return isBusy; }));
    std::vector<int> order;
    std::vector<std::unique_ptr<PdfConversion>> conversions;
    for (const int page : {1, 2, 3, 4, 5}) {
        conversions.push_back(
            std::make_unique<PdfConversion>(own, PageOf(document, opening, page)));
        QObject::connect(conversions.back().get(), &PdfConversion::PictureMade,
                         [&order](int made) { order.push_back(made); });
        conversions.back()->Start();
    }
    conversions[3].reset(); // the fourth has been scrolled away
    before.Cancel();
    ASSERT_TRUE(WaitUntil([&] { return !conversions[0]->IsRunning(); }));
    EXPECT_THAT(order, ElementsAre(5, 3, 2, 1));
}

TEST_F(PdfPagesTest, AreCancelledWhileTheyAreDrawn)
{
    const QString document = Sample("in.pdf", 100);
    const ConversionResult opening = Open(converter, document);
    ConversionRequest all = PageOf(document, opening, 1);
    all.pages = {};
    all.pictures.resolution = 150;
    for (int i = 0; i < 5; ++i) {
        PdfConversion conversion(converter, all);
        QObject::connect(&conversion, &PdfConversion::PictureMade, &conversion,
                         &PdfConversion::Cancel);
        conversion.Start();
        ASSERT_TRUE(WaitUntil([&] { return !conversion.IsRunning(); }));
        EXPECT_EQ(conversion.Error(), AbstractConverter::Cancelled);
    }
    const ConversionResult after = Convert(PageOf(document, opening, 1));
    ASSERT_EQ(after.pages.size(), 1u) << after.errorText.toStdString();
    EXPECT_TRUE(IsOfPage(after.pages[0].picture, 1));
}

TEST_F(PdfPagesTest, ComeToSeveralThreadsAtOnce)
{
    const QString document = Secret("secret.pdf", 4);
    const ConversionResult opening = Open(converter, document);
    const auto askForAll = [&] {
        for (int i = 0; i < 20; ++i) {
            const int page = i % 4 + 1;
            const QFuture<ConversionResult> future =
                converter.Convert(PageOf(document, opening, page));
            const ConversionResult result = future.result();
            EXPECT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
            EXPECT_TRUE(!result.pages.empty() && IsOfPage(result.pages[0].picture, page));
        }
    };
    std::thread other(askForAll);
    askForAll();
    other.join();
}

TEST_F(PdfPagesTest, OutliveTheConverter)
{
    ConversionResult opening;
    PagePicture picture;
    {
        PdfConverter own(RealSettings());
        opening = Open(own, Secret("secret.pdf"));
        picture = ConvertBy(own, PageOf(Path("secret.pdf"), opening, 1)).pages.at(0).picture;
    }
    EXPECT_TRUE(IsOfPage(picture, 1));
    EXPECT_EQ(TemporaryFiles(), QStringList());
    EXPECT_NE(Convert(PageOf(Path("secret.pdf"), opening, 1)).error, std::nullopt)
        << "the copy went with its converter";
}

} // namespace
} // namespace Korvel::PDF::Converter::Test
