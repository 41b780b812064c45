#pragma once

#include "Sanitizers.h"

#include <optional>

#include <QGuiApplication>

#if IS_ADDRESS_SANITIZED
#include <sanitizer/lsan_interface.h>
using LeaksIgnored = __lsan::ScopedDisabler;
#else
struct LeaksIgnored
{
};
#endif

/** The application object of a program that paints pages without a screen. */
class PaintingApplication
{
public:
    PaintingApplication(int& argc, char** argv)
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        [[maybe_unused]] const LeaksIgnored whileQtMakesAScreenThatItNeverFrees;
        application.emplace(argc, argv);
    }

private:
    std::optional<QGuiApplication> application;
};
