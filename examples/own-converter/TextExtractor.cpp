#include "TextExtractor.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>

namespace {

QString Program()
{
    return QStringLiteral("pdftotext");
}

/**
 * A QProcess that fails to start when the system has no room for another process.
 *
 * Qt 5.15 looks at that for derived classes only: a plain one is taken for started then, with the
 * id -1, and kill() ends everything that the user runs.
 */
class TextProcess : public QProcess
{
public:
    using QProcess::QProcess;
};

} // namespace

TextExtractor::~TextExtractor()
{
    for (const auto& [source, work] : works) {
        work.process->disconnect(this);
        work.process->kill();
        work.process->waitForFinished();
    }
}

bool TextExtractor::ConvertFile(const Task& task)
{
    if (works.count(task.source) > 0 ||
        QFileInfo(task.destination).suffix() != QLatin1String("txt") ||
        QFileInfo::exists(task.destination))
        return false;
    auto* const process = new TextProcess(this);
    works[task.source] = {task.destination, process, false};
    Follow(process, task.source);
    process->start(Program(), {QStringLiteral("-enc"), QStringLiteral("UTF-8"),
                               QStringLiteral("--"), task.source, task.destination});
    return true;
}

void TextExtractor::Follow(const QProcess* process, const QString& source)
{
    connect(process, &QProcess::started, this,
            [this, source] { Q_EMIT ConvertationStarted(QString(source)); });
    // One that could not be started never finishes, and may tell so from inside ConvertFile.
    connect(process, &QProcess::errorOccurred, this, [this, source](QProcess::ProcessError error) {
        const auto end = [this, source] {
            End(source);
        };
        if (error == QProcess::FailedToStart)
            QMetaObject::invokeMethod(this, end, Qt::QueuedConnection);
    });
    connect(process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            [this, source] { End(source); });
}

std::optional<TextExtractor::ErrorType> TextExtractor::WhyFailed(const Work& work) const
{
    if (work.isCancelled)
        return Cancelled;
    if (work.process->error() == QProcess::FailedToStart)
        return Unknown;
    if (work.process->exitStatus() == QProcess::CrashExit)
        return CannotRender;
    switch (work.process->exitCode()) {
    case 0:
        return std::nullopt;
    case 1:
        return CannotOpenSource;
    case 2:
        return CannotWrite;
    default:
        return CannotRender;
    }
}

/** Emits copies: a receiver may delete this converter, and with it what `source` belongs to. */
void TextExtractor::End(const QString& source)
{
    const QString task = source;
    const Work work = works.at(task);
    works.erase(task); // before the emissions: a receiver may start the source anew
    work.process->deleteLater();
    const auto failure = WhyFailed(work);
    if (failure)
        QFile::remove(work.destination);

    const QPointer<TextExtractor> self(this);
    Q_EMIT ConvertationFinished(task);
    if (!self)
        return;
    if (failure)
        Q_EMIT Failed(task, *failure);
    else
        Q_EMIT Finished(task, work.destination);
}

bool TextExtractor::CancelConvertation()
{
    for (auto& [source, work] : works) {
        work.isCancelled = true;
        work.process->kill();
    }
    return true;
}

std::map<QString, QStringList> TextExtractor::GetSupportedFormats() const
{
    return {{QStringLiteral("pdf"), {QStringLiteral("txt")}}};
}

bool TextExtractor::DoesServiceAvailable()
{
    return !QStandardPaths::findExecutable(Program()).isEmpty();
}
