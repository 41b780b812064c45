// What a document can do that has taken its worker over.

#include "IsSanitized.h"
#include "WorkerFixture.h"

#include <algorithm>
#include <csignal>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::Worker {
namespace {

/** Whether the worker says that this measure is in force on this machine, for others than root. */
bool IsInForce(const QString& measure)
{
    QProcess process;
    process.start(WORKER, {"--version"});
    EXPECT_TRUE(process.waitForFinished());
    const QString told = process.readAllStandardOutput();
    EXPECT_TRUE(told.contains(measure + ": ")) << told.toStdString();
    return !told.contains(measure + ": no\n");
}

#define SKIP_WITHOUT(measure)                                                                      \
    if (!IsInForce(measure))                                                                       \
    GTEST_SKIP() << "not in force on this machine, or in this build: " << (measure)

constexpr const char* fileAccess = "file access (Landlock)";
constexpr const char* systemCalls = "system calls (seccomp)";

/** Tries things in a sandbox for "input.pdf" that writes in "session". */
class SandboxTest : public WorkerFixture
{
protected:
    SandboxTest()
    {
        QDir(folder.path()).mkdir("session");
        QDir(folder.path()).mkdir("elsewhere");
        for (const char* name : {"input.pdf", "other.pdf", "session/other.pdf", "elsewhere/file"})
            WriteFile(name, "%PDF-1.7\n");
    }

    /** What came of it: "done", the error's name, or how the process ended. */
    std::string Try(const QString& where, const QString& attempt,
                    const QString& argument = {}) const
    {
        QProcess process;
        process.start(INTRUDER, {where, Path("session"), Path("input.pdf"), attempt, argument});
        EXPECT_TRUE(process.waitForFinished());
        if (process.exitStatus() != QProcess::NormalExit)
            return "signal " + std::to_string(process.exitCode());
        const std::string told = process.readAllStandardOutput().trimmed().toStdString();
        return told.empty() ? "exit " + std::to_string(process.exitCode()) : told;
    }

    /** What comes of it in the sandbox, on either thread of the worker, and where it has but one.
     */
    std::string TryInside(const QString& attempt, const QString& argument = {}) const
    {
        const std::string onMain = Try("inside", attempt, argument);
        EXPECT_EQ(Try("pool", attempt, argument), onMain) << attempt.toStdString();
        EXPECT_EQ(Try("alone", attempt, argument), onMain) << attempt.toStdString();
        return onMain;
    }
};

class LandlockRulesTest : public SandboxTest
{
protected:
    void SetUp() override { SKIP_WITHOUT(fileAccess); }
};

TEST_F(LandlockRulesTest, ReadsNothingButItsInput)
{
    EXPECT_EQ(TryInside("read", Path("input.pdf")), "done");
    for (const QString& path :
         {Path("other.pdf"), Path("session/other.pdf"), Path("elsewhere/file"),
          QString("/etc/passwd"), QString("/bin/sh"), QString("/dev/zero")}) {
        EXPECT_EQ(Try("outside", "read", path), "done") << path.toStdString();
        EXPECT_EQ(TryInside("read", path), "EACCES") << path.toStdString();
    }
}

TEST_F(LandlockRulesTest, ReadsNothingOfProcesses)
{
    if (PDF::Test::isSanitized)
        GTEST_SKIP() << "sanitizers read it";
    for (const char* path : {"/proc/self/maps", "/proc/self/environ", "/proc/self/status"})
        EXPECT_EQ(TryInside("read", path), "EACCES") << path;
    EXPECT_EQ(TryInside("write", "/proc/self/mem"), "EACCES");
    EXPECT_EQ(TryInside("list", "/proc"), "EACCES");
}

TEST_F(LandlockRulesTest, ListsNoFolder)
{
    for (const QString& path : {Path(""), Path("session"), QString("/"), QDir::tempPath()}) {
        EXPECT_EQ(Try("outside", "list", path), "done") << path.toStdString();
        EXPECT_EQ(TryInside("list", path), "EACCES") << path.toStdString();
    }
}

TEST_F(LandlockRulesTest, ReadsFonts)
{
    EXPECT_EQ(TryInside("list", "/usr/share/fonts"), "done");
    EXPECT_EQ(TryInside("read", "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"), "done");
}

TEST_F(LandlockRulesTest, ReadsNothingElseOfWhatIsInstalled)
{
    EXPECT_EQ(Try("outside", "read", "/usr/share/common-licenses/GPL-2"), "done");
    EXPECT_EQ(TryInside("read", "/usr/share/common-licenses/GPL-2"), "EACCES");
    for (const char* path : {"/usr/share", "/usr/share/doc", "/usr/local/share"}) {
        EXPECT_EQ(Try("outside", "list", path), "done") << path;
        EXPECT_EQ(TryInside("list", path), "EACCES") << path;
    }
}

TEST_F(LandlockRulesTest, WritesInItsFolderAlone)
{
    EXPECT_EQ(Try("inside", "make", Path("session/new")), "done");
    EXPECT_EQ(TryInside("read", Path("session/new")), "EACCES") << "not even what it wrote";
    EXPECT_EQ(Try("inside", "remove", Path("session/new")), "done");
    EXPECT_EQ(Try("pool", "make", Path("session/new")), "done");

    EXPECT_EQ(TryInside("make", Path("elsewhere/new")), "EACCES");
    EXPECT_EQ(TryInside("make", "/usr/share/fonts/new"), "EACCES");
    for (const QString& path :
         {Path("input.pdf"), Path("elsewhere/file"), Path("session/../other.pdf")}) {
        EXPECT_EQ(TryInside("write", path), "EACCES") << path.toStdString();
        EXPECT_EQ(TryInside("remove", path), "EACCES") << path.toStdString();
    }
    EXPECT_EQ(ReadFile(Path("other.pdf")), "%PDF-1.7\n");
}

TEST_F(LandlockRulesTest, FollowsNoLinkOutOfItsFolder)
{
    ASSERT_TRUE(QFile::link(Path("elsewhere/file"), Path("session/link")));
    ASSERT_TRUE(QFile::link(Path("elsewhere"), Path("session/folder")));
    EXPECT_EQ(TryInside("write", Path("session/link")), "EACCES");
    EXPECT_EQ(TryInside("make", Path("session/folder/new")), "EACCES");
}

class SeccompFilterTest : public SandboxTest
{
protected:
    void SetUp() override { SKIP_WITHOUT(systemCalls); }
};

TEST_F(SeccompFilterTest, LeavesNoNetwork)
{
    for (const int family : {AF_INET, AF_INET6, AF_UNIX, AF_NETLINK, AF_PACKET})
        EXPECT_EQ(TryInside("socket", QString::number(family)), "ENOSYS") << family;
    EXPECT_EQ(Try("outside", "socket", QString::number(AF_UNIX)), "done");
}

TEST_F(SeccompFilterTest, ReceivesNothingButMemoryForPictures)
{
    for (const char* number : {"0", "20", "21"})
        EXPECT_EQ(TryInside("receive", number), "ENOSYS") << number;
    EXPECT_EQ(Try("channel", "receive", "20"), "EBADF") << "let through";
    for (const char* number : {"0", "19", "21"})
        EXPECT_EQ(Try("channel", "receive", number), "ENOSYS") << number;
    EXPECT_EQ(Try("channel", "socket", QString::number(AF_UNIX)), "ENOSYS");
}

TEST_F(SeccompFilterTest, LeavesNoOtherProcess)
{
    for (const char* attempt : {"fork", "thread", "spawn", "execute", "kill-parent",
                                "kill-thread-of-parent", "have-parent-signalled"}) {
        EXPECT_EQ(TryInside(attempt), "ENOSYS") << attempt;
        EXPECT_EQ(Try("outside", attempt), "done") << attempt;
    }
    for (const char* attempt : {"trace-parent", "read-memory-of-parent", "limit-parent"}) {
        EXPECT_EQ(TryInside(attempt), "ENOSYS") << attempt;
        EXPECT_NE(Try("outside", attempt), "ENOSYS") << attempt;
    }
}

TEST_F(SeccompFilterTest, LeavesNoNewCode)
{
    for (const char* attempt : {"map-code", "make-memory-code"}) {
        EXPECT_EQ(TryInside(attempt), "ENOSYS") << attempt;
        EXPECT_EQ(Try("outside", attempt), "done") << attempt;
    }
}

TEST_F(SeccompFilterTest, LetsNothingChangeFilesThatAreThere)
{
    for (const char* attempt : {"truncate", "chmod", "rename", "link", "symlink", "make-folder"})
        EXPECT_EQ(TryInside(attempt, Path("session/other.pdf")), "ENOSYS") << attempt;
    EXPECT_EQ(Try("outside", "chmod", Path("session/other.pdf")), "done");
}

TEST_F(SeccompFilterTest, LetsNoFileBeMadeThatOthersCouldRun)
{
    for (const char* attempt :
         {"make-executable", "make-set-user-id", "make-executable-by-old-call"}) {
        EXPECT_EQ(TryInside(attempt, Path("session/new")), "ENOSYS") << attempt;
        EXPECT_EQ(Try("outside", attempt, Path("session/new")), "done") << attempt;
        EXPECT_TRUE(QFile::remove(Path("session/new")));
    }
}

TEST_F(SeccompFilterTest, LetsThroughNoneThatConvertingDoesNotTake)
{
    const QList<QPair<const char*, long>> calls{{"mount", SYS_mount},
                                                {"umount2", SYS_umount2},
                                                {"chroot", SYS_chroot},
                                                {"pivot_root", SYS_pivot_root},
                                                {"unshare", SYS_unshare},
                                                {"setns", SYS_setns},
                                                {"bpf", SYS_bpf},
                                                {"keyctl", SYS_keyctl},
                                                {"add_key", SYS_add_key},
                                                {"io_uring_setup", SYS_io_uring_setup},
                                                {"io_setup", SYS_io_setup},
                                                {"userfaultfd", SYS_userfaultfd},
                                                {"perf_event_open", SYS_perf_event_open},
                                                {"open_by_handle_at", SYS_open_by_handle_at},
                                                {"memfd_create", SYS_memfd_create},
                                                {"pidfd_open", SYS_pidfd_open},
                                                {"pidfd_getfd", SYS_pidfd_getfd},
                                                {"process_vm_writev", SYS_process_vm_writev},
                                                {"rt_sigqueueinfo", SYS_rt_sigqueueinfo},
                                                {"init_module", SYS_init_module},
                                                {"kexec_load", SYS_kexec_load},
                                                {"inotify_init1", SYS_inotify_init1},
                                                {"ioctl", SYS_ioctl},
                                                {"prctl", SYS_prctl},
                                                {"seccomp", SYS_seccomp},
                                                {"personality", SYS_personality},
                                                {"setuid", SYS_setuid},
                                                {"shmget", SYS_shmget}};
    for (const auto& [name, number] : calls)
        EXPECT_EQ(TryInside("call", QString::number(number)), "ENOSYS") << name;
}

TEST_F(SeccompFilterTest, LetsFewerThroughWhereTheEngineHasNoThread)
{
    const QList<QPair<const char*, long>> calls{
        {"sched_yield", SYS_sched_yield}, {"sched_getaffinity", SYS_sched_getaffinity},
        {"gettid", SYS_gettid},           {"mprotect", SYS_mprotect},
        {"getcwd", SYS_getcwd},           {"access", SYS_access},
        {"readlink", SYS_readlink},       {"unlinkat", SYS_unlinkat},
        {"pread64", SYS_pread64}};
    for (const auto& [name, number] : calls) {
        EXPECT_NE(Try("inside", "call", QString::number(number)), "ENOSYS") << name;
        EXPECT_EQ(Try("alone", "call", QString::number(number)), "ENOSYS") << name;
    }
}

TEST_F(SeccompFilterTest, RaisesNoLimit)
{
    for (const int limit : {RLIMIT_AS, RLIMIT_FSIZE, RLIMIT_NOFILE, RLIMIT_NPROC, RLIMIT_CORE})
        EXPECT_EQ(TryInside("raise-limit", QString::number(limit)), "ENOSYS") << limit;
}

TEST_F(SeccompFilterTest, EndsAProcessThatAborts)
{
    // It cannot send itself the signal either, so abort() takes its last resort.
    EXPECT_EQ(TryInside("abort"), "signal " + std::to_string(SIGSEGV));
}

TEST_F(SandboxTest, LimitsMemoryHoweverItIsAskedFor)
{
    SKIP_WITHOUT("memory limit");
    for (const char* attempt : {"allocate", "new", "new-aligned"}) {
        EXPECT_EQ(TryInside(attempt), "exit 77") << attempt;
        EXPECT_EQ(Try("outside", attempt), "done") << attempt;
    }
}

TEST_F(SandboxTest, LimitsFileSizeAndDescriptors)
{
    EXPECT_EQ(TryInside("write-beyond", Path("session/new")), "EFBIG");
    EXPECT_EQ(TryInside("open-many-times", Path("input.pdf")), "EMFILE");
    EXPECT_EQ(Try("outside", "open-many-times", Path("input.pdf")), "done");
}

TEST_F(SandboxTest, LimitsProcessorTime)
{
    EXPECT_EQ(Try("inside", "run-for-ever"), "signal " + std::to_string(SIGXCPU));
}

TEST_F(SandboxTest, LimitsProcessorTimeWhateverWasInheritedForItsSignal)
{
    QProcess process;
    process.start("env", {"--ignore-signal=XCPU", "--block-signal=XCPU", INTRUDER, "inside",
                          Path("session"), Path("input.pdf"), "run-for-ever"});
    EXPECT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(process.exitCode(), SIGXCPU);
}

/** The real worker, seen from outside. */
class ConfinedWorkerTest : public SandboxTest
{
protected:
    /** What /proc tells of the worker. */
    QString Told(const char* file, const QString& pattern) const
    {
        const QString text = ReadFile(QString("/proc/%1/%2").arg(worker.ProcessId()).arg(file));
        return QRegularExpression(pattern, QRegularExpression::MultilineOption)
            .match(text)
            .captured(1)
            .simplified();
    }

    std::string Limit(const char* name) const
    {
        return Told("limits", QString("^%1 +(\\S+ +\\S+)").arg(name)).toStdString();
    }
};

TEST_F(ConfinedWorkerTest, HasGivenUpItsRightsBeforeItLooksAtADocument)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    EXPECT_EQ(Told("status", "^NoNewPrivs:\\s*(\\d)"), "1");
    EXPECT_EQ(Told("status", "^Seccomp:\\s*(\\d)"), IsInForce(systemCalls) ? "2" : "0");
}

TEST_F(ConfinedWorkerTest, HasLimits)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    EXPECT_EQ(Limit("Max core file size"), "0 0");
    EXPECT_EQ(Limit("Max file size"), "1073741824 1073741824");
    EXPECT_EQ(Limit("Max processes") == "0 0", IsInForce("process limit"));
    EXPECT_EQ(Limit("Max open files"), "64 64");
    EXPECT_NE(Limit("Max cpu time").substr(0, 9), "unlimited");
    EXPECT_EQ(Limit("Max address space"),
              IsInForce("memory limit") ? "1073741824 1073741824" : "unlimited unlimited");
}

TEST_F(ConfinedWorkerTest, HasItsProcessorTimeForEachRequestAnew)
{
    WorkerClient hurried("set -- --time-limit 1");
    const QJsonObject request{{"id", 1},          {"op", "convert"},
                              {"file", Sample()}, {"output", Path("out.png")},
                              {"format", "png"},  {"page", 1}};
    while (hurried.ProcessorTime() < 3) {
        ASSERT_EQ(Outcome(hurried.Ask(request)), "ok");
        ASSERT_TRUE(QFile::remove(Path("out.png")));
    }
}

TEST_F(ConfinedWorkerTest, BelongsToNobodyWhoCouldLookIntoIt)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root looks into every process";
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    const QString memory = QString("/proc/%1/mem").arg(worker.ProcessId());
    EXPECT_EQ(QFileInfo(memory).ownerId(), 0U);
    EXPECT_FALSE(QFile(memory).open(QIODevice::ReadOnly));
}

TEST_F(ConfinedWorkerTest, ReadsItsInputWhateverItsNameIs)
{
    const QString sample = Sample();
    ASSERT_TRUE(QFile::link(sample, Path("link.pdf")));
    ASSERT_TRUE(QFile::link(Path(""), Path("elsewhere/folder")));
    const QString odd = Path("a\nb\t\"\\ %s \u00e9 \U0001f600 .pdf");
    ASSERT_TRUE(QFile::copy(sample, odd));
    for (const QString& name : {Path("link.pdf"), Path("elsewhere/folder/link.pdf"), odd,
                                Path("session/../link.pdf"), "/" + sample}) {
        EXPECT_EQ(Outcome(Open(name)), "ok") << name.toStdString();
        EXPECT_EQ(Outcome(Convert(name, Path("out.png"), "png", {{"page", 1}})), "ok");
        EXPECT_TRUE(QFile::remove(Path("out.png")));
    }
}

TEST_F(ConfinedWorkerTest, ReadsAnInputInAFolderThatItCanOnlyGoThrough)
{
    const QString input = Path("elsewhere/sample.pdf");
    ASSERT_TRUE(QFile::copy(Sample(), input));
    ASSERT_EQ(::chmod(Path("elsewhere").toUtf8().constData(), 0111), 0);
    EXPECT_EQ(Outcome(Convert(input, Path("out.txt"), "txt")), "ok");
    ASSERT_EQ(::chmod(Path("elsewhere").toUtf8().constData(), 0700), 0);
}

TEST_F(ConfinedWorkerTest, TellsOfAnInputThatIsNoFile)
{
    for (const QString& path : {Path("missing.pdf"), Path("elsewhere"), QString("/dev/zero")})
        EXPECT_EQ(Outcome(Open(path)), "unreadable") << path.toStdString();
}

TEST_F(ConfinedWorkerTest, IsToldWhereItMayNotWrite)
{
    SKIP_WITHOUT(fileAccess);
    WorkerClient confined("set -- --folder '" + Path("session") + "'");
    const auto convert = [&](const QString& output, const QString& format) {
        return Outcome(confined.Ask({{"id", 1},
                                     {"op", "convert"},
                                     {"file", Path("sample-1.pdf")},
                                     {"output", output},
                                     {"format", format},
                                     {"page", 1}}));
    };
    Sample();
    for (const char* format : {"png", "txt", "pdf"}) {
        EXPECT_EQ(convert(Path("session/result"), format), "ok");
        EXPECT_TRUE(QFile::remove(Path("session/result")));
        EXPECT_EQ(convert(Path("elsewhere/result"), format), "cannot-write");
        EXPECT_FALSE(QFile::exists(Path("elsewhere/result")));
    }
}

TEST_F(ConfinedWorkerTest, GoesOnWhereTheKernelHasNothingToConfineItWith)
{
    WorkerClient old("exec '" DEPRIVE "' landlock=ENOSYS,seccomp=ENOSYS \"$0\"");
    EXPECT_EQ(Outcome(old.Ask({{"id", 1},
                               {"op", "convert"},
                               {"file", Sample()},
                               {"output", Path("elsewhere/out.png")},
                               {"format", "png"},
                               {"page", 1}})),
              "ok");
    EXPECT_EQ(old.Finish(), 0);
    const QByteArray complaints = old.Complaints();
    EXPECT_TRUE(complaints.contains(fileAccess)) << complaints.constData();
    EXPECT_TRUE(complaints.contains(systemCalls)) << complaints.constData();
}

TEST_F(ConfinedWorkerTest, SaysInItsAnswersWhatIsMissing)
{
    if (PDF::Test::isSanitized)
        GTEST_SKIP() << "the build lacks more than the machine, and says nothing";
    WorkerClient old("exec '" DEPRIVE "' landlock=ENOSYS,memory=EPERM \"$0\"");
    const auto open = [this](int document) {
        return QJsonObject{
            {"id", 1}, {"op", "open"}, {"document", document}, {"file", Path("sample-1.pdf")}};
    };
    Sample();
    for (const int document : {1, 2}) {
        const QJsonArray missing = old.Ask(open(document))["missing"].toArray();
        EXPECT_TRUE(missing.contains(fileAccess));
        EXPECT_TRUE(missing.contains("memory limit"));
    }
    const QStringList none{fileAccess, systemCalls};
    if (std::all_of(none.begin(), none.end(), IsInForce)) {
        EXPECT_FALSE(Open(Sample(2))["missing"].toArray().contains(fileAccess));
    }
}

TEST_F(ConfinedWorkerTest, EndsWithoutAMeasureThatIsRequired)
{
    WorkerClient old("set -- --require-sandbox; exec '" DEPRIVE "' landlock=ENOSYS \"$0\" \"$@\"");
    EXPECT_EQ(Outcome(old.Ask({{"id", 1}, {"op", "open"}, {"document", 1}, {"file", Sample()}})),
              "nothing");
    EXPECT_EQ(old.Finish(), 80);
    EXPECT_TRUE(old.Complaints().contains(fileAccess));
}

TEST_F(ConfinedWorkerTest, SaysOnStandardErrorWhatIsNotInForce)
{
    EXPECT_EQ(Outcome(Open(Sample())), "ok");
    EXPECT_EQ(worker.Finish(), 0);
    const QByteArray complaints = worker.Complaints();
    for (const char* measure : {fileAccess, systemCalls, "memory limit", "no core dump"})
        EXPECT_EQ(complaints.contains(measure), !IsInForce(measure)) << measure;
}

} // namespace
} // namespace Korvel::Worker
