#pragma once

#include "FileDescriptor.h"

#include <array>
#include <memory>

#include <QProcess>
#include <QStringList>

namespace Korvel::PDF {

/** A socket over which a worker is given memory, and can give nothing back. */
class MemoryChannel
{
public:
    /** Without ends where there is no room for them. */
    MemoryChannel();

    /** A process that will inherit the worker's end, which others that are started do not. */
    std::unique_ptr<QProcess> MakeProcess(QObject* parent) const;

    /** What the worker is told of its end. */
    QStringList Arguments() const;

    /** Leaves the worker's end to the worker, which has been started. */
    void CloseEndOfWorker();

    /** Sends memory for a request that follows; a worker that was sent none says so. */
    void Send(qint64 request, int memory) const;

private:
    explicit MemoryChannel(const std::array<int, 2>& ends);

    const FileDescriptor ours;
    FileDescriptor theirs;
};

} // namespace Korvel::PDF
