// What a PdfConversion makes of documents, with the real worker.

#include "FileDescriptor.h"
#include "PdfConversionFixture.h"
#include "SamplePdf.h"
#include "SystemCalls.h"
#include "WorkerTestTools.h"

#include <atomic>
#include <fstream>
#include <map>
#include <utility>

#include <gmock/gmock.h>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QSocketNotifier>

#include <sys/inotify.h>
#include <unistd.h>

namespace Korvel::PDF::Converter::Test {
namespace {

using testing::ElementsAre;
using Warning = ConversionResult::Warning;

class PdfConversionTest : public PdfConversionFixture
{
};

TEST_F(PdfConversionTest, MakesAPictureOfEachPageAndTellsOfEach)
{
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 3), Path("out.png")));
    const Course course(conversion);
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), std::nullopt) << conversion.ErrorText().toStdString();
    EXPECT_EQ(PathsOf(conversion.Result()),
              QStringList({Path("out-1.png"), Path("out-2.png"), Path("out-3.png")}));
    QStringList pages = course.Signals();
    EXPECT_EQ(pages.takeLast(), "ended");
    pages.sort();
    EXPECT_EQ(pages, QStringList({"page 1", "page 2", "page 3"}));
    EXPECT_EQ(course.Progress(), 1.0);
    for (int page = 1; page <= 3; ++page) {
        const QImage picture(Path(QStringLiteral("out-%1.png").arg(page)));
        const double scale = 20.0 / 72;
        const QPoint patch(int(samplePatch.center().x() * scale),
                           int(samplePatch.center().y() * scale));
        EXPECT_EQ(picture.pixel(patch), SampleColour(page).rgb()) << page;
    }
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfConversionTest, TellsOfAPageWhenItIsInItsPlace)
{
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 3), Path("out.png")));
    int told = 0;
    QObject::connect(&conversion, &PdfConversion::PageFinished, [&](int, const QString& path) {
        EXPECT_FALSE(QImage(path).isNull());
        EXPECT_EQ(conversion.Result().pages.size(), std::size_t(++told));
    });
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(told, 3);
}

TEST_F(PdfConversionTest, NumbersPagesInAsManyDigitsAsTheLastOneHas)
{
    ConversionRequest request = RequestOf(Sample("in.pdf", 10), Path("out.png"));
    request.pages = {{2, 10}};
    EXPECT_EQ(PathsOf(Convert(request)), QStringList({Path("out-02.png"), Path("out-10.png")}));
}

TEST_F(PdfConversionTest, HandsPicturesOverInMemoryAndMakesNoFile)
{
    ConversionRequest request = RequestOf(Secret("secret.pdf", 3), {});
    std::vector<int> attempts;
    request.askForPassword = Passwords({"geheim"}, attempts);
    request.isInMemory = true;
    request.format = "png";
    const QStringList before = QDir(folder.path()).entryList();
    PdfConversion conversion(converter, request);
    std::map<int, QImage> pictures;
    QObject::connect(&conversion, &PdfConversion::PageMade, [&](int page, const QByteArray& bytes) {
        pictures[page] = QImage::fromData(bytes, "png");
    });
    const Course course(conversion);
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.Error(), std::nullopt) << conversion.ErrorText().toStdString();
    EXPECT_EQ(course.Signals(), QStringList("ended"));
    ASSERT_EQ(pictures.size(), 3u);
    for (const auto& [page, picture] : pictures) {
        const double scale = 20.0 / 72;
        const QPoint patch(int(samplePatch.center().x() * scale),
                           int(samplePatch.center().y() * scale));
        EXPECT_EQ(picture.pixel(patch), SampleColour(page).rgb()) << page;
    }
    EXPECT_EQ(QDir(folder.path()).entryList(), before);
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

/** The names of the files that are made below a folder from now on, while the event loop runs. */
class MadeFiles
{
public:
    explicit MadeFiles(const QString& folder)
    {
        Watch(folder);
        QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] { Read(); });
    }

    /** Those since it was last asked. */
    QStringList Take()
    {
        Read();
        return std::exchange(names, {});
    }

private:
    void Watch(const QString& folder)
    {
        const int number = ::inotify_add_watch(queue.Number(), folder.toUtf8().constData(),
                                               IN_CREATE | IN_MOVED_TO);
        folders[number] = folder;
        for (const QString& name : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            Watch(folder + '/' + name);
    }

    /** What was made before anybody watched is there still, if it is not moved on already. */
    void WatchNew(const QString& folder)
    {
        Watch(folder);
        names << QDir(folder).entryList(QDir::Files | QDir::Hidden);
    }

    void Read()
    {
        alignas(inotify_event) char events[16 << 10];
        ssize_t size = 0;
        while ((size = ::read(queue.Number(), events, sizeof events)) > 0) {
            for (ssize_t place = 0; place < size;) {
                const auto& event = *reinterpret_cast<const inotify_event*>(events + place);
                if ((event.mask & IN_ISDIR) != 0)
                    WatchNew(folders[event.wd] + '/' + QString::fromUtf8(event.name));
                else if (event.len > 0) // else a folder has gone
                    names << QString::fromUtf8(event.name);
                place += ssize_t(sizeof event + event.len);
            }
        }
    }

    const FileDescriptor queue{::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    QSocketNotifier notifier{queue.Number(), QSocketNotifier::Read};
    std::map<int, QString> folders;
    QStringList names;
};

TEST_F(PdfConversionTest, MakesNoFileOfAPictureInMemoryOnItsWay)
{
    ConversionRequest request = RequestOf(Sample("in.pdf", 3), {});
    request.pages = {{2}};
    request.pictures.resolution = 300; // which takes longer than to see a new folder
    MadeFiles made(temp.path());
    for (const char* const format : {"png", "jpg", "tif", "bmp", "webp"}) {
        request.isInMemory = true;
        request.format = format;
        const ConversionResult result = Convert(request);
        EXPECT_EQ(made.Take().join(' ').toStdString(), "") << format;
        ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
        EXPECT_EQ(result.pages[0].page, 2);
        request.isInMemory = false;
        request.result = Path("out.") + format;
        Convert(request);
        EXPECT_TRUE(result.pages[0].bytes == Read(request.result)) << format;
        EXPECT_NE(made.Take(), QStringList()) << "on the way to " << request.result.toStdString();
    }
}

TEST_F(PdfConversionTest, HandsATextOverInMemory)
{
    ConversionRequest request = RequestOf(Sample("in.pdf", 2), {});
    request.isInMemory = true;
    request.format = "txt";
    const ConversionResult result = Convert(request);
    ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
    EXPECT_EQ(result.pages[0].page, 0);
    EXPECT_EQ(result.pages[0].path, QString());
    EXPECT_TRUE(result.pages[0].bytes.contains("Page 2"));
}

TEST_F(PdfConversionTest, MakesATextWhoseWordsStandAsIsWanted)
{
    const QByteArray drawn = "BT /F 10 Tf 12 TL 10 150 Td (a hyphen-) Tj T* (ated word) Tj ET "
                             "BT /F 10 Tf 130 150 Td (beside) Tj ET";
    Write(Path("in.pdf"),
          PdfOf({"<</Type/Catalog/Pages 2 0 R>>", "<</Type/Pages/Kids[3 0 R]/Count 1>>",
                 "<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 200]/Contents 4 0 R"
                 "/Resources<</Font<</F<</Type/Font/Subtype/Type1/BaseFont/Courier>>>>>>>>",
                 PdfStream(drawn)}));
    ConversionRequest request{Path("in.pdf")};
    request.isInMemory = true;
    request.format = "txt";
    const auto text = [&] {
        const ConversionResult result = Convert(request);
        EXPECT_EQ(result.error, std::nullopt) << result.errorText.toStdString();
        return result.pages.empty() ? QByteArray() : result.pages[0].bytes;
    };
    EXPECT_TRUE(text().contains("a hyphenated\nword\n"));
    request.text.dehyphenates = false;
    EXPECT_TRUE(text().contains("a hyphen-\nated word\n"));
    request.text.isLaidOut = true;
    EXPECT_EQ(text(), "a hyphen-" + QByteArray(11, ' ') + "beside\nated word\n\f");
}

TEST_F(PdfConversionTest, MakesAnHocrThatCountsInPixelsOfTheResolution)
{
    ConversionRequest request = RequestOf(Sample("in.pdf", 1), {});
    request.isInMemory = true;
    request.format = "hocr";
    const ConversionResult result = Convert(request);
    ASSERT_EQ(result.pages.size(), 1u) << result.errorText.toStdString();
    EXPECT_TRUE(result.pages[0].bytes.contains("bbox 0 0 166 234")) << "an A4 at 20 dpi";
}

TEST_F(PdfConversionTest, TellsWhatTheDocumentSaysOfItself)
{
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 2), Path("out.png")));
    QStringList signalled;
    QObject::connect(&conversion, &PdfConversion::Opened, [&](const DocumentInfo& document) {
        EXPECT_EQ(document.pages, 2);
        EXPECT_EQ(document.properties.at("Title"), "Sample");
        signalled << "opened";
    });
    QObject::connect(&conversion, &PdfConversion::PageFinished, [&] { signalled << "page"; });
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(signalled, QStringList({"opened", "page", "page"}));
    ASSERT_TRUE(conversion.Result().document);
    EXPECT_EQ(conversion.Result().document->pages, 2);
    EXPECT_FALSE(Convert(RequestOf(Path("none.pdf"), Path("out.png"))).document);
}

TEST_F(PdfConversionTest, TakesAPathAsItIsWhereThereIsOneResult)
{
    const QString document = Sample("in.pdf", 2);
    ConversionRequest picture = RequestOf(document, Path("page.png"));
    picture.pages = {{2}};
    EXPECT_EQ(PathsOf(Convert(picture)), QStringList(Path("page.png")));
    EXPECT_EQ(PathsOf(Convert({document, Path("text.txt")})), QStringList(Path("text.txt")));
    EXPECT_EQ(Read(Path("text.txt")).count('\f'), 2);
    EXPECT_EQ(PathsOf(Convert(RequestOf(document, Path("all.tif")))), QStringList(Path("all.tif")));
    EXPECT_EQ(PathsOf(Convert({document, Path("copy.pdf")})), QStringList(Path("copy.pdf")));
}

TEST_F(PdfConversionTest, MakesTheTextOfTheWantedPagesAlone)
{
    ConversionRequest request{Sample("in.pdf", 3), Path("text.txt")};
    request.pages = {{3, 1}};
    ASSERT_EQ(Convert(request).error, std::nullopt);
    const QByteArray text = Read(Path("text.txt"));
    EXPECT_TRUE(text.contains("Page 1") && text.contains("Page 3")) << text.toStdString();
    EXPECT_FALSE(text.contains("Page 2")) << text.toStdString();
}

TEST_F(PdfConversionTest, AsksForThePathOfEachPage)
{
    ConversionRequest request = RequestOf(Sample("in.pdf", 2), {});
    request.resultOfPage = [this](int page) {
        return Path(QStringLiteral("chapter %1/page.png").arg(page));
    };
    EXPECT_EQ(PathsOf(Convert(request)),
              QStringList({Path("chapter 1/page.png"), Path("chapter 2/page.png")}));
}

TEST_F(PdfConversionTest, GivesEachPageAPathOfItsOwnWhenAllAreToHaveOne)
{
    ConversionRequest request = RequestOf(Sample("in.pdf", 3), {});
    request.resultOfPage = [this](int) {
        return Path("page.png");
    };
    EXPECT_EQ(PathsOf(Convert(request)),
              QStringList({Path("page.png"), Path("page(2).png"), Path("page(3).png")}));
}

TEST_F(PdfConversionTest, TakesNoCharacterOfAPathForAnyThingElse)
{
    for (const QString& name :
         QStringList({"a(b", "[x", "*x", "100%1 %d", "C++", "out(3)", "Übung 文書"})) {
        const QString document = Sample(name + ".pdf", 1);
        EXPECT_EQ(PathsOf(Convert(RequestOf(document, Path(name + ".png")))),
                  QStringList(Path(name + ".png")));
        EXPECT_EQ(PathsOf(Convert(RequestOf(document, Path(name + ".png")))),
                  QStringList(Path(name + "(2).png")));
    }
}

TEST_F(PdfConversionTest, NumbersANameThatIsTaken)
{
    Write(Path("out-2.png"), "mine");
    EXPECT_EQ(PathsOf(Convert(RequestOf(Sample("in.pdf", 2), Path("out.png")))),
              QStringList({Path("out-1.png"), Path("out-2(2).png")}));
    EXPECT_EQ(Read(Path("out-2.png")), "mine");
}

TEST_F(PdfConversionTest, PlansANameAnewThatAnotherProgramTakesMeanwhile)
{
    PDF::Test::SystemCalls calls;
    std::atomic<int> taken = 0;
    calls.beforeEach = [&](const PDF::Test::SystemCall& call) {
        const char* const names[] = {"out.png", "out(2).png"};
        if (&call == &calls.renameWithoutReplacing && taken < 2)
            std::ofstream(Path(names[taken++]).toStdString()) << "mine";
    };
    PdfConversion conversion(converter, RequestOf(Sample("in.pdf", 1), Path("out.png")));
    const Course course(conversion);
    ASSERT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(PathsOf(conversion.Result()), QStringList(Path("out(3).png")));
    EXPECT_EQ(course.Signals(), QStringList({"page 1", "ended"}));
    EXPECT_EQ(Read(Path("out.png")), "mine");
    EXPECT_EQ(Read(Path("out(2).png")), "mine");
    EXPECT_FALSE(QImage(Path("out(3).png")).isNull());
}

TEST_F(PdfConversionTest, SaysWhyAResultCannotBePutInItsPlace)
{
    PDF::Test::SystemCalls calls;
    calls.renameWithoutReplacing.FailWith(EIO);
    const ConversionResult result = Convert(RequestOf(Sample("in.pdf", 2), Path("out.png")));
    EXPECT_EQ(result.error, AbstractConverter::CannotWrite);
    EXPECT_TRUE(result.errorText.contains("in.pdf")) << result.errorText.toStdString();
    EXPECT_TRUE(result.errorText.contains("Input/output error")) << result.errorText.toStdString();
    EXPECT_EQ(PathsOf(result), QStringList());
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

TEST_F(PdfConversionTest, OpensAnEncryptedDocumentWithThePasswordThatIsAskedFor)
{
    std::vector<int> attempts;
    ConversionRequest request = RequestOf(Secret("secret.pdf", 2), Path("out.png"));
    request.askForPassword = Passwords({"wrong", "geheim"}, attempts);
    const ConversionResult result = Convert(request);
    EXPECT_EQ(result.error, std::nullopt) << result.errorText.toStdString();
    EXPECT_EQ(PathsOf(result), QStringList({Path("out-1.png"), Path("out-2.png")}));
    EXPECT_THAT(attempts, ElementsAre(1, 2));
    EXPECT_EQ(TemporaryFiles(), QStringList()) << "no copy is left";
}

TEST_F(PdfConversionTest, FailsWhenPasswordsAreGivenUpOrNobodyIsAsked)
{
    std::vector<int> attempts;
    ConversionRequest request = RequestOf(Secret("secret.pdf"), Path("out.png"));
    const ConversionResult unasked = Convert(request);
    EXPECT_EQ(unasked.error, AbstractConverter::PasswordRequiredOrWrong);
    EXPECT_EQ(unasked.errorText, Path("secret.pdf") + " needs a password");
    request.askForPassword = Passwords({"wrong"}, attempts);
    const ConversionResult wrong = Convert(request);
    EXPECT_EQ(wrong.error, AbstractConverter::PasswordRequiredOrWrong);
    EXPECT_EQ(wrong.errorText, Path("secret.pdf") + " does not open with this password");
    EXPECT_THAT(attempts, ElementsAre(1, 2));
    EXPECT_FALSE(QFileInfo::exists(Path("out.png")));
}

TEST_F(PdfConversionTest, LeavesAPageAwayThatFails)
{
    PdfConversion conversion(converter, RequestOf(WithABadPage(), Path("out.png")));
    const Course course(conversion);
    ASSERT_TRUE(RunToEnd(conversion));
    const ConversionResult& result = conversion.Result();
    EXPECT_EQ(result.error, std::nullopt) << result.errorText.toStdString();
    EXPECT_EQ(PathsOf(result), QStringList({Path("out-1.png"), Path("out-3.png")}));
    ASSERT_EQ(result.failures.size(), 1u);
    EXPECT_EQ(result.failures[0].page, 2);
    EXPECT_EQ(result.failures[0].error, AbstractConverter::CannotRender);
    EXPECT_TRUE(result.failures[0].text.startsWith("page 2 of " + Path("bad.pdf")))
        << result.failures[0].text.toStdString();
    EXPECT_EQ(course.Signals().count("failed 2"), 1);
    EXPECT_EQ(course.Progress(), 1.0);
}

TEST_F(PdfConversionTest, LeavesAPageAwayWhoseTextFails)
{
    const ConversionResult result = Convert({WithABadPage(), Path("out.tif")});
    EXPECT_EQ(result.error, std::nullopt) << result.errorText.toStdString();
    EXPECT_EQ(PathsOf(result), QStringList(Path("out.tif")));
    ASSERT_EQ(result.failures.size(), 1u);
    EXPECT_EQ(result.failures[0].page, 2);
}

TEST_F(PdfConversionTest, EndsAtABadPageWhenToldSo)
{
    for (const QString& name : QStringList({"out.png", "out.tif"})) {
        ConversionRequest request = RequestOf(WithABadPage(), Path(name));
        request.endsAtBadPage = true;
        const ConversionResult result = Convert(request);
        EXPECT_EQ(result.error, AbstractConverter::CannotRender);
        EXPECT_TRUE(result.errorText.startsWith("page 2 of " + Path("bad.pdf")))
            << result.errorText.toStdString();
        EXPECT_FALSE(QFileInfo::exists(Path("out.tif")));
        EXPECT_EQ(TemporaryFiles(), QStringList());
    }
}

TEST_F(PdfConversionTest, FailsWhenNoPageIsLeft)
{
    ConversionRequest request = RequestOf(WithABadPage(), Path("out.png"));
    request.pages = {{2}};
    const ConversionResult result = Convert(request);
    EXPECT_EQ(result.error, AbstractConverter::CannotRender);
    EXPECT_TRUE(result.errorText.startsWith("page 2 of " + Path("bad.pdf")))
        << result.errorText.toStdString();
}

TEST_F(PdfConversionTest, NamesTheDocumentThatCannotBeOpened)
{
    Write(Path("empty.pdf"), "");
    Write(Path("text.pdf"), "no PDF");
    const std::pair<QString, QString> texts[] = {
        {Path("empty.pdf"), Path("empty.pdf") + " is empty"},
        {Path("text.pdf"), Path("text.pdf") + " is no PDF"},
        {Path("none.pdf"), Path("none.pdf") + " is missing, no regular file, or must not be read"}};
    for (const auto& [document, text] : texts) {
        const ConversionResult result = Convert(RequestOf(document, Path("out.png")));
        EXPECT_EQ(result.error, AbstractConverter::CannotOpenSource);
        EXPECT_EQ(result.errorText, text);
    }
}

TEST_F(PdfConversionTest, NamesWhatIsWrongWithARequest)
{
    const QString document = Sample("in.pdf", 2);
    ConversionRequest page = RequestOf(document, Path("out.png"));
    page.pages = {{3}};
    EXPECT_EQ(Convert(page).error, AbstractConverter::InvalidOption);
    EXPECT_TRUE(Convert(page).errorText.contains("there is no page 3; the last one is 2"));
    const ConversionResult format = Convert({document, Path("out.doc")});
    EXPECT_EQ(format.error, AbstractConverter::UnsupportedFormat);
    EXPECT_TRUE(format.errorText.contains("out.doc")) << format.errorText.toStdString();
    ConversionRequest resolution = RequestOf(document, Path("out.png"));
    resolution.pictures.resolution = 1e6;
    const ConversionResult wrong = Convert(resolution);
    EXPECT_NE(wrong.error, std::nullopt);
    EXPECT_TRUE(wrong.errorText.contains("resolution")) << wrong.errorText.toStdString();
}

TEST_F(PdfConversionTest, WarnsOfADocumentThatWasRepairedAndOfPagesWithoutText)
{
    const QString document = Sample("in.pdf", 1);
    BreakCrossReferences(document);
    const ConversionResult repaired = Convert(RequestOf(document, Path("out.png")));
    EXPECT_EQ(repaired.error, std::nullopt) << repaired.errorText.toStdString();
    ASSERT_EQ(repaired.warnings.size(), 1u);
    EXPECT_EQ(repaired.warnings[0].warning, Warning::Repaired);
    EXPECT_TRUE(repaired.warnings[0].text.startsWith(document));
    MakePdfOfCropBoxes(Path("drawn.pdf"), {"0 0 200 200"}, "0 0 100 100 re f");
    const ConversionResult scan = Convert({Path("drawn.pdf"), Path("drawn.txt")});
    ASSERT_EQ(scan.warnings.size(), 1u) << scan.errorText.toStdString();
    EXPECT_EQ(scan.warnings[0].warning, Warning::NoText);
    EXPECT_EQ(scan.warnings[0].text, "no text is drawn on page 1 of " + Path("drawn.pdf"));
}

TEST_F(PdfConversionTest, WarnsOnceOfAllPagesWithoutText)
{
    const QByteArray box = "0 0 200 200";
    MakePdfOfCropBoxes(Path("drawn.pdf"), {box, box, box, box}, "0 0 100 100 re f");
    ConversionRequest request{Path("drawn.pdf")};
    request.pages = {{4, 2, 1}};
    request.resultOfPage = [this](int page) {
        return Path(QStringLiteral("%1.txt").arg(page));
    };
    const ConversionResult result = Convert(request);
    EXPECT_EQ(result.pages.size(), 3u) << result.errorText.toStdString();
    ASSERT_EQ(result.warnings.size(), 1u);
    EXPECT_EQ(result.warnings[0].text, "no text is drawn on pages 1-2, 4 of " + Path("drawn.pdf"));
}

TEST_F(PdfConversionTest, SaysThatADocumentWasChangedMeanwhile)
{
    const QString document = Path("drawn.pdf");
    for (const QString& name : QStringList({"out.png", "out.txt"})) {
        MakePdfOfCropBoxes(document, {"0 0 200 200"}, "0 0 100 100 re f");
        PdfConversion conversion(converter, RequestOf(document, Path(name)));
        PDF::Test::SystemCalls calls;
        std::atomic<bool> isChanged = false;
        calls.beforeEach = [&](const PDF::Test::SystemCall& call) {
            if (&call == &calls.renameWithoutReplacing && !isChanged.exchange(true))
                std::ofstream(document.toStdString(), std::ios::app) << "more";
        };
        ASSERT_TRUE(RunToEnd(conversion));
        EXPECT_EQ(conversion.Error(), AbstractConverter::SourceChanged)
            << conversion.ErrorText().toStdString();
        EXPECT_EQ(conversion.Result().warnings.size(), 0u)
            << "there is no text in another document";
    }
}

} // namespace
} // namespace Korvel::PDF::Converter::Test
