#pragma once

#include "Checksum.h"

#include <functional>
#include <map>
#include <set>
#include <vector>

#include <QJsonObject>
#include <QString>

namespace Korvel::App {

/** What files on the disk come to, held against the sizes and checksums of a journal. */
struct Verified
{
    /** A file that is not what the journal tells. */
    struct Finding
    {
        QString path;
        /** For programs: missing, changed or unreadable. */
        const char* reason;
        /** For the user, without the path. */
        QString message;
    };

    qint64 files = 0;
    std::vector<Finding> findings;

    Verified& operator+=(const Verified& other);
};

/** What programs are told of it, as docs/command.md describes. */
QJsonObject ToJson(const Verified& verified);

/**
 * Holds the results of the documents that are done by one journal against what is on the disk.
 *
 * Holds some 300 bytes of each result.
 */
class Verification
{
public:
    /** Takes the next line of the journal. */
    void Take(const QJsonObject& line);

    /**
     * Reads every file. Paths that are not absolute begin where the runs did.
     *
     * @param pause  called before each file; may throw
     */
    Verified Verify(const std::function<void()>& pause) const;

private:
    using Files = std::map<QString, Checksum>;

    void TakePlacing(const QString& path, const Checksum& sum);
    void TakeRefused(Files::iterator file);
    void TakeDone(const QJsonObject& line);

    /** The working folder of the runs. */
    QString folder;
    /** What was put in place last, by path; without a checksum where the line of that is lost. */
    Files files;
    /** What was to be replaced, by its path. */
    Files before;
    /** Paths of documents that are done. */
    std::set<QString> done;
};

} // namespace Korvel::App
