// A chain on a thread of its own, and one that deletes itself in a slot:
// ownership-and-threads [SOURCE.txt [FOLDER-FOR-TEMPORARY-FILES]]

#include "LocalFileSystem.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UpperCaseConverter.h"
#include "UuidFileNameGenerator.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

namespace {

//! [shares]
std::shared_ptr<AbstractConverter> MakeChain(const std::string& folder)
{
    std::string error;
    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files =
        std::make_shared<LocalFileSystem>(SessionFolder::Create(folder, error)); // the only share
    if (!error.empty())
        qWarning("no folder for temporary files: %s", error.c_str()); // ConvertFile answers false
    return std::make_shared<TempFileWrapper>(names, std::make_shared<UpperCaseConverter>(), files);
}
//! [shares]

//! [thread]
/** A chain, and the thread on which it is made, used and destroyed. */
class BackgroundChain
{
public:
    explicit BackgroundChain(const std::string& folder)
    {
        context.moveToThread(&thread);
        thread.start();
        OnThread([this, folder] { chain = MakeChain(folder); });
    }

    ~BackgroundChain()
    {
        OnThread([this] { chain.reset(); });
        thread.quit();
        thread.wait();
    }

    /** For connections, which may be made from any thread. */
    const AbstractConverter& Signals() const { return *chain; }

    bool ConvertFile(const AbstractConverter::Task& task)
    {
        bool started = false;
        OnThread([&] { started = chain->ConvertFile(task); });
        return started;
    }

private:
    template <typename Work>
    void OnThread(Work work)
    {
        QMetaObject::invokeMethod(&context, work, Qt::BlockingQueuedConnection);
    }

    QThread thread;
    QObject context; // whatever is invoked on it runs on the thread
    std::shared_ptr<AbstractConverter> chain;
};
//! [thread]

void ConvertInTheBackground(const std::string& folder, const AbstractConverter::Task& task)
{
    //! [receive]
    BackgroundChain background(folder);
    QObject receiver; // of this thread: slots with it as context run here
    QObject::connect(&background.Signals(),
                     qOverload<const QString&, QString>(&AbstractConverter::Finished), &receiver,
                     [&](const QString&, const QString& result) {
                         Q_ASSERT(QThread::currentThread() == receiver.thread());
                         qInfo("made in the background: %d", int(QFile::exists(result)));
                         QCoreApplication::quit();
                     });
    QObject::connect(&background.Signals(), &AbstractConverter::Failed, &receiver, [] {
        qInfo("failed in the background");
        QCoreApplication::quit();
    });
    if (background.ConvertFile(task))
        QCoreApplication::exec();
    //! [receive]
}

void ConvertOnce(const std::string& folder, const AbstractConverter::Task& task)
{
    //! [delete]
    auto chain = MakeChain(folder);
    QObject::connect(chain.get(), qOverload<const QString&, QString>(&AbstractConverter::Finished),
                     [&chain](const QString&, const QString& result) {
                         chain.reset(); // allowed: nothing below touches the chain any more
                         qInfo("numbered: %d", int(result.endsWith(QLatin1String("(2).txt"))));
                         QCoreApplication::quit();
                     });
    QObject::connect(chain.get(), &AbstractConverter::Failed, [] {
        qInfo("failed");
        QCoreApplication::quit();
    });
    if (chain->ConvertFile(task))
        QCoreApplication::exec();
    //! [delete]
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    QFile source(folder.filePath(QStringLiteral("source.txt")));
    if (!source.open(QIODevice::WriteOnly) || source.write("text") != 4 || !source.flush())
        return 1;

    AbstractConverter::Task task;
    task.source = argc > 1 ? QString::fromUtf8(argv[1]) : source.fileName();
    task.destination = folder.filePath(QStringLiteral("result.txt"));
    const std::string temporary = argc > 2 ? argv[2] : folder.path().toStdString();
    ConvertInTheBackground(temporary, task);
    ConvertOnce(temporary, task);
}
