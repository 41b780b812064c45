#pragma once

#include "FileState.h"
#include "NewFile.h"
#include "Output.h"
#include "PageRenderer.h"
#include "PdfDocument.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QByteArray>
#include <QJsonObject>

namespace Korvel::Worker {

/** Answers requests; holds what they have opened. */
class RequestHandler
{
public:
    /**
     * @param enterSandbox  called with the file that is looked at, before it is opened, and with
     *                      those that are merged with it
     * @param largestFile   how many bytes a file may have that is written
     * @param memoryChannel the socket that memory for pictures comes over; -1 for none
     */
    RequestHandler(std::function<void(const std::vector<std::string>& files)> enterSandbox,
                   std::uint64_t largestFile, int memoryChannel = -1);

    /** The answer to one line of input. Throws nothing but std::bad_alloc. */
    QJsonObject Answer(const QByteArray& line);

private:
    QJsonObject Dispatch(const QJsonObject& request);
    QJsonObject Open(const QJsonObject& request);
    QJsonObject Save(const QJsonObject& request);
    QJsonObject Close(const QJsonObject& request);
    QJsonObject Convert(const QJsonObject& request);
    QJsonObject Merge(const QJsonObject& request);
    QJsonObject DrawIntoMemory(const QJsonObject& request, const QString& format);
    QJsonObject WritePixels(int into, const QJsonObject& request);
    FileState TakeUp(const std::string& path);
    FileState TakeUp(const std::vector<std::string>& files);
    void WritePdf(NewFile& file, const QJsonObject& request);
    QJsonObject WriteText(NewFile& file, const QJsonObject& request, const QString& format);
    void WritePage(Output& file, const QJsonObject& request, const QString& format);
    bool WriteScan(Output& file, qint64 page);
    QJsonObject WriteTiff(NewFile& file, const QJsonObject& request);
    void Finish(NewFile& result, const FileState& before) const;
    template <typename Work>
    QJsonObject WhileUnchanged(const FileState& before, const Work& work) const;
    PageRenderer& RendererFor(const std::string& path, const PageView& view, PageUse use);
    std::unique_ptr<PageRenderer> OpenToDraw(const std::string& path, const PageView& view,
                                             PageUse use);

    const std::function<void(const std::vector<std::string>& files)> enterSandbox;
    const std::uint64_t largestFile;
    const int memoryChannel;
    /** The one file; empty before the first request that names one. */
    std::string input;
    /** That one, and those that are merged with it. */
    std::vector<std::string> inputs;
    /** Its state when the sandbox was entered, which lets no other file be read. */
    FileState atEntry = FileState({});
    struct Held
    {
        std::unique_ptr<PdfDocument> document;
        FileState state;
        /** Whether it is as it was opened, and by whom it was opened does not matter. */
        bool servesAnybody;
    };
    std::map<qint64, Held> documents;
    /** Documents that were closed: to destroy a large one takes long, and the process ends soon. */
    std::vector<std::unique_ptr<PdfDocument>> closed;
    /** What pages were last written of as a PDF, as others are likely to be asked for next. */
    std::unique_ptr<PdfDocument> source;
    /** What pages were last looked for in that are nothing but a JPEG. */
    std::unique_ptr<PdfDocument> scans;
    /** One that was closed and can be drawn without being opened anew. */
    std::unique_ptr<PdfDocument> reusable;
    /** The renderer of the last converted document, whose pages are likely to be asked for next. */
    std::unique_ptr<PageRenderer> renderer;
};

} // namespace Korvel::Worker
