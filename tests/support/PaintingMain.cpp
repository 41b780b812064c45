#include "PaintingApplication.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
