// The window of the example viewer, driven by events.

#include "DocumentView.h"
#include "FilesBelow.h"
#include "PageSize.h"
#include "SamplePdf.h"
#include "ViewerWindow.h"
#include "VirtualScreen.h"
#include "WorkerPdfProvider.h"

#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPrinter>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

namespace {

constexpr int patience = 60'000;

class ViewerTest : public testing::Test
{
protected:
    ViewerTest()
    {
        qputenv("TMPDIR", temp.path().toUtf8());
        ShowWindow();
    }

    ~ViewerTest() override { qunsetenv("TMPDIR"); }

    void ShowWindow()
    {
        window = std::make_unique<ViewerWindow>();
        window->show();
        window->activateWindow(); // there is no window manager to do so
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get(), patience));
    }

    QString Path(const QString& name) const { return folder.filePath(name); }

    QString MakeSample(int pages) const
    {
        MakeSamplePdf(Path("report.pdf"), pages);
        return Path("report.pdf");
    }

    QString MakeSecret(int pages) const
    {
        EncryptPdf(MakeSample(pages), Path("secret.pdf"), Encryption::Aes256, "correct horse",
                   "owner");
        return Path("secret.pdf");
    }

    QString Write(const QString& name, const QByteArray& content) const
    {
        QFile file(Path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return file.fileName();
    }

    /** Drops files where the pages are, or will be. */
    void Drop(const QStringList& files)
    {
        QMimeData data;
        QList<QUrl> urls;
        for (const QString& file : files)
            urls.append(QUrl::fromLocalFile(file));
        data.setUrls(urls);
        QDragEnterEvent enter({400, 300}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &enter);
        if (!enter.isAccepted())
            return;
        QDropEvent drop({400, 300}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &drop);
    }

    /** Prints all pages as a PDF to the path. */
    void Print(const QString& path)
    {
        auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
        printer->setOutputFormat(QPrinter::PdfFormat);
        printer->setOutputFileName(path);
        window->PrintTo(std::move(printer));
    }

    template <typename Condition>
    void WaitUntil(const Condition& condition)
    {
        ASSERT_TRUE(QTest::qWaitFor(condition, patience));
    }

    /** The dialog that asks for a password, when its text says this. */
    QInputDialog* WaitForDialog(const QString& text)
    {
        QInputDialog* dialog = nullptr;
        WaitUntil([&] {
            dialog = window->findChild<QInputDialog*>();
            return dialog && dialog->isVisible() && dialog->labelText().contains(text);
        });
        return dialog;
    }

    static void TypePassword(QInputDialog* dialog, const QString& password)
    {
        auto* const edit = dialog->findChild<QLineEdit*>();
        EXPECT_EQ(edit->echoMode(), QLineEdit::Password);
        QTest::keyClicks(edit, password);
        QTest::keyClick(edit, Qt::Key_Return);
    }

    bool Says(const QString& text) const
    {
        const auto labels = window->findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [&](const QLabel* label) {
            return label->isVisible() && label->text().contains(text);
        });
    }

    DocumentView* View() const { return window->findChild<DocumentView*>(); }

    template <typename Button>
    Button* Find(const QString& text) const
    {
        for (Button* const button : window->findChildren<Button*>())
            if (button->text().contains(text))
                return button;
        return nullptr;
    }

    QPushButton* Cancel() const { return Find<QPushButton>("Cancel"); }

    static bool Holds(const QImage& picture, const QColor& colour)
    {
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x)
                if (picture.pixel(x, y) == colour.rgb())
                    return true;
        return false;
    }

    static bool IsLike(const QColor& color, const QColor& wanted)
    {
        return std::abs(color.red() - wanted.red()) + std::abs(color.green() - wanted.green()) +
                   std::abs(color.blue() - wanted.blue()) <
               30;
    }

    /** Where the middle of the page's patch is in the view. */
    QPoint PatchOf(int page) const
    {
        const QRect place = View()->PlaceOf(page);
        const double scale = place.height() / 842.0;
        return place.topLeft() + (QPointF(samplePatch.center()) * scale).toPoint();
    }

    /** Whether the view shows the patch of the page in the page's own color. */
    bool IsShown(int page) const
    {
        if (!View())
            return false;
        const QImage seen = View()->viewport()->grab().toImage();
        const QPoint patch = PatchOf(page) * seen.devicePixelRatio();
        return seen.rect().contains(patch) && IsLike(seen.pixelColor(patch), SampleColour(page));
    }

    void GoTo(int page)
    {
        View()->GoTo(page);
        WaitUntil([&] { return IsShown(page); });
    }

    bool IsAtWork() const { return Cancel() && Cancel()->isVisible(); }

    /** The whole screen, to be looked at. */
    static void Photograph(const QString& name)
    {
        QApplication::sendPostedEvents(); // such as those that lay out anew
        for (QWidget* const shown : QApplication::topLevelWidgets())
            shown->repaint();
        const QPixmap screen = QApplication::primaryScreen()->grabWindow(0);
        EXPECT_TRUE(screen.save(QStringLiteral(PICTURES "/%1.png").arg(name)));
    }

    QStringList TemporaryFiles() const { return Korvel::PDF::Test::FilesBelow(temp.path()); }

    QStringList LeftInTemp() const
    {
        return QDir(temp.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir folder;
    QTemporaryDir temp;
    std::unique_ptr<ViewerWindow> window;
};

TEST_F(ViewerTest, ShowsThePagesOfAnEncryptedDocumentThatIsDropped)
{
    Photograph("1-start");
    Drop({MakeSecret(7)});
    TypePassword(WaitForDialog("is encrypted"), "wrong");
    QInputDialog* const again = WaitForDialog("does not open secret.pdf");
    QTest::keyClicks(again->findChild<QLineEdit*>(), "secret");
    Photograph("2-password");
    again->findChild<QLineEdit*>()->clear();
    TypePassword(again, "correct horse");
    WaitUntil([&] { return IsShown(1); });
    for (int page = 1; page <= 7; ++page)
        GoTo(page);
    EXPECT_TRUE(Says("of 7")) << "pages";
    EXPECT_EQ(TemporaryFiles().size(), 1) << "the copy without encryption, and no picture";
    Photograph("3-pages");
}

TEST_F(ViewerTest, MakesNoFilesOfPages)
{
    Drop({MakeSample(3)});
    WaitUntil([&] { return IsShown(1); });
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(ViewerTest, ZoomsSoThatAnInchIsAnInch)
{
    Drop({MakeSample(2)});
    WaitUntil([&] { return IsShown(1); });
    const double pixels = 842 * View()->logicalDpiX() / 72.0;
    EXPECT_NEAR(View()->PlaceOf(1).height(), pixels, 1);
    QTest::mouseClick(Find<QToolButton>("+"), Qt::LeftButton);
    EXPECT_NEAR(View()->PlaceOf(1).height(), pixels * 1.25, 1);
    EXPECT_TRUE(Says("125 %"));
    for (int i = 0; i < 6; ++i)
        QTest::mouseClick(Find<QToolButton>("−"), Qt::LeftButton);
    EXPECT_NEAR(View()->PlaceOf(1).height(), pixels / std::pow(1.25, 5), 1);
    GoTo(1);
    GoTo(2);
    GoTo(1);
    QTest::mouseClick(Find<QPushButton>("Fit"), Qt::LeftButton);
    EXPECT_NEAR(View()->PlaceOf(1).width(), View()->viewport()->width(), 30);
    GoTo(1); // what was in the middle has stayed there
    Photograph("4-zoomed");
}

TEST_F(ViewerTest, DrawsWhatIsScrolledTo)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(1); });
    for (int page = 10; page < 90; page += 10) // which nobody waits for
        View()->GoTo(page);
    GoTo(100);
    EXPECT_TRUE(Says("(100 of 100)"));
    GoTo(1);
}

TEST_F(ViewerTest, AsksAgainForAPageThatHasFailed)
{
    const QString document = MakeSample(100);
    Drop({document});
    WaitUntil([&] { return IsShown(1); });
    ASSERT_TRUE(QFile::rename(document, Path("elsewhere.pdf")));
    View()->GoTo(50);
    WaitUntil([&] { return Says(document); });
    EXPECT_FALSE(IsShown(50));
    ASSERT_TRUE(QFile::rename(Path("elsewhere.pdf"), document));
    View()->verticalScrollBar()->triggerAction(QScrollBar::SliderSingleStepAdd);
    WaitUntil([&] { return IsShown(50); });
}

TEST_F(ViewerTest, TellsTheLabelOfThePageInView)
{
    MakeListedPdf(Path("listed.pdf"), 4);
    Drop({Path("listed.pdf")});
    WaitUntil([&] { return View() != nullptr; });
    View()->GoTo(2);
    EXPECT_TRUE(Says("Page ii (2 of 4)"));
}

TEST_F(ViewerTest, PrintsPagesAsLargeAsTheyAre)
{
    const std::vector<QSizeF> sizes{{595, 842}, {842, 595}, {200, 300}};
    MakePagesOfSizes(Path("sizes.pdf"), sizes);
    Drop({Path("sizes.pdf")});
    WaitUntil([&] { return View() != nullptr; });
    Print(Path("printed.pdf"));
    WaitUntil([&] { return Says("Printed"); });
    Korvel::PDF::WorkerSettings settings;
    settings.wantsDetails = true;
    Korvel::PDF::WorkerPdfProvider provider(settings);
    const auto printed =
        provider.Describe(provider.OpenDocument(Path("printed.pdf").toStdString(), {}).get());
    ASSERT_TRUE(printed && printed->details);
    ASSERT_EQ(printed->pages, int(sizes.size()));
    for (int page = 1; page <= printed->pages; ++page) {
        const QSizeF size = PageSize(*printed->details, page);
        EXPECT_NEAR(size.width(), sizes[std::size_t(page - 1)].width(), 1) << page;
        EXPECT_NEAR(size.height(), sizes[std::size_t(page - 1)].height(), 1) << page;
    }
}

TEST_F(ViewerTest, PrintsWhatIsOnThePages)
{
    Drop({MakeSample(2)});
    WaitUntil([&] { return View() != nullptr; });
    Print(Path("printed.pdf"));
    WaitUntil([&] { return Says("Printed"); });
    Drop({Path("printed.pdf")});
    WaitUntil([&] { return IsShown(1); });
    GoTo(2);
}

TEST_F(ViewerTest, TellsThatItCannotPrint)
{
    Drop({MakeSample(1)});
    WaitUntil([&] { return View() != nullptr; });
    Print("/nowhere/printed.pdf");
    WaitUntil([&] { return Says("takes no page"); });
}

TEST_F(ViewerTest, CancelsByEscapeWhileItOpens)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsAtWork(); });
    QTest::keyClick(window.get(), Qt::Key_Escape);
    WaitUntil([&] { return Says("was cancelled") || View(); }); // it was opened before the key came
    EXPECT_FALSE(IsAtWork());
}

TEST_F(ViewerTest, TellsWhatIsWrongWithADocument)
{
    Drop({Write("letter.pdf", "Dear reader")});
    WaitUntil([&] { return Says("is no PDF"); });
    Drop({Write("damaged.pdf", "%PDF-1.7\n1 0 obj\n<<")});
    WaitUntil([&] { return Says("is damaged"); });
    Photograph("5-damaged");
    Drop({Path("nowhere.pdf")});
    WaitUntil([&] { return Says("is missing"); });
    Drop({MakeSecret(1)});
    QTest::keyClick(WaitForDialog("is encrypted"), Qt::Key_Escape);
    WaitUntil([&] { return Says("needs its password"); });
    EXPECT_FALSE(IsAtWork());
}

TEST_F(ViewerTest, TellsThatThereIsNoFolderForTemporaryFiles)
{
    qputenv("TMPDIR", "/nowhere");
    Drop({MakeSample(1)});
    WaitUntil([&] { return Says("no folder for temporary files"); });
}

TEST_F(ViewerTest, TakesOneFileAtATime)
{
    Drop({MakeSample(1), MakeSecret(1)});
    EXPECT_FALSE(IsAtWork());
    EXPECT_FALSE(View());
}

TEST_F(ViewerTest, ShowsAnotherDocumentInPlaceOfOneAtWork)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(1); });
    const QString other = Path("other.pdf");
    MakeSamplePdf(other, 2);
    Drop({other});
    WaitUntil([&] { return Says("of 2") && IsShown(1); });
    GoTo(2);
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(ViewerTest, LeavesNothingWhenItIsClosedAtWork)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(1); });
    View()->GoTo(50);
    window.reset();
    EXPECT_EQ(LeftInTemp(), QStringList());
}

TEST_F(ViewerTest, ClosesWhileItOpensOrAsks)
{
    Drop({MakeSample(1)});
    ShowWindow();
    Drop({MakeSecret(1)});
    WaitForDialog("is encrypted");
    window.reset();
    EXPECT_EQ(LeftInTemp(), QStringList());
}

TEST_F(ViewerTest, RunsAgainstTheInstalledLibrary)
{
    window.reset();
    QProcess viewer;
    viewer.start(VIEWER, {MakeSample(1)});
    WaitUntil([] {
        const QImage screen = QApplication::primaryScreen()->grabWindow(0).toImage();
        return Holds(screen, SampleColour(1));
    });
    viewer.terminate();
    EXPECT_TRUE(viewer.waitForFinished(patience));
}

} // namespace

int main(int argc, char** argv)
{
    const VirtualScreen screen;
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
