#pragma once

#include <string>
#include <vector>

#include <QString>

namespace Korvel::App {

class Interruption;
struct InputOptions;

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

/**
 * The documents that were named, and then those of its list, in their order.
 *
 * What comes from standard input is written to a new file in `tempFolder`.
 *
 * @throws Failure  Input: the list or standard input cannot be read, or there is no input at all;
 *                  Output: no space for what standard input gives
 * @throws Interrupted  a signal came meanwhile
 */
std::vector<Input> CollectInputs(const InputOptions& options, const std::string& tempFolder,
                                 const Interruption& interruption);

} // namespace Korvel::App
