#include "WorkerConverter.h"

#include "CopiedDocuments.h"
#include "PictureMemory.h"
#include "RequestPath.h"
#include "ResultFormat.h"
#include "ServicesLog.h"
#include "TaskOptions.h"
#include "TextFrame.h"
#include "TextInParts.h"
#include "TextReport.h"
#include "ToErrorType.h"
#include "WorkerProtocol.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <QFileInfo>
#include <QJsonArray>
#include <QPointer>
#include <QRectF>
#include <QSize>

namespace Korvel::PDF::Converter {

namespace Format = WorkerProtocol::Format;
namespace Key = WorkerProtocol::Key;
namespace Operation = WorkerProtocol::Operation;
using WorkerProtocol::Reason;

namespace {

/** The format that the task asks for; a null one when it is none that the worker makes. */
QString FormatOf(const AbstractConverter::Task& task)
{
    QString wanted = task.type.isEmpty() ? QFileInfo(task.destination).suffix() : task.type;
    if (wanted == QLatin1String(Format::pixels))
        return wanted;
    const ResultFormat* const format = FindResultFormat(wanted.toLower());
    return format ? QString::fromLatin1(format->name) : QString();
}

void AddPictureOptions(QJsonObject& request, TaskOptions& options)
{
    if (const auto dpi = options.Find<double>("resolution"))
        request[Key::resolution] = *dpi;
    if (const auto size = options.Find<QSize>("size"))
        request[Key::size] = QJsonArray{size->width(), size->height()};
    if (const auto isAsIs = options.Find<bool>("as_is"))
        request[Key::asIs] = *isAsIs;
    if (const auto gray = options.Find<bool>("gray"))
        request[Key::gray] = *gray;
    if (const auto transparent = options.Find<bool>("transparent"))
        request[Key::transparent] = *transparent;
    if (const auto mono = options.Find<QString>("mono"))
        request[Key::mono] = *mono;
    if (const auto quality = options.Find<int>("quality"))
        request[Key::quality] = *quality;
    if (const auto compression = options.Find<QString>("compression"))
        request[Key::compression] = *compression;
}

void AddTextOptions(QJsonObject& request, TaskOptions& options)
{
    if (const auto dehyphenate = options.Find<bool>("dehyphenate"))
        request[Key::dehyphenate] = *dehyphenate;
    if (const auto layout = options.Find<bool>("layout"))
        request[Key::layout] = *layout;
}

void AddView(QJsonObject& request, TaskOptions& options)
{
    if (const auto box = options.Find<QString>("box"))
        request[Key::box] = *box;
    if (const auto part = options.Find<QRectF>("crop"))
        request[Key::crop] = QJsonArray{part->x(), part->y(), part->width(), part->height()};
    if (const auto degrees = options.Find<int>("rotate"))
        request[Key::rotate] = *degrees;
}

QJsonArray ToJson(const std::vector<int>& pages)
{
    QJsonArray numbers;
    for (const int page : pages)
        numbers.append(page);
    return numbers;
}

void AddMerged(QJsonObject& request, TaskOptions& options)
{
    const auto sources = options.Find<std::vector<WorkerConverter::MergedSource>>("merge");
    if (!sources)
        return;
    QJsonArray merged;
    for (const WorkerConverter::MergedSource& source : *sources) {
        QJsonObject entry{{Key::file, RequestPath(source.source)}};
        if (!source.pages.empty())
            entry[Key::pages] = ToJson(source.pages);
        merged.append(entry);
    }
    request[Key::merge] = merged;
}

void AddPages(QJsonObject& request, TaskOptions& options)
{
    const auto page = options.Find<int>("page");
    const auto pages = options.Find<std::vector<int>>("pages");
    if (page) {
        request[Key::page] = *page;
        request[Key::pages] = QJsonArray{*page};
    } else if (pages) {
        request[Key::pages] = ToJson(*pages);
    }
}

bool IsOfPixels(const QJsonObject& request)
{
    return request[Key::format] == QLatin1String(Format::pixels);
}

QJsonObject ConvertRequest(const AbstractConverter::Task& task, TaskOptions& options)
{
    QJsonObject request{{Key::op, Operation::convert},
                        {Key::file, RequestPath(task.source)},
                        {Key::output, RequestPath(task.destination)},
                        {Key::format, FormatOf(task)}};
    AddPictureOptions(request, options);
    AddTextOptions(request, options);
    AddView(request, options);
    if (const auto linearize = options.Find<bool>("linearize"))
        request[Key::linearize] = *linearize;
    AddPages(request, options);
    AddMerged(request, options);
    return request;
}

/** What takes the picture that is made in memory; none where a file is to be made. */
using Taker = std::function<void(const PictureMemory&)>;

/** @throws OptionError  the format is "pixels", and nobody takes them */
Taker TakerOfPixels(int page, TaskOptions& options)
{
    const auto tell = options.Find<WorkerConverter::OnPicture>("picture_made");
    if (!tell || !*tell)
        throw OptionError("picture_made",
                          "the option \"picture_made\" is wanted by the type \"pixels\"");
    return [page, tell = *tell](const PictureMemory& memory) {
        tell(page, memory.Picture());
    };
}

/** @throws OptionError  what is wanted is no picture of a page */
Taker TakerOfBytes(const QJsonObject& request, TaskOptions& options)
{
    const auto tell = options.Find<WorkerConverter::OnBytes>("bytes_made");
    if (!tell || !*tell)
        return {};
    const ResultFormat* const format = FindResultFormat(request[Key::format].toString());
    if (!format || !format->isPicture || !request.contains(Key::page))
        throw OptionError("bytes_made",
                          "the option \"bytes_made\" goes with the picture of one page");
    return [page = request[Key::page].toInt(), tell = *tell](const PictureMemory& memory) {
        tell(page, memory.Bytes());
    };
}

/** Why the request cannot be sent; nothing when it can. */
std::optional<Reason> Refusal(const QJsonObject& request)
{
    if (request[Key::file].toString().isEmpty())
        return Reason::Unreadable;
    if (request.contains(Key::output) && request[Key::output].toString().isEmpty())
        return Reason::CannotWrite;
    return std::nullopt;
}

bool IsOfManyPages(const QJsonObject& request)
{
    return request[Key::pages].toArray().size() > 1;
}

std::vector<int> ToPages(const QJsonValue& value)
{
    std::vector<int> pages;
    for (const QJsonValue page : value.toArray())
        pages.push_back(page.toInt());
    std::sort(pages.begin(), pages.end());
    return pages;
}

TextReport ReportOf(const QJsonObject& answer)
{
    return {ToPages(answer[Key::withoutText]), ToPages(answer[Key::unmapped])};
}

/** The error of a worker of another version, which knows further reasons, is unknown as well. */
AbstractConverter::ErrorType ErrorOf(const QJsonObject& answer)
{
    const std::optional<Reason> reason = WorkerProtocol::ReasonOf(answer);
    return reason ? ToErrorType(*reason) : AbstractConverter::Unknown;
}

/** Tells of the pages that are missing in a result of several. */
void TellFailedPages(const QJsonObject& answer, const WorkerConverter::OnPageFailed& tell)
{
    if (!tell)
        return;
    for (const QJsonValue entry : answer[Key::failed].toArray()) {
        const QJsonObject page = entry.toObject();
        tell(page[Key::page].toInt(), ErrorOf(page), page[Key::message].toString());
    }
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
    texts.clear();
    pool->End(this);
}

bool WorkerConverter::ConvertFile(const Task& task)
{
    // Whatever comes back is emitted from the event loop; calls still queued go with the object.
    const auto later = [this](auto&& emission) {
        QMetaObject::invokeMethod(this, emission, Qt::QueuedConnection);
    };
    using Tell = std::function<void(const QString&)>;
    TaskOptions options(task.options);
    QJsonObject request = ConvertRequest(task, options);
    const Taker take = IsOfPixels(request) ? TakerOfPixels(request[Key::page].toInt(), options)
                                           : TakerOfBytes(request, options);
    if (take)
        request.remove(Key::output);
    const Tell tell = options.Find<Tell>("why_failed").value_or(Tell());
    const OnPageFailed tellOfPage =
        options.Find<OnPageFailed>("missing_page").value_or(OnPageFailed());
    const OnTextReport report = options.Find<OnTextReport>("text_report").value_or(OnTextReport());
    for (const char* const ofOthers : {"need_export", "password", "picture_made", "bytes_made"})
        options.Allow(ofOthers); // wrappers, and other formats
    options.RequireNoOther();
    later([this, source = task.source] { Q_EMIT ConvertationStarted(source); });
    const auto receiver = [this, later, source = task.source, result = task.destination, tell,
                           tellOfPage, report](const QJsonObject& answer) {
        later([this, source, result, tell, tellOfPage, report, answer] {
            if (report && answer[Key::ok].toBool())
                report(ReportOf(answer));
            if (tell && !answer[Key::ok].toBool())
                tell(answer[Key::message].toString());
            TellFailedPages(answer, tellOfPage);
            EmitOutcome(source, result, answer);
        });
    };
    if (const std::optional<Reason> reason = Refusal(request))
        receiver(WorkerProtocol::FailureAnswer(*reason, "no path that names a file"));
    else if (take)
        AskToDraw(request, take, receiver);
    else if (IsOfManyPages(request) && FindTextFrame(request[Key::format].toString()))
        AskInParts(task, request, receiver);
    else
        Ask(request, receiver);
    return true;
}

void WorkerConverter::AskInParts(const Task& task, const QJsonObject& request,
                                 const WorkerProcess::Receiver& receiver)
{
    const auto tell =
        TaskOptions(task.options).Find<OnPageFailed>("missing_page").value_or(OnPageFailed());
    const quint64 number = ++lastText;
    TextInParts::Receivers receivers;
    const auto later = [this](auto&& call) {
        QMetaObject::invokeMethod(this, call, Qt::QueuedConnection);
    };
    receivers.progress = [this, later, source = task.source](double part) {
        later([this, source, part] { Q_EMIT ConvertationProgress(source, part); });
    };
    if (tell) {
        receivers.pageFailed = [later, tell](int page, const QJsonObject& answer) {
            later([=] { tell(page, ErrorOf(answer), answer[Key::message].toString()); });
        };
    }
    receivers.ended = [this, later, number, receiver](const QJsonObject& answer) {
        // It is destroyed later: it may be in the middle of its work.
        later([this, number] { texts.erase(number); });
        receiver(answer);
    };
    const auto text =
        texts.emplace(number, std::make_unique<TextInParts>(*pool, request, pool->LargestResult(),
                                                            std::move(receivers)));
    text.first->second->Start();
}

/** Asks once more when the source was changed while it was read. */
void WorkerConverter::Ask(const QJsonObject& request, const WorkerProcess::Receiver& receiver)
{
    pool->Ask(this, request, [this, request, receiver](const QJsonObject& answer) {
        if (WorkerProtocol::ReasonOf(answer) == Reason::Changed)
            pool->Ask(this, request, receiver);
        else
            receiver(answer);
    });
}

/** Asks once more likewise, for memory that nothing was drawn into. */
void WorkerConverter::AskToDraw(const QJsonObject& request,
                                const std::function<void(const PictureMemory&)>& take,
                                const WorkerProcess::Receiver& receiver, int tries)
{
    const auto memory = std::make_shared<PictureMemory>();
    const auto answered = [this, request, take, receiver, tries,
                           memory](const QJsonObject& answer) {
        if (WorkerProtocol::ReasonOf(answer) == Reason::Changed && tries > 1) {
            AskToDraw(request, take, receiver, tries - 1);
            return;
        }
        const auto emission = [take, memory] {
            take(*memory);
        };
        if (answer[Key::ok].toBool())
            QMetaObject::invokeMethod(this, emission, Qt::QueuedConnection);
        receiver(answer);
    };
    pool->Ask(this, request, answered, memory);
}

void WorkerConverter::EmitOutcome(const QString& source, const QString& result,
                                  const QJsonObject& answer)
{
    const QPointer<WorkerConverter> self(this);
    if (!answer[Key::ok].toBool()) {
        if (WorkerProtocol::ReasonOf(answer) != Reason::Ended) // which somebody has asked for
            qCWarning(servicesLog) << "cannot convert" << CopiedDocuments::NameOf(source)
                                   << answer[Key::message].toString();
        Q_EMIT ConvertationFinished(source);
        if (self)
            Q_EMIT Failed(source, ErrorOf(answer));
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
    for (const auto& text : texts)
        text.second->Fail(WorkerProtocol::FailureAnswer(Reason::Ended, "the request was ended"));
    pool->End(this);
    return true;
}

std::map<QString, QStringList> WorkerConverter::GetSupportedFormats() const
{
    QStringList suffixes;
    for (const ResultFormat& format : resultFormats)
        suffixes.append(QString::fromLatin1(format.suffix));
    suffixes.sort();
    return {{Format::pdf, suffixes}};
}

bool WorkerConverter::DoesServiceAvailable()
{
    const QFileInfo file(pool->Program());
    return file.isFile() && file.isExecutable();
}

} // namespace Korvel::PDF::Converter
