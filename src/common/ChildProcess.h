#pragma once

#include <QProcess>

namespace Korvel {

/**
 * A QProcess that tells by FailedToStart when the system has no room for another process.
 *
 * Qt 5.15 does not look whether it could make a plain one: it takes it for started, with the id -1,
 * and whoever ends or kills it then does so to everything that the user runs. For derived classes
 * it makes processes in another way, which it does check.
 */
class ChildProcess : public QProcess
{
public:
    using QProcess::QProcess;
};

} // namespace Korvel
