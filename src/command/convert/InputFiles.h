#pragma once

#include <map>
#include <utility>

#include <QString>

#include <sys/types.h>

namespace Korvel::App {

/** Files that this run reads, by whatever path, which no result may therefore replace. */
class InputFiles
{
public:
    /** A path at which there is nothing is left away. */
    void Add(const QString& path, const QString& name);

    /** The name under which the file at `path` was added first; null for none. */
    QString NameOf(const QString& path) const;

private:
    /** The names by device and inode. */
    std::map<std::pair<dev_t, ino_t>, QString> names;
};

} // namespace Korvel::App
