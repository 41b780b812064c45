#include "Program.h"

#include <csignal>

#include <QDir>
#include <QImage>

namespace Korvel::App {

namespace {

constexpr int longestRun = 120'000;

QString MakeOnce(int pages, const QString& password)
{
    static QTemporaryDir samples;
    const QString file = samples.filePath(
        QStringLiteral("%1-%2.pdf").arg(pages).arg(QString::fromLatin1(password.toUtf8().toHex())));
    if (QFile::exists(file))
        return file;
    QStringList arguments{file, "--pages", QString::number(pages)};
    if (!password.isEmpty())
        arguments << "--password" << password;
    EXPECT_EQ(QProcess::execute(MAKE_SAMPLE, arguments), 0);
    return file;
}

} // namespace

ProgramTest::ProgramTest()
{
    EXPECT_TRUE(QDir(folder.path()).mkdir("temp"));
}

QString ProgramTest::MakeSample(const QString& name, int pages, const QString& password) const
{
    EXPECT_TRUE(QFile::copy(MakeOnce(pages, password), Path(name)));
    return Path(name);
}

QString ProgramTest::Write(const QString& name, const QByteArray& content) const
{
    QFile file(Path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(content), content.size());
    return Path(name);
}

QByteArray ProgramTest::Read(const QString& name) const
{
    QFile file(Path(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    return file.readAll();
}

std::unique_ptr<QProcess> ProgramTest::Start(const QStringList& arguments) const
{
    auto process = std::make_unique<QProcess>();
    process->setWorkingDirectory(folder.path());
    // A session of its own has no terminal to ask on.
    process->start("setsid",
                   QStringList{"--wait", PDFCONVERT, "--temp-dir", TempDir()} + arguments);
    EXPECT_TRUE(process->waitForStarted());
    return process;
}

Outcome ProgramTest::Finish(QProcess& process)
{
    EXPECT_TRUE(process.state() == QProcess::NotRunning || process.waitForFinished(longestRun));
    QStringList results =
        QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    return {process.exitCode(), results, process.readAllStandardError().toStdString()};
}

void ProgramTest::Send(int signal, const QProcess& process)
{
    if (process.processId() > 0)
        ::kill(pid_t(process.processId()), signal);
}

QStringList ProgramTest::ChildrenOf(const QString& process)
{
    QStringList all;
    const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
    for (const QString& name : threads.entryList({"[0-9]*"}, QDir::Dirs)) {
        QFile children(threads.filePath(name + "/children"));
        if (children.open(QIODevice::ReadOnly))
            all += QString::fromLatin1(children.readAll()).split(' ', Qt::SkipEmptyParts);
    }
    return all;
}

QStringList ProgramTest::Children(const QProcess& process)
{
    return ChildrenOf(QString::number(process.processId()));
}

QStringList ProgramTest::Descendants(const QProcess& process)
{
    QStringList all = Children(process);
    for (int i = 0; i < all.size(); ++i)
        all += ChildrenOf(all[i]);
    return all;
}

Outcome ProgramTest::Run(const QStringList& arguments, const QByteArray& input) const
{
    const auto process = Start(arguments);
    process->write(input);
    process->closeWriteChannel();
    return Finish(*process);
}

QStringList ProgramTest::LeftInTempDir() const
{
    return QDir(TempDir()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                     QDir::NoDotAndDotDot);
}

QStringList ProgramTest::WholePictures(const QString& name) const
{
    const QDir pictures(Path(name));
    const QStringList names = pictures.entryList(QDir::Files | QDir::Hidden, QDir::Name);
    for (const QString& file : names)
        EXPECT_FALSE(QImage(pictures.filePath(file)).isNull()) << file.toStdString();
    return names;
}

} // namespace Korvel::App
