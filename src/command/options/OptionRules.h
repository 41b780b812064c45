#pragma once

#include <set>
#include <string>

#include <QSize>

namespace Korvel::App {

struct Options;
struct OutputOptions;

/** What is wrong with page ranges; empty when nothing is. */
std::string ProblemOfPages(const std::string& text);

/** What is wrong with a share such as "3/8"; empty when nothing is. */
std::string ProblemOfShard(const std::string& text);

/** What is wrong with a size such as "1920x1080"; empty when nothing is. */
std::string ProblemOfSize(const std::string& text);

/** What is wrong with a part of pages such as "20,30,100,50mm"; empty when nothing is. */
std::string ProblemOfPart(const std::string& text);

/** The size that a text such as "1920x1080" tells; an empty one for another text. */
QSize ToSize(const std::string& text);

/**
 * Takes over into which folder the results go, and names them where -o does not.
 *
 * @param folder     the value of --directory; empty with --beside
 * @param keepsTree  they lie in it as their inputs do in the folders that were named
 * @param output     gets the whole template
 * @throws Failure  Usage: the output's path does not lead into a folder
 */
void PutInto(const std::string& folder, bool keepsTree, OutputOptions& output);

/**
 * Complains about options that do not go together, each of which is right by itself, and about
 * those that change nothing.
 *
 * @param named  the long names of the options that the command line names
 * @throws Failure  Usage
 */
void CheckTogether(const Options& options, const std::set<std::string>& named);

} // namespace Korvel::App
