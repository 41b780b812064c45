#include "CopiedOption.h"
#include "Futures.h"
#include "OtherThread.h"
#include "PrintedPaths.h"
#include "WrapperFixture.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

#include <QCoreApplication>
#include <QFile>

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

const std::string prefix = "Korvel::PDF::Converter::UnencryptDocWrapper::";
const std::string inConvertFile = prefix + "ConvertFile: ";
const std::string sourceFile = "src/library/ConvertWrappers/UnencryptDocWrapper.cpp";

class UnencryptDocWrapperTest : public WrapperFixture
{
protected:
    UnencryptDocWrapperTest()
    {
        names->given = {"x1", "x2", "x3"};
        wrapper = MakeUnencryptDocWrapper(converter);
        Record(*wrapper);
        journal->clear();
    }

    /** The copy with that stem. */
    std::string Copy(const std::string& stem = "x1") const
    {
        return Path(QString::fromStdString(stem) + ".pdf").toStdString();
    }

    /** The usual task, with an option that calls `onCopy` when it is copied. */
    Task TaskCopiedWith(const std::function<void()>& onCopy) const
    {
        Task copied = task;
        copied.options.emplace("copied", std::any(CopiedOption(onCopy)));
        return copied;
    }

    bool CopyExists() const { return QFile::exists(QString::fromStdString(Copy())); }

    /** Starts the usual task, whose source is encrypted; the path of its copy. */
    QString Start()
    {
        EXPECT_TRUE(wrapper->ConvertFile(task));
        EXPECT_TRUE(CopyExists());
        journal->clear();
        return converter->tasks.back().source;
    }

    const Task task = MakeTask();
    const std::string source = task.source.toStdString();
    std::shared_ptr<UnencryptDocWrapper> wrapper;
};

/** The signals that do not end a task. */
class UnencryptDocWrapperSignalTest : public UnencryptDocWrapperTest,
                                      public testing::WithParamInterface<ConverterSignal>
{
};

/** The signals that end a task. */
class UnencryptDocWrapperEndTest : public UnencryptDocWrapperTest,
                                   public testing::WithParamInterface<ConverterSignal>
{
};

std::vector<ConverterSignal> SignalsThat(bool endTheTask)
{
    std::vector<ConverterSignal> chosen;
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (signal.endsTask == endTheTask)
            chosen.push_back(signal);
    }
    return chosen;
}

/** As a part of a function's name. */
std::string TypeOfSecondArgument(const ConverterSignal& signal)
{
    if (signal.name == "Failed")
        return "[A-Za-z:]*ErrorType";
    return signal.name == "FinishedFile" ? "(const )?QString( ?&)?" : "(const )?QStringList( ?&)?";
}

const auto nameOfSignal = [](const auto& signal) {
    return signal.param.name;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, UnencryptDocWrapperSignalTest,
                         testing::ValuesIn(SignalsThat(/*endTheTask=*/false)), nameOfSignal);
INSTANTIATE_TEST_SUITE_P(, UnencryptDocWrapperEndTest,
                         testing::ValuesIn(SignalsThat(/*endTheTask=*/true)), nameOfSignal);

TEST_F(UnencryptDocWrapperTest, CallsNoServiceAtConstruction)
{
    const auto another = MakeUnencryptDocWrapper(converter);
    EXPECT_THAT(*journal, AllOf(SizeIs(8), testing::Each(StartsWith("connect "))));
}

TEST_F(UnencryptDocWrapperTest, ATaskWithoutNeedExportPassesThroughUntouched)
{
    Task plain = task;
    plain.options.erase("need_export");
    plain.options["password"] = 5; // not even looked at
    LogCapture log;
    EXPECT_TRUE(wrapper->ConvertFile(plain));
    converter->accepts = false;
    EXPECT_FALSE(wrapper->ConvertFile(plain));

    EXPECT_THAT(*journal, ElementsAre("ConvertFile " + source + " to /out/page.png",
                                      "ConvertFile " + source + " to /out/page.png"));
    EXPECT_EQ(converter->tasks.at(0).type, "type");
    EXPECT_THAT(converter->tasks.at(0).options, SizeIs(1));
    EXPECT_EQ(std::any_cast<int>(converter->tasks.at(0).options.at("password")), 5);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, SignalsOfATaskWithoutNeedExportPassThroughUntranslated)
{
    Task plain = task;
    plain.options.clear();
    wrapper->ConvertFile(plain);
    for (const ConverterSignal& signal : ConverterSignals()) {
        signal.emitFrom(*converter, plain.source);
        EXPECT_THAT(TakeReceived(), ElementsAre(signal.Line(plain.source)));
    }
    EXPECT_TRUE(QFile::exists(plain.source));
}

TEST_F(UnencryptDocWrapperTest, AnotherSpellingOfNeedExportIsAnotherOption)
{
    Task plain = task;
    plain.options = {{"Need_Export", true}, {"need_export ", true}};
    wrapper->ConvertFile(plain);
    EXPECT_EQ(converter->tasks.at(0).source, plain.source);
}

TEST_F(UnencryptDocWrapperTest, CallsTheServicesInTheirOrderAndConvertsTheCopy)
{
    EXPECT_TRUE(wrapper->ConvertFile(task));
    EXPECT_THAT(*journal, ElementsAre("GenerateFileName", "GetTempFolder",
                                      "OpenDocument " + source + " with \"secret\"",
                                      "SaveDocument 1/1001 to " + Copy(), "CloseDocument 1/1001",
                                      "ConvertFile " + Copy() + " to /out/page.png"));
    EXPECT_TRUE(CopyExists());
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, TheInnerTaskDiffersInItsSourceOnly)
{
    Task full = task;
    full.options["dpi"] = 300;
    wrapper->ConvertFile(full);
    const Task& inner = converter->tasks.at(0);
    EXPECT_EQ(inner.type, "type");
    EXPECT_EQ(inner.source.toStdString(), Copy());
    EXPECT_EQ(inner.destination, "/out/page.png");
    EXPECT_THAT(inner.options, SizeIs(3));
    EXPECT_EQ(std::any_cast<bool>(inner.options.at("need_export")), true);
    EXPECT_EQ(std::any_cast<std::string>(inner.options.at("password")), "secret");
    EXPECT_EQ(std::any_cast<int>(inner.options.at("dpi")), 300);
}

TEST_F(UnencryptDocWrapperTest, NeedExportCountsWithAFalseAndWithAnEmptyValue)
{
    Task another = task;
    another.options["need_export"] = false;
    EXPECT_TRUE(wrapper->ConvertFile(another));
    EXPECT_EQ(converter->tasks.at(0).source.toStdString(), Copy("x1"));
    another.options["need_export"] = std::any();
    EXPECT_TRUE(wrapper->ConvertFile(another));
    EXPECT_EQ(converter->tasks.at(1).source.toStdString(), Copy("x2"));
}

TEST_F(UnencryptDocWrapperTest, ASourceThatIsNotEncryptedIsConvertedFromACopyToo)
{
    FakePdfProvider::MakeDocument(source, "");
    Task withoutPassword = task;
    withoutPassword.options.erase("password");
    EXPECT_TRUE(wrapper->ConvertFile(withoutPassword));
    EXPECT_THAT(*journal, testing::Contains("OpenDocument " + source + " with \"\""));
    EXPECT_TRUE(wrapper->ConvertFile(task));
    EXPECT_EQ(converter->tasks.at(0).source.toStdString(), Copy("x1"));
    EXPECT_EQ(converter->tasks.at(1).source.toStdString(), Copy("x2"));
}

TEST_F(UnencryptDocWrapperTest, LogsOpeningAndSaving)
{
    LogCapture log;
    wrapper->ConvertFile(task);
    EXPECT_THAT(log.Texts(), ElementsAre(inConvertFile + "Unencrypying: " + source +
                                             " to: " + Copy() + " with using password",
                                         inConvertFile + "File: " + source +
                                             " unencrypted and saved to: " + Copy()));
    for (const LogRecord& record : log.records) {
        EXPECT_EQ(record.severity, google::GLOG_INFO);
        EXPECT_EQ(record.file, sourceFile);
    }
}

TEST_F(UnencryptDocWrapperTest, LogsThatNoPasswordWasUsed)
{
    const auto temporary = std::make_shared<FakeFileSystem>("/tmp", journal);
    UnencryptDocWrapper another(names, converter, pdfs, temporary);
    pdfs->open = [] {
        return Ready(DocumentHandle{7, 70});
    };
    pdfs->save = [] {
        return Ready(false);
    };
    LogCapture log;
    const Task plain{"", "/docs/a.pdf", "/out/a.png", {{"need_export", true}}};
    EXPECT_FALSE(another.ConvertFile(plain));
    EXPECT_EQ(log.Texts().at(0),
              "Korvel::PDF::Converter::UnencryptDocWrapper::ConvertFile: "
              "Unencrypying: /docs/a.pdf to: /tmp/x1.pdf without using password");
}

TEST_F(UnencryptDocWrapperTest, LogsThatAnEmptyPasswordIsNone)
{
    FakePdfProvider::MakeDocument(source, "");
    Task empty = task;
    empty.options["password"] = std::string();
    LogCapture log;
    wrapper->ConvertFile(empty);
    EXPECT_THAT(log.Texts().at(0), EndsWith(" without using password"));
}

TEST_F(UnencryptDocWrapperTest, LogsTheOpeningAfterItsAnswerAndTheSavingAfterTheClosing)
{
    LogCapture log;
    log.onRecord = [this](const LogRecord&) {
        journal->push_back("log");
    };
    pdfs->open = [this] {
        return WhenWaitedFor<DocumentHandle>([this] {
            journal->push_back("opened");
            return DocumentHandle{7, 70};
        });
    };
    pdfs->save = [] {
        return Ready(true);
    };
    wrapper->ConvertFile(task);
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "GetTempFolder", StartsWith("OpenDocument"),
                            "opened", "log", StartsWith("SaveDocument"),
                            StartsWith("CloseDocument"), "log", StartsWith("ConvertFile")));
}

TEST_F(UnencryptDocWrapperTest, CopiesTheTaskOnceAndOnlyWhenTheSaveIsLogged)
{
    LogCapture log;
    log.onRecord = [this](const LogRecord&) {
        journal->push_back("log");
    };
    // The converter keeps a copy of its own.
    const Task copied = TaskCopiedWith([this] { journal->push_back("copy"); });
    EXPECT_TRUE(wrapper->ConvertFile(copied));
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "GetTempFolder", StartsWith("OpenDocument"), "log",
                            StartsWith("SaveDocument"), StartsWith("CloseDocument"), "log", "copy",
                            StartsWith("ConvertFile"), "copy"));
}

TEST_F(UnencryptDocWrapperTest, TheInnerTaskIsTheCallersAsItIsWhenTheSaveIsDone)
{
    Task changing = task;
    pdfs->save = [&changing] {
        changing.type = "later";
        changing.source = "later.pdf";
        changing.destination = "/out/later.png";
        changing.options.erase("password");
        return Ready(true);
    };
    EXPECT_TRUE(wrapper->ConvertFile(changing));
    const Task& inner = converter->tasks.at(0);
    EXPECT_EQ(inner.type, "later");
    EXPECT_EQ(inner.source.toStdString(), Copy());
    EXPECT_EQ(inner.destination, "/out/later.png");
    EXPECT_THAT(inner.options, SizeIs(1));
    // The source was taken at the beginning.
    Q_EMIT converter->ConvertationStarted(inner.source);
    EXPECT_THAT(received, ElementsAre("ConvertationStarted " + source));
}

TEST_F(UnencryptDocWrapperTest, AnOptionThatIsNotToBeCopiedClosesTheDocumentAndLeavesTheCopy)
{
    const Task copied = TaskCopiedWith([] { throw std::runtime_error("not to be copied"); });
    LogCapture log;
    EXPECT_THROW(wrapper->ConvertFile(copied), std::runtime_error);
    EXPECT_THAT(journal->back(), StartsWith("CloseDocument"));
    EXPECT_THAT(pdfs->documents, IsEmpty());
    EXPECT_THAT(log.Texts(),
                ElementsAre(HasSubstr("Unencrypying: "), HasSubstr(" unencrypted and saved to: ")));
    EXPECT_TRUE(CopyExists());
    Q_EMIT converter->Failed(QString::fromStdString(Copy()), AbstractConverter::Unknown);
    EXPECT_THAT(received, ElementsAre("Failed " + Copy() + " 0"));
    EXPECT_TRUE(CopyExists());
}

TEST_F(UnencryptDocWrapperTest, ADocumentThatCannotBeOpenedEndsInFalseAndTwoRecords)
{
    Task wrong = task;
    wrong.options["password"] = std::string("wrong");
    LogCapture log;
    EXPECT_FALSE(wrapper->ConvertFile(wrong));
    EXPECT_THAT(*journal, ElementsAre("GenerateFileName", "GetTempFolder",
                                      "OpenDocument " + source + " with \"wrong\""));
    EXPECT_THAT(log.Texts(), ElementsAre(inConvertFile + "Unencrypying: " + source +
                                             " to: " + Copy() + " with using password",
                                         inConvertFile + "Cannot open: " + source));
    EXPECT_EQ(log.records.at(1).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(1).file, sourceFile);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(converter->tasks, IsEmpty());
    EXPECT_FALSE(CopyExists());
}

TEST_F(UnencryptDocWrapperTest, AnEncryptedDocumentWithoutPasswordCannotBeOpened)
{
    Task without = task;
    without.options.erase("password");
    LogCapture log;
    EXPECT_FALSE(wrapper->ConvertFile(without));
    EXPECT_THAT(log.Texts(), ElementsAre(EndsWith(" without using password"),
                                         inConvertFile + "Cannot open: " + source));
}

TEST_F(UnencryptDocWrapperTest, AFileThatIsNoPdfIsNeitherSavedNorClosed)
{
    QFile file(task.source);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("Dear Sir or Madam");
    file.close();
    EXPECT_FALSE(wrapper->ConvertFile(task));
    EXPECT_THAT(journal->back(), StartsWith("OpenDocument"));
}

TEST_F(UnencryptDocWrapperTest, EveryNegativeIdMeansThatTheDocumentIsNotOpen)
{
    for (const std::int64_t id : {std::int64_t(-1), std::int64_t(-2), INT64_MIN}) {
        pdfs->open = [id] {
            return Ready(DocumentHandle{id, 0});
        };
        EXPECT_FALSE(wrapper->ConvertFile(task));
        EXPECT_THAT(journal->back(), StartsWith("OpenDocument"));
    }
}

TEST_F(UnencryptDocWrapperTest, TheIdZeroAndTheLargestIdAreOpenDocuments)
{
    pdfs->save = [] {
        return Ready(true);
    };
    for (const std::int64_t id : {std::int64_t(0), INT64_MAX}) {
        pdfs->open = [id] {
            return Ready(DocumentHandle{id, -5});
        };
        journal->clear();
        EXPECT_TRUE(wrapper->ConvertFile(task));
        const std::string handle = std::to_string(id) + "/-5";
        EXPECT_THAT(*journal, testing::IsSupersetOf({StartsWith("SaveDocument " + handle),
                                                     StartsWith("CloseDocument " + handle)}));
    }
}

TEST_F(UnencryptDocWrapperTest, AFailedSaveClosesAndEndsInFalse)
{
    pdfs->save = [] {
        return Ready(false);
    };
    LogCapture log;
    EXPECT_FALSE(wrapper->ConvertFile(task));
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "GetTempFolder", StartsWith("OpenDocument"),
                            StartsWith("SaveDocument"), StartsWith("CloseDocument")));
    EXPECT_THAT(log.Texts(),
                ElementsAre(HasSubstr("Unencrypying: "),
                            inConvertFile + "Cannot save: " + source + " to: " + Copy()));
    EXPECT_EQ(log.records.at(1).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(1).file, sourceFile);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(converter->tasks, IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, WhatAFailedSaveLeftBehindStaysAndHasNoEntry)
{
    pdfs->save = [this] {
        FakePdfProvider::MakeDocument(Copy(), "");
        return Ready(false);
    };
    EXPECT_FALSE(wrapper->ConvertFile(task));
    Q_EMIT converter->Failed(QString::fromStdString(Copy()), AbstractConverter::Unknown);
    EXPECT_THAT(received, ElementsAre("Failed " + Copy() + " 0"));
    EXPECT_TRUE(CopyExists());
}

TEST_F(UnencryptDocWrapperTest, WaitsForTheSaveThenClosesThenTakesTheSavesAnswer)
{
    pdfs->save = [this] {
        return WhenWaitedFor<bool>([this]() -> bool {
            journal->push_back("saved");
            throw std::runtime_error("disk on fire");
        });
    };
    EXPECT_THROW(wrapper->ConvertFile(task), std::runtime_error);
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "GetTempFolder", StartsWith("OpenDocument"),
                            StartsWith("SaveDocument"), "saved", StartsWith("CloseDocument")));
}

TEST_F(UnencryptDocWrapperTest, NeitherWaitsForTheCloseNorReadsIt)
{
    bool isWaitedFor = false;
    std::vector<std::promise<bool>> never;
    const std::function<std::future<bool>()> answers[] = {
        [&] { return WhenWaitedFor<bool>([&] { return isWaitedFor = true; }); },
        [&] { return never.emplace_back().get_future(); },
        [] { return Throwing<bool>(std::runtime_error("cannot close")); },
        [] { return Stateless<bool>(); },
        [] {
            return Ready(false);
        }};
    for (const auto& answer : answers) {
        pdfs->close = answer;
        EXPECT_TRUE(wrapper->ConvertFile(task));
    }
    EXPECT_FALSE(isWaitedFor);
}

TEST_F(UnencryptDocWrapperTest, DestroysTheClosesFutureBeforeItTakesTheSavesAnswer)
{
    // What a future computes with goes when the future is destroyed, or its answer taken.
    const auto answer = [this](const char* name) {
        const std::shared_ptr<void> end(
            nullptr, [this, name](void*) { journal->push_back(std::string(name) + " is over"); });
        return WhenWaitedFor<bool>([end] { return true; });
    };
    pdfs->save = [answer] {
        return answer("the save");
    };
    pdfs->close = [answer] {
        return answer("the close");
    };
    EXPECT_TRUE(wrapper->ConvertFile(task));
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "GetTempFolder", StartsWith("OpenDocument"),
                            StartsWith("SaveDocument"), StartsWith("CloseDocument"),
                            "the close is over", "the save is over", StartsWith("ConvertFile")));
}

TEST_F(UnencryptDocWrapperTest, BlocksUntilThreadsOfTheProviderHaveOpenedAndSaved)
{
    std::atomic<bool> opened = false;
    std::atomic<bool> saved = false;
    std::mutex mutex;
    std::condition_variable closed;
    bool isClosed = false;
    bool closedTooEarly = false;
    pdfs->open = [&] {
        return pdfs->OnThread<DocumentHandle>([&] {
            opened = true;
            return DocumentHandle{7, 70};
        });
    };
    pdfs->save = [&] {
        return pdfs->OnThread<bool>([&] {
            // A caller that does not wait for the save has closed within this time.
            std::unique_lock lock(mutex);
            closedTooEarly =
                closed.wait_for(lock, std::chrono::milliseconds(20), [&] { return isClosed; });
            saved = true;
            return true;
        });
    };
    pdfs->close = [&] {
        const std::lock_guard lock(mutex);
        isClosed = true;
        closed.notify_all();
        return Ready(true);
    };
    EXPECT_TRUE(wrapper->ConvertFile(task));
    EXPECT_TRUE(opened);
    EXPECT_TRUE(saved);
    EXPECT_FALSE(closedTooEarly);
}

TEST_F(UnencryptDocWrapperTest, APasswordThatIsNoStringThrowsBadCastBeforeAnythingIsOpened)
{
    for (const std::any& password :
         {std::any(5), std::any("a literal"), std::any(QString("secret")), std::any()}) {
        Task wrong = task;
        wrong.options["password"] = password;
        journal->clear();
        LogCapture log;
        EXPECT_THROW(wrapper->ConvertFile(wrong), std::bad_cast);
        EXPECT_THAT(*journal, ElementsAre("GenerateFileName", "GetTempFolder"));
        EXPECT_THAT(log.Texts(), IsEmpty());
    }
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, AnExceptionOfTheOpeningLeavesConvertFileBeforeItLogs)
{
    pdfs->open = [] {
        return Throwing<DocumentHandle>(std::runtime_error("provider is down"));
    };
    LogCapture log;
    EXPECT_THROW(wrapper->ConvertFile(task), std::runtime_error);
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_THAT(journal->back(), StartsWith("OpenDocument"));
}

TEST_F(UnencryptDocWrapperTest, AnExceptionOfTheSavingLeavesConvertFileAfterTheClosing)
{
    pdfs->save = [] {
        return Throwing<bool>(std::runtime_error("provider is down"));
    };
    EXPECT_THROW(wrapper->ConvertFile(task), std::runtime_error);
    EXPECT_THAT(journal->back(), StartsWith("CloseDocument"));
    EXPECT_THAT(converter->tasks, IsEmpty());
    Q_EMIT converter->ConvertationStarted(QString::fromStdString(Copy()));
    EXPECT_THAT(received, ElementsAre("ConvertationStarted " + Copy()));
}

TEST_F(UnencryptDocWrapperTest, AFutureWithoutStateThrowsFutureError)
{
    pdfs->open = [] {
        return Stateless<DocumentHandle>();
    };
    EXPECT_THROW(wrapper->ConvertFile(task), std::future_error);
    pdfs->open = nullptr;
    pdfs->save = [] {
        return Stateless<bool>();
    };
    EXPECT_THROW(wrapper->ConvertFile(task), std::future_error);
    EXPECT_THAT(converter->tasks, IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, ARefusedTaskAnswersFalseAndKeepsEntryAndCopy)
{
    converter->accepts = false;
    EXPECT_FALSE(wrapper->ConvertFile(task));
    EXPECT_TRUE(CopyExists());
    Q_EMIT converter->ConvertationStarted(QString::fromStdString(Copy()));
    EXPECT_THAT(received, ElementsAre("ConvertationStarted " + source));
}

TEST_P(UnencryptDocWrapperSignalTest, IsReportedUnderTheSourceAndEndsNothing)
{
    const QString copy = Start();
    LogCapture log;
    for (int i = 0; i < 2; ++i) {
        GetParam().emitFrom(*converter, copy);
        EXPECT_THAT(TakeReceived(), ElementsAre(GetParam().Line(task.source)));
    }
    EXPECT_TRUE(CopyExists());
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_THAT(*journal, IsEmpty());
}

TEST_P(UnencryptDocWrapperSignalTest, PassesThroughForAPathThatIsNoCopy)
{
    Start();
    // The lookup is by the exact text of the copy's path.
    for (const QString& path : {task.source, Path("./x1.pdf"), Path("X1.pdf"), QString()}) {
        GetParam().emitFrom(*converter, path);
        EXPECT_THAT(TakeReceived(), ElementsAre(GetParam().Line(path)));
    }
}

TEST_P(UnencryptDocWrapperEndTest, IsReportedFirstThenLoggedThenTheCopyIsDeleted)
{
    const QString copy = Start();
    std::vector<std::string> course;
    ReceiveAll(*wrapper, &receiver, [&](const std::string& line) {
        course.push_back(line);
        EXPECT_TRUE(CopyExists());
    });
    LogCapture log;
    log.onRecord = [&](const LogRecord&) {
        course.push_back("log");
        EXPECT_TRUE(CopyExists());
    };
    GetParam().emitFrom(*converter, copy);
    EXPECT_THAT(course, ElementsAre(GetParam().Line(task.source), "log"));
    EXPECT_FALSE(CopyExists());
    EXPECT_THAT(*journal, IsEmpty());
    EXPECT_THAT(log.Texts(), ElementsAre(EndsWith(": Removing: " + Copy())));
    EXPECT_EQ(log.records.at(0).severity, google::GLOG_INFO);
    EXPECT_EQ(log.records.at(0).file, sourceFile);
}

TEST_P(UnencryptDocWrapperEndTest, IsLoggedUnderTheCompilersNameForItsHandler)
{
    const QString copy = Start();
    LogCapture log;
    GetParam().emitFrom(*converter, copy);
    // Compilers write blanks, results and a lambda's class in ways of their own.
    EXPECT_THAT(
        log.Texts(),
        ElementsAre(ContainsRegex(
            "^[a-z ]*" + prefix +
            R"(UnencryptDocWrapper\(.*shared_ptr<.*IFileSystem>.*\)::.+\(const QString ?&, )" +
            TypeOfSecondArgument(GetParam()) + R"(\).*: Removing: )")));
}

TEST_P(UnencryptDocWrapperEndTest, PrintsTheCopysPathAsText)
{
    const QString copy = Start();
    LogCapture log;
    const int before = PrintedPaths();
    GetParam().emitFrom(*converter, copy);
    EXPECT_THAT(log.Texts(), SizeIs(1));
    EXPECT_EQ(PrintedPaths(), before);
}

TEST_P(UnencryptDocWrapperEndTest, ASecondEndOfTheCopyPassesThroughAndDeletesNothing)
{
    const QString copy = Start();
    GetParam().emitFrom(*converter, copy);
    received.clear();
    FakePdfProvider::MakeDocument(Copy(), "");
    LogCapture log;
    for (const ConverterSignal& signal : ConverterSignals()) {
        signal.emitFrom(*converter, copy);
        EXPECT_THAT(TakeReceived(), ElementsAre(signal.Line(copy)));
    }
    EXPECT_TRUE(CopyExists());
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_P(UnencryptDocWrapperEndTest, AnUnknownPathPassesThroughAndIsNotDeleted)
{
    Start();
    LogCapture log;
    GetParam().emitFrom(*converter, task.source);
    EXPECT_THAT(received, ElementsAre(GetParam().Line(task.source)));
    EXPECT_TRUE(QFile::exists(task.source));
    EXPECT_TRUE(CopyExists());
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_P(UnencryptDocWrapperEndTest, ACopyThatCannotBeDeletedEndsTheTaskAllTheSame)
{
    const QString copy = Start();
    ASSERT_TRUE(QFile::remove(copy));
    GetParam().emitFrom(*converter, copy);
    GetParam().emitFrom(*converter, copy);
    EXPECT_THAT(received, ElementsAre(GetParam().Line(task.source), GetParam().Line(copy)));
}

TEST_P(UnencryptDocWrapperEndTest, OfOneTaskLeavesTheOthersAlone)
{
    wrapper->ConvertFile(task);
    wrapper->ConvertFile(task);
    const QString first = converter->tasks.at(0).source;
    const QString second = converter->tasks.at(1).source;
    GetParam().emitFrom(*converter, first);
    EXPECT_TRUE(QFile::exists(second));
    Q_EMIT converter->ConvertationStarted(second);
    EXPECT_THAT(received,
                ElementsAre(GetParam().Line(task.source), "ConvertationStarted " + source));
}

TEST_F(UnencryptDocWrapperTest, TwoTasksForOneSourceHaveTwoCopiesThatReadAsTheSource)
{
    wrapper->ConvertFile(task);
    wrapper->ConvertFile(task);
    EXPECT_EQ(converter->tasks.at(0).source.toStdString(), Copy("x1"));
    EXPECT_EQ(converter->tasks.at(1).source.toStdString(), Copy("x2"));
    Q_EMIT converter->Finished(converter->tasks.at(1).source, QStringLiteral("two.png"));
    Q_EMIT converter->Finished(converter->tasks.at(0).source, QStringLiteral("one.png"));
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " two.png",
                                      "FinishedFile " + source + " one.png"));
    EXPECT_FALSE(QFile::exists(converter->tasks.at(0).source));
    EXPECT_FALSE(QFile::exists(converter->tasks.at(1).source));
}

TEST_F(UnencryptDocWrapperTest, AStemThatIsInUseKeepsTheOldSource)
{
    names->given = {"x1", "x1"};
    wrapper->ConvertFile(task);
    Task another = task;
    another.source = Path("another.pdf");
    FakePdfProvider::MakeDocument(another.source.toStdString(), "secret");
    EXPECT_TRUE(wrapper->ConvertFile(another));
    EXPECT_EQ(converter->tasks.at(1).source.toStdString(), Copy());
    Q_EMIT converter->ConvertationStarted(QString::fromStdString(Copy()));
    EXPECT_THAT(received, ElementsAre("ConvertationStarted " + source));
}

TEST_F(UnencryptDocWrapperTest, AnEndFromInsideConvertFileIsReportedUnderTheSource)
{
    converter->onConvertFile = [this](const Task& inner) {
        Q_EMIT converter->Finished(inner.source, QStringLiteral("a.png"));
    };
    EXPECT_TRUE(wrapper->ConvertFile(task));
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " a.png"));
    EXPECT_FALSE(CopyExists());
}

TEST_F(UnencryptDocWrapperTest, AnEndOfAnotherThreadIsHandledInTheEventLoop)
{
    const QString copy = Start();
    OnOtherThread([&] { Q_EMIT converter->Finished(copy, QStringLiteral("a.png")); });
    EXPECT_THAT(received, IsEmpty());
    EXPECT_TRUE(CopyExists());
    QCoreApplication::processEvents();
    EXPECT_THAT(received, ElementsAre("FinishedFile " + source + " a.png"));
    EXPECT_FALSE(CopyExists());
}

TEST_F(UnencryptDocWrapperTest, DestructionDropsTheEntriesAndLeavesTheCopies)
{
    wrapper->ConvertFile(task);
    wrapper->ConvertFile(task);
    journal->clear();
    LogCapture log;
    wrapper.reset();
    EXPECT_TRUE(QFile::exists(QString::fromStdString(Copy("x1"))));
    EXPECT_TRUE(QFile::exists(QString::fromStdString(Copy("x2"))));
    EXPECT_THAT(*journal, IsEmpty());
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, GivesItsSharesUpInTheReverseOrderOfItsRecord)
{
    ReleaseAll();
    journal->clear();
    wrapper.reset();
    EXPECT_THAT(*journal, ElementsAre("~FakeFileSystem", "~FakePdfProvider", "~FakeConverter",
                                      "~FakeNameGenerator"));
}

TEST_F(UnencryptDocWrapperTest, WritesNothingBelowVerbosityThirty)
{
    LogCapture log(29);
    Q_EMIT converter->Failed(Start(), AbstractConverter::Unknown);
    pdfs->save = [] {
        return Ready(false);
    };
    wrapper->ConvertFile(task);
    pdfs->open = [] {
        return Ready(DocumentHandle{-1, 0});
    };
    wrapper->ConvertFile(task);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(UnencryptDocWrapperTest, CarriesNonAsciiPathsStemsAndPasswordsAsUtf8)
{
    names->given = {"ünï😀"};
    Task nonAscii = task;
    nonAscii.source = Path("Übung 日本語😀.pdf");
    nonAscii.options["password"] = std::string("пароль");
    const std::string text = nonAscii.source.toStdString();
    FakePdfProvider::MakeDocument(text, "пароль");
    LogCapture log;
    ASSERT_TRUE(wrapper->ConvertFile(nonAscii));
    EXPECT_THAT(*journal,
                ElementsAre("GenerateFileName", "GetTempFolder",
                            "OpenDocument " + text + " with \"пароль\"",
                            "SaveDocument 1/1001 to " + Copy("ünï😀"), "CloseDocument 1/1001",
                            "ConvertFile " + Copy("ünï😀") + " to /out/page.png"));

    const QString copy = converter->tasks.at(0).source;
    EXPECT_TRUE(QFile::exists(copy));
    Q_EMIT converter->Finished(copy, QStringLiteral("a.png"));
    EXPECT_FALSE(QFile::exists(copy));
    EXPECT_THAT(received, ElementsAre("FinishedFile " + text + " a.png"));
    EXPECT_THAT(log.Texts(), ElementsAre(HasSubstr(text), HasSubstr(text),
                                         EndsWith(": Removing: " + Copy("ünï😀"))));
}

} // namespace Korvel::PDF::Test
