#include "WorkingFolder.h"

#include "FakePdfProvider.h"

#include <QDir>
#include <QFileInfo>

namespace Korvel::PDF::Test {

namespace {

/** In memory where there is such a folder: files are made and removed all the time. */
QString Template()
{
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    const QString parent = memory.isWritable() ? memory.filePath() : QDir::tempPath();
    return parent + QStringLiteral("/WrapperModel-XXXXXX");
}

} // namespace

WorkingFolder::WorkingFolder() : folder(Template())
{
    QDir::setCurrent(folder.path());
    for (const char* name : {"docs", "out", "tmp"})
        QDir().mkdir(name);
    FakePdfProvider::MakeDocument("docs/open.pdf", "");
    FakePdfProvider::MakeDocument("docs/locked.pdf", "secret");
    FakePdfProvider::MakeDocument("docs/документ (1).pdf", "secret");
}

} // namespace Korvel::PDF::Test
