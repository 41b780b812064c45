#pragma once

#include <QFile>

namespace Korvel::Worker {

/** A file that remembers whether it could not be read, for readers who make do with the rest. */
class WatchedFile : public QFile
{
public:
    using QFile::QFile;

    bool HasFailed() const { return failed; }

    bool seek(qint64 position) override
    {
        const bool done = QFile::seek(position);
        failed = failed || !done;
        return done;
    }

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const qint64 count = QFile::readData(data, size);
        failed = failed || count < 0;
        return count;
    }

private:
    bool failed = false;
};

} // namespace Korvel::Worker
