// What of a page its pictures show, and in which colours.

#include "SamplePdf.h"
#include "WorkerFixture.h"

#include <cmath>
#include <map>

#include <QImage>
#include <QJsonArray>
#include <QPainter>
#include <QProcess>
#include <QTransform>

namespace Korvel::Worker {
namespace {

const std::map<std::string, QRect> allBoxes{{"CropBox", {20, 30, 560, 800}},
                                            {"BleedBox", {40, 40, 530, 780}},
                                            {"TrimBox", {60, 50, 500, 760}},
                                            {"ArtBox", {100, 55, 450, 700}}};

/** How far the two pictures are apart in the sample that differs most; 255 for other sizes. */
int Difference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return 255;
    int most = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QColor p = a.pixelColor(x, y);
            const QColor q = b.pixelColor(x, y);
            most = std::max({most, std::abs(p.red() - q.red()), std::abs(p.green() - q.green()),
                             std::abs(p.blue() - q.blue())});
        }
    }
    return most;
}

QImage OnWhite(const QImage& picture)
{
    QImage result(picture.size(), QImage::Format_RGB32);
    result.fill(Qt::white);
    QPainter(&result).drawImage(0, 0, picture);
    return result;
}

class PageViewTest : public WorkerFixture
{
protected:
    QString OutputOf(const QJsonObject& further, const QString& format)
    {
        QJsonObject members{{"page", 1}, {"resolution", 72}};
        for (auto member = further.begin(); member != further.end(); ++member)
            members[member.key()] = member.value();
        const QString output = Path(QStringLiteral("out-%1.").arg(lastId) + format);
        const QJsonObject answer = Convert(Path("page.pdf"), output, format, members);
        outcome = Outcome(answer);
        message = answer["message"].toString().toStdString();
        return output;
    }

    QImage Render(const QJsonObject& further = {}, const QString& format = "png")
    {
        const QImage picture(OutputOf(further, format));
        EXPECT_EQ(outcome, "ok") << message;
        return picture;
    }

    /** What another reader says of a picture. */
    static std::string Described(const QString& picture)
    {
        QProcess python;
        python.start("/usr/bin/python3", {DESCRIBE_PICTURE, picture});
        EXPECT_TRUE(python.waitForFinished());
        return python.readAllStandardOutput().trimmed().toStdString();
    }

    std::string outcome;
    std::string message;
};

TEST_F(PageViewTest, IsTheBoxThatIsWanted)
{
    MakePdfWithBoxes(Path("page.pdf"), allBoxes);
    const std::map<QString, QRect> wanted{{"crop", allBoxes.at("CropBox")},
                                          {"media", {0, 0, 595, 842}},
                                          {"bleed", allBoxes.at("BleedBox")},
                                          {"trim", allBoxes.at("TrimBox")},
                                          {"art", allBoxes.at("ArtBox")}};
    for (const auto& [name, box] : wanted) {
        const QImage picture = Render({{"box", name}});
        EXPECT_EQ(picture.size(), box.size()) << name.toStdString();
        EXPECT_EQ(picture.pixelColor(samplePatch.center() - box.topLeft()).rgb(),
                  SampleColour(1).rgb())
            << name.toStdString();
    }
}

TEST_F(PageViewTest, IsTheCropBoxWhereThereIsNoSuchBox)
{
    MakePdfWithBoxes(Path("page.pdf"), {{"CropBox", {20, 30, 560, 800}}});
    for (const char* box : {"trim", "bleed", "art"})
        EXPECT_EQ(Render({{"box", box}}), Render()) << box;
}

TEST_F(PageViewTest, EndsWithTheMediaBox)
{
    MakePdfWithBoxes(Path("page.pdf"), {{"TrimBox", {300, 400, 900, 900}}});
    EXPECT_EQ(Render({{"box", "trim"}}).size(), QSize(295, 442));
}

TEST_F(PageViewTest, FailsWhereTheBoxLiesOutsideOfThePage)
{
    MakePdfWithBoxes(Path("page.pdf"), {{"TrimBox", {900, 900, 50, 50}}});
    OutputOf({{"box", "trim"}}, "png");
    EXPECT_EQ(outcome, "cannot-render");
    EXPECT_EQ(message, "its trim box lies outside of its media box, or is empty");
    EXPECT_EQ(Render({{"box", "crop"}}).size(), QSize(595, 842));
}

TEST_F(PageViewTest, IsThePartThatIsCutOutHoweverThePageIsTurned)
{
    for (const int degrees : {0, 90, 180, 270, -90, 450}) {
        MakePdfWithBoxes(Path("page.pdf"), {{"CropBox", {20, 30, 560, 800}}}, degrees);
        const QRect part(35, 51, 480, 470);
        const QImage picture =
            Render({{"crop", QJsonArray{part.x(), part.y(), part.width(), part.height()}}});
        EXPECT_LE(Difference(picture, Render().copy(part)), 2) << degrees;
    }
}

TEST_F(PageViewTest, IsCutToWhatThereIsOfThePart)
{
    MakePdfWithBoxes(Path("page.pdf"), {{"CropBox", {20, 30, 560, 800}}});
    const QImage picture = Render({{"crop", QJsonArray{280, 170, 10'000, 10'000}}});
    EXPECT_LE(Difference(picture, Render().copy(280, 170, 280, 630)), 2);
}

TEST_F(PageViewTest, FailsWhereThePartLiesOutsideOfThePage)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    OutputOf({{"crop", QJsonArray{595, 20, 10, 10}}}, "png");
    EXPECT_EQ(outcome, "cannot-render");
    EXPECT_EQ(message, "the part that is wanted lies outside of its crop box");
}

TEST_F(PageViewTest, IsAsLargeAsItsPartAtAnyResolution)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    for (const int resolution : {150, 300, 1200}) {
        const double points = 72.0 / resolution;
        const QImage picture =
            Render({{"resolution", resolution},
                    {"crop", QJsonArray{401 * points, 133 * points, 217 * points, 99 * points}}});
        EXPECT_EQ(picture.size(), QSize(217, 99)) << resolution;
    }
    EXPECT_EQ(
        Render({{"crop", QJsonArray{10, 10, 200, 100}}, {"size", QJsonArray{300, 300}}}).size(),
        QSize(300, 150));
}

TEST_F(PageViewTest, IsTurnedClockwiseBeyondWhatThePageSays)
{
    for (const int turned : {0, 90}) {
        MakePdfWithBoxes(Path("page.pdf"), {}, turned);
        for (const int degrees : {90, 180, 270}) {
            const QImage wanted = Render().transformed(QTransform().rotate(degrees));
            const QImage picture = Render({{"rotate", degrees}});
            ASSERT_EQ(picture.size(), wanted.size());
            const QPoint patch =
                QTransform()
                    .rotate(degrees + turned)
                    .mapRect(QRect(samplePatch.topLeft() - QPoint(297, 421), samplePatch.size()))
                    .center() +
                picture.rect().center();
            EXPECT_EQ(picture.pixelColor(patch).rgb(), SampleColour(1).rgb())
                << turned << ' ' << degrees;
        }
    }
}

TEST_F(PageViewTest, IsCutOutBeforeItIsTurned)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    const QJsonArray patch{samplePatch.x(), samplePatch.y(), samplePatch.width(),
                           samplePatch.height()};
    const QImage picture = Render({{"crop", patch}, {"rotate", 90}, {"box", "media"}});
    EXPECT_EQ(picture.size(), samplePatch.size().transposed());
    EXPECT_EQ(picture.pixelColor(picture.rect().center()).rgb(), SampleColour(1).rgb());
}

TEST_F(PageViewTest, IsAsWideOrAsHighAsIsWanted)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    EXPECT_EQ(Render({{"size", QJsonArray{300, 0}}}).size(), QSize(300, 425));
    EXPECT_EQ(Render({{"size", QJsonArray{0, 300}}}).size(), QSize(212, 300));
    EXPECT_EQ(Render({{"size", QJsonArray{0, 300}}, {"rotate", 270}}).size(), QSize(425, 300));
}

TEST_F(PageViewTest, ChangesFromOneRequestToTheNext)
{
    MakePdfWithBoxes(Path("page.pdf"), allBoxes);
    const QImage usual = Render();
    EXPECT_NE(Render({{"box", "art"}}), usual);
    EXPECT_EQ(Render(), usual);
}

TEST_F(PageViewTest, ShowsFieldsAndAnnotationsWhereThePageDoes)
{
    MakeFormPdf(Path("page.pdf"));
    const QImage whole = Render();
    const QRect part = sampleField.adjusted(-20, -20, 20, 80);
    const QImage picture =
        Render({{"crop", QJsonArray{part.x(), part.y(), part.width(), part.height()}}});
    EXPECT_LE(Difference(picture, whole.copy(part)), 2);
}

class TransparentPageTest : public PageViewTest, public testing::WithParamInterface<const char*>
{
};

INSTANTIATE_TEST_SUITE_P(Formats, TransparentPageTest, testing::Values("png", "tif", "webp"));

TEST_P(TransparentPageTest, IsDrawnOnNothing)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    const QImage picture = Render({{"transparent", true}}, GetParam());
    EXPECT_TRUE(picture.hasAlphaChannel());
    EXPECT_EQ(picture.pixelColor(2, 2).alpha(), 0);
    EXPECT_EQ(picture.pixelColor(samplePatch.center()).alpha(), 255);
    const bool isLossy = GetParam() == std::string("webp");
    EXPECT_LE(Difference(OnWhite(picture), Render({}, GetParam())), isLossy ? 60 : 3);
    EXPECT_FALSE(Render({{"transparent", false}}, GetParam()).hasAlphaChannel());
}

TEST_P(TransparentPageTest, IsReadAsSuchByAnotherReader)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    EXPECT_NE(Described(OutputOf({{"transparent", true}}, GetParam())).find("RGBA"),
              std::string::npos);
}

TEST_F(PageViewTest, IsTransparentInALosslessWebP)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    const auto premultiplied = [](const QImage& picture) {
        return picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    };
    EXPECT_LE(Difference(premultiplied(Render({{"transparent", true}, {"quality", 100}}, "webp")),
                         premultiplied(Render({{"transparent", true}}))),
              1);
}

TEST_F(PageViewTest, IsNotTransparentWhereTheFormatCannotBe)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    for (const char* format : {"jpg", "bmp"}) {
        OutputOf({{"transparent", true}}, format);
        EXPECT_EQ(outcome, "unsupported-format") << format;
    }
}

TEST_F(PageViewTest, IsBlackAndWhiteInOneBit)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    for (const char* how : {"threshold", "dither"}) {
        const QJsonObject further{{"mono", how}, {"resolution", 72}};
        EXPECT_EQ(Described(OutputOf(further, "png")), "1 page: 595x842 1 at 72 dpi");
        EXPECT_EQ(Described(OutputOf(further, "tif")), "1 page: 595x842 1 group4 at 72 dpi");
        const auto grays = [&](const char* format) {
            return Render(further, format).convertToFormat(QImage::Format_Grayscale8);
        };
        EXPECT_EQ(grays("tif"), grays("png")) << how;
    }
}

TEST_F(PageViewTest, IsDottedWhereItIsDithered)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    const auto blackOfPatch = [this](const char* how) {
        const QImage picture = Render({{"mono", how}});
        int black = 0;
        for (int y = samplePatch.top(); y <= samplePatch.bottom(); ++y) {
            for (int x = samplePatch.left(); x <= samplePatch.right(); ++x)
                black += qGray(picture.pixel(x, y)) == 0 ? 1 : 0;
        }
        return double(black) / samplePatch.width() / samplePatch.height();
    };
    const double dots = 1 - qGray(SampleColour(1).rgb()) / 255.0;
    EXPECT_NEAR(blackOfPatch("dither"), dots, 0.05);
    EXPECT_EQ(blackOfPatch("threshold"), dots > 0.5 ? 1 : 0);
}

TEST_F(PageViewTest, IsNotBlackAndWhiteWhereTheFormatHasNoSuchPictures)
{
    MakePdfWithBoxes(Path("page.pdf"), {});
    for (const char* format : {"jpg", "bmp", "webp"}) {
        OutputOf({{"mono", "threshold"}}, format);
        EXPECT_EQ(outcome, "unsupported-format") << format;
    }
}

} // namespace
} // namespace Korvel::Worker
