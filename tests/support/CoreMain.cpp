#include <gtest/gtest.h>

#include <QCoreApplication>

// Without graphics: Valgrind and the sanitizers see these tests alone.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
