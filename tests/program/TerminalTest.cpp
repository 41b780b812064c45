#include "Program.h"
#include "PseudoTerminal.h"

#include <gmock/gmock.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char prompt[] = "Password for secret.pdf: ";

class TerminalTest : public ProgramTest
{
protected:
    QStringList Arguments(const QStringList& more = {}) const
    {
        return QStringList{"--temp-dir", TempDir(), "secret.pdf", "-o", "p/%d.png", "-r", "50"} +
               more;
    }
};

TEST_F(TerminalTest, AsksForThePasswordWithoutShowingIt)
{
    MakeSample("secret.pdf", 2, "correct horse");
    PseudoTerminal terminal(PDFCONVERT, Arguments(), Path(""));
    ASSERT_TRUE(terminal.WaitFor(prompt)) << terminal.Screen();
    EXPECT_FALSE(terminal.Echoes());
    terminal.Type("correct horse\n");
    EXPECT_EQ(terminal.Finish(), 0) << terminal.Screen();
    EXPECT_THAT(terminal.Screen(), Not(HasSubstr("correct horse")));
    EXPECT_THAT(terminal.Screen(), HasSubstr("p/1.png\r\np/2.png"));
    EXPECT_EQ(WholePictures("p").size(), 2);
}

TEST_F(TerminalTest, AsksThreeTimesAndThenGivesUp)
{
    MakeSample("secret.pdf", 1, "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments(), Path(""));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(terminal.WaitFor(prompt)) << terminal.Screen();
        terminal.Type("wrong\n");
    }
    EXPECT_EQ(terminal.Finish(), 8);
    EXPECT_THAT(terminal.Screen(), HasSubstr("secret.pdf: is encrypted and the password is wrong"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(TerminalTest, TakesTheRightPasswordAtTheThirdTry)
{
    MakeSample("secret.pdf", 1, "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments(), Path(""));
    for (const char* answer : {"wrong\n", "\n", "pw\n"}) {
        ASSERT_TRUE(terminal.WaitFor(prompt)) << terminal.Screen();
        terminal.Type(answer);
    }
    EXPECT_EQ(terminal.Finish(), 0) << terminal.Screen();
}

TEST_F(TerminalTest, EndsAtCtrlCWhileItAsksAndLeavesTheTerminalAsItWas)
{
    MakeSample("secret.pdf", 1, "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments(), Path(""));
    ASSERT_TRUE(terminal.WaitFor(prompt));
    terminal.Type("\x03");
    ASSERT_TRUE(terminal.WaitFor("interrupted")) << terminal.Screen();
    EXPECT_TRUE(terminal.Echoes());
    EXPECT_EQ(terminal.Finish(), 130);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(TerminalTest, EndsAtCtrlCWhileItConverts)
{
    MakeSample("secret.pdf", 100, "pw");
    Write("pw", "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--password-file", "pw"}), Path(""));
    ASSERT_TRUE(terminal.WaitFor("/100 pages 0%")) << terminal.Screen();
    terminal.Type("\x03");
    EXPECT_EQ(terminal.Finish(), 130);
    EXPECT_THAT(terminal.Screen(), testing::EndsWith("secret.pdf: interrupted\r\n"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
    EXPECT_LT(WholePictures("p").size(), 100);
}

TEST_F(TerminalTest, TakesCtrlDForNoAnswer)
{
    MakeSample("secret.pdf", 1, "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments(), Path(""));
    ASSERT_TRUE(terminal.WaitFor(prompt)) << terminal.Screen();
    terminal.Type("\x04");
    EXPECT_EQ(terminal.Finish(), 8);
    EXPECT_THAT(terminal.Screen(), HasSubstr("secret.pdf: no password was entered\r\n"));
    EXPECT_THAT(terminal.Screen(), Not(HasSubstr("in a terminal")));
}

TEST_F(TerminalTest, DoesNotAskWhenAPasswordWasGiven)
{
    MakeSample("secret.pdf", 1, "pw");
    Write("wrong", "wrong");
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--password-file", "wrong"}), Path(""));
    EXPECT_EQ(terminal.Finish(), 8);
    EXPECT_THAT(terminal.Screen(), Not(HasSubstr("Password for")));
}

TEST_F(TerminalTest, DrawsAProgressBarAndRemovesIt)
{
    MakeSample("secret.pdf", 4, "pw");
    Write("pw", "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--password-file", "pw"}), Path(""));
    EXPECT_EQ(terminal.Finish(), 0);
    EXPECT_THAT(terminal.Screen(), HasSubstr("secret.pdf [........................] 0/4 pages"));
    EXPECT_THAT(terminal.Screen(), HasSubstr("] 4/4 pages"));
    EXPECT_THAT(terminal.Screen(), HasSubstr("\r\033[Kp/1.png"));
}

TEST_F(TerminalTest, ColorsItsNameWhereSomethingIsAmiss)
{
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--no-input"}), Path(""));
    EXPECT_EQ(terminal.Finish(), 4);
    EXPECT_EQ(terminal.Screen(),
              "\033[31mpdfconvert:\033[m secret.pdf: No such file or directory\r\n");
}

TEST_F(TerminalTest, ColorsNothingForThoseWhoWantNoColor)
{
    qputenv("NO_COLOR", "1");
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--no-input"}), Path(""));
    qunsetenv("NO_COLOR");
    EXPECT_EQ(terminal.Finish(), 4);
    EXPECT_EQ(terminal.Screen(), "pdfconvert: secret.pdf: No such file or directory\r\n");
}

TEST_F(TerminalTest, KeepsItsBarOnOneLineOfANarrowTerminal)
{
    MakeSample("secret.pdf", 4, "pw");
    Write("pw", "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--password-file", "pw"}), Path(""), 30);
    EXPECT_EQ(terminal.Finish(), 0);
    EXPECT_THAT(
        terminal.Screen(),
        testing::ContainsRegex("\r\033\\[K\033\\[\\?7lsecret.pdf \\[[^\r\n]*\033\\[\\?7h\r"))
        << "which wraps nothing meanwhile";
}

TEST_F(TerminalTest, DrawsNoBarWhenItIsToBeQuiet)
{
    MakeSample("secret.pdf", 2, "pw");
    Write("pw", "pw");
    PseudoTerminal terminal(PDFCONVERT, Arguments({"--password-file", "pw", "-q"}), Path(""));
    EXPECT_EQ(terminal.Finish(), 0);
    EXPECT_EQ(terminal.Screen(), "p/1.png\r\np/2.png\r\n");
}

} // namespace
} // namespace Korvel::App
