#pragma once

#include <QDirIterator>
#include <QStringList>

namespace Korvel::PDF::Test {

/** The paths of all files in a folder and in those below it, hidden ones too. */
inline QStringList FilesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator entries(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (entries.hasNext())
        files.append(entries.next());
    return files;
}

} // namespace Korvel::PDF::Test
