#pragma once

#include "WorkerProtocol.h"

namespace Korvel {

/** What a document can be converted into, by the suffix that asks for it. */
struct ResultFormat
{
    const char* suffix;
    /** How the worker calls the format: several suffixes may stand for one. */
    const char* name;
    /** Whether a result is the picture of one page. */
    bool isPicture;
};

/** All of them, in the order in which people are told of them. */
inline constexpr ResultFormat resultFormats[] = {
    {"png", WorkerProtocol::Format::png, true},    {"jpg", WorkerProtocol::Format::jpg, true},
    {"jpeg", WorkerProtocol::Format::jpg, true},   {"tif", WorkerProtocol::Format::tif, true},
    {"tiff", WorkerProtocol::Format::tif, true},   {"bmp", WorkerProtocol::Format::bmp, true},
    {"webp", WorkerProtocol::Format::webp, true},  {"txt", WorkerProtocol::Format::txt, false},
    {"json", WorkerProtocol::Format::json, false}, {"tsv", WorkerProtocol::Format::tsv, false},
    {"hocr", WorkerProtocol::Format::hocr, false}, {"pdf", WorkerProtocol::Format::pdf, false}};

/** The one that a suffix asks for, in small letters; null for none. */
template <typename Suffix>
const ResultFormat* FindResultFormat(const Suffix& suffix)
{
    for (const ResultFormat& format : resultFormats) {
        if (suffix == format.suffix)
            return &format;
    }
    return nullptr;
}

/** Whether pictures of a format, by its name, can have one bit for each pixel. */
template <typename Name>
bool CanBeBlackAndWhite(const Name& name)
{
    return name == WorkerProtocol::Format::png || name == WorkerProtocol::Format::tif ||
           name == WorkerProtocol::Format::pixels;
}

/** Whether they can be transparent. */
template <typename Name>
bool CanBeTransparent(const Name& name)
{
    return CanBeBlackAndWhite(name) || name == WorkerProtocol::Format::webp;
}

} // namespace Korvel
