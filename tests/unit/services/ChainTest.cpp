// The chain of the command on real documents, with the real services and worker processes.

#include "FilesBelow.h"
#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "SamplePdf.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>

namespace Korvel::PDF::Converter {
namespace {

constexpr int patience = 60'000;

class ChainTest : public testing::Test
{
protected:
    QString Path(const QString& name) const { return folder.filePath(name); }

    /** The chain of the command without the wrapper for encrypted documents. */
    std::shared_ptr<AbstractConverter> MakeFanOut(int width)
    {
        const auto makeChain = [this] {
            return std::make_shared<TempFileWrapper>(
                names, std::make_shared<WorkerConverter>(WorkerSettings{WORKER}), fileSystem);
        };
        return std::make_shared<PageFanOut>(makeChain, width);
    }

    /** The chain of the command, with `width` workers. */
    std::shared_ptr<AbstractConverter> MakeChain(int width)
    {
        return std::make_shared<UnencryptDocWrapper>(names, MakeFanOut(width), provider,
                                                     fileSystem);
    }

    AbstractConverter::Task MakeTask(const QString& source, int pages,
                                     const std::string& password = {}) const
    {
        AbstractConverter::Task task;
        task.type = "png";
        task.source = source;
        task.destination = Path("unused.png");
        task.options["need_export"] = true;
        task.options["password"] = password;
        task.options["resolution"] = 30.0;
        std::vector<PageFanOut::PageTask> pageTasks;
        for (int page = 1; page <= pages; ++page)
            pageTasks.push_back({page, Path(QString("out-%1.png").arg(page))});
        task.options["page_tasks"] = pageTasks;
        return task;
    }

    /** Every file below the folder for temporary files. */
    QStringList TemporaryFiles() const { return PDF::Test::FilesBelow(temp.path()); }

    std::string error;
    QTemporaryDir folder;
    QTemporaryDir temp;
    std::shared_ptr<UuidFileNameGenerator> names = std::make_shared<UuidFileNameGenerator>();
    std::shared_ptr<LocalFileSystem> fileSystem =
        std::make_shared<LocalFileSystem>(SessionFolder::Create(temp.path().toStdString(), error));
    std::shared_ptr<WorkerPdfProvider> provider =
        std::make_shared<WorkerPdfProvider>(WorkerSettings{WORKER});
};

TEST_F(ChainTest, EndsADocumentWithAllPathsInPageOrder)
{
    MakeSamplePdf(Path("in.pdf"), 5);
    const auto chain = MakeChain(2);
    QSignalSpy finished(chain.get(),
                        qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    QSignalSpy progress(chain.get(), &AbstractConverter::ConvertationProgress);
    ASSERT_TRUE(chain->ConvertFile(MakeTask(Path("in.pdf"), 5)));
    EXPECT_EQ(TemporaryFiles().filter(".pdf").size(), 1) << "one copy for all pages";
    ASSERT_TRUE(finished.wait(patience));

    EXPECT_EQ(finished[0][0].toString(), Path("in.pdf"));
    const QStringList results = finished[0][1].toStringList();
    ASSERT_EQ(results.size(), 5);
    for (int page = 1; page <= 5; ++page)
        EXPECT_EQ(results[page - 1], Path(QString("out-%1.png").arg(page)));
    for (const QString& result : results)
        EXPECT_EQ(QImage(result).size(), QSize(248, 351)) << result.toStdString();
    EXPECT_EQ(progress.last()[1].toDouble(), 1.0);
    EXPECT_EQ(TemporaryFiles(), QStringList()) << "the copy is gone";
}

TEST_F(ChainTest, TakesANumberedNameWhenAFileAppearedInBetween)
{
    MakeSamplePdf(Path("in.pdf"), 2);
    QFile mine(Path("out-2.png"));
    ASSERT_TRUE(mine.open(QIODevice::WriteOnly) && mine.write("mine") == 4);
    mine.close();
    const auto chain = MakeChain(1);
    QSignalSpy finished(chain.get(),
                        qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    ASSERT_TRUE(chain->ConvertFile(MakeTask(Path("in.pdf"), 2)));
    ASSERT_TRUE(finished.wait(patience));
    EXPECT_EQ(finished[0][1].toStringList(),
              QStringList({Path("out-1.png"), Path("out-2(2).png")}));
    ASSERT_TRUE(mine.open(QIODevice::ReadOnly));
    EXPECT_EQ(mine.readAll(), "mine");
}

TEST_F(ChainTest, EndsEveryPageAndDeletesTheCopyWhenCancelled)
{
    MakeSamplePdf(Path("in.pdf"), 50);
    const auto chain = MakeChain(2);
    QSignalSpy started(chain.get(), &AbstractConverter::ConvertationStarted);
    QSignalSpy failed(chain.get(), &AbstractConverter::Failed);
    ASSERT_TRUE(chain->ConvertFile(MakeTask(Path("in.pdf"), 50)));
    ASSERT_TRUE(started.wait(patience));
    EXPECT_TRUE(chain->CancelConvertation());
    ASSERT_TRUE(failed.wait(patience));
    EXPECT_EQ(failed[0][0].toString(), Path("in.pdf"));
    EXPECT_EQ(failed[0][1].value<AbstractConverter::ErrorType>(), AbstractConverter::Cancelled);
    EXPECT_EQ(TemporaryFiles().filter(".pdf"), QStringList());
}

TEST_F(ChainTest, FailsOnceWhenAPageIsNotThere)
{
    MakeSamplePdf(Path("in.pdf"), 2);
    const auto chain = MakeChain(2);
    QSignalSpy failed(chain.get(), &AbstractConverter::Failed);
    ASSERT_TRUE(chain->ConvertFile(MakeTask(Path("in.pdf"), 9)));
    ASSERT_TRUE(failed.wait(patience));
    EXPECT_EQ(failed.size(), 1);
    EXPECT_EQ(failed[0][1].value<AbstractConverter::ErrorType>(), AbstractConverter::CannotRender);
    EXPECT_EQ(TemporaryFiles().filter(".pdf"), QStringList());
}

/** How a document's first conversion ends before its pages are there. */
enum class Ending { Cancelled, Failed, Refused };

class ChainAgainTest : public ChainTest, public testing::WithParamInterface<Ending>
{
protected:
    /** Has the chain fail for the document, whose pages are wanted in the folder "first". */
    void FailAtFirst(AbstractConverter& chain, Ending ending)
    {
        AbstractConverter::Task task = TaskIn("first");
        if (ending == Ending::Failed)
            std::any_cast<std::vector<PageFanOut::PageTask>&>(task.options["page_tasks"])[1].page =
                99;
        if (ending == Ending::Refused)
            task.options["resolution"] = std::string("of another type");
        QSignalSpy started(&chain, &AbstractConverter::ConvertationStarted);
        QSignalSpy failed(&chain, &AbstractConverter::Failed);
        ASSERT_TRUE(chain.ConvertFile(task));
        if (ending == Ending::Cancelled) {
            ASSERT_TRUE(started.wait(patience));
            EXPECT_TRUE(chain.CancelConvertation());
        }
        ASSERT_TRUE(failed.size() == 1 || failed.wait(patience));
    }

    AbstractConverter::Task TaskIn(const QString& name) const
    {
        QDir(folder.path()).mkpath(name);
        AbstractConverter::Task task = MakeTask(Path("in.pdf"), 0);
        std::vector<PageFanOut::PageTask> pages;
        for (int page = 1; page <= 6; ++page)
            pages.push_back({page, Path(QString("%1/%2.png").arg(name).arg(page))});
        task.options["page_tasks"] = pages;
        return task;
    }
};

TEST_P(ChainAgainTest, PutsEachPageUnderItsOwnName)
{
    MakeSamplePdf(Path("in.pdf"), 6);
    const auto chain = MakeFanOut(2);
    FailAtFirst(*chain, GetParam());

    QSignalSpy finished(chain.get(),
                        qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    ASSERT_TRUE(chain->ConvertFile(TaskIn("second")));
    ASSERT_TRUE(finished.wait(patience));
    const QStringList results = finished[0][1].toStringList();
    ASSERT_EQ(results.size(), 6);
    for (int page = 1; page <= 6; ++page) {
        EXPECT_EQ(results[page - 1].toStdString(),
                  Path(QString("second/%1.png").arg(page)).toStdString());
        EXPECT_EQ(QImage(results[page - 1]).pixelColor(samplePatch.center() * 30 / 72),
                  QColor(SampleColour(page).rgb()))
            << page;
    }
}

INSTANTIATE_TEST_SUITE_P(Endings, ChainAgainTest,
                         testing::Values(Ending::Cancelled, Ending::Failed, Ending::Refused));

TEST_F(ChainTest, LeavesNothingWhenItIsDestroyedInMidWork)
{
    MakeSamplePdf(Path("in.pdf"), 50);
    auto chain = MakeChain(2);
    QSignalSpy started(chain.get(), &AbstractConverter::ConvertationStarted);
    ASSERT_TRUE(chain->ConvertFile(MakeTask(Path("in.pdf"), 50)));
    ASSERT_TRUE(started.wait(patience));
    chain.reset();
    fileSystem.reset();
    EXPECT_EQ(QDir(temp.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
}

struct Locked
{
    Encryption encryption;
    QByteArray user;
    QByteArray owner;
    std::string given;
    OpenFailure failure;
};

void PrintTo(const Locked& row, std::ostream* out)
{
    *out << "encryption " << int(row.encryption) << ", user '" << row.user.toStdString()
         << "', owner '" << row.owner.toStdString() << "', given '" << row.given << "'";
}

class EncryptedChain : public ChainTest, public testing::WithParamInterface<Locked>
{
};

TEST_P(EncryptedChain, OpensWithARightPasswordAndOnlyThen)
{
    const Locked& row = GetParam();
    const QString source = Path("\u00fcber \u4e2d.pdf");
    MakeSamplePdf(Path("plain.pdf"), 2);
    EncryptPdf(Path("plain.pdf"), source, row.encryption, row.user, row.owner);
    const auto chain = MakeChain(1);
    QSignalSpy finished(chain.get(),
                        qOverload<const QString&, QStringList>(&AbstractConverter::Finished));
    const bool started = chain->ConvertFile(MakeTask(source, 2, row.given));
    EXPECT_EQ(provider->WhyOpenFailed(ioPath(source.toStdString())), row.failure);
    ASSERT_EQ(started, row.failure == OpenFailure::None);
    if (started) {
        ASSERT_TRUE(finished.wait(patience));
        EXPECT_EQ(finished[0][0].toString(), source);
        EXPECT_EQ(QImage(Path("out-2.png")).size(), QSize(248, 351));
    }
    EXPECT_EQ(TemporaryFiles(), QStringList());
}

std::vector<Locked> AllEncryptions()
{
    std::vector<Locked> rows;
    for (const Encryption encryption :
         {Encryption::Rc4_40, Encryption::Rc4_128, Encryption::Aes128, Encryption::Aes256}) {
        rows.push_back({encryption, "user", "owner", "user", OpenFailure::None});
        rows.push_back({encryption, "user", "owner", "owner", OpenFailure::None});
        rows.push_back({encryption, "user", "owner", "wrong", OpenFailure::WrongPassword});
        rows.push_back({encryption, "user", "owner", "", OpenFailure::NoPassword});
        rows.push_back({encryption, "", "owner", "", OpenFailure::None});
        rows.push_back({encryption, "", "owner", "wrong", OpenFailure::None});
        rows.push_back({encryption, "p\u00e4ss", "owner", "p\u00e4ss", OpenFailure::None});
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Encryptions, EncryptedChain, testing::ValuesIn(AllEncryptions()));

} // namespace
} // namespace Korvel::PDF::Converter
