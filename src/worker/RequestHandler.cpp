#include "RequestHandler.h"

#include "DocumentInfoJson.h"
#include "Engine.h"
#include "GivenFile.h"
#include "GivenMemory.h"
#include "NewFile.h"
#include "PathText.h"
#include "PictureRequest.h"
#include "RequestError.h"
#include "RequestValues.h"
#include "TextFrame.h"
#include "TextRequest.h"
#include "WritePicture.h"

#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <QJsonArray>
#include <QJsonDocument>
#include <QScopeGuard>

namespace Korvel::Worker {

namespace Key = WorkerProtocol::Key;

namespace {

constexpr mode_t forOwner = 0600;
constexpr mode_t byUmask = 0666;

qint64 Number(const QJsonObject& request, const char* name)
{
    return WholeNumber(request[name], name);
}

QString Text(const QJsonObject& request, const char* name)
{
    if (!request[name].isString())
        Refuse(name, " is missing or no text");
    return request[name].toString();
}

std::string Path(const QJsonObject& request, const char* name)
{
    const std::optional<std::string> path = ToPathBytes(Text(request, name));
    if (!path || path->empty() || path->front() != '/')
        Refuse(name, " is no absolute path");
    return *path;
}

QByteArray Password(const QJsonObject& request)
{
    return request.contains(Key::password)
               ? QByteArray::fromBase64(Text(request, Key::password).toLatin1())
               : QByteArray();
}

QJsonArray ToArray(const std::vector<qint64>& pages)
{
    QJsonArray array;
    for (const qint64 page : pages)
        array.append(page);
    return array;
}

/** The pages that are wanted; none for all of them. */
std::vector<qint64> Pages(const QJsonObject& request)
{
    std::vector<qint64> pages;
    for (const QJsonValue page : request[Key::pages].toArray())
        pages.push_back(WholeNumber(page, Key::pages));
    if (pages.empty() && request.contains(Key::pages))
        Refuse(Key::pages, " names none");
    return pages;
}

/** The files to merge, and the pages of each. */
std::vector<PagesOfFile> Parts(const QJsonObject& request)
{
    const auto toPart = [](const QJsonObject& from) {
        const std::vector<qint64> pages = Pages(from);
        return PagesOfFile{Path(from, Key::file), {pages.begin(), pages.end()}};
    };
    std::vector<PagesOfFile> parts{toPart(request)};
    for (const QJsonValue part : request[Key::merge].toArray())
        parts.push_back(toPart(part.toObject()));
    return parts;
}

/** What fails while a file is changed, for which `require` throws, has failed because of that. */
template <typename Require, typename Work>
QJsonObject While(const Require& require, const Work& work)
{
    try {
        QJsonObject answer = work();
        require();
        return answer;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        require();
        throw;
    }
}

QJsonObject ToJson(const std::vector<FailedPage>& pages)
{
    QJsonArray failed;
    for (const FailedPage& page : pages)
        failed.append(QJsonObject{{Key::page, page.page},
                                  {Key::reason, WorkerProtocol::WordFor(page.reason)},
                                  {Key::message, QString::fromStdString(page.message)}});
    return failed.isEmpty() ? QJsonObject() : QJsonObject{{Key::failed, failed}};
}

} // namespace

RequestHandler::RequestHandler(
    std::function<void(const std::vector<std::string>& files)> enterSandbox,
    std::uint64_t largestFile, int memoryChannel)
    : enterSandbox(std::move(enterSandbox)), largestFile(largestFile), memoryChannel(memoryChannel)
{
}

QJsonObject RequestHandler::Answer(const QByteArray& line)
{
    using WorkerProtocol::FailureAnswer;
    const QJsonObject request = QJsonDocument::fromJson(line).object();
    QJsonObject answer;
    try {
        answer = Dispatch(request);
        answer[Key::ok] = true;
    } catch (const RequestError& failure) {
        answer = FailureAnswer(failure.reason, failure.what());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        answer = FailureAnswer(Reason::CannotRender, error.what());
    }
    answer[Key::id] = request[Key::id].toDouble(-1);
    return answer;
}

QJsonObject RequestHandler::Dispatch(const QJsonObject& request)
{
    namespace Operation = WorkerProtocol::Operation;
    Number(request, Key::id);
    const QString op = request[Key::op].toString();
    if (op == Operation::open)
        return Open(request);
    if (op == Operation::save)
        return Save(request);
    if (op == Operation::close)
        return Close(request);
    if (op == Operation::convert)
        return Convert(request);
    throw RequestError(Reason::BadRequest, "op is none that is known");
}

QJsonObject RequestHandler::Open(const QJsonObject& request)
{
    const qint64 number = Number(request, Key::document);
    std::string password = Password(request).toStdString();
    const auto clearing =
        qScopeGuard([&password] { ::explicit_bzero(password.data(), password.size()); });
    if (documents.count(number) > 0)
        throw RequestError(Reason::BadRequest, "the document's number is in use");
    const bool wantsDetails = IsSet(request, Key::details);
    const FileState before = TakeUp(Path(request, Key::file));
    std::unique_ptr<PdfDocument> document;
    QJsonObject description = WhileUnchanged(before, [&] {
        document = std::make_unique<PdfDocument>(input, password);
        PDF::DocumentInfo info = document->Description();
        if (wantsDetails)
            info.details = document->Details();
        return PDF::ToJson(info);
    });
    description[Key::engine] = QString::fromStdString(EngineName());
    const bool servesAnybody = !document->IsEncrypted();
    documents.emplace(number, Held{std::move(document), before, servesAnybody});
    return description;
}

QJsonObject RequestHandler::Save(const QJsonObject& request)
{
    const auto document = documents.find(Number(request, Key::document));
    if (document == documents.end())
        throw RequestError(Reason::NoSuchDocument, "no document of that number is open");
    Held& held = document->second;
    held.servesAnybody = false;
    return WhileUnchanged(held.state, [&] {
        NewFile copy(Path(request, Key::file), forOwner, largestFile);
        held.document->Save(copy);
        Finish(copy, held.state);
        return QJsonObject();
    });
}

QJsonObject RequestHandler::Close(const QJsonObject& request)
{
    auto document = documents.extract(Number(request, Key::document));
    if (!document)
        throw RequestError(Reason::NoSuchDocument, "no document of that number is open");
    Held& held = document.mapped();
    if (held.servesAnybody)
        std::swap(reusable, held.document);
    if (held.document)
        closed.push_back(std::move(held.document));
    return {};
}

QJsonObject RequestHandler::Convert(const QJsonObject& request)
{
    const QString format = request[Key::format].toString();
    const bool isPicture = IsPictureFormat(format);
    if (format == WorkerProtocol::Format::pixels || (isPicture && !request.contains(Key::output)))
        return DrawIntoMemory(request, format);
    const std::string output = Path(request, Key::output);
    const bool isPdf = format == WorkerProtocol::Format::pdf;
    if (isPdf && request.contains(Key::merge))
        return Merge(request);
    const bool isText = FindTextFrame(format);
    if (!isPdf && !isText && !isPicture)
        throw RequestError(Reason::UnsupportedFormat, "no such format");
    const FileState before = TakeUp(Path(request, Key::file));
    return WhileUnchanged(before, [&] {
        NewFile file(output, byUmask, largestFile);
        QJsonObject answer;
        if (isPdf)
            WritePdf(file, request);
        else if (isText)
            answer = WriteText(file, request, format);
        else if (format == WorkerProtocol::Format::tif && !request.contains(Key::page))
            answer = WriteTiff(file, request);
        else
            WritePage(file, request, format);
        Finish(file, before);
        return answer;
    });
}

QJsonObject RequestHandler::Merge(const QJsonObject& request)
{
    const std::vector<PagesOfFile> parts = Parts(request);
    std::vector<std::string> files;
    std::vector<FileState> states;
    for (const PagesOfFile& part : parts) {
        files.push_back(part.file);
        states.push_back(FileState::Of(part.file));
    }
    const auto require = [&] {
        for (std::size_t i = 0; i < files.size(); ++i)
            states[i].Require(files[i]);
    };
    TakeUp(files);
    return While(require, [&] {
        NewFile file(Path(request, Key::output), byUmask, largestFile);
        PdfDocument::Merge(file, parts, IsSet(request, Key::linearize));
        require();
        file.Keep();
        return QJsonObject();
    });
}

/** Draws a page into the memory that was given for the request. */
QJsonObject RequestHandler::DrawIntoMemory(const QJsonObject& request, const QString& format)
{
    Number(request, Key::page);
    const PDF::FileDescriptor memory = TakeMemory(memoryChannel, Number(request, Key::id));
    const FileState before = TakeUp(Path(request, Key::file));
    return WhileUnchanged(before, [&] {
        if (format == WorkerProtocol::Format::pixels)
            return WritePixels(memory.Number(), request);
        GivenFile picture(memory.Number(), largestFile);
        WritePage(picture, request, format);
        return QJsonObject{{Key::bytes, qint64(picture.Complete())}};
    });
}

/** What the answer tells of them. */
QJsonObject RequestHandler::WritePixels(int into, const QJsonObject& request)
{
    const PictureLook look = LookOf(request, WorkerProtocol::Format::pixels);
    const PictureShape shape =
        RendererFor(input, ViewOf(request), PageUse::Pictures)
            .WritePixels(into, Number(request, Key::page), look, largestFile);
    return {{Key::width, shape.width}, {Key::height, shape.height}};
}

/** Keeps a result that was made of one state of the file. */
void RequestHandler::Finish(NewFile& result, const FileState& before) const
{
    before.Require(input);
    result.Keep();
}

template <typename Work>
QJsonObject RequestHandler::WhileUnchanged(const FileState& before, const Work& work) const
{
    return While([&] { before.Require(input); }, work);
}

FileState RequestHandler::TakeUp(const std::string& path)
{
    return TakeUp(std::vector<std::string>{path});
}

/** Enters the sandbox, which holds for these files; the state of the first one now. */
FileState RequestHandler::TakeUp(const std::vector<std::string>& files)
{
    const FileState now = FileState::Of(files.front());
    if (inputs.empty()) {
        enterSandbox(files);
        inputs = files;
        input = files.front();
        atEntry = now;
    }
    if (files != inputs)
        throw RequestError(Reason::BadRequest, "this process serves another file");
    if (!now.IsOfFileOf(atEntry))
        throw RequestError(Reason::Changed, "another file has taken its place");
    return now;
}

void RequestHandler::WritePdf(NewFile& file, const QJsonObject& request)
{
    const std::vector<qint64> pages = Pages(request);
    // What fails may leave the document in a state of its own.
    std::unique_ptr<PdfDocument> document = std::move(source);
    if (!document && reusable)
        document = std::move(reusable);
    if (!document || !document->File().State().IsStillThatOf(input))
        document = std::make_unique<PdfDocument>(input, std::string());
    document->SavePages(file, {pages.begin(), pages.end()}, IsSet(request, Key::linearize));
    source = std::move(document);
}

/** Writes the text of pages; what the answer tells of it. */
QJsonObject RequestHandler::WriteText(NewFile& file, const QJsonObject& request,
                                      const QString& format)
{
    const TextLook look = TextLookOf(request, format);
    PageRenderer& pages = RendererFor(input, {}, PageUse::Text);
    const PagesText read = pages.Text(Pages(request), look);
    file.Write(read.text.constData(), std::size_t(read.text.size()));
    QJsonObject answer;
    if (!read.withoutText.empty())
        answer[Key::withoutText] = ToArray(read.withoutText);
    if (!read.unmapped.empty())
        answer[Key::unmapped] = ToArray(read.unmapped);
    if (pages.IsWorn())
        answer[Key::worn] = true;
    return answer;
}

void RequestHandler::WritePage(Output& file, const QJsonObject& request, const QString& format)
{
    const PictureLook look = LookOf(request, format);
    const PageView view = ViewOf(request);
    const qint64 page = Number(request, Key::page);
    const bool isAsIs = IsSet(request, Key::asIs);
    if (isAsIs && (format != WorkerProtocol::Format::jpg || !view.IsPlain() ||
                   look.pixels != PixelFormat::Bgrx || look.size.isValid()))
        Refuse(Key::asIs, " goes with whole pages as jpg, in their own colors and size");
    if (!isAsIs || !WriteScan(file, page))
        RendererFor(input, view, PageUse::Pictures).Write(file, page, look);
}

/** Writes the JPEG that the page is nothing but; false where it is another one. */
bool RequestHandler::WriteScan(Output& file, qint64 page)
{
    if (!scans && reusable)
        scans = std::move(reusable);
    if (!scans || !scans->File().State().IsStillThatOf(input))
        scans = std::make_unique<PdfDocument>(input, std::string());
    const std::shared_ptr<Buffer> jpeg = scans->Jpeg(page);
    if (jpeg)
        file.Write(reinterpret_cast<const char*>(jpeg->getBuffer()), jpeg->getSize());
    return bool(jpeg);
}

/** What the answer tells of it. */
QJsonObject RequestHandler::WriteTiff(NewFile& file, const QJsonObject& request)
{
    const PictureLook look = LookOf(request, WorkerProtocol::Format::tif);
    return ToJson(RendererFor(input, ViewOf(request), PageUse::Pictures)
                      .WriteTiff(file, Pages(request), look, largestFile));
}

PageRenderer& RequestHandler::RendererFor(const std::string& path, const PageView& view,
                                          PageUse use)
{
    if (!renderer || !renderer->Serves(path, view, use)) {
        renderer.reset();
        renderer = OpenToDraw(path, view, use);
    }
    return *renderer;
}

std::unique_ptr<PageRenderer> RequestHandler::OpenToDraw(const std::string& path,
                                                         const PageView& view, PageUse use)
{
    if (const auto opened = std::move(reusable)) {
        auto ofOpened = std::make_unique<PageRenderer>(path, view, use, std::move(*opened));
        if (ofOpened->Serves(path, view, use))
            return ofOpened;
    }
    return std::make_unique<PageRenderer>(path, view, use);
}

} // namespace Korvel::Worker
