// Prints the name of the source file in each record that a TempFileWrapper logs, a line each.

#include "AgreeableServices.h"
#include "LogCapture.h"
#include "TempFileWrapper.h"

#include <iostream>

int main(int, char** argv)
{
    using namespace Korvel::PDF::Test;
    SilenceLog(argv[0]);
    const LogCapture log;
    const QTemporaryDir folder;
    {
        const Korvel::PDF::Converter::TempFileWrapper wrapper(
            std::make_shared<CountingNames>(), std::make_shared<HandingOnConverter>(),
            std::make_shared<AgreeableFiles>(folder));
    }
    for (const LogRecord& record : log.records)
        std::cout << record.file << '\n';
}
