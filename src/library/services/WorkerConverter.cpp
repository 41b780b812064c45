#include "WorkerConverter.h"

#include "RequestPath.h"
#include "ResultFormat.h"
#include "ServicesLog.h"

#include <vector>

#include <QFileInfo>
#include <QJsonArray>
#include <QPointer>
#include <QSize>

namespace Korvel::PDF::Converter {

namespace {

/** The formats by the suffixes that ask for them. */
const std::map<QString, QString>& FormatsBySuffix()
{
    static const std::map<QString, QString> formats = [] {
        std::map<QString, QString> bySuffix;
        for (const ResultFormat& format : resultFormats)
            bySuffix[format.suffix] = format.name;
        return bySuffix;
    }();
    return formats;
}

/** The format that the task asks for; a null one when it is none that the worker makes. */
QString FormatOf(const AbstractConverter::Task& task)
{
    const QString wanted = task.type.isEmpty() ? QFileInfo(task.destination).suffix() : task.type;
    const auto format = FormatsBySuffix().find(wanted.toLower());
    return format == FormatsBySuffix().end() ? QString() : format->second;
}

using Options = decltype(AbstractConverter::Task::options);

/** The option's value, or null when it is not there. */
template <typename T>
const T* Find(const Options& options, const char* name)
{
    const auto option = options.find(name);
    return option == options.end() ? nullptr : &std::any_cast<const T&>(option->second);
}

void AddPictureOptions(QJsonObject& request, const Options& options)
{
    if (const auto* dpi = Find<double>(options, "resolution"))
        request[QStringLiteral("resolution")] = *dpi;
    if (const auto* size = Find<QSize>(options, "size"))
        request[QStringLiteral("size")] = QJsonArray{size->width(), size->height()};
    if (const auto* gray = Find<bool>(options, "gray"))
        request[QStringLiteral("gray")] = *gray;
    if (const auto* quality = Find<int>(options, "quality"))
        request[QStringLiteral("quality")] = *quality;
    if (const auto* compression = Find<QString>(options, "compression"))
        request[QStringLiteral("compression")] = *compression;
}

void AddPages(QJsonObject& request, const Options& options)
{
    if (const auto* page = Find<int>(options, "page")) {
        request[QStringLiteral("page")] = *page;
        request[QStringLiteral("pages")] = QJsonArray{*page};
    } else if (const auto* pages = Find<std::vector<int>>(options, "pages")) {
        QJsonArray numbers;
        for (const int number : *pages)
            numbers.append(number);
        request[QStringLiteral("pages")] = numbers;
    }
}

QJsonObject ConvertRequest(const AbstractConverter::Task& task)
{
    QJsonObject request{{QStringLiteral("op"), QStringLiteral("convert")},
                        {QStringLiteral("file"), RequestPath(task.source)},
                        {QStringLiteral("output"), RequestPath(task.destination)},
                        {QStringLiteral("format"), FormatOf(task)}};
    AddPictureOptions(request, task.options);
    AddPages(request, task.options);
    return request;
}

/** Why the request cannot be sent; null when it can. */
QString Refusal(const QJsonObject& request)
{
    if (request[QStringLiteral("file")].toString().isEmpty())
        return QStringLiteral("unreadable");
    if (request[QStringLiteral("output")].toString().isEmpty())
        return QStringLiteral("cannot-write");
    return {};
}

AbstractConverter::ErrorType ToErrorType(const QString& reason)
{
    static const std::map<QString, AbstractConverter::ErrorType> errors{
        {QStringLiteral("unreadable"), AbstractConverter::CannotOpenSource},
        {QStringLiteral("empty"), AbstractConverter::CannotOpenSource},
        {QStringLiteral("not-a-pdf"), AbstractConverter::CannotOpenSource},
        {QStringLiteral("damaged"), AbstractConverter::CannotOpenSource},
        {QStringLiteral("unsupported-encryption"), AbstractConverter::CannotOpenSource},
        {QStringLiteral("no-password"), AbstractConverter::PasswordRequiredOrWrong},
        {QStringLiteral("wrong-password"), AbstractConverter::PasswordRequiredOrWrong},
        {QStringLiteral("no-such-page"), AbstractConverter::CannotRender},
        {QStringLiteral("cannot-render"), AbstractConverter::CannotRender},
        {QStringLiteral("died"), AbstractConverter::CannotRender},
        {QStringLiteral("rubbish"), AbstractConverter::CannotRender},
        {QStringLiteral("cannot-write"), AbstractConverter::CannotWrite},
        {QStringLiteral("ended"), AbstractConverter::Cancelled},
        {QStringLiteral("timed-out"), AbstractConverter::TimedOut},
        {QStringLiteral("out-of-memory"), AbstractConverter::OutOfMemory},
        {QStringLiteral("unsupported-format"), AbstractConverter::UnsupportedFormat},
        {QStringLiteral("changed"), AbstractConverter::SourceChanged}};
    const auto error = errors.find(reason);
    return error == errors.end() ? AbstractConverter::Unknown : error->second;
}

} // namespace

WorkerConverter::WorkerConverter(const WorkerSettings& settings)
{
    auto* const own = new WorkerPool(settings, 1);
    own->setParent(this); // so that it moves to another thread with the converter
    pool = std::shared_ptr<WorkerPool>(std::shared_ptr<void>(), own);
}

WorkerConverter::WorkerConverter(const std::shared_ptr<WorkerPool>& pool) : pool(pool) {}

WorkerConverter::~WorkerConverter()
{
    pool->End(this);
}

bool WorkerConverter::ConvertFile(const Task& task)
{
    // Whatever comes back is emitted from the event loop; calls still queued go with the object.
    const auto later = [this](auto&& emission) {
        QMetaObject::invokeMethod(this, emission, Qt::QueuedConnection);
    };
    const QJsonObject request = ConvertRequest(task);
    later([this, source = task.source] { Q_EMIT ConvertationStarted(source); });
    const auto receiver = [this, later, source = task.source,
                           result = task.destination](const QJsonObject& answer) {
        later([this, source, result, answer] { EmitOutcome(source, result, answer); });
    };
    if (const QString reason = Refusal(request); !reason.isNull())
        receiver({{QStringLiteral("reason"), reason},
                  {QStringLiteral("message"), QStringLiteral("no path that names a file")}});
    else
        Ask(request, receiver);
    return true;
}

/** Asks once more when the source was changed while it was read. */
void WorkerConverter::Ask(const QJsonObject& request, const WorkerProcess::Receiver& receiver)
{
    pool->Ask(this, request, [this, request, receiver](const QJsonObject& answer) {
        if (answer[QStringLiteral("reason")] == QLatin1String("changed"))
            pool->Ask(this, request, receiver);
        else
            receiver(answer);
    });
}

void WorkerConverter::EmitOutcome(const QString& source, const QString& result,
                                  const QJsonObject& answer)
{
    const QPointer<WorkerConverter> self(this);
    if (!answer[QStringLiteral("ok")].toBool()) {
        qCWarning(servicesLog) << "cannot convert" << source << answer[QStringLiteral("message")];
        Q_EMIT ConvertationFinished(source);
        if (self)
            Q_EMIT Failed(source, ToErrorType(answer[QStringLiteral("reason")].toString()));
        return;
    }
    Q_EMIT ConvertationProgress(source, 1.0);
    if (self)
        Q_EMIT ConvertationFinished(source);
    if (self)
        Q_EMIT Finished(source, result);
}

bool WorkerConverter::CancelConvertation()
{
    pool->End(this);
    return true;
}

std::map<QString, QStringList> WorkerConverter::GetSupportedFormats() const
{
    QStringList suffixes;
    for (const auto& format : FormatsBySuffix())
        suffixes.append(format.first);
    return {{QStringLiteral("pdf"), suffixes}};
}

bool WorkerConverter::DoesServiceAvailable()
{
    const QFileInfo file(pool->Program());
    return file.isFile() && file.isExecutable();
}

} // namespace Korvel::PDF::Converter
