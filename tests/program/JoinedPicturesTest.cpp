// One TIFF of all pages.

#include "Program.h"
#include "SamplePdf.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QImageReader>
#include <QProcess>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

class JoinedPicturesTest : public ProgramTest
{
protected:
    /** The colour of the patch on each picture, which was made at 72 dots per inch. */
    std::vector<QRgb> Patches(const QString& name) const
    {
        QImageReader reader(Path(name));
        std::vector<QRgb> colours;
        for (int i = 0; i < reader.imageCount(); ++i) {
            reader.jumpToImage(i);
            colours.push_back(reader.read().pixel(samplePatch.center()));
        }
        return colours;
    }

    static std::vector<QRgb> ColoursOf(const std::vector<int>& pages)
    {
        std::vector<QRgb> colours;
        for (const int page : pages)
            colours.push_back(SampleColour(page).rgb());
        return colours;
    }
};

TEST_F(JoinedPicturesTest, AreAllPagesInTheirOrder)
{
    MakeSample("four.pdf", 4);
    for (const char* name : {"all.tif", "all.tiff"}) {
        const Outcome run = Run({"four.pdf", "-o", name, "-r", "72"});
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        EXPECT_EQ(run.results, QStringList{name});
        EXPECT_EQ(Patches(name), ColoursOf({1, 2, 3, 4}));
        EXPECT_EQ(LeftInTempDir(), QStringList());
    }
}

TEST_F(JoinedPicturesTest, AreThePagesThatAreChosen)
{
    MakeSample("four.pdf", 4);
    ASSERT_EQ(Run({"four.pdf", "-o", "some.tif", "-r", "72", "--pages", "4,2-3"}).exitCode, 0);
    EXPECT_EQ(Patches("some.tif"), ColoursOf({2, 3, 4}));
    ASSERT_EQ(Run({"four.pdf", "-o", "one.tif", "-r", "72", "--pages", "3"}).exitCode, 0);
    EXPECT_EQ(Patches("one.tif"), ColoursOf({3}));
}

TEST_F(JoinedPicturesTest, AreFilesOfTheirOwnWhereTheNameHasAPlaceForThePage)
{
    MakeSample("two.pdf", 2);
    EXPECT_EQ(Run({"two.pdf", "-o", "p%d.tif", "-r", "20"}).results,
              QStringList({"p1.tif", "p2.tif"}));
    EXPECT_EQ(Run({"two.pdf", "-d", "out", "-f", "tif", "-r", "20"}).results,
              QStringList({"out/two-1.tif", "out/two-2.tif"}));
}

TEST_F(JoinedPicturesTest, AreOneFileForEachDocument)
{
    MakeSample("two.pdf", 2);
    MakeSample("secret.pdf", 3, "password");
    const Outcome run = Run({"two.pdf", "secret.pdf", "-d", "out", "-o", "%s.tif", "-r", "72",
                             "--password", "password"});
    EXPECT_EQ(run.results, QStringList({"out/two.tif", "out/secret.tif"}));
    EXPECT_EQ(Patches("out/two.tif"), ColoursOf({1, 2}));
    EXPECT_EQ(Patches("out/secret.tif"), ColoursOf({1, 2, 3}));
}

TEST_F(JoinedPicturesTest, AreWhatOtherReadersTakeForFaxes)
{
    MakeSample("two.pdf", 2);
    ASSERT_EQ(Run({"two.pdf", "-o", "fax.tif", "-r", "72", "--mono"}).exitCode, 0);
    QProcess python;
    python.start("/usr/bin/python3", {DESCRIBE_PICTURE, Path("fax.tif")});
    ASSERT_TRUE(python.waitForFinished());
    EXPECT_EQ(python.readAllStandardOutput().trimmed().toStdString(),
              "2 pages: 595x842 1 group4 at 72 dpi, 595x842 1 group4 at 72 dpi");
}

TEST_F(JoinedPicturesTest, TakeTheMemoryOfOnePage)
{
    MakeSample("many.pdf", 30);
    const Outcome run =
        Run({"many.pdf", "-o", "many.tif", "-r", "200", "--memory-limit", "256", "--gray"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(QImageReader(Path("many.tif")).imageCount(), 30);
}

TEST_F(JoinedPicturesTest, FailWhereNoPageIsLeft)
{
    MakeSample("two.pdf", 2);
    const Outcome run = Run({"two.pdf", "-o", "none.tif", "--crop", "700,0,50,50"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_THAT(run.complaints, HasSubstr("two.pdf: the document: page 1: the part that is wanted "
                                          "lies outside of its crop box"));
    EXPECT_FALSE(QFile::exists(Path("none.tif")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(JoinedPicturesTest, AreNotLeftInPart)
{
    MakeSample("many.pdf", 20);
    const Outcome run = Run({"many.pdf", "-o", "many.tif", "-r", "300", "--max-result", "1"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_THAT(run.complaints, HasSubstr("--max-result"));
    EXPECT_FALSE(QFile::exists(Path("many.tif")));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(JoinedPicturesTest, DoWithAFileThatIsThereWhatIsWanted)
{
    MakeSample("two.pdf", 2);
    Write("all.tif", "mine");
    const QStringList arguments{"two.pdf", "-o", "all.tif", "-r", "72"};
    EXPECT_EQ(Run(arguments).results, QStringList{"all(2).tif"});
    EXPECT_EQ(Run(arguments + QStringList{"--on-exists", "fail"}).exitCode, 6);
    EXPECT_EQ(Run(arguments + QStringList{"--on-exists", "skip"}).results, QStringList());
    EXPECT_EQ(Read("all.tif"), "mine");
    EXPECT_EQ(Run(arguments + QStringList{"--on-exists", "overwrite"}).exitCode, 0);
    EXPECT_EQ(Patches("all.tif"), ColoursOf({1, 2}));
}

TEST_F(JoinedPicturesTest, GoToStandardOutputAsOneResult)
{
    MakeSample("two.pdf", 2);
    const Outcome run = Run({"two.pdf", "-o", "-", "-f", "tif", "-r", "10"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_TRUE(run.results.join('\n').startsWith("II*"));
}

} // namespace
} // namespace Korvel::App
