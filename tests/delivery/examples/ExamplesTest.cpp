// The examples that run in a terminal, built against the installed library.

#include "Program.h"

#include <csignal>

#include <QDir>
#include <QRegularExpression>

namespace Korvel::App {
namespace {

class ExamplesTest : public ProgramTest
{
protected:
    ExamplesTest() { environment.insert("TMPDIR", TempDir()); }

    void TearDown() override { EXPECT_EQ(LeftInTempDir(), QStringList()); }

    std::unique_ptr<QProcess> StartExample(const QString& name, const QStringList& arguments) const
    {
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(Path("."));
        process->setProcessEnvironment(environment);
        process->start(QStringLiteral(EXAMPLES "/%1/%1").arg(name), arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }

    Outcome RunExample(const QString& name, const QStringList& arguments) const
    {
        return Finish(*StartExample(name, arguments));
    }

    void MakeFolder(const QString& name) const { EXPECT_TRUE(QDir(Path(".")).mkdir(name)); }

    void ExpectComplaint(const Outcome& outcome, const std::string& complaint) const
    {
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_NE(outcome.complaints.find(complaint), std::string::npos) << outcome.complaints;
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
};

TEST_F(ExamplesTest, ManyDocumentsAreConvertedWithThePasswordsThatAreTyped)
{
    MakeSample("in.pdf", 2);
    MakeSample("secret.pdf", 1, "correct horse");
    const auto process = StartExample("many-documents", {"pages", "in.pdf", "secret.pdf"});
    process->write("wrong\ncorrect horse\n");
    process->closeWriteChannel();
    Outcome outcome = Finish(*process);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.complaints;
    outcome.results.sort();
    EXPECT_EQ(outcome.results,
              QStringList({"pages/in-1.png", "pages/in-2.png", "pages/secret.png"}));
    EXPECT_EQ(WholePictures("pages"), QStringList({"in-1.png", "in-2.png", "secret.png"}));
}

TEST_F(ExamplesTest, ManyDocumentsAreConvertedBesideOneThatFails)
{
    MakeSample("in.pdf", 1);
    Write("empty.pdf", "");
    const Outcome outcome = RunExample("many-documents", {"pages", "empty.pdf", "in.pdf"});
    ExpectComplaint(outcome, "empty.pdf is empty");
    EXPECT_EQ(outcome.results, QStringList("pages/in.png"));
}

TEST_F(ExamplesTest, APlainCommandMakesAPictureOfEveryPage)
{
    MakeSample("secret.pdf", 3, "correct horse");
    Write("password", "correct horse\n");
    MakeFolder("pages");
    const Outcome outcome = RunExample("plain-command", {"secret.pdf", "pages", "password"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.complaints;
    EXPECT_EQ(outcome.results,
              QStringList({"pages/page-1.png", "pages/page-2.png", "pages/page-3.png"}));
    EXPECT_EQ(WholePictures("pages"), QStringList({"page-1.png", "page-2.png", "page-3.png"}));
}

TEST_F(ExamplesTest, APlainCommandReplacesNothing)
{
    MakeSample("in.pdf", 1);
    MakeFolder("pages");
    Write("pages/page-1.png", "mine");
    EXPECT_EQ(RunExample("plain-command", {"in.pdf", "pages"}).results,
              QStringList("pages/page-1(2).png"));
    EXPECT_EQ(Read("pages/page-1.png"), "mine");
}

TEST_F(ExamplesTest, APlainCommandTellsWhatIsWrong)
{
    MakeSample("secret.pdf", 1, "correct horse");
    Write("password", "correct horse\n");
    const auto run = [this](const QStringList& arguments) {
        return RunExample("plain-command", arguments);
    };
    ExpectComplaint(run({"secret.pdf"}), "usage");
    ExpectComplaint(run({"secret.pdf", "."}), "is encrypted");
    ExpectComplaint(run({"secret.pdf", ".", "nowhere"}), "cannot read a password");
    ExpectComplaint(run({"secret.pdf", ".", Write("wrong", "horse\n")}), "another password");
    ExpectComplaint(run({"password", "."}), "no PDF");
    ExpectComplaint(run({"secret.pdf", "nowhere", "password"}), "cannot write");
    environment.insert("TMPDIR", "/nowhere");
    ExpectComplaint(run({"secret.pdf", ".", "password"}), "no folder for temporary files");
}

TEST_F(ExamplesTest, AnOwnConverterIsGivenAnUnencryptedCopyAndReplacesNothing)
{
    MakeSample("secret.pdf", 2, "correct horse");
    Write("password", "correct horse\n");
    Write("secret.txt", "mine");
    const Outcome outcome = RunExample("own-converter", {"secret.pdf", "secret.txt", "password"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.complaints;
    EXPECT_EQ(outcome.results, QStringList("./secret(2).txt"));
    EXPECT_TRUE(Read("secret(2).txt").contains("Page 2"));
    EXPECT_EQ(Read("secret.txt"), "mine");
    EXPECT_NE(outcome.complaints.find("secret.pdf: started"), std::string::npos);
}

TEST_F(ExamplesTest, AnOwnConverterIsCancelledByCtrlC)
{
    MakeSample("in.pdf", 1);
    MakeFolder("bin");
    QFile endless(Write("bin/pdftotext", "#!/bin/sh\nexec sleep 1000\n"));
    ASSERT_TRUE(endless.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    environment.insert("PATH", Path("bin") + ':' + environment.value("PATH"));

    const auto process = StartExample("own-converter", {"in.pdf", "in.txt"});
    process->setReadChannel(QProcess::StandardError);
    ASSERT_TRUE(process->waitForReadyRead()) << "it tells that it has started";
    ASSERT_GT(process->processId(), 0);
    ::kill(pid_t(process->processId()), SIGINT);
    ExpectComplaint(Finish(*process), "Cancelled");
    EXPECT_FALSE(QFile::exists(Path("in.txt")));
}

TEST_F(ExamplesTest, AnOwnConverterTellsWhatIsWrong)
{
    MakeSample("secret.pdf", 1, "correct horse");
    const auto run = [this](const QStringList& arguments) {
        return RunExample("own-converter", arguments);
    };
    ExpectComplaint(run({"secret.pdf"}), "usage");
    ExpectComplaint(run({"secret.pdf", "a.txt", "nowhere"}), "cannot read a password");
    ExpectComplaint(run({"secret.pdf", "a.txt"}), "not with this password");
    ExpectComplaint(run({"secret.pdf", "a.doc"}), "of the kind .txt");
    environment.insert("PATH", Path("bin"));
    ExpectComplaint(run({"secret.pdf", "a.txt"}), "pdftotext is not installed");
}

TEST_F(ExamplesTest, AThirdWrapperTellsHowLongEachConversionTook)
{
    MakeSample("in.pdf", 1);
    Write("damaged.pdf", "%PDF-1.7");
    const Outcome outcome = RunExample("timing-wrapper", {"in.pdf", "damaged.pdf", "in.pdf"});
    ExpectComplaint(outcome, "damaged.pdf: error");
    EXPECT_EQ(outcome.results.filter(QRegularExpression("^in\\.pdf: \\d+ ms$")).size(), 2);
    EXPECT_EQ(outcome.results.filter(QRegularExpression("^damaged\\.pdf: \\d+ ms$")).size(), 1);
}

} // namespace
} // namespace Korvel::App
