#pragma once

namespace Korvel::PDF {

/** The cipher that a document was encrypted with. */
enum class EncryptionMethod { Rc4, Aes, Other };

} // namespace Korvel::PDF
