#include "UpperCaseConverter.h"
#include "UpperCaseFixture.h"

#include <QCoreApplication>

using namespace Korvel::PDF::TestKit;

//! [test]
class UpperCaseConverterTest : public UpperCaseFixture
{
public:
    std::shared_ptr<AbstractConverter> MakeConverter() override
    {
        return std::make_shared<UpperCaseConverter>();
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mine, ConverterContract, UpperCaseConverterTest);

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
//! [test]
