#include "FileTestTools.h"
#include "Program.h"
#include "Stride.h"

#include <cstdio>

#include <gmock/gmock.h>

#include <QDir>
#include <QImage>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::Failing {
namespace {

using App::Outcome;
using PDF::Test::ModeOf;
using PDF::Test::Umask;
using testing::AnyOf;
using testing::HasSubstr;

/** Volumes that only this process and its children see, in place of a folder. */
class VolumeTest : public App::ProgramTest
{
protected:
    void SetUp() override
    {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            GTEST_SKIP() << "may not mount volumes";
        MakeSample("secret.pdf", 1, "pw");
        Write("pw", "pw");
        QDir(Path("")).mkdir("out");
        source = Read("secret.pdf");
    }

    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_EQ(Read("secret.pdf"), source);
        }
    }

    void Mount(const QString& folder, const std::string& options) const
    {
        ASSERT_EQ(::mount("none", folder.toUtf8().constData(), "tmpfs", 0, options.c_str()), 0);
    }

    void MakeReadOnly(const QString& folder) const
    {
        ASSERT_EQ(::mount("none", folder.toUtf8().constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""),
                  0);
    }

    void Unmount(const QString& folder) const
    {
        ASSERT_EQ(::umount2(folder.toUtf8().constData(), MNT_DETACH), 0);
    }

    /** Converts with this many free bytes or files in `folder`; `check` judges. */
    void ConvertWhere(const QString& folder, const std::string& options, int filler,
                      const std::function<void(const Outcome&)>& check)
    {
        SCOPED_TRACE(options + ", filled with " + std::to_string(filler));
        Mount(folder, options);
        const QByteArray file = (folder + "/filler").toUtf8();
        const int opened = ::open(file.constData(), O_CREAT | O_WRONLY, 0600);
        EXPECT_TRUE(filler == 0 || ::posix_fallocate(opened, 0, filler) == 0);
        ::close(opened);
        check(Run({"secret.pdf", "-o", "out/p.png", "-r", "20", "--password-file", "pw"}));
        Unmount(folder);
    }

    /** Converts into less and less space until there is none. */
    void ConvertIntoLittle(const QString& folder, const std::function<void(const Outcome&)>& check)
    {
        constexpr int size = 1 << 20;
        constexpr int page = 4096;
        constexpr int enough = 16;
        for (int pages = enough; pages >= 0; --pages)
            ConvertWhere(folder, "size=1m", size - pages * page, check);
        for (int files = enough; files >= 3; --files)
            ConvertWhere(folder, "nr_inodes=" + std::to_string(files), 0, check);
        EXPECT_GT(converted, 0);
        EXPECT_GT(refused, 0);
        std::printf("%d converted, %d refused\n", converted, refused);
    }

    void ExpectAllOrNothing(const Outcome& run)
    {
        EXPECT_THAT(run.exitCode, AnyOf(0, 5));
        EXPECT_EQ(run.results, run.exitCode == 0 ? QStringList("out/p.png") : QStringList());
        QStringList pictures = QDir(Path("out")).entryList(QDir::Files | QDir::Hidden);
        pictures.removeAll("filler");
        EXPECT_EQ(pictures, run.exitCode == 0 ? QStringList("p.png") : QStringList());
        if (run.exitCode == 0) {
            EXPECT_FALSE(QImage(Path("out/p.png")).isNull());
        }
        QFile::remove(Path("out/p.png"));
        ++(run.exitCode == 0 ? converted : refused);
    }

    QByteArray source;
    int converted = 0;
    int refused = 0;
};

TEST_F(VolumeTest, ForTemporaryFilesThatIsFullIsNamedAndLeftAsItWas)
{
    ConvertIntoLittle(TempDir(), [this](const Outcome& run) {
        ExpectAllOrNothing(run);
        EXPECT_EQ(LeftInTempDir(), QStringList("filler"));
        if (run.exitCode != 0) {
            EXPECT_THAT(
                run.complaints,
                AnyOf(HasSubstr("secret.pdf: there is no space for temporary files; free some"),
                      HasSubstr("cannot make a folder for temporary files in " +
                                TempDir().toStdString() + ": No space left")));
        }
    });
}

TEST_F(VolumeTest, ForResultsThatIsFullIsNamedAndLeftAsItWas)
{
    ConvertIntoLittle(Path("out"), [this](const Outcome& run) {
        ExpectAllOrNothing(run);
        EXPECT_EQ(LeftInTempDir(), QStringList());
        if (run.exitCode != 0) {
            EXPECT_THAT(run.complaints,
                        HasSubstr("secret.pdf: cannot write out/p.png: No space left on device"));
        }
    });
}

TEST_F(VolumeTest, ThatIsReadOnlyIsNamed)
{
    Mount(Path("out"), "size=1m");
    MakeReadOnly(Path("out"));
    const Outcome run = Run({"secret.pdf", "-o", "out/p.png", "--password-file", "pw"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints,
                HasSubstr("secret.pdf: cannot write into the folder out: Read-only"));
    EXPECT_EQ(LeftInTempDir(), QStringList());
    Mount(TempDir(), "size=1m");
    MakeReadOnly(TempDir());
    const Outcome without = Run({"secret.pdf", "-o", "p.png", "--password-file", "pw"});
    EXPECT_EQ(without.exitCode, 5);
    EXPECT_THAT(without.complaints, HasSubstr(TempDir().toStdString() + ": Read-only"));
    Unmount(Path("out"));
    Unmount(TempDir());
}

TEST_F(VolumeTest, OfItsOwnGivesResultsTheModeThatTheUmaskWants)
{
    for (const bool isVolume : {false, true}) {
        if (isVolume)
            Mount(Path("out"), "size=1m");
        for (const mode_t mask : {0U, 022U, 077U}) {
            const Umask umask(mask);
            const QString name = QStringLiteral("out/%1-%2.png").arg(isVolume).arg(mask);
            EXPECT_EQ(Run({"secret.pdf", "-o", name, "-r", "20", "--password-file", "pw"}).exitCode,
                      0);
            EXPECT_EQ(ModeOf(Path(name).toStdString()), 0666 & ~mask);
        }
    }
    Unmount(Path("out"));
}

/** What lies where a result is to go. */
class TargetTest : public App::ProgramTest
{
protected:
    void SetUp() override { MakeSample("one.pdf", 1); }
};

TEST_F(TargetTest, ThatIsNoFileIsLeftAsItIs)
{
    Write("elsewhere", "mine");
    ASSERT_TRUE(QFile::link("elsewhere", Path("link.png")));
    ASSERT_TRUE(QFile::link("nowhere", Path("dangling.png")));
    ASSERT_TRUE(QDir(Path("")).mkdir("folder.png"));
    ASSERT_EQ(::mkfifo(Path("pipe.png").toUtf8().constData(), 0600), 0);
    for (const QString name : {"link", "dangling", "folder"}) {
        const Outcome run = Run({"one.pdf", "-o", name + ".png", "-r", "20"});
        EXPECT_EQ(run.exitCode, 0) << run.complaints;
        EXPECT_EQ(run.results, QStringList(name + "(2).png"));
    }
    EXPECT_EQ(Read("elsewhere"), "mine");
    EXPECT_FALSE(QFile::exists(Path("nowhere")));
    EXPECT_EQ(QFile::symLinkTarget(Path("dangling.png")), Path("nowhere"));
    EXPECT_TRUE(QDir(Path("folder.png")).isEmpty());
    const Outcome run = Run({"one.pdf", "-o", "pipe.png", "-r", "20"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_THAT(run.complaints, HasSubstr("one.pdf: pipe.png is a device or a pipe"));
    struct stat status = {};
    EXPECT_EQ(::lstat(Path("pipe.png").toUtf8().constData(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST_F(TargetTest, OfAnyLengthOfNameIsMadeOrRefusedByThatName)
{
    constexpr int longest = 255;
    for (int length = 1; length <= longest;
         length += length < longest - 12 ? 2 * Stride(32) - 1 : 1) {
        const QString name(length, 'x');
        const QString file = Write(name, "mine");
        const Outcome run = Run({"one.pdf", "-o", name, "-f", "txt"});
        EXPECT_EQ(Read(name), "mine");
        if (length + 3 <= longest) {
            EXPECT_EQ(run.exitCode, 0) << length << run.complaints;
            EXPECT_EQ(run.results, QStringList(name + "(2)"));
        } else {
            EXPECT_EQ(run.exitCode, 5) << length;
            EXPECT_THAT(run.complaints,
                        HasSubstr("one.pdf: its result " + name.toStdString() + "(2) has"));
            EXPECT_EQ(run.results, QStringList());
        }
        EXPECT_EQ(LeftInTempDir(), QStringList());
        QFile::remove(Path(name + "(2)"));
        QFile::remove(file);
    }
    EXPECT_EQ(QDir(Path("")).entryList(QDir::Files | QDir::Hidden), QStringList("one.pdf"));
}

} // namespace
} // namespace Korvel::Failing
