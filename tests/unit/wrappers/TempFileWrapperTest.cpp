#include "FolderFileSystem.h"
#include "OtherThread.h"
#include "PrintedPaths.h"
#include "WrapperFixture.h"

#include <fstream>
#include <sstream>

#include <QCoreApplication>
#include <QDir>

namespace Korvel::PDF::Test {

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const std::string prefix = "Korvel::PDF::Converter::TempFileWrapper::";
// A compiler's name for a lambda of the constructor; blanks, results and the lambda's class differ.
const std::string handlerTaking =
    "^[a-z ]*" + prefix +
    R"(TempFileWrapper\(.*shared_ptr<.*IFileSystem>.*\)::.+\(const QString ?&, )";
const std::string sourceFile = "src/library/ConvertWrappers/TempFileWrapper.cpp";

class TempFileWrapperTest : public WrapperFixture
{
protected:
    TempFileWrapperTest() { names->given = {"own", "one", "two", "three"}; }

    /** The wrapper, whose private folder is "PDFConverterown". */
    TempFileWrapper& Build()
    {
        wrapper = MakeTempFileWrapper(converter);
        Record(*wrapper);
        journal->clear();
        return *wrapper;
    }

    std::string PrivateFolder() const { return folder.path().toStdString() + "/PDFConverterown"; }

    static Task MakeTask(const QString& source, const QString& destination)
    {
        return {QStringLiteral("type"), source, destination, {}};
    }

    /** The inner converter has written the result of the task of that number. */
    QString Produce(std::size_t number = 0)
    {
        QString path = converter->tasks.at(number).destination;
        files->files[path.toStdString()] = "result " + std::to_string(number);
        return path;
    }

    /** The inner converter ends the task of that number with its result. */
    void Finish(std::size_t number = 0)
    {
        const QString result = Produce(number);
        Q_EMIT converter->Finished(converter->tasks.at(number).source, result);
    }

    std::shared_ptr<TempFileWrapper> wrapper;
};

/** Over real folders, where numbered names are really taken. */
class TempFileWrapperOnFoldersTest : public TempFileWrapperTest
{
protected:
    TempFileWrapperOnFoldersTest()
    {
        const auto realFiles = std::make_shared<FolderFileSystem>(folder.path().toStdString());
        wrapper = std::make_shared<TempFileWrapper>(names, converter, realFiles);
        Record(*wrapper);
        EXPECT_TRUE(QDir(folder.path()).mkdir("out"));
    }

    /** A file in the private folder. */
    QString ProduceFile(const QString& name)
    {
        QString path = QString::fromStdString(PrivateFolder()) + '/' + name;
        std::ofstream(path.toStdString()) << name.toStdString();
        return path;
    }

    std::string Content(const QString& name) const
    {
        std::ostringstream text;
        text << std::ifstream(Path(name).toStdString()).rdbuf();
        return text.str();
    }
};

} // namespace

TEST_F(TempFileWrapperTest, ChoosesAndCreatesItsFolderBeforeItConnects)
{
    LogCapture log;
    wrapper = MakeTempFileWrapper(converter);
    EXPECT_THAT(CallJournal(journal->begin(), journal->begin() + 5),
                ElementsAre("GenerateFileName", "GetTempFolder", "Exists " + PrivateFolder(),
                            "CreateFolder " + PrivateFolder(),
                            "connect UploadProgress(QString,qlonglong,qlonglong)"));
    EXPECT_THAT(*journal, SizeIs(4 + 8));
    EXPECT_THAT(log.Texts(),
                ElementsAre(prefix + "Impl::Impl: temp folder: " + PrivateFolder() + " exists: 1"));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(0).file, sourceFile);
}

TEST_F(TempFileWrapperTest, DoesNotCreateAFolderThatExists)
{
    files->folders.insert(PrivateFolder());
    LogCapture log;
    wrapper = MakeTempFileWrapper(converter);
    EXPECT_THAT(*journal, testing::Not(testing::Contains(StartsWith("CreateFolder"))));
    EXPECT_THAT(log.Texts(), ElementsAre(EndsWith(" exists: 1")));
}

TEST_F(TempFileWrapperTest, WorksOnWithAFolderThatCouldNotBeCreated)
{
    files->createsFolders = false;
    LogCapture log;
    Build();
    EXPECT_THAT(log.Texts(),
                ElementsAre(prefix + "Impl::Impl: temp folder: " + PrivateFolder() + " exists: 0"));

    EXPECT_TRUE(wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png")));
    EXPECT_EQ(converter->tasks.at(0).destination.toStdString(), PrivateFolder() + "/one.png");
    Q_EMIT converter->Failed("a.pdf", AbstractConverter::CannotWrite);
    EXPECT_THAT(received, ElementsAre("Failed a.pdf 4"));
}

TEST_F(TempFileWrapperTest, TwoWrappersHaveTwoFolders)
{
    const auto one = MakeTempFileWrapper(converter);
    const auto two = MakeTempFileWrapper(converter);
    EXPECT_THAT(files->folders,
                ElementsAre(folder.path().toStdString(),
                            folder.path().toStdString() + "/PDFConverterone", PrivateFolder()));
}

TEST_F(TempFileWrapperTest, RedirectsATaskIntoItsFolderAndChangesNothingElseOfIt)
{
    Build();
    LogCapture log;
    Task task = MakeTask("/docs/a.pdf", "/out/page.png");
    task.options = {{"need_export", false}, {"dpi", 300}};
    EXPECT_TRUE(wrapper->ConvertFile(task));

    const std::string redirected = PrivateFolder() + "/one.png";
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "ConvertFile /docs/a.pdf to " + redirected));
    const Task& inner = converter->tasks.at(0);
    EXPECT_EQ(inner.type, "type");
    EXPECT_EQ(inner.source, "/docs/a.pdf");
    EXPECT_EQ(inner.destination.toStdString(), redirected);
    EXPECT_THAT(inner.options, SizeIs(2));
    EXPECT_EQ(std::any_cast<int>(inner.options.at("dpi")), 300);
    EXPECT_EQ(std::any_cast<bool>(inner.options.at("need_export")), false);
    EXPECT_THAT(
        log.Texts(),
        ElementsAre(prefix + "ConvertFile:  For: /docs/a.pdf using tmp file: " + redirected));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(0).file, sourceFile);
}

TEST_F(TempFileWrapperTest, LogsTheTaskBeforeItStartsTheInnerConversion)
{
    Build();
    LogCapture log;
    log.onRecord = [this](const LogRecord&) {
        journal->push_back("log");
    };
    wrapper->ConvertFile(MakeTask("a.pdf", "a.png"));
    EXPECT_THAT(*journal, ElementsAre("GenerateFileName", "log", StartsWith("ConvertFile")));
}

TEST_F(TempFileWrapperTest, TakesAFreshNameForEveryTask)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    wrapper->ConvertFile(MakeTask("b.pdf", "/out/b.png"));
    EXPECT_THAT(*journal, ElementsAre("GenerateFileName",
                                      "ConvertFile a.pdf to " + PrivateFolder() + "/one.png",
                                      "GenerateFileName",
                                      "ConvertFile b.pdf to " + PrivateFolder() + "/two.png"));
}

TEST_F(TempFileWrapperTest, TheTemporaryFileOfADestinationWithoutSuffixEndsInADot)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "D:/out/report"));
    EXPECT_EQ(converter->tasks.at(0).destination.toStdString(), PrivateFolder() + "/one.");
}

TEST_F(TempFileWrapperTest, TheTemporaryFileHasTheTextAfterTheLastDotOfTheDestinationsName)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/archive.tar.gz"));
    wrapper->ConvertFile(MakeTask("b.pdf", "/out.dir/report"));
    wrapper->ConvertFile(MakeTask("c.pdf", "/out/.png"));
    EXPECT_EQ(converter->tasks.at(0).destination.toStdString(), PrivateFolder() + "/one.gz");
    EXPECT_EQ(converter->tasks.at(1).destination.toStdString(), PrivateFolder() + "/two.");
    EXPECT_EQ(converter->tasks.at(2).destination.toStdString(), PrivateFolder() + "/three.png");
}

TEST_F(TempFileWrapperTest, MovesTheResultToItsDestinationAndReportsItThere)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/page.png"));
    journal->clear();
    QObject::connect(wrapper.get(),
                     qOverload<const QString&, QString>(&AbstractConverter::Finished), &receiver,
                     [this] { journal->push_back("Finished"); });
    Finish();
    EXPECT_THAT(*journal,
                ElementsAre("Exists /out/page.png",
                            "Move " + PrivateFolder() + "/one.png to /out/page.png", "Finished"));
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf /out/page.png"));
    EXPECT_EQ(files->files.at("/out/page.png"), "result 0");
}

TEST_F(TempFileWrapperTest, TwoSourcesInFlightAreMatchedInWhateverOrderTheirResultsCome)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    wrapper->ConvertFile(MakeTask("b.pdf", "/out/b.png"));
    Finish(1);
    Finish(0);
    EXPECT_THAT(received,
                ElementsAre("FinishedFile b.pdf /out/b.png", "FinishedFile a.pdf /out/a.png"));
    EXPECT_EQ(files->files.at("/out/a.png"), "result 0");
    EXPECT_EQ(files->files.at("/out/b.png"), "result 1");
}

TEST_F(TempFileWrapperTest, SourcesAreToldApartByCaseAndByEveryCharacter)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    wrapper->ConvertFile(MakeTask("A.pdf", "/out/b.png"));
    wrapper->ConvertFile(MakeTask("./a.pdf", "/out/c.png"));
    Finish(1);
    Finish(2);
    Finish(0);
    EXPECT_THAT(received,
                ElementsAre("FinishedFile A.pdf /out/b.png", "FinishedFile ./a.pdf /out/c.png",
                            "FinishedFile a.pdf /out/a.png"));
}

TEST_F(TempFileWrapperTest, ASourceGivenTwiceKeepsItsFirstDestinationAndHasOneResult)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/first.png"));
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/second.png"));
    LogCapture log;
    Finish(1);
    EXPECT_THAT(TakeReceived(), ElementsAre("FinishedFile a.pdf /out/first.png"));
    EXPECT_THAT(log.Texts(), IsEmpty());

    const QString result = Produce(0);
    journal->clear();
    Q_EMIT converter->Finished("a.pdf", result);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(*journal, IsEmpty());
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_ERROR);
    EXPECT_EQ(files->files.count(result.toStdString()), 1u);
}

TEST_F(TempFileWrapperTest, AResultOfAnUnknownSourceIsAnErrorInTheLogAndNothingElse)
{
    Build();
    LogCapture log(0);
    Q_EMIT converter->Finished("unknown.pdf", QStringLiteral("result.png"));
    EXPECT_THAT(log.Texts(),
                ElementsAre(AllOf(ContainsRegex(handlerTaking + R"((const )?QString( ?&)?\))"),
                                  EndsWith(":  Cannot find info for file: result.png; "
                                           "Original file: unknown.pdf"))));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_ERROR);
    EXPECT_EQ(log.records.at(0).file, sourceFile);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(*journal, IsEmpty());
}

TEST_F(TempFileWrapperTest, AListOfResultsOfAnUnknownSourceIsAnErrorInTheLogAndNothingElse)
{
    Build();
    LogCapture log(0);
    Q_EMIT converter->Finished("unknown.pdf", QStringList{"a.png", "b.png"});
    EXPECT_THAT(log.Texts(),
                ElementsAre(AllOf(ContainsRegex(handlerTaking + R"((const )?QStringList( ?&)?\))"),
                                  EndsWith(":  Cannot find info for files: 2; "
                                           "Original file: unknown.pdf"))));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_ERROR);
    EXPECT_EQ(log.records.at(0).file, sourceFile);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(*journal, IsEmpty());
}

TEST_F(TempFileWrapperTest, AResultThatCannotBeMovedIsReportedWithAnEmptyPathAndEndsTheTask)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    files->movesFiles = false;
    Finish();
    EXPECT_THAT(TakeReceived(), ElementsAre("FinishedFile a.pdf "));
    Finish();
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(TempFileWrapperTest, ATaskThatIsRefusedLeavesItsDestinationToALaterTaskOfTheSource)
{
    Build();
    converter->accepts = false;
    EXPECT_FALSE(wrapper->ConvertFile(MakeTask("a.pdf", "/out/refused.png")));
    converter->accepts = true;
    EXPECT_TRUE(wrapper->ConvertFile(MakeTask("a.pdf", "/out/later.png")));
    Finish(1);
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf /out/refused.png"));
}

TEST_F(TempFileWrapperTest, ATaskThatFailedLeavesItsDestinationToALaterTaskOfTheSource)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/failed.png"));
    Q_EMIT converter->Failed("a.pdf", AbstractConverter::CannotRender);
    EXPECT_THAT(TakeReceived(), ElementsAre("Failed a.pdf 3"));
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/later.png"));
    Finish(1);
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf /out/failed.png"));
}

TEST_F(TempFileWrapperTest, ConvertationFinishedEndsNothing)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    Q_EMIT converter->ConvertationFinished("a.pdf");
    Finish();
    EXPECT_THAT(received,
                ElementsAre("ConvertationFinished a.pdf", "FinishedFile a.pdf /out/a.png"));
}

TEST_F(TempFileWrapperTest, ATaskThatEndedGivesItsSourceFreeForANewDestination)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/first.png"));
    Finish(0);
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/second.png"));
    Finish(1);
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf /out/first.png",
                                      "FinishedFile a.pdf /out/second.png"));
}

TEST_F(TempFileWrapperTest, AResultFromInsideConvertFileFindsItsTask)
{
    Build();
    converter->onConvertFile = [this](const Task&) {
        Finish();
    };
    EXPECT_TRUE(wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png")));
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf /out/a.png"));
}

TEST_F(TempFileWrapperTest, AResultOfAnotherThreadIsMovedOnTheWrappersThread)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    Produce();
    journal->clear();
    const auto thread = std::this_thread::get_id();
    files->onMove = [thread] {
        EXPECT_EQ(std::this_thread::get_id(), thread);
    };
    OnOtherThread([this] { Finish(); });
    EXPECT_THAT(*journal, IsEmpty());
    QCoreApplication::processEvents();
    EXPECT_THAT(*journal, SizeIs(2));
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf /out/a.png"));
}

TEST_F(TempFileWrapperTest, AListIsSentTowardsTheFolderJoinedDirectlyWithTheName)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "D:/out/page.png"));
    files->files["one.png"] = "result";
    journal->clear();
    Q_EMIT converter->Finished("a.pdf", QStringList{"one.png"});
    EXPECT_THAT(*journal, ElementsAre("Exists D:/outpage.png", "Move one.png to D:/outpage.png"));
    EXPECT_THAT(received, ElementsAre("FinishedFiles a.pdf []"));
}

TEST_F(TempFileWrapperTest, AListForABareFileNameIsSentTowardsThatNameBehindADot)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "page.png"));
    files->files["one.png"] = "result";
    Q_EMIT converter->Finished("a.pdf", QStringList{"one.png"});
    EXPECT_EQ(files->files.count(".page.png"), 1u);
}

TEST_F(TempFileWrapperTest, AListIsMovedFirstToLastAndEndsTheTaskOnce)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/page.png"));
    files->files = {{"1.png", "one"}, {"2.txt", "two"}, {"3", "three"}};
    journal->clear();
    Q_EMIT converter->Finished("a.pdf", QStringList{"3", "1.png", "2.txt"});
    EXPECT_THAT(*journal, ElementsAre("Exists /outpage.png.", "Move 3 to /outpage.png.",
                                      "Exists /outpage.png", "Move 1.png to /outpage.png",
                                      "Exists /outpage.png.txt", "Move 2.txt to /outpage.png.txt"));
    EXPECT_THAT(TakeReceived(), ElementsAre("FinishedFiles a.pdf []"));

    LogCapture log;
    Q_EMIT converter->Finished("a.pdf", QStringList{"1.png"});
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(log.Texts(), ElementsAre(HasSubstr(" Cannot find info for files: 1")));
}

TEST_F(TempFileWrapperTest, AListIsEmptyForTheCallerAlsoWhenNothingCouldBeMoved)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/page.png"));
    files->movesFiles = false;
    Q_EMIT converter->Finished("a.pdf", QStringList{"1.png", "2.png"});
    EXPECT_THAT(received, ElementsAre("FinishedFiles a.pdf []"));
}

TEST_F(TempFileWrapperTest, AnEmptyListMovesNothingAndEndsTheTask)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/page.png"));
    journal->clear();
    Q_EMIT converter->Finished("a.pdf", QStringList());
    EXPECT_THAT(*journal, IsEmpty());
    EXPECT_THAT(TakeReceived(), ElementsAre("FinishedFiles a.pdf []"));
    Q_EMIT converter->Finished("a.pdf", QStringList());
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(TempFileWrapperOnFoldersTest, ThreeResultsForOneNameLieSideBySideUnderNumberedNames)
{
    wrapper->ConvertFile(MakeTask("a.pdf", Path("out/img.png")));
    const QStringList results{ProduceFile("x.png"), ProduceFile("y.png"), ProduceFile("z.png")};
    Q_EMIT converter->Finished("a.pdf", results);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files, QDir::Name),
              QStringList({"outimg(2).png", "outimg(3).png", "outimg.png"}));
    EXPECT_EQ(Content("outimg.png"), "x.png") << "the first has the plain name";
    EXPECT_EQ(Content("outimg(2).png"), "y.png");
    EXPECT_EQ(Content("outimg(3).png"), "z.png");
    EXPECT_THAT(received, ElementsAre("FinishedFiles a.pdf []"));
}

TEST_F(TempFileWrapperOnFoldersTest, TwoSourcesWithOneDestinationEndUnderTwoNames)
{
    wrapper->ConvertFile(MakeTask("a.pdf", Path("out/img.png")));
    wrapper->ConvertFile(MakeTask("b.pdf", Path("out/img.png")));
    Q_EMIT converter->Finished("b.pdf", ProduceFile("b.png"));
    Q_EMIT converter->Finished("a.pdf", ProduceFile("a.png"));
    const std::string out = Path("out").toStdString();
    EXPECT_THAT(received, ElementsAre("FinishedFile b.pdf " + out + "/img.png",
                                      "FinishedFile a.pdf " + out + "/img(2).png"));
}

TEST_F(TempFileWrapperOnFoldersTest, AResultForAMissingFolderStaysAndIsReportedWithAnEmptyPath)
{
    wrapper->ConvertFile(MakeTask("a.pdf", Path("missing/img.png")));
    const QString result = ProduceFile("x.png");
    LogCapture log;
    Q_EMIT converter->Finished("a.pdf", result);
    EXPECT_THAT(received, ElementsAre("FinishedFile a.pdf "));
    EXPECT_TRUE(QFile::exists(result));
    EXPECT_FALSE(QFile::exists(Path("missing")));
    EXPECT_THAT(log.Texts(), ElementsAre(EndsWith("Cannot move from: " + result.toStdString() +
                                                  " to " + Path("missing/img.png").toStdString() +
                                                  ". Possibly file already exists")));
}

TEST_F(TempFileWrapperOnFoldersTest, UnclaimedResultsGoWithTheFolder)
{
    const QString unclaimed = ProduceFile("unclaimed.png");
    Q_EMIT converter->Finished("unknown.pdf", unclaimed);
    EXPECT_TRUE(QFile::exists(unclaimed));
    wrapper.reset();
    EXPECT_FALSE(QFile::exists(QString::fromStdString(PrivateFolder())));
}

TEST_F(TempFileWrapperTest, RemovesItsFolderOnceAtDestructionWithTasksInFlightAndNoSignal)
{
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    wrapper->ConvertFile(MakeTask("b.pdf", "/out/b.png"));
    Produce(1);
    journal->clear();
    LogCapture log;
    wrapper.reset();
    EXPECT_THAT(*journal, ElementsAre("RemoveFolder " + PrivateFolder()));
    EXPECT_THAT(log.Texts(), ElementsAre(prefix + "Impl::~Impl: temp folder: " + PrivateFolder() +
                                         " removed: 1"));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(0).file, sourceFile);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(files->files, IsEmpty());
}

TEST_F(TempFileWrapperTest, PrintsTheRemovedFolderAndNoOtherPathByTheOperatorOfPaths)
{
    LogCapture log;
    const int before = PrintedPaths();
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    files->movesFiles = false;
    Finish();
    EXPECT_EQ(PrintedPaths(), before);
    wrapper.reset();
    EXPECT_THAT(log.Texts(), SizeIs(4));
    EXPECT_EQ(PrintedPaths(), before + 1);
}

TEST_F(TempFileWrapperTest, AFolderThatCannotBeRemovedShowsInTheLogOnly)
{
    Build();
    files->removesFolders = false;
    LogCapture log;
    wrapper.reset();
    EXPECT_THAT(log.Texts(), ElementsAre(prefix + "Impl::~Impl: temp folder: " + PrivateFolder() +
                                         " removed: 0"));
}

TEST_F(TempFileWrapperTest, GivesItsSharesUpInTheReverseOrderOfItsRecordAfterTheFolder)
{
    Build();
    pdfs.reset();
    ReleaseAll();
    journal->clear();
    LogCapture log;
    log.onRecord = [this](const LogRecord&) {
        journal->push_back("log");
    };
    wrapper.reset();
    EXPECT_THAT(*journal, ElementsAre("RemoveFolder " + PrivateFolder(), "log", "~FakeConverter",
                                      "~FakeNameGenerator", "~FakeFileSystem"));
}

TEST_F(TempFileWrapperTest, WritesNoInformationBelowVerbosityThirty)
{
    LogCapture log(29);
    Build();
    wrapper->ConvertFile(MakeTask("a.pdf", "/out/a.png"));
    files->movesFiles = false;
    Finish();
    wrapper.reset();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(TempFileWrapperTest, CarriesNonAsciiPathsAsUtf8)
{
    names->given = {"文書", "ünï"};
    const std::string ownFolder = folder.path().toStdString() + "/PDFConverter文書";
    const std::string temporary = ownFolder + "/ünï.pñg";
    const std::string destination = "/Ausgänge/😀.pñg";
    LogCapture log;
    wrapper = MakeTempFileWrapper(converter);
    Record(*wrapper);
    wrapper->ConvertFile(MakeTask("/Übung/日本語.pdf", QString::fromStdString(destination)));
    Finish();
    wrapper.reset();

    EXPECT_THAT(*journal,
                testing::IsSupersetOf(
                    {"Exists " + ownFolder, "CreateFolder " + ownFolder,
                     "ConvertFile /Übung/日本語.pdf to " + temporary, "Exists " + destination,
                     "Move " + temporary + " to " + destination, "RemoveFolder " + ownFolder}));
    EXPECT_THAT(received, ElementsAre("FinishedFile /Übung/日本語.pdf " + destination));
    EXPECT_THAT(log.Texts(),
                ElementsAre(EndsWith("temp folder: " + ownFolder + " exists: 1"),
                            EndsWith(" For: /Übung/日本語.pdf using tmp file: " + temporary),
                            EndsWith("temp folder: " + ownFolder + " removed: 1")));
}

} // namespace Korvel::PDF::Test
