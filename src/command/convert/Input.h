#pragma once

#include <string>

#include <QString>

namespace Korvel::App {

/** One document to convert. */
struct Input
{
    /** What messages call it: the path as the user gave it. */
    QString name;
    /** What %s stands for in the output's name. */
    QString baseName;
    /** Where the document lies. */
    QString path;
    /** Why it cannot even be looked for; empty when it can. */
    std::string problem;
    /** What %p stands for: its folder below the one that was named; empty for that one. */
    QString folder = {};
    /** It is a folder that cannot be read, and no document. */
    bool isFolder = false;

    /** Whether it came through a pipe and is stored where nobody else sees it. */
    bool IsStored() const { return path != name; }
};

} // namespace Korvel::App
