#include "SessionFolder.h"

#include "FileTestTools.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <QTemporaryDir>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr mode_t markOfASession = S_ISVTX;
constexpr uid_t somebodyElse = 12345;

/** Makes a folder with something in it, and gives it `mode` whatever the umask is. */
void MakeFolder(const std::string& path, mode_t mode)
{
    std::filesystem::create_directory(path);
    WriteFile(path + "/content", "content");
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
}

/** What a process leaves that was killed while it held a session folder. */
void MakeAbandonedSession(const std::string& path)
{
    MakeFolder(path, markOfASession | 0700);
}

} // namespace

class SessionFolderTest : public testing::Test
{
protected:
    std::unique_ptr<SessionFolder> Create() { return SessionFolder::Create(parent, error); }

    /** Why no session folder can be made below `folder`. */
    static std::string ReasonFor(const std::string& folder)
    {
        std::string reason;
        EXPECT_EQ(SessionFolder::Create(folder, reason), nullptr);
        return reason;
    }

    QTemporaryDir temporary;
    const std::string parent = std::filesystem::canonical(temporary.path().toStdString()).native();
    std::string error;
};

TEST_F(SessionFolderTest, LiesBelowItsParentUnderAnAbsolutePath)
{
    const auto session = Create();
    ASSERT_TRUE(session) << error;
    EXPECT_THAT(session->Path(), StartsWith(parent + "/pdfconvert-"));
    EXPECT_EQ(session->Path().size(), (parent + "/pdfconvert-XXXXXX").size());
    EXPECT_TRUE(std::filesystem::is_directory(session->Path()));
    EXPECT_EQ(error, "");
}

TEST_F(SessionFolderTest, ARelativeParentGivesAnAbsolutePath)
{
    const WorkingFolder here(parent);
    std::filesystem::create_directory("below");
    const auto session = SessionFolder::Create("below", error);
    ASSERT_TRUE(session) << error;
    EXPECT_THAT(session->Path(), StartsWith(parent + "/below/pdfconvert-"));
}

TEST_F(SessionFolderTest, LinksAndSeparatorsInTheParentsPathAreResolved)
{
    std::filesystem::create_directory(parent + "/real");
    std::filesystem::create_directory_symlink("real", parent + "/link");
    const auto session = SessionFolder::Create(parent + "//link/.//", error);
    ASSERT_TRUE(session) << error;
    EXPECT_THAT(session->Path(), StartsWith(parent + "/real/pdfconvert-"));
}

TEST_F(SessionFolderTest, TheParentsNameMayHoldBlanksAndOtherScripts)
{
    const std::string name = parent + "/Ordner mit Ü, 文書 und 'Zeichen'\n";
    std::filesystem::create_directory(name);
    const auto session = SessionFolder::Create(name, error);
    ASSERT_TRUE(session) << error;
    EXPECT_THAT(session->Path(), StartsWith(name + "/pdfconvert-"));
}

TEST_F(SessionFolderTest, NobodyElseCanLookIntoItWhateverTheUmask)
{
    for (const mode_t mask : {0U, 022U, 077U}) {
        const Umask umask(mask);
        const auto session = Create();
        ASSERT_TRUE(session) << error;
        EXPECT_EQ(ModeOf(session->Path()) & 0777, mode_t(0700)) << "umask " << mask;
    }
}

TEST_F(SessionFolderTest, AParentThatHandsItsGroupDownDoesNotOpenIt)
{
    ASSERT_EQ(::chmod(parent.c_str(), 02700), 0);
    const auto session = Create();
    ASSERT_TRUE(session) << error;
    EXPECT_EQ(ModeOf(session->Path()) & 0777, mode_t(0700));
}

TEST_F(SessionFolderTest, GoesWithEverythingInsideWhenTheObjectDies)
{
    auto session = Create();
    ASSERT_TRUE(session) << error;
    std::filesystem::create_directories(session->Path() + "/folder/in/folder");
    WriteFile(session->Path() + "/folder/in/file", "content");
    session.reset();
    EXPECT_THAT(NamesIn(parent), IsEmpty());
}

TEST_F(SessionFolderTest, WhatLinksInsidePointToStays)
{
    WriteFile(parent + "/kept", "content");
    std::filesystem::create_directory(parent + "/folder");
    WriteFile(parent + "/folder/kept", "content");
    auto session = Create();
    ASSERT_TRUE(session) << error;
    std::filesystem::create_symlink(parent + "/kept", session->Path() + "/to a file");
    std::filesystem::create_directory_symlink(parent + "/folder", session->Path() + "/to a folder");
    session.reset();
    EXPECT_THAT(NamesIn(parent), ElementsAre("folder", "kept"));
    EXPECT_EQ(ReadFile(parent + "/folder/kept"), "content");
}

TEST_F(SessionFolderTest, TheDefaultParentIsTmpdirWhenThatIsAbsolute)
{
    const auto defaultWith = [](const char* tmpdir) {
        ::setenv("TMPDIR", tmpdir, 1);
        return SessionFolder::DefaultParent();
    };
    const char* const variable = std::getenv("TMPDIR");
    const auto before = variable ? std::optional<std::string>(variable) : std::nullopt;
    EXPECT_EQ(defaultWith("/var/tmp"), "/var/tmp");
    EXPECT_EQ(defaultWith("relative"), "/tmp");
    EXPECT_EQ(defaultWith(""), "/tmp");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(SessionFolder::DefaultParent(), "/tmp");
    if (before)
        ::setenv("TMPDIR", before->c_str(), 1);
}

TEST_F(SessionFolderTest, AParentThatCannotHoldItGivesTheReason)
{
    WriteFile(parent + "/file", "content");
    EXPECT_EQ(ReasonFor(parent + "/missing"), "No such file or directory");
    EXPECT_EQ(ReasonFor(""), "Invalid argument");
    EXPECT_EQ(ReasonFor(parent + "/file"), "Not a directory");
    EXPECT_EQ(ReasonFor(parent + "/file/below"), "Not a directory");
    EXPECT_EQ(ReasonFor(parent + "/" + std::string(300, 'x')), "File name too long");
    EXPECT_EQ(ReasonFor(parent + std::string("\0hidden", 7)), "Invalid argument");
    EXPECT_THAT(NamesIn(parent), ElementsAre("file"));
}

TEST_F(SessionFolderTest, AParentThatIsNoUtf8IsRefused)
{
    const std::string latin1 = parent + "/\xe4";
    std::filesystem::create_directory(latin1);
    EXPECT_EQ(ReasonFor(latin1), "Invalid or incomplete multibyte or wide character");
    EXPECT_THAT(NamesIn(latin1), IsEmpty());
    std::filesystem::remove(latin1); // QTemporaryDir cannot
}

TEST_F(SessionFolderTest, AParentThatMayNotBeWrittenGivesTheReason)
{
    if (IsRoot())
        GTEST_SKIP() << "root may write everywhere";
    ASSERT_EQ(::chmod(parent.c_str(), 0500), 0);
    EXPECT_EQ(ReasonFor(parent), "Permission denied");
    ASSERT_EQ(::chmod(parent.c_str(), 0700), 0);
}

TEST_F(SessionFolderTest, AParentThatMayNotBeListedHoldsItUnswept)
{
    if (IsRoot())
        GTEST_SKIP() << "root may list everything";
    MakeAbandonedSession(parent + "/pdfconvert-abcdef");
    ASSERT_EQ(::chmod(parent.c_str(), 0300), 0);
    const ServicesMessages log;
    EXPECT_TRUE(Create()) << error;
    ASSERT_EQ(::chmod(parent.c_str(), 0700), 0);
    EXPECT_THAT(NamesIn(parent), ElementsAre("pdfconvert-abcdef"));
    EXPECT_THAT(log.Texts(), ElementsAre(testing::EndsWith("Permission denied")));
}

/** Folders that other users may put another one in the place of. */
class SessionParentTest : public SessionFolderTest
{
protected:
    /** A folder `name` below the parent; the umask plays no part. */
    std::string Make(const std::string& name, mode_t mode, uid_t owner = ::geteuid(),
                     gid_t group = ::getegid()) const
    {
        const std::string path = parent + "/" + name;
        std::filesystem::create_directory(path);
        EXPECT_EQ(::chown(path.c_str(), owner, group), 0);
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return path;
    }

    void ExpectTaken(const std::string& folder) const
    {
        std::string reason;
        EXPECT_TRUE(SessionFolder::Create(folder, reason)) << folder << ": " << reason;
    }
};

TEST_F(SessionParentTest, OneThatEverybodyMayWriteIsRefusedWithoutTheStickyBit)
{
    const std::string open = Make("open", 0777);
    EXPECT_EQ(ReasonFor(open), "others may write to " + open + ", which has no sticky bit");
    EXPECT_THAT(NamesIn(open), IsEmpty());
    ASSERT_EQ(::chmod(open.c_str(), 01777), 0);
    ExpectTaken(open);
}

TEST_F(SessionParentTest, OneBelowAFolderThatEverybodyMayWriteIsRefusedAlike)
{
    const std::string open = Make("open", 0777);
    const std::string own = Make("open/own", 0700);
    const std::string reason = "others may write to " + open + ", which has no sticky bit";
    EXPECT_EQ(ReasonFor(own), reason);
    EXPECT_EQ(ReasonFor(own + "/../own"), reason);
    const WorkingFolder here(own);
    EXPECT_EQ(ReasonFor("."), reason);
    ASSERT_EQ(::chmod(open.c_str(), 01777), 0);
    ExpectTaken(own);
}

TEST_F(SessionParentTest, OneOfAnotherUserIsRefused)
{
    if (!IsRoot())
        GTEST_SKIP() << "only root can give a folder away";
    const std::string others = Make("others", 0755, somebodyElse);
    EXPECT_EQ(ReasonFor(others), others + " belongs to another user");
    EXPECT_EQ(ReasonFor(Make("others/own", 0700)), others + " belongs to another user");
    const std::string sticky = Make("sticky", 01777, somebodyElse);
    EXPECT_EQ(ReasonFor(sticky), sticky + " belongs to another user");
}

TEST_F(SessionParentTest, ALinkOnTheWayIsFollowedUnlessItIsAnotherUsers)
{
    Make("real", 0700);
    const std::string sticky = Make("sticky", 01777);
    const std::string link = sticky + "/link";
    std::filesystem::create_directory_symlink("../real", link);
    std::filesystem::create_directory_symlink(link, parent + "/again");
    ExpectTaken(link);
    ExpectTaken(parent + "/again/");
    if (!IsRoot())
        GTEST_SKIP() << "only root can give a link away";
    ASSERT_EQ(::lchown(link.c_str(), somebodyElse, somebodyElse), 0);
    EXPECT_EQ(ReasonFor(link), "the link " + link + " belongs to another user");
    EXPECT_EQ(ReasonFor(parent + "/again"), "the link " + link + " belongs to another user");
}

TEST_F(SessionParentTest, LinksThatLeadInACircleHaveAnEnd)
{
    std::filesystem::create_directory_symlink("b", parent + "/a");
    std::filesystem::create_directory_symlink("a", parent + "/b");
    EXPECT_EQ(ReasonFor(parent + "/a"), "Too many levels of symbolic links");
}

TEST_F(SessionParentTest, AGroupMayWriteOnlyWhenNobodyElseIsInIt)
{
    if (!IsRoot())
        GTEST_SKIP() << "only root can give a folder to any group";
    ExpectTaken(Make("of the own group", 0775));
    ExpectTaken(Make("handed down", 02770));
    const std::string shared = Make("shared", 0770, ::geteuid(), somebodyElse);
    EXPECT_EQ(ReasonFor(shared), "others may write to " + shared + ", which has no sticky bit");
    ExpectTaken(Make("sticky", 01770, ::geteuid(), somebodyElse));
}

TEST_F(SessionParentTest, AnotherUserTakesRootsFoldersAndItsOwn)
{
    if (!IsRoot())
        GTEST_SKIP() << "only root can become another user";
    ASSERT_EQ(::chmod(parent.c_str(), 0755), 0);
    const std::string own = Make("own", 0700, somebodyElse, somebodyElse);
    const std::string sticky = Make("sticky", 01777);
    const std::string group = Make("group", 0770, somebodyElse, somebodyElse);
    ForkedProcess user([&] {
        if (::setgroups(0, nullptr) != 0 || ::setgid(somebodyElse) != 0 ||
            ::setuid(somebodyElse) != 0)
            return 1;
        ExpectTaken(own);
        ExpectTaken(sticky);
        // A group without a name may have anybody in it.
        EXPECT_EQ(ReasonFor(group), "others may write to " + group + ", which has no sticky bit");
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(user.Wait(), 0);
}

TEST_F(SessionParentTest, InAUserNamespaceThatMapsNobodyElseRootsFoldersStayTrusted)
{
    if (!IsRoot())
        GTEST_SKIP() << "only root can become another user";
    ASSERT_EQ(::chmod(parent.c_str(), 0755), 0);
    const std::string sticky = Make("sticky", 01777);
    ForkedProcess user([&] {
        if (::setgid(somebodyElse) != 0 || ::setuid(somebodyElse) != 0)
            return 1;
        if (::unshare(CLONE_NEWUSER) != 0)
            return 2;
        std::ofstream("/proc/self/uid_map") << "0 " << somebodyElse << " 1";
        ExpectTaken(sticky);
        return HasFailure() ? 1 : 0;
    });
    const int end = user.Wait();
    if (end == 2)
        GTEST_SKIP() << "there are no user namespaces to be had";
    EXPECT_EQ(end, 0);
}

/** Session folders of other processes. */
class SessionSweepTest : public SessionFolderTest
{
protected:
    /** A process that holds a session folder until it is killed. */
    std::unique_ptr<ForkedProcess> Hold()
    {
        auto holder = std::make_unique<ForkedProcess>([this] {
            const auto session = Create();
            if (!session)
                return 1;
            WriteFile(session->Path() + "/copy.pdf", "secret");
            held.WriteLine(session->Path());
            return ::pause();
        });
        heldFolder = held.ReadLine();
        return holder;
    }

    Pipe held;
    std::string heldFolder;
};

TEST_F(SessionSweepTest, TheFolderOfAKilledProcessGoesWithTheNextStart)
{
    Hold()->Kill();
    ASSERT_EQ(ReadFile(heldFolder + "/copy.pdf"), "secret");
    const auto session = Create();
    ASSERT_TRUE(session) << error;
    EXPECT_FALSE(IsAnything(heldFolder));
    EXPECT_TRUE(IsAnything(session->Path()));
}

TEST_F(SessionSweepTest, AnswersWhatItHasRemovedAndNothingElse)
{
    const std::string abandoned = parent + "/pdfconvert-abcdef";
    const auto holder = Hold(); // whose start sweeps, too
    MakeAbandonedSession(abandoned);
    MakeFolder(parent + "/pdfconvert-ghijkl", 0700);
    EXPECT_THAT(SessionFolder::Sweep(parent), ElementsAre(abandoned));
    EXPECT_FALSE(IsAnything(abandoned));
    EXPECT_THAT(SessionFolder::Sweep(parent), IsEmpty());
    EXPECT_THAT(SessionFolder::Sweep(parent + "/missing"), IsEmpty());
}

TEST_F(SessionSweepTest, AFolderThatIsKeptOutlivesItsOwnerAndEverySweep)
{
    std::string kept;
    {
        const auto session = Create();
        ASSERT_TRUE(session) << error;
        kept = session->Path();
        WriteFile(kept + "/copy.pdf", "secret");
        EXPECT_TRUE(session->Keep());
    }
    EXPECT_THAT(SessionFolder::Sweep(parent), IsEmpty());
    EXPECT_EQ(ReadFile(kept + "/copy.pdf"), "secret");
    EXPECT_EQ(ModeOf(kept), 0700u);
}

TEST_F(SessionSweepTest, TheFolderOfALiveProcessStays)
{
    const auto holder = Hold();
    for (int start = 0; start < 3; ++start)
        ASSERT_TRUE(Create()) << error;
    EXPECT_EQ(ReadFile(heldFolder + "/copy.pdf"), "secret");
}

TEST_F(SessionSweepTest, SessionsOfOneProcessLeaveEachOtherAlone)
{
    const auto first = Create();
    const auto second = Create();
    ASSERT_TRUE(first && second) << error;
    EXPECT_TRUE(IsAnything(first->Path()));
    EXPECT_TRUE(IsAnything(second->Path()));
}

TEST_F(SessionSweepTest, AProgramThatAKilledProcessHadStartedDoesNotKeepItsFolder)
{
    const Pipe life;
    ForkedProcess holder([&] {
        const auto session = Create();
        held.WriteLine(session->Path());
        ForkedProcess started([&] {
            life.BecomeInput();
            held.BecomeOutput();
            return ::execlp("sh", "sh", "-c", "echo started; cat", nullptr);
        });
        return ::pause();
    });
    heldFolder = held.ReadLine();
    ASSERT_EQ(held.ReadLine(), "started");
    holder.Kill();
    ASSERT_TRUE(IsAnything(heldFolder));
    ASSERT_TRUE(Create()) << error;
    EXPECT_FALSE(IsAnything(heldFolder));
}

TEST_F(SessionSweepTest, ManyProcessesThatStartAtOnceNeverTakeEachOthersFolder)
{
    const auto startAndWork = [this] {
        const auto session = Create();
        const std::string file = session ? session->Path() + "/file" : "";
        if (!session)
            return false;
        WriteFile(file, session->Path());
        return Create() && ReadFile(file) == session->Path();
    };
    Pipe gate;
    std::vector<std::unique_ptr<ForkedProcess>> processes;
    for (int i = 0; i < 24; ++i)
        processes.push_back(std::make_unique<ForkedProcess>([&] {
            gate.WaitForEnd();
            for (int round = 0; round < 20; ++round) {
                if (!startAndWork())
                    return 1;
            }
            return 0;
        }));
    gate.CloseWritingEnd();
    for (int i = 0; i < 10; ++i)
        Hold()->Kill();
    for (const auto& process : processes)
        EXPECT_EQ(process->Wait(), 0);
    ASSERT_TRUE(Create()) << error;
    EXPECT_THAT(NamesIn(parent), IsEmpty());
}

TEST_F(SessionSweepTest, AnAbandonedFolderGoesAndWhatItsLinksPointToStays)
{
    const std::string abandoned = parent + "/pdfconvert-abcdef";
    MakeFolder(parent + "/kept", 0755);
    MakeAbandonedSession(abandoned);
    std::filesystem::create_directories(abandoned + "/PDFConverter/pages");
    std::filesystem::create_directory_symlink(parent + "/kept", abandoned + "/link");
    ASSERT_TRUE(Create()) << error;
    EXPECT_THAT(NamesIn(parent), ElementsAre("kept"));
    EXPECT_EQ(ReadFile(parent + "/kept/content"), "content");
}

TEST_F(SessionSweepTest, AnAbandonedFolderIsFoundAlsoWhereNoneIsMadeAnyMore)
{
    const std::string abandoned = parent + "/pdfconvert-abcdef";
    MakeAbandonedSession(abandoned);
    ASSERT_EQ(::chmod(parent.c_str(), 0777), 0);
    EXPECT_THAT(SessionFolder::Sweep(parent), ElementsAre(abandoned));
    EXPECT_FALSE(IsAnything(abandoned));
}

TEST_F(SessionSweepTest, AFolderThatAnotherProgramHasLockedStays)
{
    const std::string folder = parent + "/pdfconvert-abcdef";
    MakeAbandonedSession(folder);
    const int lock = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_SH | LOCK_NB), 0);
    ASSERT_TRUE(Create()) << error;
    EXPECT_EQ(ReadFile(folder + "/content"), "content");
    ::close(lock);
}

TEST_F(SessionSweepTest, AFolderOfTheUsersThatMerelyBearsSuchANameStays)
{
    MakeFolder(parent + "/pdfconvert-output", 0700);
    MakeFolder(parent + "/pdfconvert-backup", 0755);
    MakeFolder(parent + "/pdfconvert-shared", 01777);
    ASSERT_TRUE(Create()) << error;
    EXPECT_THAT(NamesIn(parent),
                ElementsAre("pdfconvert-backup", "pdfconvert-output", "pdfconvert-shared"));
    EXPECT_EQ(ReadFile(parent + "/pdfconvert-output/content"), "content");
}

TEST_F(SessionSweepTest, AFolderOfAnotherNameStays)
{
    const std::vector<std::string> names{"pdfconvert-",        "pdfconvert-abcde",
                                         "pdfconvert-abcdefg", "Pdfconvert-abcdef",
                                         "xpdfconvert-abcde",  "abcdef"};
    for (const std::string& name : names)
        MakeAbandonedSession(parent + "/" + name);
    ASSERT_TRUE(Create()) << error;
    EXPECT_THAT(NamesIn(parent), testing::UnorderedElementsAreArray(names));
}

TEST_F(SessionSweepTest, ALinkOfSuchANameIsNotFollowed)
{
    MakeAbandonedSession(parent + "/real");
    std::filesystem::create_directory_symlink("real", parent + "/pdfconvert-abcdef");
    std::filesystem::create_symlink("missing", parent + "/pdfconvert-dangle");
    ASSERT_TRUE(Create()) << error;
    EXPECT_THAT(NamesIn(parent), ElementsAre("pdfconvert-abcdef", "pdfconvert-dangle", "real"));
    EXPECT_EQ(ReadFile(parent + "/real/content"), "content");
}

TEST_F(SessionSweepTest, AFileOrAPipeOfSuchANameStays)
{
    WriteFile(parent + "/pdfconvert-abcdef", "content");
    ASSERT_EQ(::mkfifo((parent + "/pdfconvert-pipe00").c_str(), 01700), 0);
    ASSERT_TRUE(Create()) << error;
    EXPECT_THAT(NamesIn(parent), ElementsAre("pdfconvert-abcdef", "pdfconvert-pipe00"));
}

TEST_F(SessionSweepTest, TheFolderOfAnotherUserStays)
{
    if (!IsRoot())
        GTEST_SKIP() << "only root can give a folder away";
    const std::string folder = parent + "/pdfconvert-abcdef";
    MakeAbandonedSession(folder);
    ASSERT_EQ(::chown(folder.c_str(), somebodyElse, somebodyElse), 0);
    ASSERT_EQ(::chmod(folder.c_str(), markOfASession | 0700), 0);
    ASSERT_TRUE(Create()) << error;
    EXPECT_EQ(ReadFile(folder + "/content"), "content");
}

TEST_F(SessionSweepTest, AnAbandonedFolderThatCannotBeRemovedIsPassedOver)
{
    if (IsRoot())
        GTEST_SKIP() << "root may remove everything";
    const std::string abandoned = parent + "/pdfconvert-abcdef";
    MakeAbandonedSession(abandoned);
    MakeFolder(abandoned + "/locked", 0500);
    const ServicesMessages log;
    EXPECT_TRUE(Create()) << error;
    EXPECT_EQ(ReadFile(abandoned + "/locked/content"), "content");
    EXPECT_THAT(log.Texts(), ElementsAre(testing::EndsWith("Permission denied")));
    ASSERT_EQ(::chmod((abandoned + "/locked").c_str(), 0700), 0);
}

} // namespace Korvel::PDF::Test
