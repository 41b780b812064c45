#include "TracedProgram.h"

#include "IsSanitized.h"

#include <cerrno>
#include <cstdlib>
#include <vector>

#include <QTemporaryFile>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Korvel::Failing {

namespace {

/** All that was written into it, by whomever. */
QByteArray ReadFrom(QTemporaryFile& file)
{
    file.seek(0);
    return file.readAll();
}

} // namespace

void TracedProgramTest::SetUp()
{
    if (!CanTrace())
        GTEST_SKIP() << "may not trace processes";
    MakeSample("secret.pdf", 1, "pw");
    Write("pw", "pw");
    source = Read("secret.pdf");
}

TracedRun TracedProgramTest::Run(const QStringList& arguments,
                                 const std::function<int(const Call&)>& judge,
                                 const Answered& answered) const
{
    QTemporaryFile output;
    QTemporaryFile complaints;
    EXPECT_TRUE(output.open() && complaints.open());
    std::vector<QByteArray> texts{PDFCONVERT};
    for (const QString& argument : arguments)
        texts.push_back(argument.toUtf8());
    std::vector<char*> pointers;
    for (QByteArray& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    const QByteArray folder = Path("").toUtf8();
    const TracedEnd end = Trace(
        [&] {
            ::setsid(); // without a terminal to ask on
            // Who traces and who looks for leaks would be in each other's way.
            ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
            ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
            ::dup2(output.handle(), STDOUT_FILENO);
            ::dup2(complaints.handle(), STDERR_FILENO);
            if (::chdir(folder.constData()) == 0)
                ::execv(PDFCONVERT, pointers.data());
            return 127;
        },
        judge, answered);
    return {end, QString::fromUtf8(ReadFrom(output)).split('\n', Qt::SkipEmptyParts),
            ReadFrom(complaints).toStdString()};
}

int TracedProgramTest::VerdictOfPlain(const Call& call)
{
    if (call.number == SYS_openat && (call.arguments[2] & O_TMPFILE) == O_TMPFILE)
        return EOPNOTSUPP;
    return call.number == SYS_renameat2 && call.arguments[4] == RENAME_NOREPLACE ? EINVAL : Go;
}

bool TracedProgramTest::Concerns(const std::string& call) const
{
    // Programs that were not installed look for their libraries in the working folder, too.
    if (call.find(".so") != std::string::npos)
        return false;
    // A sanitizer tries with pipes of its own what of the memory can be read.
    if (PDF::Test::isSanitized && call.find("pipe:") != std::string::npos)
        return false;
    return call.find(" " + Path("").toStdString()) != std::string::npos ||
           call.find(" pipe:") != std::string::npos || call.find(" socket:") != std::string::npos;
}

void TracedProgramTest::ExpectSourceIntact() const
{
    EXPECT_EQ(Read("secret.pdf"), source);
}

void TracedProgramTest::StartAgain() const
{
    EXPECT_EQ(ProgramTest::Run({"missing.pdf", "-d", "."}).exitCode, 4);
}

} // namespace Korvel::Failing
