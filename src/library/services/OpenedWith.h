#pragma once

namespace Korvel::PDF {

/** Which of its passwords has opened a document; the empty one is tried first. */
enum class OpenedWith { EmptyPassword, UserPassword, OwnerPassword, UserAndOwnerPassword };

} // namespace Korvel::PDF
