#include "Requests.h"

#include "Failure.h"
#include "ImageFile.h"
#include "NewFile.h"

#include <vector>

#include <QJsonArray>
#include <QJsonDocument>

namespace Korvel::Worker {

namespace {

constexpr mode_t forOwner = 0600;
constexpr mode_t byUmask = 0666;
constexpr double defaultResolution = 150;
constexpr double highestResolution = 4800;

qint64 Number(const QJsonObject& request, const QString& name)
{
    const QJsonValue value = request[name];
    if (!value.isDouble())
        throw Failure("bad-request", name.toStdString() + " is missing");
    return qint64(value.toDouble());
}

std::string Path(const QJsonObject& request, const QString& name)
{
    const QString path = request[name].toString();
    if (!path.startsWith(QLatin1Char('/')))
        throw Failure("bad-request", name.toStdString() + " is no absolute path");
    return path.toStdString();
}

double Resolution(const QJsonObject& request)
{
    const double resolution = request[QStringLiteral("resolution")].toDouble(defaultResolution);
    if (!(resolution >= 1 && resolution <= highestResolution))
        throw Failure("bad-request", "resolution is out of range");
    return resolution;
}

std::vector<int> Pages(const QJsonObject& request)
{
    std::vector<int> pages;
    for (const QJsonValue page : request[QStringLiteral("pages")].toArray())
        pages.push_back(page.toInt());
    return pages;
}

QJsonObject FailureAnswer(const char* reason, const char* message)
{
    return {{QStringLiteral("ok"), false},
            {QStringLiteral("reason"), QLatin1String(reason)},
            {QStringLiteral("message"), QString::fromUtf8(message)}};
}

} // namespace

QJsonObject Requests::Answer(const QByteArray& line)
{
    const QJsonObject request = QJsonDocument::fromJson(line).object();
    QJsonObject answer;
    try {
        answer = Dispatch(request);
        answer[QStringLiteral("ok")] = true;
    } catch (const Failure& failure) {
        answer = FailureAnswer(failure.reason, failure.what());
    } catch (const std::exception& error) {
        answer = FailureAnswer("cannot-render", error.what());
    }
    answer[QStringLiteral("id")] = request[QStringLiteral("id")].toDouble(-1);
    return answer;
}

QJsonObject Requests::Dispatch(const QJsonObject& request)
{
    Number(request, QStringLiteral("id"));
    const QString op = request[QStringLiteral("op")].toString();
    if (op == QLatin1String("open"))
        return Open(request);
    if (op == QLatin1String("save"))
        return Save(request);
    if (op == QLatin1String("close"))
        return Close(request);
    if (op == QLatin1String("convert"))
        return Convert(request);
    throw Failure("bad-request", "op is none that is known");
}

QJsonObject Requests::Open(const QJsonObject& request)
{
    const qint64 number = Number(request, QStringLiteral("document"));
    const QByteArray password =
        QByteArray::fromBase64(request[QStringLiteral("password")].toString().toLatin1());
    if (documents.count(number) > 0)
        throw Failure("bad-request", "the document's number is in use");
    auto document = std::make_unique<PdfDocument>(Path(request, QStringLiteral("file")),
                                                  password.toStdString());
    const QJsonObject description = document->Description();
    documents.emplace(number, std::move(document));
    return description;
}

QJsonObject Requests::Save(const QJsonObject& request)
{
    const auto document = documents.find(Number(request, QStringLiteral("document")));
    if (document == documents.end())
        throw Failure("no-such-document", "no document of that number is open");
    document->second->Save(Path(request, QStringLiteral("file")), forOwner);
    return {};
}

QJsonObject Requests::Close(const QJsonObject& request)
{
    if (documents.erase(Number(request, QStringLiteral("document"))) == 0)
        throw Failure("no-such-document", "no document of that number is open");
    return {};
}

QJsonObject Requests::Convert(const QJsonObject& request)
{
    const QString format = request[QStringLiteral("format")].toString();
    const std::string output = Path(request, QStringLiteral("output"));
    if (format == QLatin1String("pdf")) {
        PdfDocument(Path(request, QStringLiteral("file")), std::string()).Save(output, byUmask);
        return {};
    }
    const QByteArray result = Result(request, format);
    NewFile file(output, byUmask);
    file.Write(result.constData(), std::size_t(result.size()));
    file.Keep();
    return {};
}

QByteArray Requests::Result(const QJsonObject& request, const QString& format)
{
    const bool isText = format == QLatin1String("txt");
    if (!isText && !IsPictureFormat(format))
        throw Failure("unsupported-format", "no such format");
    PageRenderer& pages = RendererFor(Path(request, QStringLiteral("file")));
    if (isText)
        return pages.Text(Pages(request));
    const int page = int(Number(request, QStringLiteral("page")));
    return Encode(pages.Render(page, Resolution(request)), format);
}

PageRenderer& Requests::RendererFor(const std::string& path)
{
    if (!renderer || !renderer->Serves(path)) {
        renderer.reset();
        renderer = std::make_unique<PageRenderer>(path);
    }
    return *renderer;
}

} // namespace Korvel::Worker
