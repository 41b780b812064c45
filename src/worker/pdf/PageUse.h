#pragma once

namespace Korvel::Worker {

/** What the pages of a document are opened for. */
enum class PageUse { Pictures, Text };

} // namespace Korvel::Worker
