// An application that puts TempFileWrapper around a converter of its own.

#include "GetNextAvaliableIndex.h"
#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "TextConverter.h"
#include "UuidFileNameGenerator.h"

#include <iostream>

#include <ConvertWrappers/convertwrappers-version.h>
#include <ConvertWrappers/PageFanOut.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

static_assert(CONVERTWRAPPERS_VERSION >= CONVERTWRAPPERS_VERSION_CHECK(0, 1, 0));

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    std::string error;
    auto names = std::make_shared<UuidFileNameGenerator>();
    auto files = std::make_shared<LocalFileSystem>(
        SessionFolder::Create(folder.path().toStdString(), error));
    TempFileWrapper wrapper(names, std::make_shared<TextConverter>(), files);

    QStringList results;
    QObject::connect(&wrapper, qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     [&](const QString&, const QString& result) { results.append(result); });
    AbstractConverter::Task task;
    task.source = QStringLiteral("anything");
    task.destination = folder.filePath(QStringLiteral("report.txt"));
    const bool started = wrapper.ConvertFile(task) && wrapper.ConvertFile(task);

    const QStringList wanted{task.destination, folder.filePath(QStringLiteral("report(2).txt"))};
    if (!started || results != wanted || !QFile::exists(wanted[1])) {
        std::cerr << "results: " << results.join(QLatin1Char(' ')).toStdString() << '\n';
        return 1;
    }
    return qobject_cast<AbstractConverter*>(static_cast<QObject*>(&wrapper)) ? 0 : 1;
}
