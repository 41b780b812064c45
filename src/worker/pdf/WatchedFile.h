#pragma once

#include "FileState.h"

#include <optional>

#include <QFile>

#include <sys/stat.h>

namespace Korvel::Worker {

/**
 * A file that remembers whether it could not be read, for readers who make do with the rest. It
 * ends the process when it is changed in the meantime, as they might go round in it for ever.
 */
class WatchedFile : public QFile
{
public:
    using QFile::QFile;

    bool HasFailed() const { return failed; }

    bool seek(qint64 position) override
    {
        RequireUnchanged();
        const bool done = QFile::seek(position);
        failed = failed || !done;
        return done;
    }

protected:
    qint64 readData(char* data, qint64 size) override
    {
        RequireUnchanged();
        const qint64 count = QFile::readData(data, size);
        failed = failed || count < 0;
        return count;
    }

private:
    void RequireUnchanged()
    {
        struct stat status = {};
        if (::fstat(handle(), &status) != 0)
            return;
        if (!state)
            state.emplace(status);
        if (!state->IsOfSameContentAs(FileState(status)))
            EndAsChanged();
    }

    /** The state when the file was first read. */
    std::optional<FileState> state;
    bool failed = false;
};

} // namespace Korvel::Worker
