#pragma once

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
    {"png", "png", true},   {"jpg", "jpg", true},  {"jpeg", "jpg", true},
    {"tif", "tif", true},   {"tiff", "tif", true}, {"bmp", "bmp", true},
    {"webp", "webp", true}, {"txt", "txt", false}, {"pdf", "pdf", false}};

} // namespace Korvel
