#pragma once

#include "AbstractConverter.h"

namespace Korvel::App {

struct PageOptions;

/** What the user wants of pictures, as WorkerConverter takes it. */
decltype(PDF::Converter::AbstractConverter::Task::options) LookOptions(const PageOptions& pages);

} // namespace Korvel::App
