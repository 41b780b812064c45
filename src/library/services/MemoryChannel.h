#pragma once

#include "FileDescriptor.h"

#include <array>

#include <QStringList>

namespace Korvel::PDF {

/** A socket over which a worker is given memory, and can give nothing back. */
class MemoryChannel
{
public:
    /** Without ends where there is no room for them. */
    MemoryChannel();

    /**
     * Lets programs that are started inherit the worker's end, until CloseEndOfWorker. Workers
     * close what they are not told of, and to others it is a socket that nothing but memory without
     * content comes by. (A QProcess that sets up its child itself would have Qt start processes in
     * a way in which one that is killed as it starts is waited for without end.)
     */
    void LetInherit() const;

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
