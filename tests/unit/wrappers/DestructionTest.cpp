#include "WrapperFixture.h"

#include <QFile>
#include <QFileInfo>

// What services and the inner converter may do while a wrapper is being destroyed.

namespace Korvel::PDF::Test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DestructionTest : public WrapperFixture
{
protected:
    /** A stack with a task in flight. */
    void Build(const Stack& stack)
    {
        wrapper = Make(stack);
        ASSERT_TRUE(wrapper->ConvertFile(task));
        given = converter->tasks.back();
        files->files[given.destination.toStdString()] = "result";
        converter->formats = {{"pdf", {"png"}}};
        Record(*wrapper);
    }

    void EmitFinished() { Q_EMIT converter->Finished(given.source, given.destination); }

    /** Asks the wrapper all that it hands on; `asked` is where a service would know it by. */
    void AskAll(AbstractConverter& asked)
    {
        EXPECT_TRUE(asked.DoesServiceAvailable());
        EXPECT_TRUE(asked.CancelConvertation());
        EXPECT_EQ(asked.GetSupportedFormats(), converter->formats);
        ++timesAsked;
    }

    /** A function that asks the outermost wrapper, whoever holds that. */
    std::function<void()> Asking()
    {
        return [this, asked = wrapper.get()] {
            AskAll(*asked);
        };
    }

    bool CopyExists() const { return QFile::exists(given.source); }

    const Task task = MakeTask();
    const std::string source = task.source.toStdString();
    std::shared_ptr<AbstractConverter> wrapper;
    /** The task as the innermost converter was given it. */
    Task given;
    int timesAsked = 0;
};

const Stack tempFile{"TempFile", {Wrapper::TempFile}};
const Stack unencrypt{"Unencrypt", {Wrapper::Unencrypt}};

} // namespace

// While the private folder is removed

TEST_F(DestructionTest, AResultThatComesWhileTheFolderIsRemovedIsMovedAndReported)
{
    Build(tempFile);
    files->onRemoveFolder = [this] {
        EmitFinished();
        EmitFinished();
    };
    LogCapture log;
    wrapper.reset();
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " /out/page.png"));
    EXPECT_EQ(files->files.at("/out/page.png"), "result");
    EXPECT_THAT(log.Texts(),
                ElementsAre(HasSubstr("Cannot find info for file"), HasSubstr("removed: 1")));
}

TEST_F(DestructionTest, AListThatComesWhileTheFolderIsRemovedIsMovedAndReported)
{
    Build(tempFile);
    files->onRemoveFolder = [this] {
        Q_EMIT converter->Finished(given.source, QStringList{given.destination});
    };
    LogCapture log;
    wrapper.reset();
    EXPECT_THAT(received, ElementsAre("FinishedFiles " + source + " []"));
    EXPECT_EQ(files->files.at("/outpage.png"), "result");
    EXPECT_THAT(log.Texts(), ElementsAre(HasSubstr("removed: 1")));
}

TEST_F(DestructionTest, AResultForACopyThatComesWhileTheFolderIsRemovedEndsTheTaskOfTheCopy)
{
    Build({"TempFileAroundUnencrypt", {Wrapper::TempFile, Wrapper::Unencrypt}});
    files->onRemoveFolder = [this] {
        EmitFinished();
    };
    wrapper.reset();
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " /out/page.png"));
    EXPECT_FALSE(CopyExists());
}

TEST_F(DestructionTest, AResultThatComesWhenTheOuterWrappersRecordIsGoneIsReportedUnderTheCopy)
{
    Build({"UnencryptAroundTempFile", {Wrapper::Unencrypt, Wrapper::TempFile}});
    files->onRemoveFolder = [this] {
        EmitFinished();
    };
    wrapper.reset();
    EXPECT_THAT(received,
                ElementsAre("FinishedFile " + given.source.toStdString() + " /out/page.png"));
    EXPECT_TRUE(CopyExists());
}

TEST_F(DestructionTest, TheWrapperAnswersWhileItsFolderIsRemoved)
{
    Build(tempFile);
    files->onRemoveFolder = Asking();
    wrapper.reset();
    EXPECT_EQ(timesAsked, 1);
}

TEST_F(DestructionTest, ATaskMayBeStartedAndEndedWhileTheFolderIsRemoved)
{
    Build(tempFile);
    files->onRemoveFolder = [this, destroyed = wrapper.get()] {
        const QString folderOfTheFirst = QFileInfo(given.destination).path();
        Task another = task;
        another.source = "another.pdf";
        EXPECT_TRUE(destroyed->ConvertFile(another));
        given = converter->tasks.back();
        EXPECT_EQ(QFileInfo(given.destination).path(), folderOfTheFirst);
        files->files[given.destination.toStdString()] = "another";
        EmitFinished();
    };
    wrapper.reset();
    EXPECT_THAT(received, ElementsAre("FinishedFile another.pdf /out/page.png"));
    EXPECT_EQ(files->files.at("/out/page.png"), "another");
}

TEST_F(DestructionTest, TheWrapperAnswersUntilTheRemovalIsLogged)
{
    Build(tempFile);
    LogCapture log;
    log.onRecord = [ask = Asking()](const LogRecord& record) {
        EXPECT_THAT(record.text, HasSubstr("removed: 1"));
        ask();
    };
    wrapper.reset();
    EXPECT_EQ(timesAsked, 1);
}

TEST_F(DestructionTest, AResultThatComesAfterTheRemovalFindsNoTask)
{
    Build(tempFile);
    converter->onDestruction = [this, sender = converter.get()] {
        Q_EMIT sender->Finished(given.source, given.destination);
    };
    converter.reset();
    LogCapture log;
    wrapper.reset();
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(log.Texts(),
                ElementsAre(HasSubstr("removed: 1"), HasSubstr("Cannot find info for file")));
}

// While the unencrypting wrapper's services are destroyed

TEST_F(DestructionTest, TheWrapperAnswersWhileItsServicesAreDestroyed)
{
    Build(unencrypt);
    files->onDestruction = Asking();
    pdfs->onDestruction = Asking();
    files.reset();
    pdfs.reset();
    wrapper.reset();
    EXPECT_EQ(timesAsked, 2);
}

TEST_F(DestructionTest, AnEndThatComesWhileTheServicesAreDestroyedFindsNoCopy)
{
    Build(unencrypt);
    const auto fail = [this] {
        Q_EMIT converter->Failed(given.source, AbstractConverter::Unknown);
    };
    files->onDestruction = fail;
    pdfs->onDestruction = fail;
    files.reset();
    pdfs.reset();
    LogCapture log;
    wrapper.reset();
    const std::string line = "Failed " + given.source.toStdString() + " 0";
    EXPECT_THAT(received, ElementsAre(line, line));
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_TRUE(CopyExists());
}

} // namespace Korvel::PDF::Test
