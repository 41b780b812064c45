#pragma once

#include "ConverterServicesExport.h"
#include "IFileNameGenerator.h"

namespace Korvel::PDF {

/** Names files by random UUIDs in text form, such as 1b4e28ba-2fa1-41d2-983f-0016d3cca427. */
class CONVERTERSERVICES_EXPORT UuidFileNameGenerator : public IFileNameGenerator
{
public:
    /** A new UUID of version 4: 36 characters, 122 random bits. Thread-safe. */
    std::string GenerateFileName() override;
};

} // namespace Korvel::PDF
