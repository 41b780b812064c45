#include "GetNextAvaliableIndex.h"
#include "LocalFileSystem.h"
#include "LogCapture.h"
#include "SamplePdf.h"
#include "SessionFolder.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"
#include "WorkerPdfProvider.h"
#include "WorkerTestTools.h"

#include <fstream>
#include <memory>
#include <set>

#include <gmock/gmock.h>
#include <QFile>
#include <QTemporaryDir>

// What the wrappers rely on where they use one service beside another, or what another made. The
// contract of each service alone is the test kit's matter.

namespace Korvel::PDF::Test {

namespace {

using testing::ElementsAre;

/** As the wrappers make a path of a text. */
ioPath ToPath(const QString& text)
{
    ioPath path;
    path = text.toUtf8().constData();
    return path;
}

class ServicesTogetherTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(session) << error; }

    /** The path of a file whose name needs two, three and four bytes for a letter. */
    QString NonAscii(const QString& suffix) const
    {
        return folder.filePath(QStringLiteral("Übung 文書 😀") + suffix);
    }

    QString PlainDocument() const
    {
        const QString path = NonAscii(QStringLiteral(".pdf"));
        MakeSamplePdf(path, 1);
        return path;
    }

    DocumentHandle Open(const ioPath& file, const std::string& password = {})
    {
        return provider.OpenDocument(file, password).get();
    }

    /** A fresh file in the folder for temporary files, as the wrappers name their copies. */
    ioPath FreshCopy()
    {
        return ioPath(files.GetTempFolder().utf8string() + "/" + names.GenerateFileName() + ".pdf");
    }

    const QTemporaryDir folder;
    std::string error;
    const std::shared_ptr<SessionFolder> session =
        SessionFolder::Create(folder.path().toStdString(), error);
    LocalFileSystem files{session};
    UuidFileNameGenerator names;
    WorkerPdfProvider provider{{WORKER}};
};

} // namespace

TEST_F(ServicesTogetherTest, AWarningOfACopyNamesTheDocumentThatItIsOf)
{
    const QString source = PlainDocument();
    const ioPath copy = FreshCopy();
    ASSERT_TRUE(provider.SaveDocument(Open(ToPath(source)), copy).get());
    Converter::WorkerConverter converter({WORKER});
    Converter::AbstractConverter::Task task;
    task.source = QString::fromStdString(copy.utf8string());
    task.destination = NonAscii(QStringLiteral(".png"));
    task.options["page"] = 2;
    bool hasFailed = false;
    QObject::connect(&converter, &Converter::AbstractConverter::Failed, [&] { hasFailed = true; });
    const MessageCapture log;
    ASSERT_TRUE(converter.ConvertFile(task));
    EXPECT_TRUE(WaitUntil([&] { return hasFailed; }));
    EXPECT_NE(log.Text().find("cannot convert \"" + source.toStdString() + '"'), std::string::npos)
        << log.Text();
}

TEST_F(ServicesTogetherTest, StemsOfOneGeneratorAreNotThoseOfAnother)
{
    UuidFileNameGenerator others;
    std::set<std::string> stems;
    for (int i = 0; i < 1000; ++i) {
        stems.insert(names.GenerateFileName());
        stems.insert(others.GenerateFileName());
    }
    EXPECT_EQ(stems.size(), 2000u);
}

TEST_F(ServicesTogetherTest, ADocumentIsOpenedUnderAUtf8PathAndSavedUnderAnother)
{
    const DocumentHandle document = Open(ToPath(PlainDocument()));
    ASSERT_GE(document.id, 0);
    const QString copy = NonAscii(QStringLiteral(" copy.pdf"));
    EXPECT_TRUE(provider.SaveDocument(document, ToPath(copy)).get());
    EXPECT_TRUE(QFile::exists(copy));
    EXPECT_GE(Open(ToPath(copy)).id, 0);
}

TEST_F(ServicesTogetherTest, APasswordIsUtf8)
{
    const QString encrypted = NonAscii(QStringLiteral(" locked.pdf"));
    EncryptPdf(PlainDocument(), encrypted, Encryption::Aes256, "Schlüssel 鍵 🔑", "owner");
    EXPECT_GE(Open(ToPath(encrypted), "Schlüssel 鍵 🔑").id, 0);
}

TEST_F(ServicesTogetherTest, ASaveThatWasWaitedForKeepsItsAnswerWhileTheDocumentIsClosed)
{
    const DocumentHandle document = Open(ToPath(PlainDocument()));
    const ioPath copy = FreshCopy();
    std::future<bool> saved = provider.SaveDocument(document, copy);
    saved.wait();
    provider.CloseDocument(document); // its future is dropped at once
    EXPECT_TRUE(saved.get());
    EXPECT_GE(Open(copy).id, 0) << "without a password";
}

TEST_F(ServicesTogetherTest, ASavedCopyExistsUntilItIsRemoved)
{
    const DocumentHandle document = Open(ToPath(PlainDocument()));
    const ioPath copy = FreshCopy();
    EXPECT_FALSE(files.Exists(copy));
    ASSERT_TRUE(provider.SaveDocument(document, copy).get());
    EXPECT_TRUE(files.Exists(copy));
    EXPECT_TRUE(ioPath::remove(copy));
    EXPECT_FALSE(files.Exists(copy));
}

TEST_F(ServicesTogetherTest, AnIndexMakesANameThatIsFreeAndThatAResultIsMovedTo)
{
    const std::string wanted = folder.path().toStdString() + "/report";
    const std::regex pattern(R"(report\((\d+)\)\.pdf)", std::regex::icase);
    std::vector<std::string> indexes;
    for (int i = 0; i < 3; ++i) {
        const ioPath result = FreshCopy();
        std::ofstream(result.utf8string()) << "result";
        indexes.push_back(
            Util::GetNextAvaliableIndex(ioPath(folder.path().toStdString()), pattern));
        const ioPath numbered(wanted + "(" + indexes.back() + ").pdf");
        EXPECT_FALSE(files.Exists(numbered));
        EXPECT_TRUE(files.Move(result, numbered));
        EXPECT_TRUE(files.Exists(numbered));
    }
    EXPECT_THAT(indexes, ElementsAre("2", "3", "4"));
}

TEST_F(ServicesTogetherTest, APathIsWrittenToALogStreamAsItsUtf8Text)
{
    SilenceLog("WorkerServicesTest");
    const LogCapture log;
    const QString path = NonAscii(QStringLiteral(".pdf"));
    LOG(INFO) << ToPath(path) << '!';
    EXPECT_THAT(log.Texts(), ElementsAre(path.toStdString() + "!"));
}

} // namespace Korvel::PDF::Test
