// Pages in a scene of Qt Quick.

#include "PdfImageProvider.h"

#include "PaintingApplication.h"
#include "PdfConversion.h"
#include "PdfConverter.h"
#include "SamplePdf.h"

#include <memory>

#include <gtest/gtest.h>
#include <QFile>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QQuickView>
#include <QTemporaryDir>
#include <QTest>

namespace Korvel::PDF::Converter::Test {
namespace {

constexpr int patience = 60'000;

/** Two pages side by side, which a test says. */
constexpr char scene[] = R"(
import QtQuick 2.15
Row {
    property alias first: one.source
    property alias second: two.source
    property alias statusOfFirst: one.status
    property alias statusOfSecond: two.status
    property alias widthOfFirst: one.implicitWidth
    Image { id: one; width: 150; height: 212; sourceSize.width: width; cache: false }
    Image { id: two; width: 150; height: 212; sourceSize: Qt.size(width, height); cache: false }
}
)";

constexpr int ready = 1; // as QML's Image counts them
constexpr int loading = 2;
constexpr int failed = 3;

class PdfImageProviderTest : public testing::Test
{
protected:
    PdfImageProviderTest() : converter({{QStringLiteral(WORKER)}, 2, temp.path()})
    {
        view.engine()->addImageProvider(QStringLiteral("pdf"), pages);
        QFile file(folder.filePath("Scene.qml"));
        EXPECT_TRUE(file.open(QFile::WriteOnly) && file.write(scene) > 0);
        file.close();
        LoadScene();
        view.resize(300, 212);
        view.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&view, patience));
    }

    void LoadScene() { view.setSource(QUrl::fromLocalFile(folder.filePath("Scene.qml"))); }

    QQuickItem* Scene() const { return view.rootObject(); }

    /** Opens a document of so many pages, and has them shown by a name. */
    void Show(const QString& name, int count, bool isEncrypted = false)
    {
        QString path = folder.filePath("plain.pdf");
        MakeSamplePdf(path, count);
        if (isEncrypted) {
            EncryptPdf(path, folder.filePath("secret.pdf"), Encryption::Aes256, "geheim", "owner");
            path = folder.filePath("secret.pdf");
        }
        ConversionRequest request;
        request.document = path;
        request.opensOnly = true;
        request.askForPassword = [](int) {
            return std::optional<std::string>("geheim");
        };
        PdfConversion opening(converter, request);
        opening.Start();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !opening.IsRunning(); }, patience));
        ASSERT_EQ(opening.Error(), std::nullopt) << opening.ErrorText().toStdString();
        pages->Show(name, path, opening.Result().opened);
    }

    void WaitFor(const char* status, int wanted)
    {
        ASSERT_TRUE(
            QTest::qWaitFor([&] { return Scene()->property(status).toInt() == wanted; }, patience))
            << status << ' ' << Scene()->property(status).toInt();
    }

    /** The scene as it is drawn; a screen that is none has nothing to be grabbed. */
    QImage Seen()
    {
        const auto grabbing = Scene()->grabToImage();
        bool isReady = false;
        QObject::connect(grabbing.data(), &QQuickItemGrabResult::ready, [&] { isReady = true; });
        EXPECT_TRUE(QTest::qWaitFor([&] { return isReady; }, patience));
        return grabbing->image();
    }

    /** The color of the patch on the page that is shown so far from the left. */
    QColor ColorOfPatch(int left)
    {
        const double scale = 150 / 595.0;
        const QImage seen = Seen();
        EXPECT_EQ(seen.size(), QSize(300, 212));
        return seen.pixelColor(left + int(samplePatch.center().x() * scale),
                               int(samplePatch.center().y() * scale));
    }

    /** How many pictures this process holds of those that workers have drawn. */
    static int PicturesHeld()
    {
        QFile maps(QStringLiteral("/proc/self/maps"));
        EXPECT_TRUE(maps.open(QFile::ReadOnly));
        return int(maps.readAll().count("/memfd:page of a PDF"));
    }

    QTemporaryDir folder;
    QTemporaryDir temp;
    PdfConverter converter;
    QQuickView view;
    PdfImageProvider* const pages = new PdfImageProvider(converter); // the engine's
};

TEST_F(PdfImageProviderTest, ShowsPagesOfAnEncryptedDocument)
{
    Show("report", 3, true);
    Scene()->setProperty("first", "image://pdf/report/1");
    Scene()->setProperty("second", "image://pdf/report/3");
    WaitFor("statusOfFirst", ready);
    WaitFor("statusOfSecond", ready);
    EXPECT_EQ(ColorOfPatch(0).rgb(), SampleColour(1).rgb());
    EXPECT_EQ(ColorOfPatch(150).rgb(), SampleColour(3).rgb());
    EXPECT_EQ(Scene()->property("widthOfFirst").toInt(), 150);
}

TEST_F(PdfImageProviderTest, ShowsDocumentsByTheirNames)
{
    Show("letters/first one", 1);
    Scene()->setProperty("first", "image://pdf/letters/first one/1");
    WaitFor("statusOfFirst", ready);
    pages->Forget("letters/first one");
    Scene()->setProperty("second", "image://pdf/letters/first one/1");
    WaitFor("statusOfSecond", failed);
}

TEST_F(PdfImageProviderTest, TellsWhatCannotBeShown)
{
    Show("report", 1);
    for (const char* url : {"image://pdf/report/2", "image://pdf/report/0", "image://pdf/report",
                            "image://pdf/other/1", "image://pdf/report/one", "image://pdf/"}) {
        Scene()->setProperty("first", "image://pdf/report/1");
        WaitFor("statusOfFirst", ready);
        Scene()->setProperty("first", url);
        WaitFor("statusOfFirst", failed);
    }
}

TEST_F(PdfImageProviderTest, ShowsThePageThatIsWantedLastWhenOthersAreGivenUp)
{
    Show("report", 40);
    for (int page = 1; page <= 40; ++page) {
        Scene()->setProperty("first", QStringLiteral("image://pdf/report/%1").arg(page));
        QCoreApplication::processEvents();
    }
    WaitFor("statusOfFirst", ready);
    EXPECT_EQ(ColorOfPatch(0).rgb(), SampleColour(40).rgb());
}

TEST_F(PdfImageProviderTest, LetsTheSceneGoWhilePagesAreDrawn)
{
    Show("report", 2);
    Scene()->setProperty("first", "image://pdf/report/1");
    Scene()->setProperty("second", "image://pdf/report/2");
    EXPECT_EQ(Scene()->property("statusOfFirst").toInt(), loading);
    EXPECT_EQ(Scene()->property("statusOfSecond").toInt(), loading);
    const QPointer<QQuickItem> gone = Scene();
    view.setSource(QUrl());
    EXPECT_TRUE(gone.isNull());
    LoadScene();
    Scene()->setProperty("first", "image://pdf/report/2");
    WaitFor("statusOfFirst", ready);
    EXPECT_EQ(ColorOfPatch(0).rgb(), SampleColour(2).rgb());
    EXPECT_TRUE(QTest::qWaitFor([] { return PicturesHeld() == 1; }, patience)) << PicturesHeld();
    view.setSource(QUrl());
    EXPECT_TRUE(QTest::qWaitFor([] { return PicturesHeld() == 0; }, patience)) << PicturesHeld();
}

} // namespace
} // namespace Korvel::PDF::Converter::Test

int main(int argc, char** argv)
{
    qputenv("QT_QUICK_BACKEND", "software");
    const PaintingApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
