#include "TextInParts.h"

#include <algorithm>
#include <utility>

#include <QFile>
#include <QJsonArray>

namespace Korvel::PDF::Converter {

namespace Key = WorkerProtocol::Key;
using WorkerProtocol::Reason;

namespace {

constexpr int fewestPagesOfAPart = 4;
constexpr int mostPagesOfAPart = 16;
constexpr int partsOfAProcess = 4;
/** How many parts of each process are read, or wait for those before them. */
constexpr int partsAhead = 2;

std::vector<int> PagesOf(const QJsonObject& request)
{
    std::vector<int> pages;
    for (const QJsonValue page : request[Key::pages].toArray())
        pages.push_back(page.toInt());
    return pages;
}

QJsonArray ToArray(const std::vector<int>& pages)
{
    QJsonArray array;
    for (const int page : pages)
        array.append(page);
    return array;
}

int PagesOfAPart(std::size_t pages, int processes)
{
    return std::clamp(int(pages) / (partsOfAProcess * processes), fewestPagesOfAPart,
                      mostPagesOfAPart);
}

/** Whether another page of the document may not fail so. */
bool IsPagesOwn(const QJsonObject& answer)
{
    const auto reason = WorkerProtocol::ReasonOf(answer);
    return reason == Reason::CannotRender || reason == Reason::Died || reason == Reason::Rubbish ||
           reason == Reason::OutOfMemory || reason == Reason::TooLarge;
}

QJsonArray Joined(QJsonArray pages, const QJsonArray& further)
{
    for (const QJsonValue page : further)
        pages.append(page);
    return pages;
}

} // namespace

TextInParts::TextInParts(WorkerPool& pool, const QJsonObject& request, int largest,
                         Receivers receivers)
    : pool(pool),
      request(request),
      largestBytes(qint64(largest) << 20),
      receivers(std::move(receivers)),
      frame(*FindTextFrame(request[Key::format].toString())),
      result(request[Key::output].toString())
{
    const std::vector<int> pages = PagesOf(request);
    pagesInAll = pages.size();
    const auto step = std::size_t(PagesOfAPart(pages.size(), pool.Processes()));
    for (std::size_t first = 0; first < pages.size(); first += step) {
        const std::size_t end = std::min(first + step, pages.size());
        auto part = std::make_shared<Part>();
        part->pages.assign(pages.begin() + std::ptrdiff_t(first),
                           pages.begin() + std::ptrdiff_t(end));
        parts.push_back(std::move(part));
    }
    joined[Key::ok] = true;
}

TextInParts::~TextInParts()
{
    if (!std::exchange(hasEnded, true))
        RemoveResult();
    pool.End(this);
    for (const std::shared_ptr<Part>& part : parts) {
        if (part->isAsked)
            QFile::remove(part->path);
    }
}

void TextInParts::Start()
{
    isMade = result.open(QIODevice::WriteOnly | QIODevice::NewOnly);
    if (isMade && result.write(frame.head) >= 0)
        AskForMore();
    else
        End(WorkerProtocol::FailureAnswer(Reason::CannotWrite, result.errorString()));
}

void TextInParts::Fail(const QJsonObject& answer)
{
    End(answer);
}

/** Asks for the next parts, as many as are allowed beside those that wait for others. */
void TextInParts::AskForMore()
{
    const auto most = std::min(parts.size(), std::size_t(partsAhead * pool.Processes()));
    for (std::size_t i = 0; i < most && !hasEnded; ++i) {
        if (i < parts.size() && !parts[i]->isAsked)
            Ask(std::shared_ptr<Part>(parts[i]));
    }
}

void TextInParts::Ask(const std::shared_ptr<Part>& part)
{
    part->isAsked = true;
    part->path = result.fileName() + QStringLiteral(".part-%1").arg(++lastPart);
    QJsonObject message = request;
    message[Key::output] = part->path;
    message[Key::part] = true;
    message[Key::pages] = ToArray(part->pages);
    pool.Ask(this, message, [this, part](const QJsonObject& answer) { Answered(part, answer); });
}

void TextInParts::Answered(const std::shared_ptr<Part>& part, const QJsonObject& answer)
{
    if (hasEnded)
        return;
    if (answer[Key::ok].toBool())
        Done(*part, answer);
    else if (WorkerProtocol::ReasonOf(answer) == Reason::Changed &&
             !std::exchange(part->wasChanged, true))
        Ask(part);
    else
        Failed(part, answer);
}

void TextInParts::Done(Part& part, const QJsonObject& answer)
{
    part.isDone = true;
    for (const char* const list : {Key::withoutText, Key::unmapped})
        joined[list] = Joined(joined[list].toArray(), answer[list].toArray());
    JoinReady();
}

/** A page that fails leaves the others their text; which of several it is, each tells alone. */
void TextInParts::Failed(const std::shared_ptr<Part>& part, const QJsonObject& answer)
{
    if (WorkerProtocol::ReasonOf(answer) == Reason::CannotWrite)
        part->isAsked = false; // what lies there may be somebody else's
    else
        QFile::remove(part->path);
    if (!IsPagesOwn(answer)) {
        End(answer);
        return;
    }
    if (part->pages.size() > 1) {
        AskOneByOne(part);
        return;
    }
    if (!firstFailure)
        firstFailure = answer;
    if (!receivers.pageFailed || ++pagesFailed == pagesInAll) {
        End(*firstFailure);
        return;
    }
    part->isDone = true;
    part->hasFailed = true;
    receivers.pageFailed(part->pages.front(), answer);
    JoinReady();
}

void TextInParts::AskOneByOne(const std::shared_ptr<Part>& part)
{
    Parts pages;
    for (const int page : part->pages) {
        pages.push_back(std::make_shared<Part>());
        pages.back()->pages = {page};
    }
    const auto place = parts.erase(std::find(parts.begin(), parts.end(), part));
    parts.insert(place, pages.begin(), pages.end());
    AskForMore();
}

/** Joins the parts that are there, up to the first one that is not. */
void TextInParts::JoinReady()
{
    while (!parts.empty() && parts.front()->isDone) {
        const std::shared_ptr<Part> part = parts.front();
        if (!Join(*part))
            return;
        parts.pop_front();
        pagesDone += part->pages.size();
    }
    if (parts.empty()) {
        if (result.write(frame.foot) >= 0 && result.flush())
            End(joined);
        else
            End(WorkerProtocol::FailureAnswer(Reason::CannotWrite, result.errorString()));
        return;
    }
    receivers.progress(double(pagesDone) / double(pagesInAll));
    AskForMore();
}

bool TextInParts::Append(const Part& part)
{
    constexpr qint64 atOnce = 1 << 16;
    QFile text(part.path);
    bool isWritten = text.open(QIODevice::ReadOnly) &&
                     (!std::exchange(hasPages, true) || result.write(frame.between) >= 0);
    while (isWritten && !text.atEnd()) {
        const QByteArray some = text.read(atOnce);
        isWritten = !some.isEmpty() && result.write(some) == some.size();
    }
    text.remove();
    return isWritten;
}

/** False where that has ended the text. */
bool TextInParts::Join(const Part& part)
{
    const bool isWritten = part.hasFailed ? result.write(frame.missing) >= 0 : Append(part);
    if (isWritten && (largestBytes == 0 || result.pos() <= largestBytes))
        return true;
    End(isWritten ? WorkerProtocol::FailureAnswer(Reason::TooLarge, "the text is too large")
                  : WorkerProtocol::FailureAnswer(Reason::CannotWrite, result.errorString()));
    return false;
}

/** A file that was there before stays. */
void TextInParts::RemoveResult()
{
    result.close();
    if (isMade)
        result.remove();
}

void TextInParts::End(const QJsonObject& answer)
{
    if (std::exchange(hasEnded, true))
        return;
    pool.End(this);
    if (answer[Key::ok].toBool())
        result.close();
    else
        RemoveResult();
    const auto ended = std::move(receivers.ended);
    ended(answer); // which may destroy this
}

} // namespace Korvel::PDF::Converter
