#pragma once

#include <QProcess>
#include <QTemporaryDir>

/** A screen that nobody sees, for this process and those that it starts, as long as it lives. */
class VirtualScreen
{
public:
    /** @throws std::runtime_error  there is no Xvfb, or it does not start */
    VirtualScreen();
    ~VirtualScreen();

private:
    /** In which programs with a window keep things of theirs. */
    const QTemporaryDir runtime;
    QProcess server;
};
