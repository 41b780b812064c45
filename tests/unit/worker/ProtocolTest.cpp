// The lines that come in and the lines that go out.

#include "WorkerFixture.h"

#include <csignal>

#include <QDir>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QThread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::Worker {
namespace {

constexpr int mebibyte = 1024 * 1024;

class ProtocolTest : public WorkerFixture
{
protected:
    /** What becomes of a request for a picture with further or other members. */
    std::string Picture(const QJsonObject& further)
    {
        QJsonObject request{{"page", 1}, {"resolution", 20}};
        for (auto member = further.begin(); member != further.end(); ++member)
            request[member.key()] = member.value();
        const QString output = Path("out.png");
        const std::string outcome = Outcome(Convert(Path("sample-2.pdf"), output, "png", request));
        EXPECT_EQ(QFile::remove(output), outcome == "ok") << outcome;
        return outcome;
    }
};

TEST_F(ProtocolTest, AnswersEveryRequestOnceAndInOrder)
{
    const QString sample = Sample();
    const QList<QPair<int, QString>> requests{
        {7, "open"}, {3, "save"}, {900'000'000, "close"}, {0, "nonsense"}, {-5, "close"}};
    for (const auto& [id, op] : requests)
        worker.Send({{"id", id},
                     {"op", op},
                     {"document", 1},
                     {"file", op == "save" ? Path("copy.pdf") : sample}});
    std::vector<std::string> outcomes;
    for (const auto& request : requests) {
        const QJsonObject answer = worker.Receive();
        EXPECT_EQ(answer["id"].toInt(-99), request.first);
        outcomes.push_back(Outcome(answer));
    }
    EXPECT_EQ(outcomes,
              (std::vector<std::string>{"ok", "ok", "ok", "bad-request", "no-such-document"}));
    EXPECT_EQ(worker.Finish(), 0);
    EXPECT_TRUE(worker.Receive().isEmpty());
}

TEST_F(ProtocolTest, RepeatsTheWholeOfALargeId)
{
    const qint64 id = (qint64(1) << 53) - 1;
    EXPECT_EQ(qint64(worker.Ask({{"id", id}, {"op", "close"}, {"document", 1}})["id"].toDouble()),
              id);
}

TEST_F(ProtocolTest, GoesOnAfterLinesThatItDoesNotUnderstand)
{
    const QByteArray lines[] = {"",
                                "rubbish",
                                "{",
                                "[1, 2]",
                                "null",
                                "\xff\xfe",
                                "{\"id\"",
                                "{}",
                                "{\"id\":1}",
                                QByteArray("\0\0", 2),
                                QByteArray(100'000, '['),
                                R"({"id":"1","op":"close","document":1})"};
    for (const QByteArray& line : lines) {
        worker.Send(line);
        EXPECT_EQ(Outcome(worker.Receive()), "bad-request") << line.left(40).constData();
    }
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
}

TEST_F(ProtocolTest, DoesNotKeepALineWithoutMeasure)
{
    ASSERT_EQ(Outcome(Open(Sample())), "ok");
    QByteArray line = R"({"id":1,"op":"close","document":1})";
    line += QByteArray(20 * mebibyte, ' ');
    worker.Send(line);
    EXPECT_EQ(Outcome(worker.Receive()), "bad-request");
    worker.Send(QByteArray(200 * mebibyte, 'x'));
    EXPECT_EQ(Outcome(worker.Receive()), "bad-request");
    EXPECT_GT(worker.PeakMemory(), 0);
    EXPECT_LT(worker.PeakMemory(), 150 * mebibyte);
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok") << "the document is still held";
}

TEST_F(ProtocolTest, TakesALongLineThatIsWithinMeasure)
{
    EXPECT_EQ(Outcome(worker.Ask({{"id", 1},
                                  {"op", "close"},
                                  {"document", 1},
                                  {"comment", QString(10 * mebibyte, 'x')}})),
              "no-such-document");
}

TEST_F(ProtocolTest, EndsWithItsInput)
{
    EXPECT_EQ(worker.Finish(), 0);
    WorkerClient busy;
    busy.Send({{"id", 1}, {"op", "close"}, {"document", 1}});
    EXPECT_EQ(busy.Finish(), 0);
    EXPECT_EQ(Outcome(busy.Receive()), "no-such-document") << "what was asked is answered";
}

TEST_F(ProtocolTest, TakesNoOtherArgument)
{
    const QList<QStringList> wrong{{"--help"},
                                   {"--version", "file"},
                                   {"--memory-limit"},
                                   {"--memory-limit", ""},
                                   {"--memory-limit", "0"},
                                   {"--memory-limit", "-1"},
                                   {"--memory-limit", "1.5"},
                                   {"--memory-limit", "4G"},
                                   {"--memory-limit", "4294967297"},
                                   {"--memory-limit", "4096", "file"},
                                   {"--memory", "4096"},
                                   {"--memory-limit=4G"},
                                   {"--memory=4096"},
                                   {"-m"},
                                   {"file"},
                                   {""},
                                   {"--time-limit", "0"},
                                   {"--time-limit", "1.5"},
                                   {"--file-limit", "-1"},
                                   {"--file-limit", ""},
                                   {"--file-limit", "1M"},
                                   {"--folder"},
                                   {"--folder", ""},
                                   {"--folder", "relative"},
                                   {"--version", "--memory-limit", "512"},
                                   {"--memory-limit", "512", "--version"}};
    for (const QStringList& arguments : wrong) {
        QProcess process;
        process.start(WORKER, arguments);
        ASSERT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitCode(), 2) << arguments.join(' ').toStdString();
        EXPECT_EQ(process.readAllStandardOutput(), "");
        EXPECT_TRUE(process.readAllStandardError().contains("\nusage: pdfconvert-worker "));
    }
}

TEST_F(ProtocolTest, TellsItsVersion)
{
    QProcess process;
    process.start(WORKER, {"--version"});
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_TRUE(process.readAllStandardOutput().startsWith("pdfconvert-worker "));
    EXPECT_EQ(process.exitCode(), 0);
}

class StandardOutputTest : public ProtocolTest
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0)
            GTEST_SKIP() << "only root sees the files of a process that cannot be traced";
    }

    /** What a descriptor of a worker leads to, once the worker has started. */
    static QString Target(WorkerClient& client, int descriptor)
    {
        EXPECT_EQ(Outcome(client.Ask({{"id", 1}, {"op", "nonsense"}})), "bad-request");
        const QString target = QFile::symLinkTarget(
            QStringLiteral("/proc/%1/fd/%2").arg(client.ProcessId()).arg(descriptor));
        EXPECT_FALSE(target.isEmpty());
        return target;
    }
};

TEST_F(StandardOutputTest, IsStandardErrorForWhatLibrariesPrint)
{
    EXPECT_EQ(Target(worker, STDOUT_FILENO), Target(worker, STDERR_FILENO));
}

TEST_F(StandardOutputTest, IsTheWorkersOwnWhereItsProgramHasNone)
{
    WorkerClient silent("exec 1>&- 2>&-");
    EXPECT_EQ(Target(silent, STDOUT_FILENO), Target(silent, STDERR_FILENO));
    EXPECT_TRUE(Target(silent, STDOUT_FILENO).contains("socket:"));
}

TEST_F(StandardOutputTest, IsTheWorkersOwnAsAllThatItHasOpen)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    const qint64 first = worker.ProcessId();
    ASSERT_GT(first, 0);
    worker.Renew();
    Target(worker, STDOUT_FILENO);
    QSet<QString> sockets;
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(worker.ProcessId()));
    for (const QFileInfo& one : descriptors.entryInfoList(QDir::Files | QDir::System)) {
        if (one.symLinkTarget().contains("socket:"))
            sockets.insert(one.symLinkTarget());
    }
    EXPECT_EQ(sockets.size(), 3) << "of lines, complaints and memory, and none that controls it";
}

TEST_F(ProtocolTest, KeepsNothingOpenOfWhoeverStartedIt)
{
    const QByteArray path = Path("pipe").toUtf8();
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0);
    const int pipe = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    WorkerClient heir("exec 9>'" + Path("pipe") + "'; echo >&9");
    EXPECT_EQ(Outcome(heir.Ask({{"id", 1}, {"op", "nonsense"}})), "bad-request");
    char byte = 0;
    EXPECT_EQ(::read(pipe, &byte, 1), 1) << "what the shell has written";
    EXPECT_EQ(::read(pipe, &byte, 1), 0) << "nobody has it open to write more";
    ::close(pipe);
}

TEST_F(ProtocolTest, EndsWhenItsAnswersCannotBeWritten)
{
    worker.StopListening();
    worker.Send({{"id", 1}, {"op", "close"}, {"document", 1}});
    EXPECT_EQ(worker.Finish(), 1);
}

TEST_F(ProtocolTest, KnowsOnlyTheDocumentsThatItHolds)
{
    const QString sample = Sample();
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"), 1)), "no-such-document");
    EXPECT_EQ(Outcome(Open(sample, {}, 1)), "ok");
    EXPECT_EQ(Outcome(Open(sample, {}, 1)), "bad-request") << "in use";
    EXPECT_EQ(Outcome(Open(sample, {}, 2)), "ok");
    const auto close = [this](int document) {
        return Outcome(worker.Ask({{"id", 1}, {"op", "close"}, {"document", document}}));
    };
    EXPECT_EQ(close(1), "ok");
    EXPECT_EQ(close(1), "no-such-document");
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"), 1)), "no-such-document");
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"), 2)), "ok");
    EXPECT_EQ(Outcome(Open(sample, {}, 1)), "ok");
}

TEST_F(ProtocolTest, HoldsNoDocumentThatDidNotOpen)
{
    EXPECT_EQ(Outcome(Open(Path("missing.pdf"))), "unreadable");
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "no-such-document");
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
}

TEST_F(ProtocolTest, LooksAtOneFileOnly)
{
    const QString sample = Sample();
    const QString other = Sample(2);
    const auto open = [this](const QString& file, int document) {
        return Outcome(
            worker.Ask({{"id", 1}, {"op", "open"}, {"document", document}, {"file", file}}));
    };
    EXPECT_EQ(open("relative.pdf", 1), "bad-request") << "which is none";
    EXPECT_EQ(open(sample, 1), "ok");
    EXPECT_EQ(open(other, 2), "bad-request");
    EXPECT_EQ(open(Path("../") + QFileInfo(folder.path()).fileName() + "/sample-1.pdf", 2),
              "bad-request")
        << "by another name";
    EXPECT_EQ(open(sample, 2), "ok");
}

TEST_F(ProtocolTest, LooksAtAnotherFileInANewProcess)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    const qint64 first = worker.ProcessId();
    const qint64 server = worker.ServerId();
    worker.Renew();
    EXPECT_FALSE(QFile::exists(QString("/proc/%1").arg(first)));
    EXPECT_EQ(
        Outcome(worker.Ask({{"id", 1}, {"op", "open"}, {"document", 1}, {"file", Sample(2)}})),
        "ok");
    EXPECT_NE(worker.ProcessId(), first);
    EXPECT_EQ(worker.ServerId(), server);
    EXPECT_EQ(worker.Finish(), 0);
}

TEST_F(ProtocolTest, HoldsInANewProcessNothingOfTheOldOne)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    worker.Renew();
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "no-such-document");
}

TEST_F(ProtocolTest, EndsAProcessWithoutAskingIt)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    const qint64 first = worker.ProcessId();
    ASSERT_EQ(::kill(pid_t(first), SIGSTOP), 0);
    EXPECT_EQ(worker.Terminate(), SIGKILL);
    EXPECT_FALSE(QFile::exists(QString("/proc/%1").arg(first))) << "it has waited for it";
}

TEST_F(ProtocolTest, LeavesNobodyBehindWhenNobodyCanOrderAnyMore)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    const QString child = QString("/proc/%1").arg(worker.ProcessId());
    ASSERT_TRUE(QFile::exists(child));
    EXPECT_EQ(worker.Close(), 0);
    EXPECT_FALSE(QFile::exists(child)) << "it has waited for it";
}

/** Whether the process is gone, or has nobody yet who waits for it. */
bool IsGone(const QString& process)
{
    QFile file("/proc/" + process + "/stat");
    return !file.open(QIODevice::ReadOnly) || file.readAll().contains(") Z ");
}

QString ChildOf(const QString& process)
{
    QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(process));
    return children.open(QIODevice::ReadOnly) ? QString::fromLatin1(children.readAll().trimmed())
                                              : QString();
}

TEST_F(ProtocolTest, EndsWithWhoeverHasStartedIt)
{
    WorkerClient grandchild("exec 3<&0; \"$0\" \"$@\" <&3 & wait; exit");
    EXPECT_EQ(Outcome(grandchild.Ask({{"id", 1}, {"op", "nonsense"}})), "bad-request");
    const QString server = ChildOf(QString::number(grandchild.ServerId()));
    const QString child = ChildOf(server);
    ASSERT_FALSE(child.isEmpty());
    ASSERT_EQ(::kill(pid_t(grandchild.ServerId()), SIGKILL), 0);
    while (!IsGone(server) || !IsGone(child))
        QThread::msleep(1);
}

TEST_F(ProtocolTest, LeavesNobodyBehindWhenItIsKilled)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    const QString child = QString::number(worker.ProcessId());
    ASSERT_EQ(::kill(pid_t(worker.ServerId()), SIGKILL), 0);
    while (!IsGone(child))
        QThread::msleep(1);
    EXPECT_EQ(worker.Finish(), -1);
}

TEST_F(ProtocolTest, GoesOnWhateverAnybodyElseTellsIt)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    for (const char* signal : {"TERM", "INT", "HUP", "USR1", "USR2", "CHLD"}) {
        worker.SignalFromElsewhere(signal);
        EXPECT_EQ(Outcome(Save(Path(signal))), "ok") << signal;
    }
    EXPECT_EQ(worker.Finish(), 0);
    EXPECT_EQ(worker.Close(), 0);
}

TEST_F(ProtocolTest, TellsHowTheProcessHasEndedThatLooksAtTheDocument)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    ASSERT_EQ(::kill(pid_t(worker.ProcessId()), SIGABRT), 0);
    EXPECT_EQ(worker.Finish(), -1);
    EXPECT_EQ(worker.Terminate(), SIGABRT);
    EXPECT_EQ(Outcome(worker.Receive()), "nothing");
    EXPECT_EQ(worker.Close(), 0) << "which is none of its business";
}

TEST_F(ProtocolTest, GetsReadyForDocumentsWithoutComplaint)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    EXPECT_FALSE(worker.Complaints().contains("will take longer"));
}

TEST_F(ProtocolTest, RefusesMembersOfTheWrongKind)
{
    Sample(2);
    EXPECT_EQ(Picture({}), "ok");
    const QJsonValue wrong[] = {QJsonValue(), "1", true, 1.5, 1e300, -1e300, QJsonArray{1}};
    for (const QJsonValue& value : wrong) {
        EXPECT_EQ(Picture({{"page", value}}), "bad-request") << value.toDouble();
        EXPECT_EQ(Outcome(worker.Ask({{"id", 1}, {"op", "close"}, {"document", value}})),
                  "bad-request");
    }
    EXPECT_EQ(Picture({{"resolution", "20"}}), "bad-request");
    EXPECT_EQ(Picture({{"resolution", QJsonArray()}}), "bad-request");
    EXPECT_EQ(Outcome(worker.Ask({{"id", 1},
                                  {"op", "open"},
                                  {"document", 1},
                                  {"file", Path("sample-2.pdf")},
                                  {"password", 5}})),
              "bad-request");
}

TEST_F(ProtocolTest, TakesResolutionsWithinBounds)
{
    Sample(2);
    for (const double good : {1.0, 72.5})
        EXPECT_EQ(Picture({{"resolution", good}}), "ok") << good;
    for (const double bad : {0.0, 0.9, -72.0, 4801.0, 1e300})
        EXPECT_EQ(Picture({{"resolution", bad}}), "bad-request") << bad;
}

TEST_F(ProtocolTest, TakesSizesWithinBounds)
{
    Sample(2);
    for (const QJsonArray& good :
         {QJsonArray{1, 65'000}, QJsonArray{65'000, 1}, QJsonArray{0, 20}, QJsonArray{20, 0}})
        EXPECT_EQ(Picture({{"size", good}}), "ok");
    const QJsonValue wrong[] = {QJsonValue(),
                                20,
                                "20x20",
                                QJsonArray(),
                                QJsonArray{20},
                                QJsonArray{20, 20, 20},
                                QJsonArray{0, 0},
                                QJsonArray{0, -1},
                                QJsonArray{-1, 20},
                                QJsonArray{20, 65'001},
                                QJsonArray{1.5, 2},
                                QJsonArray{20, 4294967297.0},
                                QJsonArray{"1", 2},
                                QJsonObject{{"width", 20}, {"height", 20}}};
    for (const QJsonValue& value : wrong)
        EXPECT_EQ(Picture({{"size", value}}), "bad-request")
            << QJsonDocument(QJsonArray{value}).toJson().constData();
}

TEST_F(ProtocolTest, TakesGrayAsTrueOrFalseAlone)
{
    Sample(2);
    EXPECT_EQ(Picture({{"gray", true}}), "ok");
    EXPECT_EQ(Picture({{"gray", false}}), "ok");
    for (const QJsonValue& value : {QJsonValue(), QJsonValue(1), QJsonValue("true")})
        EXPECT_EQ(Picture({{"gray", value}}), "bad-request");
}

TEST_F(ProtocolTest, LinearizesPdfsByTrueOrFalseAlone)
{
    Sample(2);
    const auto pdf = [this](const QJsonObject& further) {
        const QString output = Path("out.pdf");
        QFile::remove(output);
        return Outcome(Convert(Path("sample-2.pdf"), output, "pdf", further));
    };
    EXPECT_EQ(pdf({{"linearize", true}}), "ok");
    EXPECT_EQ(pdf({{"linearize", false}, {"pages", QJsonArray{2}}}), "ok");
    EXPECT_EQ(pdf({{"pages", QJsonArray{3}}}), "no-such-page");
    for (const QJsonValue& value : {QJsonValue(), QJsonValue(1), QJsonValue("true")})
        EXPECT_EQ(pdf({{"linearize", value}}), "bad-request");
}

TEST_F(ProtocolTest, KnowsThePagesThatAPdfCanBeMadeOf)
{
    const auto pdf = [this](int pages, const QJsonArray& wanted) {
        const QString output = Path("out.pdf");
        QFile::remove(output);
        return Outcome(Convert(Sample(pages), output, "pdf", {{"pages", wanted}}));
    };
    EXPECT_EQ(pdf(1, {7}), "no-such-page");
    EXPECT_EQ(pdf(2, {1, 9}), "no-such-page");
    EXPECT_EQ(pdf(2, {0, 1}), "no-such-page");
    EXPECT_EQ(pdf(2, {2, 1}), "ok");
}

TEST_F(ProtocolTest, MakesTheSamePdfWhateverItHasMadeBefore)
{
    const QString sample = Sample(2);
    const auto pdf = [this, &sample](const char* name, const QJsonObject& further) {
        EXPECT_EQ(Outcome(Convert(sample, Path(name), "pdf", further)), "ok");
        return ReadFile(Path(name));
    };
    const QByteArray all = pdf("all.pdf", {{"linearize", true}});
    const QByteArray second = pdf("second.pdf", {{"pages", QJsonArray{2}}});
    pdf("first.pdf", {{"pages", QJsonArray{1}}});
    EXPECT_EQ(pdf("second-again.pdf", {{"pages", QJsonArray{2}}}), second);
    EXPECT_EQ(pdf("all-again.pdf", {{"linearize", true}}), all);
}

TEST_F(ProtocolTest, TakesViewsOfPagesThatThereCanBe)
{
    Sample(2);
    const QJsonObject good[] = {{{"box", "crop"}},
                                {{"box", "art"}},
                                {{"crop", QJsonArray{0, 0, 0.5, 1e6}}},
                                {{"rotate", 0}},
                                {{"rotate", 270}}};
    for (const QJsonObject& view : good)
        EXPECT_EQ(Picture(view), "ok") << QJsonDocument(view).toJson().constData();
    const QJsonObject wrong[] = {{{"box", "page"}},
                                 {{"box", 1}},
                                 {{"crop", QJsonArray{1, 2, 3}}},
                                 {{"crop", QJsonArray{1, 2, 3, 4, 5}}},
                                 {{"crop", QJsonArray{-1, 2, 3, 4}}},
                                 {{"crop", QJsonArray{1, 2, 0, 4}}},
                                 {{"crop", QJsonArray{1, 2, 3, 1e7}}},
                                 {{"crop", QJsonArray{1, 2, 3, "4"}}},
                                 {{"crop", "1,2,3,4"}},
                                 {{"rotate", 45}},
                                 {{"rotate", 360}},
                                 {{"rotate", -90}},
                                 {{"rotate", "90"}}};
    for (const QJsonObject& view : wrong)
        EXPECT_EQ(Picture(view), "bad-request") << QJsonDocument(view).toJson().constData();
}

TEST_F(ProtocolTest, TakesColoursThatGoTogether)
{
    Sample(2);
    for (const char* good : {"threshold", "dither"})
        EXPECT_EQ(Picture({{"mono", good}, {"gray", true}}), "ok");
    EXPECT_EQ(Picture({{"transparent", true}, {"gray", false}}), "ok");
    const QJsonObject wrong[] = {{{"mono", true}},
                                 {{"mono", "lines"}},
                                 {{"transparent", 1}},
                                 {{"transparent", true}, {"gray", true}},
                                 {{"transparent", true}, {"mono", "dither"}}};
    for (const QJsonObject& colours : wrong)
        EXPECT_EQ(Picture(colours), "bad-request") << QJsonDocument(colours).toJson().constData();
}

TEST_F(ProtocolTest, TakesQualitiesWithinBounds)
{
    Sample(2);
    for (const int good : {1, 100})
        EXPECT_EQ(Picture({{"quality", good}}), "ok") << good;
    for (const QJsonValue& value : {QJsonValue(), QJsonValue(0), QJsonValue(101), QJsonValue(-1),
                                    QJsonValue(50.5), QJsonValue("90"), QJsonValue(true)})
        EXPECT_EQ(Picture({{"quality", value}}), "bad-request") << value.toDouble();
}

TEST_F(ProtocolTest, TakesTheCompressionsThatThereAre)
{
    Sample(2);
    for (const char* good : {"fast", "small"})
        EXPECT_EQ(Picture({{"compression", good}}), "ok") << good;
    for (const QJsonValue& value :
         {QJsonValue(), QJsonValue(""), QJsonValue("Fast"), QJsonValue(1), QJsonValue(true)})
        EXPECT_EQ(Picture({{"compression", value}}), "bad-request") << value.toDouble();
}

TEST_F(ProtocolTest, KnowsThePagesThatThereAre)
{
    const QString sample = Sample(2);
    EXPECT_EQ(Picture({{"page", 2}}), "ok");
    for (const double page : {0.0, -1.0, 3.0, 2147483648.0, 4294967297.0})
        EXPECT_EQ(Picture({{"page", page}}), "no-such-page") << page;
    const auto text = [&](const QJsonValue& pages) {
        const std::string outcome =
            Outcome(Convert(sample, Path("out.txt"), "txt", {{"pages", pages}}));
        QFile::remove(Path("out.txt"));
        return outcome;
    };
    EXPECT_EQ(text(QJsonArray{1, 2}), "ok");
    EXPECT_EQ(text(QJsonArray{1, 3}), "no-such-page");
    EXPECT_EQ(text(QJsonArray{0}), "no-such-page");
    EXPECT_EQ(text(QJsonArray{4294967297.0}), "no-such-page");
    EXPECT_EQ(text(QJsonArray{"1"}), "bad-request");
    EXPECT_EQ(text(QJsonArray()), "bad-request");
    EXPECT_EQ(text(1), "bad-request");
}

TEST_F(ProtocolTest, WantsAbsolutePaths)
{
    const QString sample = Sample();
    for (const char* path : {"", "relative.pdf", "./relative.pdf", "file:///relative.pdf"}) {
        EXPECT_EQ(Outcome(Open(path)), "bad-request") << path;
        EXPECT_EQ(Outcome(Convert(path, Path("out.txt"), "txt")), "bad-request");
        EXPECT_EQ(Outcome(Convert(sample, path, "txt")), "bad-request");
    }
    EXPECT_EQ(Outcome(Open(sample)), "ok");
    EXPECT_EQ(Outcome(Save("relative.pdf")), "bad-request");
}

TEST_F(ProtocolTest, RefusesPathsThatAreNoText)
{
    const QString sample = Sample();
    ASSERT_TRUE(QFile::copy(sample, Path("?.pdf")));
    worker.Send(R"({"id":1,"op":"open","document":1,"file":")" + Path("").toUtf8() +
                R"(/\ud800.pdf"})");
    EXPECT_EQ(Outcome(worker.Receive()), "bad-request");
}

TEST_F(ProtocolTest, KnowsItsFormats)
{
    const QString sample = Sample();
    for (const char* format : {"", "PNG", "jpeg", "tiff", "gif", "svg", ".png", "../png"})
        EXPECT_EQ(Outcome(Convert(sample, Path("out"), format, {{"page", 1}})),
                  "unsupported-format")
            << format;
    EXPECT_FALSE(QFile::exists(Path("out")));
}

TEST_F(ProtocolTest, DrawsIntoNoMemoryThatItWasNotGiven)
{
    const QString file = Sample();
    EXPECT_EQ(Outcome(Convert(file, Path("out"), "pixels", {{"page", 1}})), "cannot-write");
    EXPECT_EQ(Outcome(Convert(file, Path("out"), "pixels")), "bad-request") << "which page?";
    EXPECT_FALSE(QFile::exists(Path("out")));
    const QJsonObject request{
        {"id", 1}, {"op", "convert"}, {"file", file}, {"format", "png"}, {"page", 1}};
    EXPECT_EQ(Outcome(worker.Ask(request)), "cannot-write");
}

class ProtocolOfMemoryTest : public ProtocolTest
{
protected:
    /** The answer to a "convert" whose result goes into memory, which is sent before. */
    QJsonObject Encode(WorkerClient& by, const QString& format, QJsonObject further = {})
    {
        ::ftruncate(memory.Number(), 0);
        ::lseek(memory.Number(), 0, SEEK_SET);
        further["id"] = ++lastId;
        further["op"] = "convert";
        further["file"] = Sample(2);
        further["format"] = format;
        by.SendMemory(lastId, memory.Number());
        return by.Ask(further);
    }

    QByteArray Written() const
    {
        QByteArray bytes(int(::lseek(memory.Number(), 0, SEEK_END)), '\0');
        EXPECT_EQ(::pread(memory.Number(), bytes.data(), std::size_t(bytes.size()), 0),
                  bytes.size());
        return bytes;
    }

    const PDF::FileDescriptor memory{::memfd_create("page", MFD_CLOEXEC)};
};

TEST_F(ProtocolOfMemoryTest, HoldsTheBytesThatTheFileHas)
{
    for (const char* const format : {"png", "jpg", "tif", "bmp", "webp"}) {
        const QString file = Path("page.") + format;
        ASSERT_EQ(Outcome(Convert(Sample(2), file, format, {{"page", 2}})), "ok");
        const QJsonObject answer = Encode(worker, format, {{"page", 2}});
        EXPECT_EQ(Outcome(answer), "ok") << format;
        EXPECT_EQ(answer["bytes"].toInt(), Written().size()) << format;
        EXPECT_TRUE(Written() == ReadFile(file)) << format;
    }
}

TEST_F(ProtocolOfMemoryTest, HoldsNoMoreThanAFileMay)
{
    WorkerClient limited("set -- --file-limit 1");
    EXPECT_EQ(Outcome(Encode(limited, "bmp", {{"page", 1}, {"resolution", 150}})), "too-large");
    EXPECT_LE(Written().size(), mebibyte);
    EXPECT_EQ(Outcome(Encode(limited, "bmp", {{"page", 1}, {"resolution", 40}})), "ok");
}

TEST_F(ProtocolOfMemoryTest, HoldsThePictureOfAPageAlone)
{
    EXPECT_EQ(Outcome(Encode(worker, "png")), "bad-request") << "which page?";
    EXPECT_EQ(Outcome(Encode(worker, "tif")), "bad-request") << "not all of them";
    EXPECT_EQ(Outcome(Encode(worker, "txt", {{"page", 1}})), "bad-request");
    EXPECT_EQ(Outcome(Encode(worker, "pdf", {{"page", 1}})), "bad-request");
    EXPECT_EQ(Outcome(Encode(worker, "png", {{"page", 3}})), "no-such-page");
    EXPECT_EQ(Written().size(), 0);
}

TEST_F(ProtocolOfMemoryTest, IsLeftAloneWhereAFileIsWanted)
{
    EXPECT_EQ(Outcome(Encode(worker, "png", {{"page", 1}, {"output", Path("out.png")}})), "ok");
    EXPECT_EQ(Written().size(), 0);
    EXPECT_TRUE(QFile::exists(Path("out.png")));
}

TEST_F(ProtocolTest, TellsWhyADocumentIsNotConverted)
{
    for (const char* format : {"png", "txt", "pdf"}) {
        const auto convert = [&](const QString& file) {
            return Outcome(Convert(file, Path("out"), format, {{"page", 1}}));
        };
        EXPECT_EQ(convert(Path("missing.pdf")), "unreadable");
        EXPECT_EQ(convert(WriteFile("empty.pdf", "")), "empty");
        EXPECT_EQ(convert(WriteFile("foreign.pdf", "text")), "not-a-pdf");
        EXPECT_EQ(convert(WriteFile("damaged.pdf", "%PDF-1.7\n...")), "damaged");
        EXPECT_FALSE(QFile::exists(Path("out")));
    }
}

TEST_F(ProtocolTest, TakesFileNamesOfAnyScriptInAnyLocale)
{
    WorkerClient plain("export LC_ALL=C LANG=C");
    const QString name = Path(QStringLiteral("\u00dcbersicht \u6587\u66f8 \U0001f600.pdf"));
    ASSERT_TRUE(QFile::rename(Sample(), name));
    const QString copy = Path(QStringLiteral("K\u00f6pie.pdf"));
    const QString picture = Path(QStringLiteral("\u0411.png"));
    EXPECT_EQ(Outcome(plain.Ask({{"id", 1}, {"op", "open"}, {"document", 1}, {"file", name}})),
              "ok");
    EXPECT_EQ(Outcome(plain.Ask({{"id", 2}, {"op", "save"}, {"document", 1}, {"file", copy}})),
              "ok");
    EXPECT_EQ(Outcome(plain.Ask({{"id", 3},
                                 {"op", "convert"},
                                 {"file", name},
                                 {"output", picture},
                                 {"format", "png"},
                                 {"page", 1}})),
              "ok");
    EXPECT_TRUE(QFile::exists(copy));
    EXPECT_TRUE(QFile::exists(picture));
}

} // namespace
} // namespace Korvel::Worker
