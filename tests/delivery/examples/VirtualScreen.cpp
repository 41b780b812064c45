#include "VirtualScreen.h"

#include <stdexcept>

static constexpr int patience = 60'000;

VirtualScreen::VirtualScreen()
{
    // It looks for a number that is free, and tells it when it is ready.
    server.start("Xvfb", {"-displayfd", "1", "-screen", "0", "1000x750x24", "-nolisten", "tcp"});
    while (!server.canReadLine()) {
        if (!server.waitForReadyRead(patience))
            throw std::runtime_error("no screen: " + server.errorString().toStdString() + ' ' +
                                     server.readAllStandardError().toStdString());
    }
    qputenv("DISPLAY", ':' + server.readLine().trimmed());
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "xcb");
}

VirtualScreen::~VirtualScreen()
{
    server.terminate(); // politely, so that it removes its lock
    server.waitForFinished(patience);
}
