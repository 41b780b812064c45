// The window of the example viewer, driven by events.

#include "FilesBelow.h"
#include "SamplePdf.h"
#include "ViewerWindow.h"
#include "VirtualScreen.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

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

    QListWidget* Pages() const { return window->findChild<QListWidget*>(); }
    QPushButton* Cancel() const
    {
        for (QPushButton* const button : window->findChildren<QPushButton*>())
            if (button->text().contains("Cancel"))
                return button;
        return nullptr;
    }

    static bool Holds(const QImage& picture, const QColor& colour)
    {
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x)
                if (picture.pixel(x, y) == colour.rgb())
                    return true;
        return false;
    }

    /** Whether the picture of the page shows the patch in the page's own colour. */
    bool IsShown(int page) const
    {
        const QListWidgetItem* const item = Pages() ? Pages()->item(page - 1) : nullptr;
        if (!item)
            return false;
        const QImage icon = item->icon().pixmap(Pages()->iconSize()).toImage();
        const double scale = icon.height() / 842.0;
        const double left = (icon.width() - 595 * scale) / 2;
        const QPointF middle = QPointF(left, 0) + QPointF(samplePatch.center()) * scale;
        const QColor colour = icon.pixelColor(middle.toPoint());
        const QColor wanted = SampleColour(page);
        return std::abs(colour.red() - wanted.red()) + std::abs(colour.green() - wanted.green()) +
                   std::abs(colour.blue() - wanted.blue()) <
               30;
    }

    bool AreShown(int pages) const
    {
        for (int page = 1; page <= pages; ++page)
            if (!IsShown(page))
                return false;
        return true;
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
    WaitUntil([&] { return AreShown(7) && !IsAtWork(); });
    EXPECT_TRUE(Says("Pages: 7"));
    WaitUntil([&] { return TemporaryFiles().isEmpty(); }); // neither the copy nor a picture
    Photograph("3-pages");
}

TEST_F(ViewerTest, ShowsPagesWhileOthersAreBeingMade)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(3); });
    EXPECT_TRUE(IsAtWork());
    EXPECT_LT(window->findChild<QProgressBar*>()->value(), 100);
    Photograph("4-at-work");
}

TEST_F(ViewerTest, CancelsOnRequest)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(1); });
    QTest::mouseClick(Cancel(), Qt::LeftButton);
    WaitUntil([&] { return Says("Cancelled"); });
    EXPECT_FALSE(IsAtWork());
    EXPECT_FALSE(IsShown(100));
}

TEST_F(ViewerTest, CancelsByEscapeWhileItOpens)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsAtWork(); });
    QTest::keyClick(window.get(), Qt::Key_Escape);
    WaitUntil([&] { return Says("Cancelled"); });
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
    EXPECT_FALSE(Pages());
}

TEST_F(ViewerTest, ShowsAnotherDocumentInPlaceOfOneAtWork)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(1); });
    const QString other = Path("other.pdf");
    MakeSamplePdf(other, 2);
    Drop({other});
    WaitUntil([&] { return AreShown(2) && !IsAtWork(); });
    EXPECT_EQ(Pages()->count(), 2);
    EXPECT_EQ(LeftInTemp().size(), 1) << "of the document that is shown";
}

TEST_F(ViewerTest, LeavesNothingWhenItIsClosedAtWork)
{
    Drop({MakeSample(100)});
    WaitUntil([&] { return IsShown(1); });
    EXPECT_EQ(LeftInTemp().size(), 1);
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
