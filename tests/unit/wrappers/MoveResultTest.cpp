#include "FolderFileSystem.h"
#include "WrapperFixture.h"

#include <fstream>
#include <regex>

#include <QDir>

namespace Korvel::PDF::Test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string source = "a.pdf";

/** How the wrapper moves one result; a relative path means one in the folder of the test. */
class MoveResultTest : public WrapperFixture
{
protected:
    MoveResultTest()
    {
        QDir::setCurrent(folder.path());
        names->given = {"own"};
        wrapper = MakeTempFileWrapper(converter);
        Record(*wrapper);
    }

    ~MoveResultTest() override { QDir::setCurrent(before); }

    void Start(const std::string& destination)
    {
        wrapper->ConvertFile(
            {"", QString::fromStdString(source), QString::fromStdString(destination), {}});
        journal->clear();
    }

    /** The inner converter ends the task with a result at `path`, which it has written. */
    void Finish(const std::string& path)
    {
        files->files[path] = "result";
        Q_EMIT converter->Finished(QString::fromStdString(source), QString::fromStdString(path));
    }

    const QString before = QDir::currentPath();
    std::shared_ptr<TempFileWrapper> wrapper;
};

/** A result, where it is wanted, whether a file is there already, and where it goes. */
struct Row
{
    std::string name;
    std::string result;
    std::string wanted;
    std::string mended;
    bool exists;
    std::string final;
};

std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    return stream << row.result << " to " << row.wanted;
}

const Row rows[] = {
    {"AFreeDestination", "tmp/abc.pdf", "out/report.pdf", "out/report.pdf", false,
     "out/report.pdf"},
    {"ADestinationWithoutSuffixGetsTheResults", "tmp/abc.pdf", "out/report", "out/report.pdf",
     false, "out/report.pdf"},
    {"ADestinationWithAnotherSuffixKeepsItInFront", "tmp/abc.docx", "out/report.doc",
     "out/report.doc.docx", false, "out/report.doc.docx"},
    {"SuffixesThatDifferInCaseAreDifferent", "tmp/abc.pdf", "out/report.PDF", "out/report.PDF.pdf",
     false, "out/report.PDF.pdf"},
    {"AResultWithoutSuffixAppendsALoneDot", "tmp/abc", "out/report.pdf", "out/report.pdf.", false,
     "out/report.pdf."},
    {"NeitherHasASuffix", "tmp/abc", "out/report", "out/report", false, "out/report"},
    {"ADotInTheFolderIsNoSuffix", "tmp.d/abc", "out.d/report", "out.d/report", false,
     "out.d/report"},
    {"AMissingFolderIsNotNumbered", "tmp/abc.pdf", "missing/report.pdf", "missing/report.pdf",
     false, "missing/report.pdf"},
    {"AnExistingDestinationIsNumbered", "tmp/abc.pdf", "out/report.pdf", "out/report.pdf", true,
     "out/report(2).pdf"},
    {"TheMendedNameIsLookedForAndNumbered", "tmp/abc.pdf", "out/report", "out/report.pdf", true,
     "out/report(2).pdf"},
    {"TwoSuffixesAreNumberedBeforeTheLast", "tmp/abc.docx", "out/report.doc", "out/report.doc.docx",
     true, "out/report.doc(2).docx"},
    {"ALoneDotIsNumberedBeforeIt", "tmp/abc", "out/report.pdf", "out/report.pdf.", true,
     "out/report.pdf(2)."},
    {"NoSuffixAtAllIsNumberedWithATrailingDot", "tmp/abc", "out/report", "out/report", true,
     "out/report(2)."},
    {"SeveralDots", "tmp/abc.gz", "out/archive.tar.gz", "out/archive.tar.gz", true,
     "out/archive.tar(2).gz"},
    {"OnlyTheResultsLastSuffixCounts", "tmp/abc.tar.gz", "out/archive.gz", "out/archive.gz", false,
     "out/archive.gz"},
    {"ANumberInParentheses", "tmp/abc.pdf", "out/out(3).pdf", "out/out(3).pdf", true,
     "out/out(3)(2).pdf"},
    {"ABareFileNameIsNumberedInTheDot", "tmp/abc.pdf", "report.pdf", "report.pdf", true,
     "./report(2).pdf"},
    {"ADestinationThatIsTheResultIsMovedBesideItself", "tmp/abc.pdf", "tmp/abc.pdf", "tmp/abc.pdf",
     true, "tmp/abc(2).pdf"},
    {"TheCaseOfTheWantedNameIsKept", "tmp/abc.PDF", "out/RePort.PDF", "out/RePort.PDF", true,
     "out/RePort(2).PDF"},
    {"AFileInTheRootKeepsTheSeparatorThatJoinsIt", "tmp/abc.pdf", "/in-the-root.pdf",
     "/in-the-root.pdf", true, "//in-the-root(2).pdf"},
    {"ADoubledSeparatorStays", "tmp/abc.pdf", "out//a.pdf", "out//a.pdf", false, "out//a.pdf"},
    {"NonAsciiNames", "tmp/ü.pdf", "Ausgänge/日本語😀.pdf", "Ausgänge/日本語😀.pdf", true,
     "Ausgänge/日本語😀(2).pdf"},
};

class MoveResultTableTest : public MoveResultTest, public testing::WithParamInterface<Row>
{
};

/** Over real folders: the numbered names that exist count. */
class MoveResultOnFoldersTest : public MoveResultTest
{
protected:
    MoveResultOnFoldersTest()
    {
        EXPECT_TRUE(QDir(folder.path()).mkpath("out"));
        const auto realFiles = std::make_shared<FolderFileSystem>(folder.path().toStdString());
        wrapper.reset();
        wrapper = std::make_shared<TempFileWrapper>(names, converter, realFiles);
        Record(*wrapper);
    }

    void MakeFile(const std::string& path) const { std::ofstream(Path(path)) << "old"; }

    std::string Path(const std::string& path) const
    {
        return folder.path().toStdString() + "/" + path;
    }

    /** Converts into `destination`; where the result lies. */
    std::string Convert(const std::string& destination)
    {
        Start(destination);
        const QString result = converter->tasks.back().destination;
        std::ofstream(result.toStdString()) << "new";
        QString moved;
        const auto connection = QObject::connect(
            wrapper.get(), qOverload<const QString&, QString>(&AbstractConverter::Finished),
            &receiver, [&moved](const QString&, const QString& path) { moved = path; });
        Q_EMIT converter->Finished(QString::fromStdString(source), result);
        QObject::disconnect(connection);
        EXPECT_TRUE(QFile::exists(moved)) << moved.toStdString();
        EXPECT_FALSE(QFile::exists(result));
        return moved.toStdString();
    }
};

/** A base name and what is special about it. */
struct BaseName
{
    std::string name;
    std::string text;
};

std::ostream& operator<<(std::ostream& stream, const BaseName& base)
{
    return stream << base.text;
}

class SpecialNameTest : public MoveResultOnFoldersTest, public testing::WithParamInterface<BaseName>
{
};

class MalformedPatternTest : public MoveResultTest, public testing::WithParamInterface<BaseName>
{
};

} // namespace

TEST_P(MoveResultTableTest, LooksForTheFileOnceAndMovesItOnce)
{
    const Row& row = GetParam();
    Start(row.wanted);
    if (row.exists)
        files->files[row.mended] = "old";
    Finish(row.result);
    EXPECT_THAT(*journal,
                ElementsAre("Exists " + row.mended, "Move " + row.result + " to " + row.final));
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " " + row.final));
    EXPECT_EQ(files->files.at(row.final), "result");
}

INSTANTIATE_TEST_SUITE_P(, MoveResultTableTest, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

TEST_F(MoveResultTest, AFailedMoveAnswersANullPathAndLogsBothPaths)
{
    Start("/out/Ü.png");
    files->movesFiles = false;
    bool isNull = false;
    QObject::connect(wrapper.get(),
                     qOverload<const QString&, QString>(&AbstractConverter::Finished), &receiver,
                     [&](const QString&, const QString& result) { isNull = result.isNull(); });
    LogCapture log;
    Finish("tmp/日本.png");
    EXPECT_TRUE(isNull);
    EXPECT_THAT(
        log.Texts(),
        ElementsAre("Korvel::PDF::Converter::TempFileWrapper::Impl::MoveFileFromTmp: Cannot "
                    "move from: tmp/日本.png to /out/Ü.png. Possibly file already exists"));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(0).file, "src/library/ConvertWrappers/TempFileWrapper.cpp");
}

TEST_F(MoveResultTest, AFailedMoveToANumberedNameLogsThatNameAndTouchesNothing)
{
    Start("out/report.pdf");
    files->files["out/report.pdf"] = "old";
    files->movesFiles = false;
    LogCapture log;
    Finish("tmp/abc.pdf");
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " "));
    EXPECT_THAT(log.Texts(), ElementsAre(testing::EndsWith(
                                 ": Cannot move from: tmp/abc.pdf to out/report(2).pdf. Possibly "
                                 "file already exists")));
    EXPECT_EQ(files->files.at("out/report.pdf"), "old");
    EXPECT_EQ(files->files.at("tmp/abc.pdf"), "result");
}

TEST_F(MoveResultTest, AFailedMoveAfterAFreeLookIsNotTriedAgain)
{
    Start("out/report.pdf");
    files->onMove = [this] {
        files->files["out/report.pdf"] = "appeared";
    };
    Finish("tmp/abc.pdf");
    EXPECT_THAT(*journal,
                ElementsAre("Exists out/report.pdf", "Move tmp/abc.pdf to out/report.pdf"));
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " "));
    EXPECT_EQ(files->files.at("out/report.pdf"), "appeared");
}

TEST_F(MoveResultOnFoldersTest, TheNextFreeNumberIsTakenWhateverTheCase)
{
    MakeFile("out/report.pdf");
    MakeFile("out/report(2).pdf");
    MakeFile("out/REPORT(3).PDF");
    EXPECT_EQ(Convert("out/report.pdf"), "out/report(4).pdf");
}

TEST_F(MoveResultOnFoldersTest, NumbersGoOnAfterNine)
{
    MakeFile("out/report.pdf");
    for (int number = 2; number <= 10; ++number)
        MakeFile("out/report(" + std::to_string(number) + ").pdf");
    EXPECT_EQ(Convert(Path("out/report.pdf")), Path("out/report(11).pdf"));
}

TEST_F(MoveResultOnFoldersTest, ABareFileNameIsNumberedInTheCurrentFolder)
{
    MakeFile("report.pdf");
    MakeFile("report(2).pdf");
    EXPECT_EQ(Convert("report.pdf"), "./report(3).pdf");
}

TEST_F(MoveResultOnFoldersTest, AFolderOfTheWantedNameIsSteeredAround)
{
    ASSERT_TRUE(QDir(folder.path()).mkpath("out/report.pdf"));
    EXPECT_EQ(Convert("out/report.pdf"), "out/report(2).pdf");
}

TEST_F(MoveResultOnFoldersTest, ADotInTheBaseNameStandsForAnyCharacterInThePattern)
{
    MakeFile("out/archive.tar.gz");
    MakeFile("out/archive_tar(2).gz");
    MakeFile("out/archive(3).gz");
    EXPECT_EQ(Convert("out/archive.tar.gz"), "out/archive.tar(3).gz");
}

TEST_F(MoveResultOnFoldersTest, BracketsInTheBaseNameStandForOneOfTheirLettersInThePattern)
{
    MakeFile("out/[draft].pdf");
    MakeFile("out/d(2).pdf");
    EXPECT_EQ(Convert("out/[draft].pdf"), "out/[draft](3).pdf");
}

TEST_F(MoveResultOnFoldersTest, ANumberInParenthesesStandsForItselfInThePattern)
{
    MakeFile("out/out(3).pdf");
    MakeFile("out/out3(2).pdf"); // group 1 of the pattern is the 3
    EXPECT_EQ(Convert("out/out(3).pdf"), "out/out(3)(2).pdf");
}

TEST_P(SpecialNameTest, ResultsOfThatNameLieSideBySideUnderNumberedNames)
{
    const std::string base = "out/" + GetParam().text;
    EXPECT_EQ(Convert(base + ".pdf"), base + ".pdf");
    EXPECT_EQ(Convert(base + ".pdf"), base + "(2).pdf");
    EXPECT_EQ(Convert(base + ".pdf"), base + "(3).pdf");
}

INSTANTIATE_TEST_SUITE_P(
    , SpecialNameTest,
    testing::Values(BaseName{"PlainLetters", "report"}, BaseName{"ANumberInParentheses", "out(3)"},
                    BaseName{"Brackets", "[draft]"}, BaseName{"APlus", "a+b"},
                    BaseName{"TwoPluses", "C++"}, BaseName{"AQuestionMark", "What?"},
                    BaseName{"ABar", "a|b"}, BaseName{"ADot", "archive.tar"},
                    BaseName{"ACaretAndADollar", "^a$"}, BaseName{"Braces", "a{2}"},
                    BaseName{"ABlank", "a b"}, BaseName{"LeadingDots", "..x"},
                    BaseName{"NonAsciiLetters", "Übersicht 日本語 😀"}),
    [](const auto& base) { return base.param.name; });

TEST_P(MalformedPatternTest, ThrowsOutOfTheEmissionAndKeepsTaskAndResult)
{
    const std::string wanted = "out/" + GetParam().text + ".pdf";
    Start(wanted);
    files->files[wanted] = "old";
    EXPECT_THROW(Finish("tmp/abc.pdf"), std::regex_error);
    EXPECT_THAT(*journal, ElementsAre("Exists " + wanted));
    EXPECT_THAT(received, IsEmpty());
    EXPECT_EQ(files->files.at("tmp/abc.pdf"), "result");

    files->files.erase(wanted);
    Finish("tmp/abc.pdf");
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " " + wanted));
}

INSTANTIATE_TEST_SUITE_P(, MalformedPatternTest,
                         testing::Values(BaseName{"AnOpenGroup", "a(b"},
                                         BaseName{"AnOpenBracket", "[x"},
                                         BaseName{"ARepetitionOfNothing", "*x"},
                                         BaseName{"ATrailingBackslash", "x\\"},
                                         BaseName{"TooManyRepetitions", "a{99999}"}),
                         [](const auto& base) { return base.param.name; });

TEST_F(MoveResultTest, AMalformedNameThatIsFreeNeedsNoPattern)
{
    Start("out/a(b.pdf");
    Finish("tmp/abc.pdf");
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " out/a(b.pdf"));
}

TEST_F(MoveResultTest, AMalformedNameInAListKeepsTheTask)
{
    Start("out/a(b.pdf");
    files->files = {{"outa(b.pdf", "old"}, {"1.pdf", "one"}};
    EXPECT_THROW(Q_EMIT converter->Finished("a.pdf", QStringList{"1.pdf"}), std::regex_error);
    EXPECT_THAT(received, IsEmpty());
    Q_EMIT converter->Finished("a.pdf", QStringList{});
    EXPECT_THAT(received, ElementsAre("FinishedFiles a.pdf []"));
}

} // namespace Korvel::PDF::Test
