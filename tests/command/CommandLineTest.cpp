#include "CommandLine.h"

#include <gmock/gmock.h>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

ParseResult Parse(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "pdfconvert");
    return ParseCommandLine(int(arguments.size()), arguments.data());
}

TEST(CommandLine, NeedsOnlyAnInputAndAnOutput)
{
    const auto line = Parse({"in.pdf", "-o", "out.png"}).commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->input, "in.pdf");
    EXPECT_EQ(line->output, "out.png");
    EXPECT_EQ(line->resolution, 150);
    EXPECT_EQ(line->verbosity, 0);
    EXPECT_FALSE(line->quiet);
}

TEST(CommandLine, TakesEveryOption)
{
    const auto line = Parse({"-r", "300.5", "--pages", "1-3,7,9-", "--password-file", "-",
                             "--temp-dir", "/x", "-q", "-v", "30", "-o", "p-%d.tif", "in.pdf"})
                          .commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->resolution, 300.5);
    EXPECT_EQ(line->pages, "1-3,7,9-");
    EXPECT_EQ(line->passwordFile, "-");
    EXPECT_EQ(line->tempDir, "/x");
    EXPECT_TRUE(line->quiet);
    EXPECT_EQ(line->verbosity, 30);
}

TEST(CommandLine, TakesFileNamesThatLookLikeOptionsBehindTwoDashes)
{
    const auto line = Parse({"-o", "out.png", "--", "-in.pdf"}).commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->input, "-in.pdf");
}

TEST(CommandLine, PrintsHelpAndVersionAndIsDone)
{
    const auto help = Parse({"--help"});
    EXPECT_EQ(help.code, ExitCode::Done);
    for (const char* word : {"INPUT", "--output", "--pages", "--password-file", "--temp-dir",
                             "Examples", "Exit codes", "130"})
        EXPECT_THAT(help.text, HasSubstr(word));
    const auto version = Parse({"--version"});
    EXPECT_EQ(version.code, ExitCode::Done);
    EXPECT_THAT(version.text, testing::MatchesRegex("pdfconvert [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

struct Refused
{
    std::vector<const char*> arguments;
    const char* message;
};

void PrintTo(const Refused& row, std::ostream* out)
{
    for (const char* argument : row.arguments)
        *out << argument << ' ';
}

class CommandLineRefuses : public testing::TestWithParam<Refused>
{
};

TEST_P(CommandLineRefuses, AndSaysWhy)
{
    const auto result = Parse(GetParam().arguments);
    EXPECT_FALSE(result.commandLine);
    EXPECT_EQ(result.code, ExitCode::Usage);
    EXPECT_THAT(result.text, HasSubstr(GetParam().message));
    EXPECT_THAT(result.text, testing::StartsWith("pdfconvert: "));
    EXPECT_THAT(result.text, HasSubstr("--help"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineRefuses,
    testing::Values(Refused{{}, "INPUT"}, Refused{{"in.pdf"}, "--output"},
                    Refused{{"in.pdf", "more.pdf", "-o", "a.png"}, "more.pdf"},
                    Refused{{"in.pdf", "-o", "a.gif"}, "a.gif"},
                    Refused{{"in.pdf", "-o", "a.png", "-r", "0"}, "'0' is not a resolution"},
                    Refused{{"in.pdf", "-o", "a.png", "-r", "nan"}, "'nan' is not a resolution"},
                    Refused{{"in.pdf", "-o", "a.png", "-r", "5000"}, "resolution"},
                    Refused{{"in.pdf", "-o", "a.png", "-r", "12x"}, "resolution"},
                    Refused{{"in.pdf", "-o", "a.png", "--pages", "3-1"}, "runs backwards"},
                    Refused{{"in.pdf", "-o", "a.pdf", "--pages", "3"}, "--pages"},
                    Refused{{"in.pdf", "-o", "a.png", "--nonsense"}, "--nonsense"},
                    Refused{
                        {"in.pdf", "-o", "a.png", "--password-file", "a", "--password-env", "b"},
                        "excludes"},
                    Refused{{"b\xff.pdf", "-o", "a.png"}, "'b\\xff.pdf' is not valid UTF-8"}));

} // namespace
} // namespace Korvel::App
