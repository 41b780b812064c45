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
};

} // namespace Korvel::App
