#include <gtest/gtest.h>

#include <QGuiApplication>

int main(int argc, char** argv)
{
    // Pages are painted without a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
