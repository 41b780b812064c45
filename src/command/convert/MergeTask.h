#pragma once

#include "AbstractConverter.h"

#include <string>

namespace Korvel::App {

class ConverterFactory;
struct PlannedDocument;

/**
 * Has a task make one PDF of several documents. Those with encryption or damage are copied without
 * it, for which the main thread waits.
 *
 * @param ranges  the pages that are wanted of each; empty for all
 * @throws Failure      what is amiss with which of them
 * @throws Interrupted  a signal came meanwhile
 */
void MergeInto(PDF::Converter::AbstractConverter::Task& task, const PlannedDocument& planned,
               const std::string& ranges, ConverterFactory& factory);

} // namespace Korvel::App
