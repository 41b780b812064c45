#pragma once

#include "WorkerProtocol.h"

#include <algorithm>
#include <iterator>

namespace Korvel {

/** What stands around the pages of a text, and between two of them. */
struct TextFrame
{
    /** How the worker calls the format. */
    const char* format;
    const char* head;
    const char* between;
    const char* foot;
    /** What stands in the place of a page that cannot be read. */
    const char* missing;
};

inline constexpr TextFrame textFrames[] = {
    {WorkerProtocol::Format::txt, "", "", "", "\f"},
    {WorkerProtocol::Format::json, "{\"version\":1,\"pages\":[\n", ",\n", "\n]}\n", ""},
    {WorkerProtocol::Format::tsv,
     "page\tblock\tline\tword\tleft\ttop\twidth\theight\tsize\tfont\ttext\n", "", "", ""},
    {WorkerProtocol::Format::hocr,
     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
     "<!DOCTYPE html>\n"
     "<html xmlns=\"http://www.w3.org/1999/xhtml\">\n"
     "<head>\n"
     "<title></title>\n"
     "<meta charset=\"utf-8\"/>\n"
     "<meta name=\"ocr-system\" content=\"pdfconvert\"/>\n"
     "<meta name=\"ocr-capabilities\""
     " content=\"ocr_page ocr_par ocr_line ocrx_word ocrp_font\"/>\n"
     "</head>\n"
     "<body>\n",
     "", "</body>\n</html>\n", ""}};

/** The frame of a format by its name in requests; null for one that is no text. */
template <typename Name>
const TextFrame* FindTextFrame(const Name& format)
{
    const auto found =
        std::find_if(std::begin(textFrames), std::end(textFrames),
                     [&format](const TextFrame& frame) { return format == frame.format; });
    return found == std::end(textFrames) ? nullptr : found;
}

} // namespace Korvel
