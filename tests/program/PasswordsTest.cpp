#include "Program.h"
#include "PseudoTerminal.h"

#include <gmock/gmock.h>

#include <QFile>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::Not;

/** Sets a variable of this process, which the command inherits, as long as it lives. */
class Variable
{
public:
    Variable(const char* name, const char* value) : name(name) { qputenv(name, value); }
    ~Variable() { qunsetenv(name); }

private:
    const char* const name;
};

class PasswordsTest : public ProgramTest
{
};

TEST_F(PasswordsTest, AreTakenUpToTheLineEndingAndNothingOffIt)
{
    MakeSample("secret.pdf", 1, " pw ");
    const QStringList arguments{"secret.pdf", "--password-file", "pw", "-o", "p.png"};
    for (const char* content : {" pw ", " pw \n", " pw \r\n", " pw \nanother line\n"}) {
        Write("pw", content);
        EXPECT_EQ(Run(arguments).exitCode, 0) << content;
    }
    Write("pw", "pw\n");
    EXPECT_EQ(Run(arguments).exitCode, 8);
}

TEST_F(PasswordsTest, AreReadFromTheEnvironment)
{
    MakeSample("secret.pdf", 1, "pw");
    const QStringList named{"secret.pdf", "--password-env", "MY_PASSWORD", "-o", "p.png"};
    {
        const Variable password("MY_PASSWORD", "pw");
        EXPECT_EQ(Run(named).exitCode, 0);
    }
    const Outcome unset = Run(named);
    EXPECT_EQ(unset.exitCode, 8);
    EXPECT_THAT(unset.complaints, HasSubstr("MY_PASSWORD is not set"));
}

TEST_F(PasswordsTest, AreReadFromTheDefaultVariableUnlessAnotherWayIsNamed)
{
    MakeSample("secret.pdf", 1, "pw");
    Write("pw", "pw");
    {
        const Variable password("PDFCONVERT_PASSWORD", "pw");
        EXPECT_EQ(Run({"secret.pdf", "-o", "p.png"}).exitCode, 0);
    }
    const Variable wrong("PDFCONVERT_PASSWORD", "wrong");
    EXPECT_EQ(Run({"secret.pdf", "-o", "p.png"}).exitCode, 8);
    EXPECT_EQ(Run({"secret.pdf", "-o", "p.png", "--password-file", "pw"}).exitCode, 0);
}

TEST_F(PasswordsTest, AreReadFromADescriptor)
{
    MakeSample("secret.pdf", 1, "pw");
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start("bash", {"-c", "exec \"$@\" 7<<<pw", "bash", PDFCONVERT, "secret.pdf", "-o",
                           "p.png", "--password-fd", "7", "--temp-dir", TempDir()});
    EXPECT_EQ(Finish(process).exitCode, 0);
    const Outcome closed = Run({"secret.pdf", "-o", "p.png", "--password-fd", "77"});
    EXPECT_EQ(closed.exitCode, 8);
    EXPECT_THAT(closed.complaints, HasSubstr("file descriptor 77: cannot read the password"));
}

TEST_F(PasswordsTest, OnTheCommandLineWorkWithAWarningAndDoNotStayThere)
{
    MakeSample("secret.pdf", 40, "Xq7-unlikely-to-be-found");
    const auto process =
        Start({"secret.pdf", "-o", "p/%d.png", "--password", "Xq7-unlikely-to-be-found"});
    while (!QFile::exists(Path("p")) && !process->waitForFinished(1)) {
    }
    QFile shown(QStringLiteral("/proc/%1/cmdline").arg(process->processId()));
    ASSERT_TRUE(shown.open(QIODevice::ReadOnly));
    const std::string arguments = shown.readAll().toStdString();
    EXPECT_THAT(arguments, HasSubstr("secret.pdf"));
    EXPECT_THAT(arguments, Not(HasSubstr("unlikely")));
    const Outcome run = Finish(*process);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.complaints, HasSubstr("other users"));
    EXPECT_THAT(run.complaints, Not(HasSubstr("unlikely")));
}

TEST_F(PasswordsTest, OfAMapGoToTheInputsThatItNames)
{
    MakeSample("one.pdf", 1, "first");
    MakeSample("two.pdf", 1, "the\tsecond");
    MakeSample("three.pdf", 1, "third");
    Write("map", "one.pdf\tfirst\n" + Path("two.pdf").toUtf8() + "\tthe\tsecond\n\n");
    Write("pw", "third\n");
    const Outcome run = Run({"one.pdf", "./two.pdf", "three.pdf", "-d", "texts", "-f", "txt",
                             "--password-map", "map", "--password-file", "pw"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results, QStringList({"texts/one.txt", "texts/two.txt", "texts/three.txt"}));
}

TEST_F(PasswordsTest, OfAMapAreFollowedByTheOneForAll)
{
    MakeSample("one.pdf", 1, "for all");
    Write("map", "one.pdf\tan old one\n");
    Write("pw", "for all\n");
    EXPECT_EQ(
        Run({"one.pdf", "-o", "p.txt", "--password-map", "map", "--password-file", "pw"}).exitCode,
        0);
}

TEST_F(PasswordsTest, OfAMapThatDoesNotNameAnInputAreMissed)
{
    MakeSample("one.pdf", 1, "first");
    Write("map", "another.pdf\tfirst\n");
    const Outcome run = Run({"one.pdf", "-o", "p.txt", "--password-map", "map"});
    EXPECT_EQ(run.exitCode, 8);
    EXPECT_EQ(run.complaints,
              "pdfconvert: one.pdf: is encrypted, and map holds no password for it\n");
}

TEST_F(PasswordsTest, OfAMapThatIsNoneAreNotGuessed)
{
    MakeSample("one.pdf", 1, "first");
    Write("map", "one.pdf\tfirst\none.pdf second\n");
    const Outcome run = Run({"one.pdf", "-o", "p.txt", "--password-map", "map"});
    EXPECT_EQ(run.exitCode, 8);
    EXPECT_THAT(run.complaints, HasSubstr("map: line 2 is not a path, a tab and a password"));
    EXPECT_THAT(run.complaints, Not(HasSubstr("second")));
}

TEST_F(PasswordsTest, AreTypedOnceForSeveralDocuments)
{
    MakeSample("one.pdf", 1, "pw");
    MakeSample("two.pdf", 1, "pw");
    PseudoTerminal terminal(PDFCONVERT,
                            {"--temp-dir", TempDir(), "one.pdf", "two.pdf", "-d", "p", "-r", "20"},
                            Path(""));
    ASSERT_TRUE(terminal.WaitFor("Password for one.pdf: ")) << terminal.Screen();
    terminal.Type("pw\n");
    EXPECT_EQ(terminal.Finish(), 0) << terminal.Screen();
    EXPECT_THAT(terminal.Screen(), Not(HasSubstr("Password for two.pdf")));
}

TEST_F(PasswordsTest, AreAskedForFirstWhenThatIsWanted)
{
    MakeSample("one.pdf", 1, "pw");
    PseudoTerminal terminal(
        PDFCONVERT, {"--temp-dir", TempDir(), "one.pdf", "-d", "p", "-r", "20", "--ask-password"},
        Path(""));
    ASSERT_TRUE(terminal.WaitFor("Password: ")) << terminal.Screen();
    EXPECT_FALSE(terminal.Echoes());
    terminal.Type("pw\n");
    EXPECT_EQ(terminal.Finish(), 0) << terminal.Screen();
    const Outcome without = Run({"one.pdf", "-d", "p", "--ask-password"});
    EXPECT_EQ(without.exitCode, 8);
    EXPECT_THAT(without.complaints, HasSubstr("there is no terminal to ask"));
}

TEST_F(PasswordsTest, AreNeverAskedForWithNoInput)
{
    MakeSample("secret.pdf", 1, "pw");
    PseudoTerminal terminal(
        PDFCONVERT, {"--temp-dir", TempDir(), "secret.pdf", "-o", "p.png", "--no-input"}, Path(""));
    EXPECT_EQ(terminal.Finish(), 8);
    EXPECT_THAT(terminal.Screen(), Not(HasSubstr("Password for")));
}

} // namespace
} // namespace Korvel::App
