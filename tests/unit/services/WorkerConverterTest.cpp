#include "WorkerConverter.h"

#include "ConverterSignals.h"
#include "OptionError.h"
#include "SamplePdf.h"
#include "Sanitizers.h"
#include "WorkerTestTools.h"

#include <future>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QThread>

#include <signal.h>

namespace Korvel::PDF::Test {

namespace {

using namespace std::chrono_literals;
using Converter::AbstractConverter;
using Converter::WorkerConverter;
using Lines = std::vector<std::string>;

constexpr auto longDeadline = 1min;
constexpr auto shortDeadline = 1s;

/** A task whose source tells the scripted worker what to do. */
AbstractConverter::Task TaskOf(const QString& source, const QString& destination = ResultPath())
{
    AbstractConverter::Task task;
    task.source = source;
    task.destination = destination;
    return task;
}

/** The signals of a task that fails, with the reason as a number. */
Lines Failing(const std::string& source, AbstractConverter::ErrorType error)
{
    return {"ConvertationStarted " + source, "ConvertationFinished " + source,
            "Failed " + source + ' ' + std::to_string(int(error))};
}

std::string Finished(const std::string& source, const QString& result = ResultPath())
{
    return "FinishedFile " + source + ' ' + result.toStdString();
}

Lines Succeeding(const std::string& source, const QString& result = ResultPath())
{
    return {"ConvertationStarted " + source, "ConvertationProgress " + source + " 1",
            "ConvertationFinished " + source, Finished(source, result)};
}

/** A converter and the signals that it has emitted. */
struct Recorder
{
    explicit Recorder(const WorkerSettings& settings)
        : converter(std::make_unique<WorkerConverter>(settings))
    {
        ReceiveAll(*converter, converter.get(), [this](const std::string& line) {
            lines.push_back(line);
            if (onLine)
                onLine(line);
        });
    }

    bool WaitForCount(std::size_t count)
    {
        return WaitUntil([this, count] { return lines.size() >= count; });
    }

    /** All signals of the task, one after another. */
    Lines Convert(const AbstractConverter::Task& task)
    {
        lines.clear();
        EXPECT_TRUE(converter->ConvertFile(task));
        EXPECT_EQ(lines, Lines{}) << "emitted inside ConvertFile";
        EXPECT_TRUE(WaitUntil([this] {
            return !lines.empty() &&
                   (lines.back().rfind("Finished", 0) == 0 || lines.back().rfind("Failed", 0) == 0);
        }));
        return lines;
    }

    Lines lines;
    /** Called for each signal, if set. */
    std::function<void(const std::string& line)> onLine;
    std::unique_ptr<WorkerConverter> converter;
};

/** Runs in a folder of its own. */
class WorkerConverterTest : public testing::Test
{
protected:
    WorkerConverterTest() { EXPECT_TRUE(QDir::setCurrent(folder.path())); }
    ~WorkerConverterTest() override { EXPECT_TRUE(QDir::setCurrent(before)); }

    /** The option that the converter does not take; none when it takes the task. */
    std::string OptionAtFault(const AbstractConverter::Task& task)
    {
        try {
            recorder.converter->ConvertFile(task);
            return {};
        } catch (const Converter::OptionError& error) {
            return error.Option();
        }
    }

    /** What the scripted worker wrote down about a task whose source is "record". */
    QJsonObject RequestFor(AbstractConverter::Task task)
    {
        task.source = folder.filePath("record");
        EXPECT_EQ(recorder.Convert(task).size(), 4U);
        QFile file(folder.filePath("record.json"));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        return QJsonDocument::fromJson(file.readAll()).object()["request"].toObject();
    }

    const QString before = QDir::currentPath();
    const QTemporaryDir folder;
    Recorder recorder{{ScriptedWorker(), longDeadline}};
};

} // namespace

TEST_F(WorkerConverterTest, EmitsStartedProgressConvertationFinishedAndFinishedInThisOrder)
{
    EXPECT_EQ(recorder.Convert(TaskOf("answer", "out/1.png")), Succeeding("answer", "out/1.png"));
}

TEST_F(WorkerConverterTest, EmitsNothingAfterTheEndOfATask)
{
    recorder.Convert(TaskOf("answer"));
    recorder.lines.clear();
    recorder.Convert(TaskOf("fail-with-damaged"));
    EXPECT_EQ(recorder.lines, Failing("fail-with-damaged", AbstractConverter::CannotOpenSource));
}

TEST_F(WorkerConverterTest, AsksTheWorkerForTheTask)
{
    AbstractConverter::Task task = TaskOf({}, folder.filePath("page.png"));
    task.options["page"] = 3;
    task.options["resolution"] = 72.5;
    task.options["size"] = QSize(800, 600);
    task.options["gray"] = true;
    task.options["as_is"] = false;
    task.options["box"] = QStringLiteral("trim");
    task.options["crop"] = QRectF(1, 2.5, 3, 4);
    task.options["rotate"] = 90;
    task.options["mono"] = QStringLiteral("dither");
    task.options["transparent"] = false;
    task.options["quality"] = 75;
    task.options["compression"] = QStringLiteral("small");
    task.options["need_export"] = true;
    const QJsonObject request = RequestFor(task);
    EXPECT_EQ(request["op"].toString(), "convert");
    EXPECT_EQ(request["file"].toString(), folder.filePath("record"));
    EXPECT_EQ(request["output"].toString(), folder.filePath("page.png"));
    EXPECT_EQ(request["format"].toString(), "png");
    EXPECT_EQ(request["page"].toInt(), 3);
    EXPECT_EQ(request["resolution"].toDouble(), 72.5);
    EXPECT_EQ(request["size"].toArray(), QJsonArray({800, 600}));
    EXPECT_EQ(request["gray"], QJsonValue(true));
    EXPECT_EQ(request["asIs"], QJsonValue(false));
    EXPECT_EQ(request["box"].toString(), "trim");
    EXPECT_EQ(request["crop"].toArray(), QJsonArray({1, 2.5, 3, 4}));
    EXPECT_EQ(request["rotate"].toInt(), 90);
    EXPECT_EQ(request["mono"].toString(), "dither");
    EXPECT_EQ(request["transparent"], QJsonValue(false));
    EXPECT_EQ(request["quality"].toInt(), 75);
    EXPECT_EQ(request["compression"].toString(), "small");
    EXPECT_FALSE(request.contains("need_export"));
}

TEST_F(WorkerConverterTest, LeavesOptionsAwayThatTheTaskDoesNotHave)
{
    const QJsonObject request = RequestFor(TaskOf({}, "all.txt"));
    for (const char* name : {"page", "pages", "resolution", "size", "gray", "quality",
                             "compression", "box", "crop", "rotate", "mono", "transparent", "asIs"})
        EXPECT_FALSE(request.contains(name)) << name;
}

TEST_F(WorkerConverterTest, AsksForTheTextOfThePagesGiven)
{
    AbstractConverter::Task task = TaskOf({}, "some.txt");
    task.options["pages"] = std::vector<int>{2, 5, 1};
    EXPECT_EQ(RequestFor(task)["pages"].toArray(), QJsonArray({2, 5, 1}));
    task.options["page"] = 4;
    EXPECT_EQ(RequestFor(task)["pages"].toArray(), QJsonArray({4}));
}

TEST_F(WorkerConverterTest, TellsOfThePageThatATextLacksAndKeepsTheOthers)
{
    AbstractConverter::Task task = TaskOf("read-pages-but-the-seventh", "some.txt");
    task.options["pages"] = std::vector<int>{5, 6, 7, 8, 9, 10};
    std::vector<int> missing;
    task.options["missing_page"] = WorkerConverter::OnPageFailed(
        [&](int page, AbstractConverter::ErrorType error, const QString&) {
            EXPECT_EQ(error, AbstractConverter::CannotRender);
            missing.push_back(page);
        });
    EXPECT_EQ(recorder.Convert(task).back(), Finished("read-pages-but-the-seventh", "some.txt"));
    EXPECT_EQ(missing, std::vector<int>{7});
    QFile text("some.txt");
    ASSERT_TRUE(text.open(QFile::ReadOnly));
    EXPECT_EQ(text.readAll(), "5\f6\f\f8\f9\f10\f");
    EXPECT_EQ(QDir().entryList({"some.txt*"}), QStringList("some.txt"));
}

TEST_F(WorkerConverterTest, FailsForATextOfWhichNoPageIsLeft)
{
    AbstractConverter::Task task = TaskOf("run-out-of-memory", "some.txt");
    task.options["pages"] = std::vector<int>{5, 6};
    task.options["missing_page"] =
        WorkerConverter::OnPageFailed([](int, AbstractConverter::ErrorType, const QString&) {});
    EXPECT_EQ(recorder.Convert(task).back(),
              Failing("run-out-of-memory", AbstractConverter::OutOfMemory).back());
    EXPECT_EQ(QDir().entryList({"some.txt*"}), QStringList());
}

TEST_F(WorkerConverterTest, TakesRelativePathsFromTheCurrentFolderAndReportsThemAsTheyWere)
{
    EXPECT_EQ(recorder.Convert(TaskOf("record", "x/../1.png")), Succeeding("record", "x/../1.png"));
    QFile file(folder.filePath("record.json"));
    ASSERT_TRUE(file.open(QFile::ReadOnly));
    const QJsonObject request =
        QJsonDocument::fromJson(file.readAll()).object()["request"].toObject();
    EXPECT_EQ(request["file"].toString(), folder.filePath("record"));
    EXPECT_EQ(request["output"].toString(), folder.filePath("x/../1.png"));
}

struct FormatRow
{
    const char* type;
    const char* destination;
    const char* format;
};

std::ostream& operator<<(std::ostream& stream, const FormatRow& row)
{
    return stream << "type '" << row.type << "', destination '" << row.destination << '\'';
}

TEST_F(WorkerConverterTest, TakesTheFormatFromTheTypeOrElseFromTheSuffix)
{
    const FormatRow rows[] = {
        {"", "a.png", "png"},     {"", "a.jpg", "jpg"},   {"", "a.jpeg", "jpg"},
        {"", "a.tif", "tif"},     {"", "a.tiff", "tif"},  {"", "a.bmp", "bmp"},
        {"", "a.webp", "webp"},   {"", "a.txt", "txt"},   {"", "a.pdf", "pdf"},
        {"", "a.PNG", "png"},     {"", "a.b.Jpg", "jpg"}, {"png", "a.jpg", "png"},
        {"TIFF", "a.jpg", "tif"}, {"txt", "a", "txt"},    {"", "a", ""},
        {"", "a.", ""},           {"", "a.doc", ""},      {"doc", "a.png", ""},
        {"", "b.png/a", ""}};
    for (const FormatRow& row : rows) {
        AbstractConverter::Task task = TaskOf({}, row.destination);
        task.type = row.type;
        EXPECT_EQ(RequestFor(task)["format"].toString(), row.format) << row;
    }
}

/** A worker whose results may have a megabyte. */
WorkerSettings LimitedSettings(std::chrono::milliseconds deadline)
{
    WorkerSettings settings{ScriptedWorker(), deadline};
    settings.largestResult = 1;
    return settings;
}

struct ErrorRow
{
    const char* source;
    AbstractConverter::ErrorType error;
    std::chrono::milliseconds deadline = longDeadline;
};

std::ostream& operator<<(std::ostream& stream, const ErrorRow& row)
{
    return stream << row.source;
}

const ErrorRow errorRows[] = {
    {"fail-with-unreadable", AbstractConverter::CannotOpenSource},
    {"fail-with-empty", AbstractConverter::CannotOpenSource},
    {"fail-with-not-a-pdf", AbstractConverter::CannotOpenSource},
    {"fail-with-damaged", AbstractConverter::CannotOpenSource},
    {"fail-with-unsupported-encryption", AbstractConverter::CannotOpenSource},
    {"fail-with-no-password", AbstractConverter::PasswordRequiredOrWrong},
    {"fail-with-wrong-password", AbstractConverter::PasswordRequiredOrWrong},
    {"fail-with-no-such-page", AbstractConverter::CannotRender},
    {"fail-with-cannot-render", AbstractConverter::CannotRender},
    {"fail-with-cannot-write", AbstractConverter::CannotWrite},
    {"fail-with-unsupported-format", AbstractConverter::UnsupportedFormat},
    {"fail-with-bad-request", AbstractConverter::Unknown},
    {"fail-with-something-new", AbstractConverter::Unknown},
    {"die", AbstractConverter::CannotRender},
    {"crash", AbstractConverter::CannotRender},
    {"no-json", AbstractConverter::CannotRender},
    {"run-out-of-memory", AbstractConverter::OutOfMemory},
    {"fail-with-too-large", AbstractConverter::ResultTooLarge},
    {"fail-with-too-many-pages", AbstractConverter::CannotOpenSource},
    {"make-nothing", AbstractConverter::CannotRender},
    {"make-empty", AbstractConverter::CannotRender},
    {"make-folder", AbstractConverter::CannotRender},
    {"make-link", AbstractConverter::CannotRender},
    {"make-pipe", AbstractConverter::CannotRender},
    {"make-sparse", AbstractConverter::ResultTooLarge},
    {"make-large", AbstractConverter::ResultTooLarge},
    {"fall-silent", AbstractConverter::TimedOut, shortDeadline}};

class WorkerConverterFails : public testing::TestWithParam<ErrorRow>
{
};

INSTANTIATE_TEST_SUITE_P(WorkerConverterTest, WorkerConverterFails, testing::ValuesIn(errorRows),
                         [](const auto& row) {
                             return QString(row.param.source).remove('-').toStdString();
                         });

TEST_P(WorkerConverterFails, WithTheErrorOfTheReasonAndGoesOn)
{
    Recorder recorder(LimitedSettings(GetParam().deadline));
    const std::string source = GetParam().source;
    EXPECT_EQ(recorder.Convert(TaskOf(GetParam().source)), Failing(source, GetParam().error));
    EXPECT_EQ(recorder.Convert(TaskOf("answer")), Succeeding("answer"));
}

TEST_F(WorkerConverterTest, FailsWhereTheWorkerIsMissing)
{
    Recorder missing({"/missing/program"});
    EXPECT_EQ(missing.Convert(TaskOf("answer")), Failing("answer", AbstractConverter::Unknown));
}

TEST_F(WorkerConverterTest, FailsForPathsThatNoRequestCanCarry)
{
    const QString surrogate = QString("lone ") + QChar(0xD800) + ".pdf";
    const QString nul = QString("cut") + QChar(0) + ".pdf";
    for (const QString& path : {QString(), surrogate, nul}) {
        Lines lines = recorder.Convert(TaskOf(path));
        EXPECT_EQ(lines.back(),
                  Failing(path.toStdString(), AbstractConverter::CannotOpenSource)[2]);
        EXPECT_EQ(lines.size(), 3U);
        EXPECT_EQ(recorder.Convert(TaskOf("answer", path)),
                  Failing("answer", AbstractConverter::CannotWrite));
    }
    EXPECT_TRUE(ChildProcesses().empty()) << "the worker was asked";
}

TEST_F(WorkerConverterTest, ThrowsForAnUnknownOptionAndEmitsNothing)
{
    AbstractConverter::Task task = TaskOf("answer");
    task.options["resoluton"] = 72.0;
    EXPECT_EQ(OptionAtFault(task), "resoluton");
    QCoreApplication::processEvents();
    EXPECT_EQ(recorder.lines, Lines{});
}

TEST_F(WorkerConverterTest, SaysWhatTypeAnOptionMustHave)
{
    const std::map<std::string, std::pair<std::any, const char*>> wrong{
        {"gray", {QString("yes"), "the option \"gray\" must be of the type bool, and is QString"}},
        {"pages", {3, "the option \"pages\" must be of the type std::vector<int>, and is int"}},
        {"page", {std::any(), "the option \"page\" must be of the type int, and is empty"}}};
    for (const auto& [name, told] : wrong) {
        AbstractConverter::Task task = TaskOf("answer");
        task.options[name] = told.first;
        try {
            recorder.converter->ConvertFile(task);
            ADD_FAILURE() << name;
        } catch (const Converter::OptionError& error) {
            EXPECT_STREQ(error.what(), told.second);
        }
    }
}

TEST_F(WorkerConverterTest, TakesWholeNumbersForFractions)
{
    for (const std::any& value : {std::any(72), std::any(72.0F), std::any(72.0)}) {
        AbstractConverter::Task task = TaskOf("answer");
        task.options["resolution"] = value;
        EXPECT_EQ(recorder.Convert(task), Succeeding("answer"));
    }
}

TEST_F(WorkerConverterTest, TakesTheOptionsOfTheWrapperThatUnencrypts)
{
    AbstractConverter::Task task = TaskOf("answer");
    task.options["need_export"] = true;
    task.options["password"] = std::string("secret");
    EXPECT_EQ(recorder.Convert(task), Succeeding("answer"));
}

TEST_F(WorkerConverterTest, ThrowsForAnOptionOfAnotherTypeAndEmitsNothing)
{
    const std::map<std::string, std::vector<std::any>> wrong{
        {"page", {std::string("3"), 3.0, 3U, std::any()}},
        {"resolution", {72U, std::string("72"), std::any()}},
        {"size", {QSizeF(20, 20), 20, std::vector<int>{20, 20}}},
        {"gray", {1, std::string("true"), std::any()}},
        {"as_is", {1, std::string("true")}},
        {"box", {std::string("trim"), "trim", 1}},
        {"crop", {QRect(1, 2, 3, 4), std::vector<double>{1, 2, 3, 4}}},
        {"rotate", {90.0, std::string("90")}},
        {"mono", {true, "dither", std::string("dither")}},
        {"transparent", {1, std::string("true")}},
        {"quality", {90.0, 90U, std::string("90")}},
        {"compression", {std::string("small"), "small", 1}},
        {"pages", {3, std::vector<unsigned>{3}, std::string("3")}}};
    for (const auto& [name, values] : wrong) {
        for (const std::any& value : values) {
            AbstractConverter::Task task = TaskOf("answer");
            task.options[name] = value;
            EXPECT_THROW(recorder.converter->ConvertFile(task), std::bad_cast) << name;
            EXPECT_EQ(OptionAtFault(task), name);
        }
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(recorder.lines, Lines{});
    EXPECT_TRUE(ChildProcesses().empty()) << "the worker was asked";
}

TEST_F(WorkerConverterTest, WorksOnSeveralTasksOneAfterAnother)
{
    for (const char* source : {"answer", "fail-with-damaged", "answer.2", "die", "answer.3"})
        EXPECT_TRUE(recorder.converter->ConvertFile(TaskOf(source)));
    ASSERT_TRUE(recorder.WaitForCount(18));
    Lines ends;
    for (const std::string& line : recorder.lines) {
        if (line.rfind("Failed", 0) == 0 || line.rfind("Finished", 0) == 0)
            ends.push_back(line);
    }
    EXPECT_EQ(ends, Lines({Finished("answer"), "Failed fail-with-damaged 1", Finished("answer.2"),
                           "Failed die 3", Finished("answer.3")}));
}

TEST_F(WorkerConverterTest, CancelEndsEveryTaskInHandWithCancelled)
{
    for (const char* source : {"fall-silent", "answer", "answer.2"})
        EXPECT_TRUE(recorder.converter->ConvertFile(TaskOf(source)));
    ASSERT_TRUE(recorder.WaitForCount(3)) << "started";
    ASSERT_TRUE(WaitUntil([] { return !Workers().empty(); }));
    recorder.lines.clear();

    EXPECT_TRUE(recorder.converter->CancelConvertation());
    EXPECT_TRUE(Workers().empty()) << "the work has not ended at once";
    EXPECT_EQ(recorder.lines, Lines{}) << "emitted inside CancelConvertation";
    ASSERT_TRUE(recorder.WaitForCount(6));
    EXPECT_EQ(recorder.lines, Lines({"ConvertationFinished fall-silent", "Failed fall-silent 5",
                                     "ConvertationFinished answer", "Failed answer 5",
                                     "ConvertationFinished answer.2", "Failed answer.2 5"}));
    EXPECT_EQ(AbstractConverter::Cancelled, 5);
    EXPECT_EQ(recorder.Convert(TaskOf("answer")), Succeeding("answer"));
}

TEST_F(WorkerConverterTest, WarnsOfFailuresAndOfNoCancel)
{
    const MessageCapture log;
    recorder.Convert(TaskOf("fail-with-damaged"));
    EXPECT_NE(log.Text().find("cannot convert \"fail-with-damaged\""), std::string::npos);
    EXPECT_TRUE(recorder.converter->ConvertFile(TaskOf("fall-silent")));
    EXPECT_TRUE(recorder.converter->CancelConvertation());
    EXPECT_TRUE(WaitUntil([this] { return recorder.lines.size() >= 6; }));
    EXPECT_EQ(log.Text().find("fall-silent"), std::string::npos) << log.Text();
}

TEST_F(WorkerConverterTest, CancelRightAfterConvertFileEndsTheTask)
{
    EXPECT_TRUE(recorder.converter->ConvertFile(TaskOf("answer")));
    EXPECT_TRUE(recorder.converter->CancelConvertation());
    ASSERT_TRUE(recorder.WaitForCount(3));
    EXPECT_EQ(recorder.lines, Failing("answer", AbstractConverter::Cancelled));
}

TEST_F(WorkerConverterTest, CancelWithNothingInHandEmitsNothing)
{
    EXPECT_TRUE(recorder.converter->CancelConvertation());
    QCoreApplication::processEvents();
    EXPECT_EQ(recorder.lines, Lines{});
}

TEST_F(WorkerConverterTest, EndsTasksInHandWithoutASignalWhenItIsDestroyed)
{
    const QObject context;
    Lines lines;
    ReceiveAll(*recorder.converter, &context,
               [&lines](const std::string& line) { lines.push_back(line); });
    EXPECT_TRUE(recorder.converter->ConvertFile(TaskOf("fall-silent")));
    EXPECT_TRUE(recorder.converter->ConvertFile(TaskOf("answer")));
    ASSERT_TRUE(recorder.WaitForCount(2));
    recorder.converter.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(lines, Lines({"ConvertationStarted fall-silent", "ConvertationStarted answer"}));
    EXPECT_TRUE(ChildProcesses().empty());
}

class WorkerConverterReceiver : public testing::TestWithParam<std::string>
{
};

INSTANTIATE_TEST_SUITE_P(WorkerConverterTest, WorkerConverterReceiver,
                         testing::Values("ConvertationStarted answer",
                                         "ConvertationProgress answer 1",
                                         "ConvertationFinished answer", Finished("answer"),
                                         "ConvertationFinished fail-with-damaged",
                                         "Failed fail-with-damaged 1"));

TEST_P(WorkerConverterReceiver, MayDestroyTheConverter)
{
    Recorder recorder({ScriptedWorker(), longDeadline});
    recorder.onLine = [&recorder](const std::string& line) {
        if (line == GetParam())
            recorder.converter.reset();
    };
    recorder.converter->ConvertFile(TaskOf("answer"));
    recorder.converter->ConvertFile(TaskOf("fail-with-damaged"));
    ASSERT_TRUE(WaitUntil([&recorder] { return !recorder.converter; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(recorder.lines.back(), GetParam()) << "and nothing after it";
}

TEST_P(WorkerConverterReceiver, MayStartTheNextTaskAndCancel)
{
    Recorder recorder({ScriptedWorker(), longDeadline});
    bool done = false;
    recorder.onLine = [&](const std::string& line) {
        if (line == GetParam() && !done) {
            recorder.converter->CancelConvertation();
            recorder.converter->ConvertFile(TaskOf("answer.next"));
        }
        done = done || line == GetParam();
    };
    recorder.converter->ConvertFile(TaskOf("answer"));
    recorder.converter->ConvertFile(TaskOf("fail-with-damaged"));
    EXPECT_TRUE(WaitUntil([&recorder] {
        return !recorder.lines.empty() && recorder.lines.back() == Finished("answer.next");
    }));
}

TEST_F(WorkerConverterTest, WorksOnTheThreadThatItWasMovedTo)
{
    const MessageCapture log;
    Recorder other({ScriptedWorker(), longDeadline});
    QThread thread;
    std::vector<QThread*> threads;
    std::promise<void> finished;
    other.onLine = [&](const std::string& line) {
        threads.push_back(QThread::currentThread());
        if (line.rfind("Finished", 0) == 0) {
            other.converter.reset();
            finished.set_value();
        }
    };
    WorkerConverter* const converter = other.converter.get();
    converter->moveToThread(&thread);
    thread.start();
    QMetaObject::invokeMethod(converter, [=] { converter->ConvertFile(TaskOf("answer")); });
    EXPECT_EQ(finished.get_future().wait_for(longDeadline), std::future_status::ready);
    thread.quit();
    thread.wait();
    EXPECT_EQ(threads, std::vector<QThread*>(4, &thread));
    EXPECT_EQ(log.Text(), "") << "Qt complained";
}

TEST_F(WorkerConverterTest, ListsTheFormatsThatItMakes)
{
    const QStringList suffixes{"bmp", "hocr", "jpeg", "jpg", "json", "pdf",
                               "png", "tif",  "tiff", "tsv", "txt",  "webp"};
    EXPECT_EQ(recorder.converter->GetSupportedFormats(),
              (std::map<QString, QStringList>{{"pdf", suffixes}}));
}

TEST_F(WorkerConverterTest, IsAvailableWhereTheWorkerProgramIs)
{
    EXPECT_TRUE(recorder.converter->DoesServiceAvailable());
    EXPECT_FALSE(WorkerConverter({"/missing/program"}).DoesServiceAvailable());
    EXPECT_FALSE(WorkerConverter({folder.path()}).DoesServiceAvailable()) << "a folder";
    EXPECT_FALSE(WorkerConverter().DoesServiceAvailable()) << "none lies beside the test program";
    QFile file(folder.filePath("no-program"));
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    EXPECT_FALSE(WorkerConverter({file.fileName()}).DoesServiceAvailable());
}

TEST_F(WorkerConverterTest, LogsWhyATaskFailed)
{
    const MessageCapture log;
    recorder.Convert(TaskOf("fail-with-damaged"));
    EXPECT_NE(log.Text().find("told to fail with damaged"), std::string::npos) << log.Text();
    EXPECT_NE(log.Text().find("fail-with-damaged"), std::string::npos) << log.Text();
}

/** The converter with the worker that the product has. */
class WorkerConverterRealTest : public testing::Test
{
protected:
    WorkerConverterRealTest()
    {
        MakeSamplePdf(folder.filePath("plain.pdf"), 3);
        EncryptPdf(folder.filePath("plain.pdf"), folder.filePath("secret.pdf"), Encryption::Aes128,
                   "user", "owner");
    }

    /** The last signal of the task. */
    std::string Convert(const QString& source, const QString& destination,
                        const std::map<std::string, std::any>& options)
    {
        return ConvertBy(recorder, source, destination, options);
    }

    std::string ConvertBy(Recorder& by, const QString& source, const QString& destination,
                          const std::map<std::string, std::any>& options) const
    {
        AbstractConverter::Task task =
            TaskOf(folder.filePath(source), folder.filePath(destination));
        task.options = options;
        return by.Convert(task).back();
    }

    std::string Failed(const QString& source, AbstractConverter::ErrorType error) const
    {
        return "Failed " + folder.filePath(source).toStdString() + ' ' + std::to_string(error);
    }

    QByteArray Content(const QString& name) const
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        return file.readAll();
    }

    const QTemporaryDir folder;
    Recorder recorder{{WORKER, longDeadline}};
};

TEST_F(WorkerConverterRealTest, MakesAPictureOfAPage)
{
    EXPECT_EQ(Convert("plain.pdf", "2.png", {{"page", 2}, {"resolution", 72.0}}),
              "FinishedFile " + folder.filePath("plain.pdf").toStdString() + ' ' +
                  folder.filePath("2.png").toStdString());
    const QImage picture(folder.filePath("2.png"));
    EXPECT_EQ(picture.pixel(samplePatch.center()), SampleColour(2).rgb());
}

TEST_F(WorkerConverterRealTest, MakesAGrayPictureThatFitsIntoASize)
{
    Convert("plain.pdf", "1.jpg",
            {{"page", 1}, {"size", QSize(300, 300)}, {"gray", true}, {"quality", 50}});
    const QImage picture(folder.filePath("1.jpg"));
    EXPECT_EQ(picture.size(), QSize(212, 300));
    EXPECT_EQ(picture.format(), QImage::Format_Grayscale8);
}

TEST_F(WorkerConverterRealTest, FailsForColoursThatTheFormatDoesNotHave)
{
    for (const std::pair<std::string, std::any>& option :
         {std::pair<std::string, std::any>("transparent", true),
          std::pair<std::string, std::any>("mono", QStringLiteral("dither"))})
        EXPECT_EQ(Convert("plain.pdf", "1.jpg", {{"page", 1}, option}),
                  Failed("plain.pdf", AbstractConverter::UnsupportedFormat))
            << option.first;
}

TEST_F(WorkerConverterRealTest, FailsForOptionsOutOfBounds)
{
    const std::vector<std::pair<std::string, std::any>> wrong{
        {"resolution", 0.5},
        {"size", QSize(0, 0)},
        {"size", QSize()},
        {"box", QStringLiteral("page")},
        {"crop", QRectF(0, 0, 0, 20)},
        {"rotate", 45},
        {"mono", QStringLiteral("lines")},
        {"quality", 101},
        {"compression", QStringLiteral("tiny")}};
    for (const auto& [name, value] : wrong)
        EXPECT_EQ(Convert("plain.pdf", "1.jpg", {{"page", 1}, {name, value}}),
                  Failed("plain.pdf", AbstractConverter::Unknown))
            << name;
}

TEST_F(WorkerConverterRealTest, TellsOfThePagesThatATiffLacksBeforeItHasFinished)
{
    MakePagesOfSizes(folder.filePath("sizes.pdf"), {{100, 100}, {800, 100}, {100, 100}});
    std::vector<int> missing;
    const WorkerConverter::OnPageFailed tell = [&](int page, AbstractConverter::ErrorType error,
                                                   const QString& why) {
        EXPECT_EQ(error, AbstractConverter::CannotRender);
        EXPECT_FALSE(why.isEmpty());
        missing.push_back(page);
    };
    const std::string last =
        Convert("sizes.pdf", "all.tif", {{"crop", QRectF(700, 0, 50, 50)}, {"missing_page", tell}});
    EXPECT_EQ(last, "FinishedFile " + folder.filePath("sizes.pdf").toStdString() + ' ' +
                        folder.filePath("all.tif").toStdString());
    EXPECT_EQ(missing, (std::vector<int>{1, 3}));
    EXPECT_EQ(QImage(folder.filePath("all.tif")).size(), QSize(105, 105));
}

TEST_F(WorkerConverterRealTest, WritesTheTextOfPages)
{
    Convert("plain.pdf", "some.txt", {{"pages", std::vector<int>{3, 1}}});
    EXPECT_TRUE(Content("some.txt").contains("Page 3"));
    EXPECT_TRUE(Content("some.txt").contains("Page 1"));
    EXPECT_FALSE(Content("some.txt").contains("Page 2"));
}

TEST_F(WorkerConverterRealTest, LeavesFilesThatAreThereWhereTextWouldGo)
{
    const std::map<std::string, std::any> pages{{"pages", std::vector<int>{3, 1}}};
    for (const char* const name : {"taken.txt", "some.txt.part-1"}) {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QFile::WriteOnly) && file.write("of somebody else") > 0);
    }
    EXPECT_EQ(Convert("plain.pdf", "taken.txt", pages),
              Failed("plain.pdf", AbstractConverter::CannotWrite));
    EXPECT_EQ(Convert("plain.pdf", "some.txt", pages),
              Failed("plain.pdf", AbstractConverter::CannotWrite));
    EXPECT_EQ(Content("taken.txt"), "of somebody else");
    EXPECT_EQ(Content("some.txt.part-1"), "of somebody else");
    EXPECT_FALSE(QFile::exists(folder.filePath("some.txt")));
}

TEST_F(WorkerConverterRealTest, JoinsTheTextOfManyPagesInTheirOrder)
{
    constexpr int count = 60;
    MakeSamplePdf(folder.filePath("long.pdf"), count);
    std::vector<int> pages;
    for (int page = count; page > 0; --page)
        pages.push_back(page);
    Convert("long.pdf", "all.txt", {{"pages", pages}});
    EXPECT_GT(recorder.lines.size(), 6U) << "it tells how far it has come";
    const QList<QByteArray> texts = Content("all.txt").split('\f');
    ASSERT_EQ(texts.size(), count + 1);
    for (int i = 0; i < count; ++i)
        EXPECT_TRUE(texts[i].startsWith("Page " + QByteArray::number(count - i) + '\n')) << i;
    EXPECT_EQ(QDir(folder.path()).entryList({"all.txt*"}, QDir::Files), QStringList("all.txt"));
}

TEST_F(WorkerConverterRealTest, LeavesNothingOfATextOneOfWhosePagesIsNotThere)
{
    std::vector<int> pages;
    for (int page = 1; page < 30; ++page)
        pages.push_back(page);
    EXPECT_EQ(Convert("plain.pdf", "all.txt", {{"pages", pages}}),
              Failed("plain.pdf", AbstractConverter::CannotRender));
    EXPECT_EQ(QDir(folder.path()).entryList({"all.txt*"}, QDir::Files), QStringList());
}

TEST_F(WorkerConverterRealTest, LeavesNoFileOfATaskThatFailed)
{
    EXPECT_EQ(Convert("plain.pdf", "4.png", {{"page", 4}}),
              Failed("plain.pdf", AbstractConverter::CannotRender));
    EXPECT_EQ(Convert("secret.pdf", "1.png", {{"page", 1}}),
              Failed("secret.pdf", AbstractConverter::PasswordRequiredOrWrong));
    EXPECT_EQ(Convert("missing.pdf", "1.png", {{"page", 1}}),
              Failed("missing.pdf", AbstractConverter::CannotOpenSource));
    EXPECT_EQ(Convert("plain.pdf", "1.doc", {{"page", 1}}),
              Failed("plain.pdf", AbstractConverter::UnsupportedFormat));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList({"plain.pdf", "secret.pdf"}));
}

TEST_F(WorkerConverterRealTest, ConvertsNothingWithoutAMeasureThatIsRequired)
{
    WorkerSettings settings{WorkerWithout("seccomp=ENOSYS"), longDeadline};
    settings.requiresSandbox = true;
    Recorder confined(settings);
    EXPECT_EQ(ConvertBy(confined, "plain.pdf", "1.jpg", {{"page", 1}}),
              Failed("plain.pdf", AbstractConverter::Unconfined));
    EXPECT_FALSE(QFile::exists(folder.filePath("1.jpg")));
}

#if !IS_SANITIZED

TEST_F(WorkerConverterRealTest, TellsThatAPageNeedsMoreMemoryThanTheWorkerHas)
{
    Recorder poor({WORKER, longDeadline, 125});
    EXPECT_EQ(ConvertBy(poor, "plain.pdf", "1.jpg", {{"page", 1}, {"resolution", 600.0}}),
              Failed("plain.pdf", AbstractConverter::OutOfMemory));
    EXPECT_FALSE(QFile::exists(folder.filePath("1.jpg")));
    const std::string finished = "FinishedFile " + folder.filePath("plain.pdf").toStdString() +
                                 ' ' + folder.filePath("1.jpg").toStdString();
    EXPECT_EQ(ConvertBy(poor, "plain.pdf", "1.jpg", {{"page", 1}, {"resolution", 72.0}}), finished)
        << "goes on working";
    ASSERT_TRUE(QFile::remove(folder.filePath("1.jpg")));
    EXPECT_EQ(Convert("plain.pdf", "1.jpg", {{"page", 1}, {"resolution", 600.0}}), finished)
        << "as much as it has by default is enough";
}

#endif

TEST_F(WorkerConverterRealTest, DoesNotReplaceAFile)
{
    const QByteArray before = Content("secret.pdf");
    EXPECT_EQ(Convert("plain.pdf", "secret.pdf", {}),
              Failed("plain.pdf", AbstractConverter::CannotWrite));
    EXPECT_EQ(Content("secret.pdf"), before);
}

} // namespace Korvel::PDF::Test
