#include "WorkerProgram.h"

#include "EngineWords.h"
#include "WorkerProtocol.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

namespace Korvel::PDF {

namespace Argument = WorkerProtocol::Argument;

namespace {

/**
 * The variables by which the worker's libraries are found and tuned, and a sanitizer where one is
 * built in. It sees nothing else of the environment.
 */
constexpr const char* passedOn[] = {"LD_LIBRARY_PATH", "QT_PLUGIN_PATH", "PDFCONVERT_PDFIUM",
                                    "ASAN_OPTIONS",    "LSAN_OPTIONS",   "TSAN_OPTIONS",
                                    "UBSAN_OPTIONS"};

/** The folder of the shared library that this code was loaded from. */
QString LibraryFolder()
{
    Dl_info info;
    if (::dladdr(reinterpret_cast<const void*>(&LibraryFolder), &info) == 0)
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).absolutePath();
}

/** Where the program is looked for, in this order. */
QStringList FoldersOfProgram()
{
    QStringList folders{QCoreApplication::applicationDirPath()};
    for (const char* const fromLibrary : {WORKER_FROM_LIBRARY})
        folders.append(QDir::cleanPath(LibraryFolder() + '/' + QLatin1String(fromLibrary)));
    return folders;
}

QString ProgramName()
{
    return QStringLiteral("pdfconvert-worker");
}

} // namespace

QString FindWorkerProgram()
{
    const QStringList folders = FoldersOfProgram();
    for (const QString& folder : folders) {
        const QFileInfo program(folder + '/' + ProgramName());
        if (program.isFile() && program.isExecutable())
            return program.filePath();
    }
    return {};
}

QString WorkerProgramOf(const WorkerSettings& settings)
{
    if (!settings.program.isEmpty())
        return settings.program;
    QString program = FindWorkerProgram();
    // The program would become that one, and load its own libraries for nothing.
    const QFileInfo withQtPdf(program + QStringLiteral("-qt"));
    const bool isFound = !program.isEmpty(); // else it would be one of the working folder
    if (isFound && settings.engine == DrawingEngine::Qt && withQtPdf.isExecutable())
        return withQtPdf.filePath();
    return program;
}

std::vector<std::string> WorkerCommand(const WorkerSettings& settings)
{
    using std::chrono::ceil;
    using std::chrono::seconds;
    std::vector<std::string> command{QFile::encodeName(settings.program).toStdString(),
                                     Argument::memoryLimit,
                                     std::to_string(settings.memoryLimit),
                                     Argument::timeLimit,
                                     std::to_string(ceil<seconds>(settings.deadline).count()),
                                     Argument::fileLimit,
                                     std::to_string(settings.largestResult)};
    if (!settings.folder.isEmpty())
        command.insert(command.end(), {Argument::folder, settings.folder.toStdString()});
    if (settings.requiresSandbox)
        command.emplace_back(Argument::requireSandbox);
    if (settings.engine != DrawingEngine::Auto)
        command.insert(command.end(), {Argument::engine, Korvel::WordFor(settings.engine)});
    return command;
}

std::vector<std::string> WorkerEnvironment()
{
    // The C library takes its memory in large pages: a page's pixels are first touched a tenth
    // sooner.
    std::vector<std::string> environment{
        "GLIBC_TUNABLES=" +
        qEnvironmentVariable("GLIBC_TUNABLES", "glibc.malloc.hugetlb=1").toStdString()};
    for (const char* const name : passedOn) {
        if (qEnvironmentVariableIsSet(name))
            environment.push_back(std::string(name) + '=' + qgetenv(name).toStdString());
    }
    return environment;
}

QString NoRoomForWorker()
{
    return QStringLiteral("cannot start a worker: the system has no room for another process");
}

QString NoFilesForWorker()
{
    return QStringLiteral("cannot start a worker: too few files may be open at once");
}

QString WhyNoWorker(const QString& program, const QString& error)
{
    if (!program.isEmpty())
        return "cannot start a worker: " + program + ": " + error;
    return "cannot start a worker: there is no program " + ProgramName() + " in " +
           FoldersOfProgram().join(QStringLiteral(", nor in "));
}

} // namespace Korvel::PDF
