#include "RequestHandler.h"

#include "ImageEncoder.h"
#include "NewFile.h"
#include "RequestError.h"

#include <cmath>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <QJsonArray>
#include <QJsonDocument>
#include <QScopeGuard>

namespace Korvel::Worker {

namespace {

constexpr mode_t forOwner = 0600;
constexpr mode_t byUmask = 0666;
constexpr double defaultResolution = 150;
constexpr double highestResolution = 4800;
constexpr qint64 highestQuality = 100;
constexpr double largestWholeNumber = 9'007'199'254'740'992; // of those that doubles hold exactly

[[noreturn]] void Refuse(const QString& name, const char* why)
{
    throw RequestError("bad-request", name.toStdString() + why);
}

qint64 WholeNumber(const QJsonValue& value, const QString& name)
{
    const double number = value.toDouble(std::nan(""));
    if (std::trunc(number) != number || std::abs(number) > largestWholeNumber)
        Refuse(name, " is missing or no whole number");
    return qint64(number);
}

qint64 Number(const QJsonObject& request, const QString& name)
{
    return WholeNumber(request[name], name);
}

/** From 1. */
qint64 NumberWithin(const QJsonValue& value, const QString& name, qint64 highest)
{
    const qint64 number = WholeNumber(value, name);
    if (number < 1 || number > highest)
        Refuse(name, " is out of range");
    return number;
}

QString Text(const QJsonObject& request, const QString& name)
{
    if (!request[name].isString())
        Refuse(name, " is missing or no text");
    return request[name].toString();
}

std::string Path(const QJsonObject& request, const QString& name)
{
    const QString text = Text(request, name);
    std::string path = text.toStdString();
    // A lone surrogate would become a question mark, and so the name of another file.
    if (!text.startsWith(QLatin1Char('/')) || QString::fromStdString(path) != text)
        Refuse(name, " is no absolute path");
    return path;
}

QByteArray Password(const QJsonObject& request)
{
    const QString name = QStringLiteral("password");
    return request.contains(name) ? QByteArray::fromBase64(Text(request, name).toLatin1())
                                  : QByteArray();
}

double Resolution(const QJsonObject& request)
{
    const QString name = QStringLiteral("resolution");
    const double resolution = request.contains(name) ? request[name].toDouble() : defaultResolution;
    if (!(resolution >= 1 && resolution <= highestResolution))
        Refuse(name, " is out of range");
    return resolution;
}

/** Into which a page is to be fitted. */
QSize Size(const QJsonObject& request)
{
    const QString name = QStringLiteral("size");
    const QJsonArray sides = request[name].toArray();
    if (sides.size() != 2)
        Refuse(name, " is no width and height");
    return {int(NumberWithin(sides[0], name, longestSide)),
            int(NumberWithin(sides[1], name, longestSide))};
}

Compression ToCompression(const QJsonValue& value)
{
    if (value == QLatin1String("fast"))
        return Compression::Fast;
    if (value == QLatin1String("small"))
        return Compression::Small;
    Refuse(QStringLiteral("compression"), " is neither fast nor small");
}

Encoding EncodingOf(const QJsonObject& request, const QString& format)
{
    Encoding encoding;
    encoding.format = format;
    const QString quality = QStringLiteral("quality");
    if (request.contains(quality))
        encoding.quality = int(NumberWithin(request[quality], quality, highestQuality));
    const QString compression = QStringLiteral("compression");
    if (request.contains(compression))
        encoding.compression = ToCompression(request[compression]);
    return encoding;
}

QImage::Format PixelFormat(const QJsonObject& request)
{
    const QString name = QStringLiteral("gray");
    if (request.contains(name) && !request[name].isBool())
        Refuse(name, " is neither true nor false");
    return request[name].toBool() ? QImage::Format_Grayscale8 : QImage::Format_RGB32;
}

/** None for all. */
std::vector<qint64> Pages(const QJsonObject& request)
{
    const QString name = QStringLiteral("pages");
    std::vector<qint64> pages;
    for (const QJsonValue page : request[name].toArray())
        pages.push_back(WholeNumber(page, name));
    if (pages.empty() && request.contains(name))
        Refuse(name, " names none");
    return pages;
}

QJsonObject FailureAnswer(const char* reason, const char* message)
{
    return {{QStringLiteral("ok"), false},
            {QStringLiteral("reason"), QLatin1String(reason)},
            {QStringLiteral("message"), QString::fromUtf8(message)}};
}

} // namespace

RequestHandler::RequestHandler(std::function<void(const std::string& file)> enterSandbox)
    : enterSandbox(std::move(enterSandbox))
{
}

QJsonObject RequestHandler::Answer(const QByteArray& line)
{
    const QJsonObject request = QJsonDocument::fromJson(line).object();
    QJsonObject answer;
    try {
        answer = Dispatch(request);
        answer[QStringLiteral("ok")] = true;
    } catch (const RequestError& failure) {
        answer = FailureAnswer(failure.reason, failure.what());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        answer = FailureAnswer("cannot-render", error.what());
    }
    answer[QStringLiteral("id")] = request[QStringLiteral("id")].toDouble(-1);
    return answer;
}

QJsonObject RequestHandler::Dispatch(const QJsonObject& request)
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
    throw RequestError("bad-request", "op is none that is known");
}

QJsonObject RequestHandler::Open(const QJsonObject& request)
{
    const qint64 number = Number(request, QStringLiteral("document"));
    std::string password = Password(request).toStdString();
    const auto clearing =
        qScopeGuard([&password] { ::explicit_bzero(password.data(), password.size()); });
    if (documents.count(number) > 0)
        throw RequestError("bad-request", "the document's number is in use");
    const FileState before = TakeUp(Path(request, QStringLiteral("file")));
    std::unique_ptr<PdfDocument> document;
    QJsonObject description = WhileUnchanged(before, [&] {
        document = std::make_unique<PdfDocument>(input, password);
        return document->Description();
    });
    documents.emplace(number, Held{std::move(document), before});
    return description;
}

QJsonObject RequestHandler::Save(const QJsonObject& request)
{
    const auto document = documents.find(Number(request, QStringLiteral("document")));
    if (document == documents.end())
        throw RequestError("no-such-document", "no document of that number is open");
    const auto& [held, state] = document->second;
    return WhileUnchanged(state, [&, &document = *held, &before = state] {
        NewFile copy(Path(request, QStringLiteral("file")), forOwner);
        document.Save(copy);
        Finish(copy, before);
        return QJsonObject();
    });
}

QJsonObject RequestHandler::Close(const QJsonObject& request)
{
    auto document = documents.extract(Number(request, QStringLiteral("document")));
    if (!document)
        throw RequestError("no-such-document", "no document of that number is open");
    closed.push_back(std::move(document.mapped().document));
    return {};
}

QJsonObject RequestHandler::Convert(const QJsonObject& request)
{
    const QString format = request[QStringLiteral("format")].toString();
    const std::string output = Path(request, QStringLiteral("output"));
    const bool isPdf = format == QLatin1String("pdf");
    if (!isPdf && format != QLatin1String("txt") && !IsPictureFormat(format))
        throw RequestError("unsupported-format", "no such format");
    const FileState before = TakeUp(Path(request, QStringLiteral("file")));
    return WhileUnchanged(before, [&] {
        if (isPdf) {
            PdfDocument document(input, std::string());
            NewFile file(output, byUmask);
            document.Save(file);
            Finish(file, before);
            return QJsonObject();
        }
        const QByteArray result = Result(request, format);
        NewFile file(output, byUmask);
        file.Write(result.constData(), std::size_t(result.size()));
        Finish(file, before);
        return QJsonObject();
    });
}

/** Keeps a result that was made of one state of the file. */
void RequestHandler::Finish(NewFile& result, const FileState& before) const
{
    before.Require(input);
    result.Keep();
}

/** What fails while the file is changed has failed because of that. */
template <typename Work>
QJsonObject RequestHandler::WhileUnchanged(const FileState& before, const Work& work) const
{
    try {
        QJsonObject answer = work();
        before.Require(input);
        return answer;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        before.Require(input);
        throw;
    }
}

/** The file's state now. The sandbox, once entered, holds for one file. */
FileState RequestHandler::TakeUp(const std::string& path)
{
    const FileState now = FileState::Of(path);
    if (input.empty()) {
        enterSandbox(path);
        input = path;
        atEntry = now;
    }
    if (path != input)
        throw RequestError("bad-request", "this process serves another file");
    if (!now.IsOfFileOf(atEntry))
        throw RequestError("changed", "another file has taken its place");
    return now;
}

QByteArray RequestHandler::Result(const QJsonObject& request, const QString& format)
{
    PageRenderer& pages = RendererFor(input);
    if (format == QLatin1String("txt"))
        return pages.Text(Pages(request));
    const qint64 page = Number(request, QStringLiteral("page"));
    const Encoding encoding = EncodingOf(request, format);
    const double dotsPerInch = request.contains(QStringLiteral("size"))
                                   ? pages.ResolutionToFit(page, Size(request))
                                   : Resolution(request);
    return Encode(pages.Render(page, dotsPerInch, PixelFormat(request)), encoding);
}

PageRenderer& RequestHandler::RendererFor(const std::string& path)
{
    if (!renderer || !renderer->Serves(path)) {
        renderer.reset();
        renderer = std::make_unique<PageRenderer>(path);
    }
    return *renderer;
}

} // namespace Korvel::Worker
