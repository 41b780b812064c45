#include "FileSystemContract.h"
#include "LocalFileSystem.h"
#include "RememberingFileSystem.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UpperCaseConverter.h"
#include "UuidFileNameGenerator.h"

#include <QCoreApplication>
#include <QFile>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;
using namespace Korvel::PDF::TestKit;

namespace {

//! [services]
/** The one place that names the classes of the services. */
struct Services
{
    std::shared_ptr<IFileNameGenerator> names;
    std::shared_ptr<RememberingFileSystem> files;
};

Services MakeServices(const std::string& parent)
{
    std::string error;
    return {std::make_shared<UuidFileNameGenerator>(),
            std::make_shared<RememberingFileSystem>(
                std::make_shared<LocalFileSystem>(SessionFolder::Create(parent, error)))};
}
//! [services]

} // namespace

//! [contract]
class RememberingFileSystemTest : public FileSystemFixture
{
public:
    IFileSystem& FileSystem() override { return *services.files; }

    const QTemporaryDir folder;
    const Services services = MakeServices(folder.path().toStdString());
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mine, FileSystemContract, RememberingFileSystemTest);
//! [contract]

//! [use]
TEST_F(RememberingFileSystemTest, TellsWhereAResultWent)
{
    TempFileWrapper wrapper(services.names, std::make_shared<UpperCaseConverter>(), services.files);
    QObject::connect(&wrapper, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     [] { QCoreApplication::quit(); });
    QObject::connect(&wrapper, &AbstractConverter::Failed, [] { QCoreApplication::quit(); });
    AbstractConverter::Task task;
    task.source = folder.filePath(QStringLiteral("source.txt"));
    task.destination = folder.filePath(QStringLiteral("result.txt"));
    MakeFile(task.source.toStdString(), "text");
    ASSERT_TRUE(wrapper.ConvertFile(task));
    QCoreApplication::exec();

    const auto moved = services.files->TakeMoved();
    ASSERT_EQ(moved.size(), 1U);
    EXPECT_EQ(moved[0].to.utf8string(), task.destination.toStdString());
}
//! [use]

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
