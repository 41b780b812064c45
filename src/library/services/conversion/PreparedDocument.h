#pragma once

#include "ConversionResult.h"
#include "ResultPlan.h"
#include "SourceState.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <QStringList>

namespace Korvel::PDF::Converter {

class ConversionServices;
class TemporaryFile;

/** A document that was opened, with a plan for its results, and a copy where that is converted. */
struct PreparedDocument
{
    DocumentInfo info;
    ResultPlan plan;
    /** From before it was opened. */
    SourceState state;
    /** Without encryption and damage; null when the document itself is converted. */
    std::shared_ptr<const TemporaryFile> copy;
    /** Whether others are to be made of the copy as well. */
    bool isKept = false;
    std::vector<ConversionResult::Note> warnings;
};

/**
 * Prepares a document, or takes one that the request says is open. Blocks as long as that takes, on
 * a thread of its own.
 *
 * @param isGivenUp  whether it is not wanted any more; who sets that has the provider give it up
 * @throws ConversionFailure  it cannot be opened, copied or planned; `PasswordRequiredOrWrong` when
 *                            another password may open it
 * @throws OptionError        it has no such pages
 */
PreparedDocument Prepare(const ConversionRequest& request, const std::string& password,
                         ConversionServices& services, const std::atomic<bool>& isGivenUp);

} // namespace Korvel::PDF::Converter
