// The tests of an application that has a converter of its own, by the installed test kit.

#include "ConverterContract.h"
#include "TextConverter.h"

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QTemporaryDir>

using namespace Korvel::PDF::TestKit;

class TextConverterTest : public ConverterFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<TextConverter>();
    }

    Task SucceedingTask() override
    {
        const QString number = QString::number(++count);
        return {"text", "source " + number, folder.filePath(number + ".txt"), {}};
    }

private:
    QTemporaryDir folder;
    int count = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Text, ConverterContract, TextConverterTest);

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
