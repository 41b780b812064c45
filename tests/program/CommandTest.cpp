#include "IsSanitized.h"
#include "Program.h"

#include <gmock/gmock.h>

#include <set>

#include <QCoreApplication>
#include <QDir>
#include <QImage>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;
using testing::Not;

class CommandTest : public ProgramTest
{
};

TEST_F(CommandTest, ConvertsAnEncryptedPdfToOnePictureAPage)
{
    MakeSample("secret.pdf", 3, "pw");
    Write("pw", "pw\n");
    const Outcome run = Run({"secret.pdf", "--password-file", "pw", "-o", "pages/page-%d.png"});
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_EQ(run.results,
              QStringList({"pages/page-1.png", "pages/page-2.png", "pages/page-3.png"}));
    EXPECT_EQ(run.complaints, "");
    EXPECT_EQ(WholePictures("pages"), QStringList({"page-1.png", "page-2.png", "page-3.png"}));
    EXPECT_EQ(QImage(Path("pages/page-2.png")).size(), QSize(1240, 1755)) << "A4 at 150 dpi";
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(CommandTest, DecryptsAHundredPagesOnce)
{
    MakeSample("secret.pdf", 100, "pw");
    const Outcome run = Run(
        {"secret.pdf", "--password-file", "-", "-o", "p/%03d.png", "-r", "20", "-v", "30"}, "pw");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(WholePictures("p").size(), 100);
    ASSERT_EQ(run.results.size(), 100);
    EXPECT_EQ(run.results.first(), "p/001.png");
    EXPECT_EQ(run.results.last(), "p/100.png");
    EXPECT_EQ(QString::fromStdString(run.complaints).count("unencrypted and saved to"), 1);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(CommandTest, ConvertsAPlainPdfWithoutACopy)
{
    MakeSample("plain.pdf", 1);
    const Outcome run = Run({"plain.pdf", "-o", "page.png", "-v", "30"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.results, QStringList("page.png"));
    EXPECT_THAT(run.complaints, Not(HasSubstr("unencrypted")));
}

TEST_F(CommandTest, NumbersSeveralPicturesAsWideAsTheLastPage)
{
    MakeSample("ten.pdf", 10);
    const Outcome run = Run({"ten.pdf", "-o", "p.jpg", "-r", "20", "--pages", "1-2,9-"});
    EXPECT_EQ(run.results, QStringList({"p-01.jpg", "p-02.jpg", "p-09.jpg", "p-10.jpg"}));
}

TEST_F(CommandTest, CutsRangesToThePagesThatThereAre)
{
    MakeSample("three.pdf", 3);
    const auto pages = [this](const QString& list) {
        return Run({"three.pdf", "-o", list + "/%d.png", "-r", "20", "--pages", list}).results;
    };
    EXPECT_EQ(pages("1-6"), QStringList({"1-6/1.png", "1-6/2.png", "1-6/3.png"}));
    EXPECT_EQ(pages("r2-"), QStringList({"r2-/2.png", "r2-/3.png"}));
    EXPECT_EQ(pages("odd"), QStringList({"odd/1.png", "odd/3.png"}));
    EXPECT_EQ(pages("2-9:odd"), QStringList("2-9:odd/2.png"));
    EXPECT_EQ(pages("4-6"), QStringList()) << "no page of it is there";
}

TEST_F(CommandTest, GivesOnePageOfManyTheNameAsItIs)
{
    MakeSample("ten.pdf", 10);
    EXPECT_EQ(Run({"ten.pdf", "-o", "p.png", "-r", "20", "--pages", "7"}).results,
              QStringList("p.png"));
}

TEST_F(CommandTest, WritesEveryPictureFormat)
{
    MakeSample("one.pdf", 1);
    for (const QString suffix : {"png", "jpg", "jpeg", "tif", "tiff", "bmp", "webp"}) {
        const Outcome run = Run({"one.pdf", "-o", "page." + suffix, "-r", "72"});
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        EXPECT_EQ(QImage(Path("page." + suffix)).size(), QSize(595, 842)) << suffix.toStdString();
    }
}

TEST_F(CommandTest, WritesTheTextOfAllPagesOfSomeAndOfEach)
{
    MakeSample("secret.pdf", 3, "pw");
    Write("pw", "pw");
    const QStringList input{"secret.pdf", "--password-file", "pw", "-o"};
    EXPECT_EQ(Run(input + QStringList{"all.txt"}).results, QStringList("all.txt"));
    EXPECT_EQ(Run(input + QStringList{"some.txt", "--pages", "2-"}).exitCode, 0);
    EXPECT_EQ(Run(input + QStringList{"each-%d.txt"}).results.size(), 3);
    for (const char* page : {"Page 1", "Page 2", "Page 3"})
        EXPECT_THAT(Read("all.txt").toStdString(), HasSubstr(page));
    EXPECT_THAT(Read("some.txt").toStdString(), Not(HasSubstr("Page 1")));
    EXPECT_THAT(Read("some.txt").toStdString(), HasSubstr("Page 3"));
    EXPECT_THAT(Read("each-2.txt").toStdString(), HasSubstr("Page 2"));
    EXPECT_THAT(Read("each-2.txt").toStdString(), Not(HasSubstr("Page 3")));
}

TEST_F(CommandTest, WritesAPdfThatOpensWithoutAPassword)
{
    MakeSample("secret.pdf", 2, "pw");
    EXPECT_EQ(Run({"secret.pdf", "--password-file", "-", "-o", "open.pdf"}, "pw\n").results,
              QStringList("open.pdf"));
    const Outcome again = Run({"open.pdf", "-o", "p-%d.png", "-r", "20"});
    EXPECT_EQ(again.exitCode, 0) << again.complaints;
    EXPECT_EQ(again.results.size(), 2);
}

TEST_F(CommandTest, NeverOverwrites)
{
    MakeSample("two.pdf", 2);
    Write("p-1.png", "mine");
    Write("p-2.png", "mine too");
    Write("p-2(2).png", "and this");
    EXPECT_EQ(Run({"two.pdf", "-o", "p-%d.png", "-r", "20"}).results,
              QStringList({"p-1(2).png", "p-2(3).png"}));
    EXPECT_EQ(Read("p-1.png"), "mine");
    EXPECT_EQ(Read("p-2.png"), "mine too");
    EXPECT_EQ(Read("p-2(2).png"), "and this");
}

TEST_F(CommandTest, LosesNothingWhenManyRunsWantOneName)
{
    constexpr int runs = PDF::Test::isSanitized ? 12 : 64; // whose processes need gigabytes
    MakeSample("two.pdf", 2);
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int i = 0; i < runs; ++i)
        processes.push_back(Start({"two.pdf", "-o", "out/p.png", "-r", "20"}));
    QStringList results;
    for (const auto& process : processes) {
        const Outcome run = Finish(*process);
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        results += run.results;
    }
    EXPECT_EQ(results.size(), 2 * runs);
    EXPECT_EQ(results.removeDuplicates(), 0) << "no path is reported twice";
    EXPECT_EQ(WholePictures("out").size(), 2 * runs);
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

TEST_F(CommandTest, TakesNamesWithEveryOddCharacter)
{
    MakeSample("one.pdf", 1);
    for (const QString name : {"C++ notes", "[draft]", "a(b", "out(3)", "What? a|b", "new\nline",
                               "-dash", "\u00fcber \u4e2d\u6587", "100%"}) {
        ASSERT_TRUE(QFile::copy(Path("one.pdf"), Path(name + ".pdf")));
        const QString output = QString("./" + name + ".png").replace('%', "%%");
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(Run({"-r", "20", "-o", output, "./" + name + ".pdf"}).exitCode, 0)
                << name.toStdString();
        EXPECT_TRUE(QFile::exists(Path(name + ".png"))) << name.toStdString();
        EXPECT_TRUE(QFile::exists(Path(name + "(2).png"))) << name.toStdString();
    }
}

TEST_F(CommandTest, TakesNonAsciiNamesWhateverTheLocale)
{
    qputenv("LC_ALL", "C");
    MakeSample("\u00fcber.pdf", 1, "p\u00e4ss");
    Write("pw", "p\u00e4ss\n");
    const Outcome run = Run({"\u00fcber.pdf", "--password-file", "pw", "-o", "\u00e4/\u4e2d.png"});
    qunsetenv("LC_ALL");
    EXPECT_EQ(run.exitCode, 0) << run.complaints;
    EXPECT_TRUE(QFile::exists(Path("\u00e4/\u4e2d.png")));
}

struct Complaint
{
    const char* what;
    QStringList arguments;
    int exitCode;
    const char* message;
};

void PrintTo(const Complaint& row, std::ostream* out)
{
    *out << row.what;
}

class CommandComplains : public ProgramTest, public testing::WithParamInterface<Complaint>
{
};

TEST_P(CommandComplains, NamingTheUsersFileAndLeavingNothingBehind)
{
    MakeSample("plain.pdf", 2);
    MakeSample("secret.pdf", 2, "pw");
    Write("wrong", "wrong\n");
    Write("empty.pdf", "");
    Write("picture.pdf", "\x89PNG no PDF at all");
    Write("torn.pdf", Read("plain.pdf").left(200));
    QDir(Path("")).mkdir("folder");
    ASSERT_EQ(::mkfifo(Path("fifo").toUtf8().constData(), 0600), 0);

    const Outcome run = Run(GetParam().arguments);
    EXPECT_EQ(run.exitCode, GetParam().exitCode);
    EXPECT_EQ(run.results, QStringList());
    EXPECT_THAT(run.complaints, testing::StartsWith("pdfconvert: "));
    EXPECT_THAT(run.complaints, HasSubstr(GetParam().message));
    EXPECT_THAT(run.complaints, Not(HasSubstr(TempDir().toStdString()))) << "only the user's files";
    EXPECT_EQ(LeftInTempDir(), QStringList());
    EXPECT_FALSE(QFile::exists(Path("p.png")));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandComplains,
    testing::Values(
        Complaint{"missing input", {"none.pdf", "-o", "p.png"}, 4, "none.pdf: No such file"},
        Complaint{
            "no name", {"", "-o", "p.png"}, 4, "\"\": the name is empty; is a variable not set?"},
        Complaint{"unknown word",
                  {"plain.pdf", "-d", "out", "-f", "gif"},
                  2,
                  "--format: 'gif' is none of png, jpg, jpeg, tif, tiff, bmp, webp, txt, json, "
                  "tsv, hocr, pdf"},
        Complaint{"options that exclude each other",
                  {"plain.pdf", "-d", "out", "-r", "20", "--size", "9x9"},
                  2,
                  "--resolution does not go with --size"},
        Complaint{"layout of pictures",
                  {"plain.pdf", "-o", "p.png", "--layout"},
                  2,
                  "--layout changes nothing of png"},
        Complaint{"words put together with boxes",
                  {"plain.pdf", "-o", "p.json", "--dehyphenate"},
                  2,
                  "--dehyphenate changes nothing of json"},
        Complaint{"layout and words put together",
                  {"plain.pdf", "-o", "p.txt", "--dehyphenate", "--layout"},
                  2,
                  "--dehyphenate does not go with --layout"},
        Complaint{"no value", {"plain.pdf", "-d"}, 2, "--directory needs a value"},
        Complaint{"two values", {"plain.pdf", "-d", "a", "-d", "b"}, 2, "is given more than once"},
        Complaint{"folder", {"folder", "-o", "p.png"}, 4, "folder: is a folder"},
        Complaint{"device", {"/dev/null", "-o", "p.png"}, 4, "/dev/null: is not a regular file"},
        Complaint{"pipe that cannot be read again",
                  {"fifo", "-d", "out", "--journal", "journal"},
                  10,
                  "fifo: is not a regular file"},
        Complaint{"empty file", {"empty.pdf", "-o", "p.png"}, 4, "empty.pdf: is an empty file"},
        Complaint{"no PDF", {"picture.pdf", "-o", "p.png"}, 4, "picture.pdf: is not a PDF"},
        Complaint{"damaged", {"torn.pdf", "-o", "p.png"}, 4, "torn.pdf: is damaged"},
        Complaint{"no password", {"secret.pdf", "-o", "p.png"}, 8, "secret.pdf: is encrypted"},
        Complaint{"wrong password",
                  {"secret.pdf", "--password-file", "wrong", "-o", "p.png"},
                  8,
                  "secret.pdf: is encrypted and the password is wrong"},
        Complaint{"no password file",
                  {"secret.pdf", "--password-file", "none", "-o", "p.png"},
                  8,
                  "none: cannot read the password: No such file"},
        Complaint{"page that is not there",
                  {"plain.pdf", "--pages", "3", "-o", "p.png"},
                  2,
                  "plain.pdf: there is no page 3; the last one is 2"},
        Complaint{"output folder is a file",
                  {"plain.pdf", "-o", "wrong/p.png"},
                  5,
                  "cannot make the folder wrong"},
        Complaint{"name too long",
                  {"plain.pdf", "--pages", "1", "-o", QString(300, 'x') + ".png"},
                  5,
                  "has a name of 304 bytes, of which 255 are allowed"},
        Complaint{"unknown format", {"plain.pdf", "-o", "p.gif"}, 2, "p.gif"},
        Complaint{"resolution of text",
                  {"plain.pdf", "-o", "p.txt", "-r", "300"},
                  2,
                  "--resolution changes nothing of txt; leave it away"},
        Complaint{"quality of PNG",
                  {"plain.pdf", "-d", "out", "--quality", "50"},
                  2,
                  "--quality changes nothing of png; leave it away"},
        Complaint{"result of an inspection",
                  {"plain.pdf", "--inspect", "-o", "p.png"},
                  2,
                  "--output does not go with --inspect, which makes no results"}));

TEST_F(CommandTest, CallsAFullStandardOutputAnError)
{
    MakeSample("plain.pdf", 1);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.setStandardOutputFile("/dev/full");
    process.start(PDFCONVERT, {"plain.pdf", "-o", "p.png", "--temp-dir", TempDir()});
    EXPECT_EQ(Finish(process).exitCode, 5);
}

TEST_F(CommandTest, CallsALimitOfFileSizesAnErrorOfWriting)
{
    MakeSample("plain.pdf", 1);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start("bash", {"-c", "ulimit -f 100; exec \"$@\"", "bash", PDFCONVERT, "plain.pdf",
                           "-o", "p.png", "--temp-dir", TempDir()});
    const Outcome run = Finish(process);
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints, HasSubstr("plain.pdf: there is no space for temporary files"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
    EXPECT_FALSE(QFile::exists(Path("p.png")));
}

TEST_F(CommandTest, SaysWhichFolderForTemporaryFilesItCannotUse)
{
    MakeSample("plain.pdf", 1);
    QProcess process;
    process.setWorkingDirectory(Path(""));
    process.start(PDFCONVERT, {"plain.pdf", "-o", "p.png", "--temp-dir", "nowhere"});
    const Outcome alone = Finish(process);
    EXPECT_EQ(alone.exitCode, 5);
    EXPECT_THAT(alone.complaints, HasSubstr("nowhere: No such file or directory"));
    EXPECT_THAT(alone.complaints, HasSubstr("--temp-dir"));
}

TEST_F(CommandTest, TakesNoFolderForTemporaryFilesWhoseContentOthersCouldExchange)
{
    MakeSample("secret.pdf", 1, "horse");
    Write("pw", "horse\n");
    ASSERT_EQ(::chmod(Path("temp").toUtf8().constData(), 0777), 0);
    const QStringList conversion{"secret.pdf", "-o", "p.png", "--password-file", "pw", "-r", "20"};
    const Outcome refused = Run(conversion);
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_THAT(refused.complaints,
                HasSubstr("others may write to " + TempDir().toStdString() +
                          ", which has no sticky bit; choose another with --temp-dir"));
    EXPECT_FALSE(QFile::exists(Path("p.png")));
    ASSERT_EQ(::chmod(Path("temp").toUtf8().constData(), 01777), 0);
    EXPECT_EQ(Run(conversion).exitCode, 0);
}

TEST_F(CommandTest, TakesNoFolderForTemporaryFilesOfAnotherUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    MakeSample("plain.pdf", 1);
    const std::string folder = Path("").toStdString();
    const auto convertIn = [this](const QString& temp) {
        QProcess process;
        process.setWorkingDirectory("/");
        process.start("setpriv",
                      {"--reuid=12345", "--regid=12345", "--clear-groups", PDFCONVERT,
                       Path("plain.pdf"), "-d", Path("out"), "-r", "20", "--temp-dir", Path(temp)});
        return Finish(process);
    };
    for (const char* name : {"out", "own", "others"})
        ASSERT_TRUE(QDir(Path("")).mkdir(name));
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    for (const char* name : {"/out", "/own"})
        ASSERT_EQ(::chown((folder + name).c_str(), 12345, 12345), 0);
    ASSERT_EQ(::chown((folder + "/others").c_str(), 54321, 54321), 0);
    ASSERT_EQ(::chmod((folder + "/others").c_str(), 01777), 0);

    const Outcome own = convertIn("own");
    if (own.exitCode == 127 || own.exitCode == 126)
        GTEST_SKIP() << "the other user may not run the command: " << own.complaints;
    EXPECT_EQ(own.exitCode, 0) << own.complaints;
    const Outcome refused = convertIn("others");
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_THAT(refused.complaints, HasSubstr("/others belongs to another user"));
}

/** Who may do what in and below a folder while another program works there: "permissions kind". */
void Collect(const QString& folder, std::set<std::string>& seen)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.toUtf8().constData()),
                                                      ::closedir);
    while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
        const QString name = QString::fromUtf8(entry->d_name);
        struct stat status = {};
        const QString path = folder + '/' + name;
        if (name.startsWith('.') || ::lstat(path.toUtf8().constData(), &status) != 0)
            continue;
        const QString mode = QString::number(status.st_mode & 0777, 8);
        if (S_ISDIR(status.st_mode)) {
            seen.insert((mode + " folder").toStdString());
            Collect(path, seen);
        } else if (name.endsWith(".pdf")) {
            seen.insert((mode + " copy").toStdString());
        }
    }
}

TEST_F(CommandTest, KeepsTheCopyFromOthersAllTheTime)
{
    MakeSample("secret.pdf", 100, "pw");
    Write("pw", "pw");
    ::umask(0);
    const auto process =
        Start({"secret.pdf", "--password-file", "pw", "-o", "p/%d.png", "-r", "50"});
    ::umask(022);
    std::set<std::string> seen;
    while (!process->waitForFinished(1))
        Collect(TempDir(), seen);
    EXPECT_EQ(Finish(*process).exitCode, 0);
    EXPECT_EQ(seen, (std::set<std::string>{"700 folder", "600 copy"}));
    EXPECT_EQ(LeftInTempDir(), QStringList());
}

/** Arguments and environment of every process, as far as they can be read. */
std::string EverythingThatProcessesShow()
{
    std::string shown;
    for (const QString& process : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
        if (process.toLongLong() == QCoreApplication::applicationPid())
            continue;
        for (const char* file : {"cmdline", "environ"}) {
            QFile content("/proc/" + process + '/' + file);
            if (content.open(QIODevice::ReadOnly))
                shown += content.readAll().toStdString();
        }
    }
    return shown;
}

TEST_F(CommandTest, LetsWorkersWriteIntoItsFolderForTemporaryFilesAlone)
{
    MakeSample("many.pdf", 30);
    const std::string folder =
        std::string("--folder\0", 9) + TempDir().toStdString() + "/pdfconvert-";
    const auto process = Start({"many.pdf", "-o", "p/%d.png", "-r", "50"});
    bool isTold = false;
    while (!process->waitForFinished(20))
        isTold = isTold || EverythingThatProcessesShow().find(folder) != std::string::npos;
    EXPECT_TRUE(isTold);
    EXPECT_EQ(Finish(*process).exitCode, 0);
}

TEST_F(CommandTest, ShowsThePasswordInNoProcessAndNoLog)
{
    const std::string password = "Xq7-unlikely-to-be-found";
    MakeSample("secret.pdf", 30, QString::fromStdString(password));
    Write("pw", password.c_str());
    const auto process =
        Start({"secret.pdf", "--password-file", "pw", "-o", "p/%d.png", "-r", "50", "-v", "99"});
    bool worked = false;
    while (!process->waitForFinished(20)) {
        const std::string shown = EverythingThatProcessesShow();
        worked = worked || shown.find("pdfconvert-worker") != std::string::npos;
        EXPECT_THAT(shown, Not(HasSubstr(password)));
    }
    EXPECT_TRUE(worked) << "the workers were looked at";
    const Outcome run = Finish(*process);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.complaints, HasSubstr("with using password"));
    EXPECT_THAT(run.complaints, Not(HasSubstr(password)));
}

} // namespace
} // namespace Korvel::App
