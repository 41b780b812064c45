#pragma once

#include "WrapperModel.h"

#include <optional>

namespace Korvel::PDF::Test {

enum class PdfAnswer { Proper, Refusal, Exception, NoState };

/** How the fakes answer. */
struct Answers
{
    bool accepts = true;
    bool seesFiles = true;
    bool createsFolders = true;
    bool movesFiles = true;
    bool removesFolders = true;
    PdfAnswer open = PdfAnswer::Proper;
    PdfAnswer save = PdfAnswer::Proper;
};

/** Something that happens to a stack of wrappers, as a value: it can happen to two stacks. */
struct Operation
{
    enum class Kind {
        Nothing,
        Convert,       ///< the caller gives `task`
        Forward,       ///< the caller calls the three operations that are only forwarded
        Emit,          ///< the innermost converter emits `emission`
        EmitElsewhere, ///< the same on another thread
        DeliverQueued, ///< the event loop delivers what was emitted elsewhere
        Answer,        ///< from now on the fakes answer as in `answers`
        Throw,         ///< whoever is called throws
        Destroy        ///< the caller destroys the outermost wrapper
    };

    /** For the operation's log: kind and details in one line, what happens inside indented. */
    std::string Describe(const std::string& indentation = {}) const;

    Kind kind = Kind::Nothing;
    Task task;
    /** The next stems of the name generator. */
    std::vector<std::string> stems;
    /** Where set, an option tells of each copy of the task; that copy throws, none for 0. */
    std::optional<int> failingCopy;
    /** A null source or result stands for the source or destination given to ConvertFile last. */
    Emission emission{};
    /** Whether the files that `emission` names are there to be moved. */
    bool resultsExist = true;
    Answers answers;
    /** What the caller does in its slots, one for each signal that it receives. */
    std::vector<Operation> inSlots;
    /** What the innermost converter does in ConvertFile and CancelConvertation, one a call. */
    std::vector<Operation> inConverter;
};

/** The options of a task, types included where they are no text. */
std::string DescribeOptions(const Task& task);

} // namespace Korvel::PDF::Test
