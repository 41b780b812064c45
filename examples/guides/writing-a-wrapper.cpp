#include "TimestampWrapper.h"
#include "UpperCaseConverter.h"
#include "UpperCaseFixture.h"
#include "WrapperContract.h"

#include <QCoreApplication>
#include <QDateTime>

using namespace Korvel::PDF::TestKit;

//! [test]
class TimestampWrapperTest : public UpperCaseFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<TimestampWrapper>(std::make_shared<UpperCaseConverter>());
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mine, ConverterContract, TimestampWrapperTest);

class TimestampAroundTest : public WrapperFixture
{
public:
    std::shared_ptr<AbstractConverter>
    MakeWrapper(const std::shared_ptr<AbstractConverter>& inner) override
    {
        return std::make_shared<TimestampWrapper>(inner);
    }

    Task MakeTask() override
    {
        return {
            QString(), QStringLiteral("/the/source.txt"), QStringLiteral("/the/result.txt"), {}};
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mine, WrapperContract, TimestampAroundTest);

TEST_F(TimestampWrapperTest, AResultIsAsOldAsItsSource)
{
    const Task task = SucceedingTask();
    const QDateTime time = QDateTime::fromSecsSinceEpoch(1'000'000'000);
    QFile source(task.source);
    ASSERT_TRUE(source.open(QIODevice::ReadWrite) &&
                source.setFileTime(time, QFileDevice::FileModificationTime));

    ConverterRun run(*this);
    run.Convert(task);
    run.ExpectSuccess(task.source);
    EXPECT_EQ(QFileInfo(task.destination).lastModified(), time);
}
//! [test]

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
