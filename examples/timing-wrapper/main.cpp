// Tells how long it takes to make a picture of the first page: timing-wrapper DOCUMENT.pdf ...

#include "TimingWrapper.h"
#include "WorkerConverter.h"

#include <iostream>

#include <QCoreApplication>
#include <QTemporaryDir>

using namespace Korvel::PDF::Converter;

namespace {

/** Converts documents one after the other, so that none waits while its time is taken. */
class Course : public QObject
{
public:
    explicit Course(const QStringList& documents)
        : left(documents), converter(std::make_shared<WorkerConverter>())
    {
        using C = AbstractConverter;
        connect(&converter, &TimingWrapper::Measured, this,
                [](const QString& source, qint64 milliseconds) {
                    std::cout << source.toStdString() << ": " << milliseconds << " ms\n";
                });
        connect(&converter, &C::Failed, this, [this](const QString& source, C::ErrorType error) {
            std::cerr << source.toStdString() << ": error " << error << '\n';
            hasFailed = true;
            ConvertNextLater();
        });
        connect(&converter, qOverload<const QString&, QString>(&C::Finished), this,
                [this] { ConvertNextLater(); });
        ConvertNextLater();
    }

private:
    /** From the event loop, so that the stack does not grow with the number of documents. */
    void ConvertNextLater()
    {
        QMetaObject::invokeMethod(
            this, [this] { ConvertNext(); }, Qt::QueuedConnection);
    }

    void ConvertNext()
    {
        if (left.isEmpty()) {
            QCoreApplication::exit(hasFailed ? 1 : 0);
            return;
        }
        AbstractConverter::Task task;
        task.source = left.takeFirst();
        task.destination = folder.filePath(QStringLiteral("%1.png").arg(left.size()));
        task.options["page"] = 1;
        converter.ConvertFile(task); // which accepts every task
    }

    const QTemporaryDir folder;
    QStringList left;
    bool hasFailed = false;
    TimingWrapper converter;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const Course course(QCoreApplication::arguments().mid(1));
    return QCoreApplication::exec();
}
