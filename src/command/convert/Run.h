#pragma once

namespace Korvel::App {

class Console;
class ConverterFactory;
class Interruption;
class Journal;
struct Options;

/** What a run of the command has for all of its documents, whose conversions it outlives. */
struct Run
{
    const Options& options;
    const Interruption& interruption;
    Console& console;
    /** Off when nothing is to be written down. */
    Journal& journal;
    ConverterFactory& factory;
};

} // namespace Korvel::App
