#pragma once

#include "Options.h"

#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** What the options' values are read into, before they are what Options wants. */
struct Arguments
{
    Options options;
    std::string shard;
    std::string folder;
    std::string onExists;
    std::string size;
    std::string progress;
    /** Shell to print a script for, in place of everything else. */
    std::string completion;
    /** Do this in place of everything else. */
    bool manual = false;
    bool version = false;
    bool cleanTemp = false;
};

/** An empty size for a text that is none, such as "1920x1080". */
QSize ToSize(const std::string& text);

/** The names of any number of files, which are what the arguments that are no options say. */
void AddNames(CLI::App& app, const char* what, std::vector<std::string>& into, const char* help);

/** All options, in the order of the help, which read into `arguments`. */
std::unique_ptr<CLI::App> MakeOptionTable(Arguments& arguments);

/** The words that an option, given by its long name, takes as its value; empty for other values. */
std::vector<std::string> ChoicesOf(const std::string& option);

} // namespace Korvel::App
