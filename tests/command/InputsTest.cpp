#include "Inputs.h"

#include "CommandLine.h"
#include "Interruption.h"

#include <gtest/gtest.h>

namespace Korvel::App {
namespace {

std::vector<Input> Collect(const CommandLine& commandLine)
{
    const Interruption interruption;
    return CollectInputs(commandLine, {}, interruption);
}

struct Named
{
    const char* path;
    const char* baseName;
};

TEST(InputsTest, GiveResultsTheirNamesWithoutSuffixButNeverThatOfAFolder)
{
    for (const auto& [path, baseName] :
         {Named{"folder/a.b.pdf", "a.b"}, Named{"none", "none"}, Named{".hidden.pdf", ".hidden"},
          Named{"....pdf", "..."}, Named{"folder/...pdf", "...pdf"}, Named{"..pdf", "..pdf"},
          Named{"folder/.pdf", ".pdf"}}) {
        CommandLine commandLine;
        commandLine.inputs = QStringList(path);
        EXPECT_EQ(Collect(commandLine).at(0).baseName.toStdString(), baseName);
    }
}

} // namespace
} // namespace Korvel::App
