#pragma once

#include "TextFrame.h"
#include "WorkerPool.h"
#include "WorkerProtocol.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QFile>
#include <QJsonObject>
#include <QString>

namespace Korvel::PDF::Converter {

/**
 * The text of a document's pages: asked for in parts, which the processes of a pool read side by
 * side, and joined in the order of the pages as they come. Few parts lie beside the result at a
 * time, under names that begin with its own.
 */
class TextInParts
{
public:
    /** What a caller wants to hear. */
    struct Receivers
    {
        /** How much is done, from 0 to 1. */
        std::function<void(double part)> progress;
        /** The answer for a page that fails alone; without it that ends the text. */
        std::function<void(int page, const QJsonObject& answer)> pageFailed;
        /** The answer to the request, once; may destroy this. */
        std::function<void(const QJsonObject& answer)> ended;
    };

    /**
     * @param request  for a text of pages, as the worker takes it; names them
     * @param largest  how many MiB the result may have, 0 for no limit
     */
    TextInParts(WorkerPool& pool, const QJsonObject& request, int largest, Receivers receivers);

    /** Ends the requests, and removes what is not joined yet. */
    ~TextInParts();

    /** Asks for the first parts; the receivers are told of the rest. */
    void Start();

    /** Ends the text with this answer. */
    void Fail(const QJsonObject& answer);

private:
    TextInParts(const TextInParts&) = delete;
    TextInParts& operator=(const TextInParts&) = delete;

    struct Part
    {
        std::vector<int> pages;
        QString path;
        bool isAsked = false;
        bool isDone = false;
        bool hasFailed = false;
        bool wasChanged = false;
    };
    using Parts = std::deque<std::shared_ptr<Part>>;

    void AskForMore();
    void Ask(const std::shared_ptr<Part>& part);
    void Answered(const std::shared_ptr<Part>& part, const QJsonObject& answer);
    void Done(Part& part, const QJsonObject& answer);
    void Failed(const std::shared_ptr<Part>& part, const QJsonObject& answer);
    void AskOneByOne(const std::shared_ptr<Part>& part);
    void JoinReady();
    bool Append(const Part& part);
    bool Join(const Part& part);
    void RemoveResult();
    void End(const QJsonObject& answer);

    WorkerPool& pool;
    const QJsonObject request;
    const qint64 largestBytes;
    Receivers receivers;
    const TextFrame& frame;
    QFile result;
    /** Those that are not joined yet, in the order of their pages. */
    Parts parts;
    std::size_t pagesInAll = 0;
    std::size_t pagesDone = 0;
    std::size_t pagesFailed = 0;
    int lastPart = 0;
    std::optional<QJsonObject> firstFailure;
    QJsonObject joined;
    /** Whether the result's file is ours. */
    bool isMade = false;
    bool hasPages = false;
    bool hasEnded = false;
};

} // namespace Korvel::PDF::Converter
