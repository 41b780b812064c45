#include "WorkerPdfProvider.h"

#include "IsSanitized.h"
#include "PdfProviderContract.h"
#include "SamplePdf.h"
#include "WorkerTestTools.h"

#include <memory>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

namespace {

using namespace std::chrono_literals;

/** Long enough for whatever is willing to answer, however slow the machine is. */
constexpr auto longTime = 1min;
constexpr auto shortDeadline = 1s;
constexpr uid_t nobody = 65534;

/** What the future holds. Blocks, so that nothing is answered with the help of an event loop. */
template <typename T>
T Get(std::future<T> future)
{
    EXPECT_EQ(future.wait_for(longTime), std::future_status::ready);
    return future.get();
}

/** A file whose path tells the scripted worker what to do. */
ioPath PathTo(const std::string& what)
{
    return MakeFile(QString::fromStdString(what)).toStdString();
}

DocumentHandle Open(IPDFProvider& provider, const ioPath& file, const std::string& password = {})
{
    return Get(provider.OpenDocument(file, password));
}

bool Save(IPDFProvider& provider, const DocumentHandle& document, const ioPath& file)
{
    return Get(provider.SaveDocument(document, file));
}

bool Close(IPDFProvider& provider, const DocumentHandle& document)
{
    return Get(provider.CloseDocument(document));
}

class WorkerPdfProviderTest : public testing::Test
{
protected:
    ioPath InFolder(const QString& name) const { return folder.filePath(name).toStdString(); }

    /** What the scripted worker wrote down about the request whose file was "record". */
    QJsonObject Recorded() const
    {
        QFile file(folder.filePath("record.json"));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    const QTemporaryDir folder;
    WorkerPdfProvider provider{{ScriptedWorker()}};
};

} // namespace

TEST_F(WorkerPdfProviderTest, OpensADocumentAndDescribesIt)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    EXPECT_GE(document.id, 0);
    const auto info = provider.Describe(document);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pages, 3);
    EXPECT_TRUE(info->encrypted);
    EXPECT_TRUE(info->repaired);
    EXPECT_EQ(info->version, "1.7");
    EXPECT_EQ(info->properties,
              (std::map<QString, QString>{{"Author", "Nobody"}, {"Title", "Scripted"}}));
    EXPECT_EQ(provider.WhyOpenFailed(PathTo("answer")), OpenFailure::None);
}

TEST_F(WorkerPdfProviderTest, GivesEveryDocumentAnIdOfItsOwn)
{
    const DocumentHandle first = Open(provider, PathTo("answer"));
    const DocumentHandle second = Open(provider, PathTo("answer"));
    EXPECT_NE(first.id, second.id);
    EXPECT_TRUE(Close(provider, first));
    EXPECT_TRUE(Close(provider, second));
    const DocumentHandle third = Open(provider, PathTo("answer"));
    EXPECT_NE(third.id, first.id);
    EXPECT_NE(third.id, second.id);
}

TEST_F(WorkerPdfProviderTest, TellsWhenADocumentHasBeenOpenedOrCouldNotBe)
{
    std::atomic<int> told = 0;
    WorkerPdfProvider telling({ScriptedWorker()});
    telling.WhenOpened([&told] { ++told; });
    for (const ioPath& file : {PathTo("answer"), PathTo("die"), ioPath("")}) {
        const int before = told;
        auto opened = telling.OpenDocument(file, {});
        ASSERT_TRUE(WaitUntil([&] { return told == before + 1; })) << file.utf8string();
        EXPECT_EQ(opened.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    }
}

TEST_F(WorkerPdfProviderTest, TellsOfNoDocumentOnceNobodyWantsToKnow)
{
    std::atomic<int> told = 0;
    auto telling = std::make_unique<WorkerPdfProvider>(WorkerSettings{ScriptedWorker()});
    telling->WhenOpened([&told] { ++told; });
    telling->WhenOpened({});
    EXPECT_GE(Open(*telling, PathTo("answer")).id, 0);
    telling.reset();
    EXPECT_EQ(told, 0);
}

TEST_F(WorkerPdfProviderTest, GivesUpWhatIsDoneWithDocumentsAtAPathAndNothingElse)
{
    const DocumentHandle kept = Open(provider, PathTo("answer"));
    const DocumentHandle given = Open(provider, PathTo("record"));
    auto saved = provider.SaveDocument(given, PathTo("fall-silent"));
    auto opened = provider.OpenDocument(PathTo("fall-silent"), {});
    provider.GiveUp(PathTo("record"));
    EXPECT_FALSE(Get(std::move(saved)));
    provider.GiveUp(PathTo("fall-silent"));
    EXPECT_EQ(Get(std::move(opened)).id, -1);
    EXPECT_TRUE(WaitUntil([] { return Workers().size() == 1; }));
    EXPECT_TRUE(Close(provider, kept));
}

TEST_F(WorkerPdfProviderTest, DescribesADocumentUntilItIsClosed)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    const DocumentHandle other = Open(provider, PathTo("answer"));
    EXPECT_TRUE(provider.Describe(document));
    provider.CloseDocument(document);
    EXPECT_FALSE(provider.Describe(document));
    EXPECT_TRUE(provider.Describe(other));
}

TEST_F(WorkerPdfProviderTest, DescribesNothingThatWasNotOpened)
{
    EXPECT_FALSE(provider.Describe(DocumentHandle{}));
    EXPECT_FALSE(provider.Describe({4711, 0}));
    EXPECT_FALSE(provider.Describe(Open(provider, PathTo("fail-with-damaged"))));
}

TEST_F(WorkerPdfProviderTest, AsksForTheFileWithItsPassword)
{
    const std::string password("p\xC3\xA4ss\0\n\xFF", 8);
    Open(provider, InFolder("record"), password);
    const QJsonObject request = Recorded()["request"].toObject();
    EXPECT_EQ(request["op"].toString(), "open");
    EXPECT_EQ(request["file"].toString(), folder.filePath("record"));
    EXPECT_EQ(QByteArray::fromBase64(request["password"].toString().toLatin1()).toStdString(),
              password);
}

TEST_F(WorkerPdfProviderTest, AsksToSaveTheDocumentUnderThePath)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    EXPECT_TRUE(Save(provider, document, InFolder("record")));
    const QJsonObject request = Recorded()["request"].toObject();
    EXPECT_EQ(request["op"].toString(), "save");
    EXPECT_EQ(request["document"].toInt(), document.id);
    EXPECT_EQ(request["file"].toString(), folder.filePath("record"));
}

TEST_F(WorkerPdfProviderTest, AnswersFalseToASaveThatFailed)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    EXPECT_FALSE(Save(provider, document, PathTo("fail-with-cannot-write")));
    EXPECT_FALSE(Save(provider, document, PathTo("no-json")));
    EXPECT_FALSE(Save(provider, document, PathTo("die")));
    EXPECT_TRUE(Save(provider, Open(provider, PathTo("answer")), PathTo("answer")));
}

TEST_F(WorkerPdfProviderTest, TakesARelativePathFromTheCurrentFolder)
{
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    Open(provider, ioPath("record"));
    EXPECT_EQ(Recorded()["request"].toObject()["file"].toString(), folder.filePath("record"));
    Open(provider, ioPath("./x/../record"));
    EXPECT_TRUE(QDir::setCurrent(before));
}

TEST_F(WorkerPdfProviderTest, TakesNoRelativePathFromAFolderThatNoRequestCanName)
{
    const QString before = QDir::currentPath();
    const std::string unnamable = folder.path().toStdString() + "/\xFF";
    ASSERT_EQ(::mkdir(unnamable.c_str(), S_IRWXU), 0);
    ASSERT_EQ(::chdir(unnamable.c_str()), 0);
    EXPECT_EQ(Open(provider, ioPath("answer")).id, -1) << "not UTF-8";
    ASSERT_EQ(::rmdir(unnamable.c_str()), 0);
    EXPECT_EQ(Open(provider, ioPath("answer")).id, -1) << "gone";
    EXPECT_EQ(provider.WhyOpenFailed(ioPath("answer")), OpenFailure::Unreadable);
    EXPECT_TRUE(QDir::setCurrent(before));
}

TEST_F(WorkerPdfProviderTest, CarriesAPathOfUncommonCharacters)
{
    const QString uncommon = QString::fromUtf8("n\n\"\\ \xC3\xA9 \xF0\x9F\x98\x80");
    ASSERT_TRUE(QDir(folder.path()).mkdir(uncommon));
    const QString path = folder.filePath(uncommon + "/record");
    Open(provider, ioPath(path.toStdString()));
    EXPECT_TRUE(QFile::exists(folder.filePath(uncommon + "/record.json")));
}

struct BadPath
{
    const char* what;
    std::string path;
};

std::ostream& operator<<(std::ostream& stream, const BadPath& row)
{
    return stream << row.what;
}

const BadPath badPaths[] = {{"empty", ""},
                            {"embedded NUL", std::string("/nowhere/answer\0.pdf", 20)},
                            {"NUL at the end", std::string("/nowhere/answer\0", 16)},
                            {"Latin 1", "/nowhere/\xE9"},
                            {"cut character", "/nowhere/\xC3"},
                            {"overlong slash", "/nowhere\xC0\xAF"},
                            {"lone surrogate", "/nowhere/\xED\xA0\x80"},
                            {"beyond Unicode", "/nowhere/\xF4\x90\x80\x80"}};

class WorkerPdfProviderRefuses : public testing::TestWithParam<BadPath>
{
};

INSTANTIATE_TEST_SUITE_P(WorkerPdfProviderTest, WorkerPdfProviderRefuses,
                         testing::ValuesIn(badPaths));

TEST_P(WorkerPdfProviderRefuses, ThePathWithoutAskingTheWorker)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    const ioPath path(GetParam().path);
    EXPECT_EQ(Open(provider, path).id, -1);
    EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::Unreadable);
    EXPECT_TRUE(ChildProcesses().empty());
    EXPECT_FALSE(Save(provider, Open(provider, PathTo("answer")), path));
    EXPECT_EQ(provider.WhySaveFailed(PathTo("answer")), SaveFailure::CannotWrite);
}

struct FailureRow
{
    const char* what;
    OpenFailure failure;
    std::chrono::milliseconds deadline = longTime;
};

std::ostream& operator<<(std::ostream& stream, const FailureRow& row)
{
    return stream << row.what;
}

const FailureRow failureRows[] = {
    {"fail-with-unreadable", OpenFailure::Unreadable},
    {"fail-with-empty", OpenFailure::Empty},
    {"fail-with-not-a-pdf", OpenFailure::NotAPdf},
    {"fail-with-damaged", OpenFailure::Damaged},
    {"fail-with-no-password", OpenFailure::NoPassword},
    {"fail-with-wrong-password", OpenFailure::WrongPassword},
    {"fail-with-unsupported-encryption", OpenFailure::UnsupportedEncryption},
    {"fail-with-bad-request", OpenFailure::WorkerFailed},
    {"fail-with-something-new", OpenFailure::WorkerFailed},
    {"run-out-of-memory", OpenFailure::OutOfMemory},
    {"fail-with-too-many-pages", OpenFailure::TooManyPages},
    {"fall-silent", OpenFailure::TimedOut, shortDeadline},
    {"die", OpenFailure::WorkerFailed},
    {"no-json", OpenFailure::WorkerFailed}};

class WorkerPdfProviderTells : public testing::TestWithParam<FailureRow>
{
};

INSTANTIATE_TEST_SUITE_P(WorkerPdfProviderTest, WorkerPdfProviderTells,
                         testing::ValuesIn(failureRows), [](const auto& row) {
                             return QString(row.param.what).remove('-').toStdString();
                         });

TEST_P(WorkerPdfProviderTells, WhyADocumentCouldNotBeOpened)
{
    WorkerPdfProvider provider({ScriptedWorker(), GetParam().deadline});
    const ioPath path = PathTo(GetParam().what);
    const DocumentHandle document = Open(provider, path, "password");
    EXPECT_EQ(document.id, -1);
    EXPECT_EQ(provider.WhyOpenFailed(path), GetParam().failure);
    EXPECT_EQ(provider.WhyOpenFailed(PathTo("answer")), OpenFailure::None);
    EXPECT_FALSE(provider.Describe(document));
    EXPECT_GE(Open(provider, PathTo("answer")).id, 0) << "goes on working";
}

/** Whether a provider that can start no thread says so. Ends this process's right to start any. */
bool FailsWithoutAThread()
{
    const rlimit none = {0, 0};
    if (::setrlimit(RLIMIT_NPROC, &none) != 0 || (::getuid() == 0 && ::setuid(nobody) != 0))
        return false;
    WorkerPdfProvider provider({ScriptedWorker()});
    provider.Prepare();
    auto opened = provider.OpenDocument(PathTo("answer"), {});
    return opened.wait_for(longTime) == std::future_status::ready && opened.get().id == -1 &&
           provider.WhyOpenFailed(PathTo("answer")) == OpenFailure::NotStarted &&
           !provider.WhyNotStarted().isEmpty() && !Save(provider, {1, 0}, PathTo("copy")) &&
           !Close(provider, {1, 0});
}

TEST_F(WorkerPdfProviderTest, AnswersWhenItsThreadCannotBeStarted)
{
#if IS_SANITIZED
    GTEST_SKIP() << "a thread that ends may hold its locks when the process is forked, for good";
#endif
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(FailsWithoutAThread() ? 0 : 1);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(WorkerPdfProviderTest, BelievesInNoDocumentOfImpossiblyManyPages)
{
    for (const std::string count : {"0", "-5", "1e300"}) {
        const ioPath path = PathTo("count-pages-" + count);
        EXPECT_EQ(Open(provider, path).id, -1);
        EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::WorkerFailed);
    }
}

TEST_F(WorkerPdfProviderTest, BelievesInNoMorePagesThanTheBytesOfTheFileCanHold)
{
    const auto open = [this](const QString& count, int bytes) {
        const QString file = MakeFile("count-pages-" + count, QByteArray(bytes, ' '));
        const ioPath path = file.toStdString();
        const bool isOpen = Open(provider, path).id >= 0;
        EXPECT_EQ(provider.WhyOpenFailed(path),
                  isOpen ? OpenFailure::None : OpenFailure::TooManyPages);
        return isOpen;
    };
    EXPECT_TRUE(open("1000000", 1'000'000));
    EXPECT_FALSE(open("1000000", 999'999));
    EXPECT_FALSE(open("2147483647", 1000));
    EXPECT_FALSE(open("8388608", 9'000'000)) << "more objects than a PDF can have";
}

struct SaveRow
{
    const char* what;
    SaveFailure failure;
    std::chrono::milliseconds deadline = longTime;
};

std::ostream& operator<<(std::ostream& stream, const SaveRow& row)
{
    return stream << row.what;
}

const SaveRow saveRows[] = {{"fail-with-cannot-write", SaveFailure::CannotWrite},
                            {"fail-with-damaged", SaveFailure::Damaged},
                            {"fail-with-no-such-document", SaveFailure::WorkerFailed},
                            {"fail-with-bad-request", SaveFailure::WorkerFailed},
                            {"fail-with-something-new", SaveFailure::WorkerFailed},
                            {"run-out-of-memory", SaveFailure::OutOfMemory},
                            {"fail-with-too-large", SaveFailure::TooLarge},
                            {"make-nothing", SaveFailure::WorkerFailed},
                            {"make-empty", SaveFailure::WorkerFailed},
                            {"make-sparse", SaveFailure::TooLarge},
                            {"fall-silent", SaveFailure::TimedOut, shortDeadline},
                            {"die", SaveFailure::WorkerFailed},
                            {"no-json", SaveFailure::WorkerFailed}};

class WorkerPdfProviderTellsOfASave : public testing::TestWithParam<SaveRow>
{
};

INSTANTIATE_TEST_SUITE_P(WorkerPdfProviderTest, WorkerPdfProviderTellsOfASave,
                         testing::ValuesIn(saveRows), [](const auto& row) {
                             return QString(row.param.what).remove('-').toStdString();
                         });

TEST_P(WorkerPdfProviderTellsOfASave, WhyItFailed)
{
    WorkerSettings settings{ScriptedWorker(), GetParam().deadline};
    settings.largestResult = 1;
    WorkerPdfProvider provider(settings);
    const ioPath source = PathTo("answer");
    const ioPath copy = PathTo(GetParam().what);
    EXPECT_EQ(provider.WhySaveFailed(source), SaveFailure::None) << "nobody tried";
    EXPECT_FALSE(Save(provider, Open(provider, source), copy));
    EXPECT_EQ(provider.WhySaveFailed(source), GetParam().failure);
    EXPECT_EQ(provider.WhySaveFailed(copy), SaveFailure::None) << "opened from elsewhere";
    EXPECT_EQ(provider.WhyOpenFailed(source), OpenFailure::None);
    const DocumentHandle again = Open(provider, source);
    EXPECT_EQ(provider.WhySaveFailed(source), SaveFailure::None) << "nobody tried since";
    EXPECT_TRUE(Save(provider, again, PathTo("answer")));
    EXPECT_EQ(provider.WhySaveFailed(source), SaveFailure::None);
}

TEST_F(WorkerPdfProviderTest, TellsOfAWorkerThatIsMissing)
{
    WorkerPdfProvider missing({"/missing/program"});
    const ioPath path = PathTo("answer");
    EXPECT_EQ(Open(missing, path).id, -1);
    EXPECT_EQ(missing.WhyOpenFailed(path), OpenFailure::NotStarted);
    EXPECT_TRUE(missing.WhyNotStarted().contains("cannot start a worker: "));
    EXPECT_FALSE(Save(missing, {1, 0}, path));
    EXPECT_FALSE(Close(missing, {1, 0}));
}

TEST_F(WorkerPdfProviderTest, TellsOfTheLastAttemptAlone)
{
    const ioPath path = PathTo("ask-for-secret");
    EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::None) << "nobody tried";
    Open(provider, path);
    EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::NoPassword);
    Open(provider, path, "guess");
    EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::WrongPassword);
    Open(provider, path, "secret");
    EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::None);
    Open(provider, path, "guess");
    EXPECT_EQ(provider.WhyOpenFailed(path), OpenFailure::WrongPassword);
}

TEST_F(WorkerPdfProviderTest, KeepsOperationsInOrderWithoutWaitingBetweenThem)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    auto saved = provider.SaveDocument(document, PathTo("answer"));
    auto failed = provider.SaveDocument(document, PathTo("fail-with-cannot-write"));
    auto closed = provider.CloseDocument(document);
    EXPECT_TRUE(Get(std::move(closed)));
    EXPECT_EQ(saved.wait_for(0s), std::future_status::ready);
    EXPECT_EQ(failed.wait_for(0s), std::future_status::ready);
    EXPECT_TRUE(saved.get());
    EXPECT_FALSE(failed.get());
}

TEST_F(WorkerPdfProviderTest, DoesNotBlockWhereTheWorkerIsSilent)
{
    QElapsedTimer timer;
    timer.start();
    const auto opened = provider.OpenDocument(PathTo("fall-silent"), {});
    provider.OpenDocument(PathTo("answer"), {});
    provider.SaveDocument({1, 0}, PathTo("answer"));
    provider.CloseDocument({1, 0});
    provider.Describe({1, 0});
    provider.WhyOpenFailed(PathTo("fall-silent"));
    provider.Shutdown();
    EXPECT_LT(timer.elapsed(), 10'000) << "the deadline is ten minutes";
}

TEST_F(WorkerPdfProviderTest, ClosesWhetherOrNotTheFutureIsKept)
{
    Close(provider, Open(provider, PathTo("answer")));
    for (int round = 0; round < 100; ++round)
        provider.CloseDocument(Open(provider, PathTo("answer")));
    EXPECT_GE(Open(provider, PathTo("answer")).id, 0);
}

TEST_F(WorkerPdfProviderTest, KeepsItsDocumentsWhenTheWorkerOfAnotherDies)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    const DocumentHandle other = Open(provider, PathTo("answer"));
    Open(provider, PathTo("die"));
    EXPECT_FALSE(Save(provider, other, PathTo("die")));
    EXPECT_TRUE(Save(provider, document, PathTo("answer")));
    EXPECT_NE(Open(provider, PathTo("answer")).id, other.id) << "in the next worker, too";
}

TEST_F(WorkerPdfProviderTest, HasAProcessForEachDocumentThatIsOpen)
{
    const DocumentHandle document = Open(provider, PathTo("answer"));
    Open(provider, PathTo("answer"));
    const auto hasWorkers = [](std::size_t count) {
        return WaitUntil([count] { return Workers().size() == count; }); // old ones are gone soon
    };
    EXPECT_TRUE(hasWorkers(2));
    EXPECT_TRUE(Close(provider, document));
    EXPECT_GE(Open(provider, PathTo("answer")).id, 0);
    EXPECT_TRUE(hasWorkers(2)) << "that of the closed document";
    EXPECT_LT(Open(provider, PathTo("fail-with-damaged")).id, 0);
    EXPECT_GE(Open(provider, PathTo("answer")).id, 0);
    EXPECT_TRUE(hasWorkers(3)) << "that of the one that did not open";
}

TEST_F(WorkerPdfProviderTest, ServesManyThreads)
{
    std::vector<std::thread> threads;
    std::atomic<int> opened{0};
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([this, &opened] {
            for (int round = 0; round < 20; ++round) {
                const DocumentHandle document = Open(provider, PathTo("answer"));
                const bool described = provider.Describe(document).has_value();
                Open(provider, PathTo("fail-with-damaged"));
                const bool told =
                    provider.WhyOpenFailed(PathTo("fail-with-damaged")) == OpenFailure::Damaged;
                opened += described && told && Close(provider, document) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(opened, 160);
}

TEST_F(WorkerPdfProviderTest, MayBeDestroyedOnAnotherThread)
{
    auto other = std::make_unique<WorkerPdfProvider>(WorkerSettings{ScriptedWorker()});
    EXPECT_GE(Open(*other, PathTo("answer")).id, 0);
    auto silent = other->OpenDocument(PathTo("fall-silent"), {});
    std::thread([other = std::move(other)] {}).join();
    EXPECT_EQ(Get(std::move(silent)).id, -1);
}

TEST_F(WorkerPdfProviderTest, OpensFurtherDocumentsByAWorkerThatItIsGivenBack)
{
    const DocumentHandle first = Open(provider, PathTo("answer"));
    std::unique_ptr<WorkerProcess> worker = provider.TakeWorker(first);
    ASSERT_TRUE(worker);
    const std::size_t processes = Workers().size();
    provider.TakeBack(std::move(worker));
    provider.TakeBack(nullptr);
    EXPECT_GE(Open(provider, PathTo("answer")).id, 0);
    EXPECT_TRUE(WaitUntil([&] { return Workers().size() == processes; }));
}

TEST(WorkerPdfProviderShutdownTest, EndsAWorkerThatIsGivenBackAfterwards)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    std::unique_ptr<WorkerProcess> worker = provider.TakeWorker(Open(provider, PathTo("answer")));
    provider.Shutdown();
    EXPECT_EQ(Workers().size(), 1U);
    provider.TakeBack(std::move(worker));
    EXPECT_TRUE(WaitUntil([] { return Workers().empty(); }));
}

TEST(WorkerPdfProviderShutdownTest, AnswersABlockedOpenAtOnce)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    auto opened = provider.OpenDocument(PathTo("ignore-sigterm"), {});
    std::thread other([&provider] { provider.Shutdown(); });
    EXPECT_EQ(Get(std::move(opened)).id, -1);
    EXPECT_EQ(provider.WhyOpenFailed(PathTo("ignore-sigterm")), OpenFailure::WorkerFailed);
    other.join();
}

TEST(WorkerPdfProviderShutdownTest, AnswersABlockedSaveAndAllBehindItAtOnce)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    const DocumentHandle document = Open(provider, PathTo("answer"));
    auto saved = provider.SaveDocument(document, PathTo("fall-silent"));
    auto opened = provider.OpenDocument(PathTo("ignore-sigterm"), {});
    auto closed = provider.CloseDocument(document);
    std::thread other([&provider] { provider.Shutdown(); });
    EXPECT_FALSE(Get(std::move(saved)));
    EXPECT_EQ(Get(std::move(opened)).id, -1);
    EXPECT_FALSE(Get(std::move(closed)));
    EXPECT_EQ(provider.WhySaveFailed(PathTo("answer")), SaveFailure::WorkerFailed);
    EXPECT_EQ(provider.WhyOpenFailed(PathTo("ignore-sigterm")), OpenFailure::WorkerFailed);
    other.join();
}

TEST(WorkerPdfProviderShutdownTest, IsForGood)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    const DocumentHandle document = Open(provider, PathTo("answer"));
    provider.Shutdown();
    provider.Shutdown();
    EXPECT_EQ(Open(provider, PathTo("answer")).id, -1);
    EXPECT_EQ(provider.WhyOpenFailed(PathTo("answer")), OpenFailure::WorkerFailed);
    EXPECT_FALSE(Save(provider, document, PathTo("answer")));
    EXPECT_EQ(provider.WhySaveFailed(PathTo("answer")), SaveFailure::WorkerFailed);
    EXPECT_FALSE(Close(provider, document));
    EXPECT_TRUE(Workers().empty());
}

TEST(WorkerPdfProviderShutdownTest, StandsBeforeTheFirstOperation)
{
    WorkerPdfProvider provider({ScriptedWorker()});
    provider.Shutdown();
    EXPECT_EQ(Open(provider, PathTo("answer")).id, -1);
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST(WorkerPdfProviderShutdownTest, MeetsOperationsOfOtherThreads)
{
    for (int round = 0; round < 20; ++round) {
        WorkerPdfProvider provider({ScriptedWorker()});
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number) {
            threads.emplace_back([&provider] {
                while (Open(provider, PathTo("answer")).id >= 0)
                    continue;
            });
        }
        Open(provider, PathTo("answer"));
        provider.Shutdown();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(provider.WhyOpenFailed(PathTo("answer")), OpenFailure::WorkerFailed);
    }
}

TEST(WorkerPdfProviderDestructorTest, AnswersWhatIsOpen)
{
    std::future<DocumentHandle> silent;
    std::future<DocumentHandle> opened;
    std::future<bool> saved;
    std::future<bool> closed;
    {
        WorkerPdfProvider provider({ScriptedWorker()});
        const DocumentHandle document = Open(provider, PathTo("answer"));
        silent = provider.OpenDocument(PathTo("fall-silent"), {});
        opened = provider.OpenDocument(PathTo("answer"), {});
        saved = provider.SaveDocument(document, PathTo("answer"));
        closed = provider.CloseDocument(document);
    }
    EXPECT_EQ(Get(std::move(silent)).id, -1);
    EXPECT_EQ(Get(std::move(opened)).id, -1);
    EXPECT_FALSE(Get(std::move(saved)));
    EXPECT_FALSE(Get(std::move(closed)));
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST(WorkerPdfProviderDestructorTest, DoesNotLockHoweverSoonItComes)
{
    for (int round = 0; round < 300; ++round) {
        std::future<DocumentHandle> opened;
        {
            WorkerPdfProvider provider({ScriptedWorker()});
            if (round % 3 > 0)
                opened = provider.OpenDocument(PathTo("answer"), {});
            if (round % 3 > 1)
                provider.Shutdown();
        }
        if (opened.valid())
            Get(std::move(opened));
    }
    EXPECT_TRUE(ChildProcesses().empty());
}

TEST(WorkerPdfProviderDestructorTest, LeavesNoProcessAndNoDescriptorBehind)
{
    Open(*std::make_unique<WorkerPdfProvider>(WorkerSettings{ScriptedWorker()}), PathTo("answer"));
    const int descriptors = CountOpenDescriptors();
    for (int round = 0; round < 20; ++round) {
        WorkerPdfProvider other({ScriptedWorker()});
        Open(other, PathTo("answer"));
        Open(other, PathTo("die"));
        other.OpenDocument(PathTo("ignore-sigterm"), {});
    }
    EXPECT_TRUE(ChildProcesses().empty());
    EXPECT_EQ(CountOpenDescriptors(), descriptors);
}

TEST_F(WorkerPdfProviderTest, KeepsPasswordsOutOfTheProcessTableAndTheLog)
{
    const std::string password = "correct horse battery staple";
    const std::string encoded = QByteArray::fromStdString(password).toBase64().toStdString();
    const MessageCapture log;
    const DocumentHandle document = Open(provider, InFolder("record"), password);
    Save(provider, document, PathTo("fail-with-cannot-write"));
    for (const char* what : {"fail-with-wrong-password", "no-json", "complain", "die"})
        Open(provider, PathTo(what), password);
    WorkerPdfProvider missing({"/missing/program"});
    Open(missing, PathTo("answer"), password);
    auto silent = provider.OpenDocument(PathTo("fall-silent"), password);
    provider.Shutdown();
    Get(std::move(silent));

    const QJsonObject record = Recorded();
    EXPECT_FALSE(record["cmdline"].toString().isEmpty());
    EXPECT_FALSE(record["environ"].toString().isEmpty());
    for (const std::string& secret : {password, encoded}) {
        EXPECT_EQ(log.Text().find(secret), std::string::npos) << log.Text();
        EXPECT_EQ(record["cmdline"].toString().toStdString().find(secret), std::string::npos);
        EXPECT_EQ(record["environ"].toString().toStdString().find(secret), std::string::npos);
    }
    EXPECT_NE(log.Text().find("cannot save"), std::string::npos) << "the log was listened to";
}

/** The provider with the worker that the product has. */
class WorkerPdfProviderRealTest : public TestKit::PdfProviderFixture
{
public:
    WorkerPdfProviderRealTest()
    {
        MakeSamplePdf(folder.filePath("plain.pdf"), 2);
        EncryptPdf(folder.filePath("plain.pdf"), folder.filePath("secret.pdf"), Encryption::Aes256,
                   "user", "owner");
    }

    IPDFProvider& Provider() override { return provider; }
    std::string PlainDocument() override { return InFolder("plain.pdf").utf8string(); }
    std::string EncryptedDocument() override { return InFolder("secret.pdf").utf8string(); }
    std::string Password() override { return "user"; }

    ioPath InFolder(const QString& name) const { return folder.filePath(name).toStdString(); }

    /** What is told of a document that was encrypted so, opened with the password. */
    EncryptionInfo Encrypted(Encryption encryption, const char* user, const char* owner,
                             const char* password, const Allowed& allowed = {})
    {
        EncryptPdf(folder.filePath("plain.pdf"), folder.filePath("encrypted.pdf"), encryption, user,
                   owner, allowed);
        const auto info = provider.Describe(Open(provider, InFolder("encrypted.pdf"), password));
        EXPECT_TRUE(info && info->encrypted && info->encryption);
        return info.value_or(DocumentInfo()).encryption.value_or(EncryptionInfo());
    }

    const QTemporaryDir folder;
    WorkerPdfProvider provider{{WORKER}};
};

using namespace TestKit; // the macro needs more of it than the suite
INSTANTIATE_TYPED_TEST_SUITE_P(WorkerPdfProvider, PdfProviderContract, WorkerPdfProviderRealTest);

TEST_F(WorkerPdfProviderRealTest, SavesWithoutEncryptionWhatItOpenedWithThePassword)
{
    const DocumentHandle document = Open(provider, InFolder("secret.pdf"), "user");
    ASSERT_GE(document.id, 0);
    const auto info = provider.Describe(document);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pages, 2);
    EXPECT_TRUE(info->encrypted);
    EXPECT_FALSE(info->repaired);
    EXPECT_EQ(info->properties.at("Title"), "Sample");
    EXPECT_TRUE(Save(provider, document, InFolder("copy.pdf")));
    EXPECT_TRUE(Close(provider, document));

    const auto forOwner = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    EXPECT_EQ(QFile::permissions(folder.filePath("copy.pdf")), forOwner);
    const auto copy = provider.Describe(Open(provider, InFolder("copy.pdf")));
    ASSERT_TRUE(copy);
    EXPECT_FALSE(copy->encrypted);
}

TEST_F(WorkerPdfProviderRealTest, TellsNothingOfAnEncryptionThatIsNotThere)
{
    const auto info = provider.Describe(Open(provider, InFolder("plain.pdf")));
    ASSERT_TRUE(info);
    EXPECT_FALSE(info->encryption);
}

TEST_F(WorkerPdfProviderRealTest, TellsTheMethodAndTheLengthOfTheKey)
{
    const std::tuple<Encryption, EncryptionMethod, int> rows[] = {
        {Encryption::Rc4_40, EncryptionMethod::Rc4, 40},
        {Encryption::Rc4_128, EncryptionMethod::Rc4, 128},
        {Encryption::Aes128, EncryptionMethod::Aes, 128},
        {Encryption::Aes256, EncryptionMethod::Aes, 256}};
    for (const auto& [encryption, method, bits] : rows) {
        const EncryptionInfo info = Encrypted(encryption, "user", "owner", "user");
        EXPECT_EQ(info.method, method) << bits;
        EXPECT_EQ(info.bits, bits);
        EXPECT_EQ(info.openedWith, OpenedWith::UserPassword);
    }
}

TEST_F(WorkerPdfProviderRealTest, TellsWhichPasswordOpenedADocument)
{
    const auto openedWith = [this](const char* user, const char* owner, const char* password) {
        return Encrypted(Encryption::Aes256, user, owner, password).openedWith;
    };
    EXPECT_EQ(openedWith("user", "owner", "user"), OpenedWith::UserPassword);
    EXPECT_EQ(openedWith("user", "owner", "owner"), OpenedWith::OwnerPassword);
    EXPECT_EQ(openedWith("same", "same", "same"), OpenedWith::UserAndOwnerPassword);
    EXPECT_EQ(openedWith("", "owner", "owner"), OpenedWith::EmptyPassword);
}

TEST_F(WorkerPdfProviderRealTest, TellsWhatADocumentAllows)
{
    const QList<QPair<bool Allowed::*, bool Permissions::*>> pairs{
        {&Allowed::print, &Permissions::print},
        {&Allowed::printHighResolution, &Permissions::printHighResolution},
        {&Allowed::modify, &Permissions::modify},
        {&Allowed::copy, &Permissions::copy},
        {&Allowed::annotate, &Permissions::annotate},
        {&Allowed::fillForms, &Permissions::fillForms},
        {&Allowed::accessibility, &Permissions::accessibility},
        {&Allowed::assemble, &Permissions::assemble}};
    for (const auto& [denied, expected] : pairs) {
        Allowed allowed;
        allowed.*denied = false;
        const Permissions told =
            Encrypted(Encryption::Rc4_128, "", "owner", "", allowed).permissions;
        for (const auto& [other, permission] : pairs) {
            const bool isCoarse =
                denied == &Allowed::print && permission == &Permissions::printHighResolution;
            EXPECT_EQ(told.*permission, permission != expected && !isCoarse);
        }
    }
}

TEST_F(WorkerPdfProviderRealTest, TellsWhyADocumentCannotBeOpened)
{
    QFile text(folder.filePath("text.pdf"));
    ASSERT_TRUE(text.open(QFile::WriteOnly) && text.write("no PDF at all\n") > 0);
    text.close();
    ASSERT_TRUE(QFile(folder.filePath("empty.pdf")).open(QFile::WriteOnly));

    const auto why = [this](const QString& name, const std::string& password) {
        EXPECT_EQ(Open(provider, InFolder(name), password).id, -1);
        return provider.WhyOpenFailed(InFolder(name));
    };
    EXPECT_EQ(why("secret.pdf", ""), OpenFailure::NoPassword);
    EXPECT_EQ(why("secret.pdf", "guess"), OpenFailure::WrongPassword);
    EXPECT_EQ(why("missing.pdf", ""), OpenFailure::Unreadable);
    EXPECT_EQ(why("text.pdf", ""), OpenFailure::NotAPdf);
    EXPECT_EQ(why("empty.pdf", ""), OpenFailure::Empty);
}

TEST_F(WorkerPdfProviderRealTest, NeverReplacesAFile)
{
    const DocumentHandle document = Open(provider, InFolder("plain.pdf"));
    EXPECT_FALSE(Save(provider, document, InFolder("secret.pdf")));
    EXPECT_EQ(provider.WhySaveFailed(InFolder("plain.pdf")), SaveFailure::CannotWrite);
    EXPECT_EQ(Open(provider, InFolder("secret.pdf")).id, -1) << "still encrypted";
}

#if !IS_SANITIZED

TEST_F(WorkerPdfProviderRealTest, TellsThatADocumentNeedsMoreMemoryThanTheWorkerHas)
{
    WorkerPdfProvider poor({WORKER, longTime, 256});
    QFile large(folder.filePath("large.pdf"));
    ASSERT_TRUE(large.open(QFile::WriteOnly) && large.resize(qint64(1) << 30)); // in holes
    EXPECT_EQ(Open(poor, InFolder("large.pdf")).id, -1);
    EXPECT_EQ(poor.WhyOpenFailed(InFolder("large.pdf")), OpenFailure::OutOfMemory);
    EXPECT_GE(Open(poor, InFolder("plain.pdf")).id, 0) << "goes on working";
}

#endif

TEST_F(WorkerPdfProviderRealTest, TellsThatACopyIsLargerThanIsAllowed)
{
    QFile plain(folder.filePath("plain.pdf"));
    ASSERT_TRUE(plain.open(QFile::ReadOnly));
    QByteArray content = plain.readAll();
    content.insert(content.lastIndexOf("startxref"), '%' + QByteArray(2 << 20, 'x') + '\n');
    const ioPath padded = MakeFile("padded.pdf", content).toStdString();
    for (const int limit : {1, 3, 0}) {
        WorkerSettings settings{WORKER, longTime};
        settings.largestResult = limit;
        WorkerPdfProvider limited(settings);
        const ioPath copy = InFolder(QString("copy-%1.pdf").arg(limit));
        EXPECT_EQ(Save(limited, Open(limited, padded), copy), limit != 1);
        EXPECT_EQ(limited.WhySaveFailed(padded),
                  limit == 1 ? SaveFailure::TooLarge : SaveFailure::None);
        EXPECT_EQ(QFile::exists(copy.utf8string().c_str()), limit != 1);
    }
}

TEST_F(WorkerPdfProviderRealTest, OpensNothingWithoutAMeasureThatIsRequired)
{
    WorkerSettings settings{WorkerWithout("landlock=ENOSYS,core=EINVAL"), longTime};
    settings.requiresSandbox = true;
    WorkerPdfProvider confined(settings);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(Open(confined, InFolder("plain.pdf")).id, -1);
        EXPECT_EQ(confined.WhyOpenFailed(InFolder("plain.pdf")), OpenFailure::Unconfined);
    }
    for (const char* measure : {"file access (Landlock)", "no core dump"})
        EXPECT_TRUE(confined.WhyNotStarted().contains(measure)) << measure;
}

TEST_F(WorkerPdfProviderRealTest, TellsWhichMeasuresAreMissingWhereNoneIsRequired)
{
    WorkerPdfProvider free({WorkerWithout("landlock=ENOSYS"), longTime});
    EXPECT_EQ(free.MissingMeasures(), QStringList());
    EXPECT_GE(Open(free, InFolder("plain.pdf")).id, 0);
    EXPECT_EQ(free.MissingMeasures().contains("file access (Landlock)"), !WORKER_IS_SANITIZED);
}

TEST_F(WorkerPdfProviderTest, BelievesNoWorkerThatTheMachineLacksWhatNobodyRequires)
{
    EXPECT_EQ(Open(provider, PathTo("say-unconfined")).id, -1);
    EXPECT_EQ(provider.WhyOpenFailed(PathTo("say-unconfined")), OpenFailure::WorkerFailed);
}

TEST_F(WorkerPdfProviderRealTest, TellsOfTheLastAttemptToSaveAlone)
{
    const ioPath source = InFolder("plain.pdf");
    const DocumentHandle document = Open(provider, source);
    const ioPath copy = InFolder("later/copy.pdf");
    EXPECT_FALSE(Save(provider, document, copy));
    EXPECT_EQ(provider.WhySaveFailed(source), SaveFailure::CannotWrite);
    ASSERT_TRUE(QDir(folder.path()).mkdir("later"));
    EXPECT_TRUE(Save(provider, document, copy));
    EXPECT_EQ(provider.WhySaveFailed(source), SaveFailure::None);
    EXPECT_FALSE(Save(provider, {document.id + 1, 0}, copy)) << "of no document";
    EXPECT_EQ(provider.WhySaveFailed(source), SaveFailure::None);
}

TEST_F(WorkerPdfProviderRealTest, AnswersFalseForADocumentThatIsNotOpen)
{
    const DocumentHandle document = Open(provider, InFolder("plain.pdf"));
    EXPECT_TRUE(Close(provider, document));
    EXPECT_FALSE(Close(provider, document));
    EXPECT_FALSE(Save(provider, document, InFolder("copy.pdf")));
    EXPECT_FALSE(Save(provider, DocumentHandle{}, InFolder("copy.pdf")));
    EXPECT_FALSE(QFile::exists(folder.filePath("copy.pdf")));
}

TEST_F(WorkerPdfProviderRealTest, AnswersFalseForADocumentThatWasLostWithTheWorker)
{
    const DocumentHandle document = Open(provider, InFolder("plain.pdf"));
    for (const int worker : ChildProcesses()) {
        const std::vector<int> itsOwn = ChildProcesses(worker);
        ASSERT_EQ(itsOwn.size(), 1U);
        ::kill(worker, SIGKILL);
        ASSERT_TRUE(WaitUntil([&] { return HasEnded(itsOwn.front()); }));
    }
    EXPECT_FALSE(Save(provider, document, InFolder("copy.pdf")));
    EXPECT_FALSE(Close(provider, document));
    const DocumentHandle again = Open(provider, InFolder("plain.pdf"));
    EXPECT_NE(again.id, document.id);
    EXPECT_TRUE(Save(provider, again, InFolder("copy.pdf")));
    EXPECT_FALSE(Save(provider, document, InFolder("other.pdf")));
}

} // namespace Korvel::PDF::Test
