#include <gtest/gtest.h>

#include <optional>

#include <QGuiApplication>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
using LeaksIgnored = __lsan::ScopedDisabler;
#else
struct LeaksIgnored
{
};
#endif

int main(int argc, char** argv)
{
    // Pages are painted without a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    std::optional<QGuiApplication> application;
    {
        [[maybe_unused]] const LeaksIgnored whileQtMakesAScreenThatItNeverFrees;
        application.emplace(argc, argv);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
