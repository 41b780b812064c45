#pragma once

#include "EncryptionMethod.h"
#include "OpenedWith.h"
#include "Permissions.h"

namespace Korvel::PDF {

/** How a document was encrypted. */
struct EncryptionInfo
{
    /** How its streams were, unless only strings or attached files are encrypted. */
    EncryptionMethod method = EncryptionMethod::Other;
    /** The length of the key: 40, 128, 256 ... */
    int bits = 0;
    /** Which password has opened it. */
    OpenedWith openedWith = OpenedWith::EmptyPassword;
    /** What it allows. */
    Permissions permissions;
};

} // namespace Korvel::PDF
