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
    EXPECT_EQ(line->inputs, QStringList("in.pdf"));
    EXPECT_EQ(line->output, "out.png");
    EXPECT_EQ(line->resolution, 150);
    EXPECT_EQ(line->verbosity, 0);
    EXPECT_FALSE(line->quiet);
}

TEST(CommandLine, TakesEveryOption)
{
    const auto line = Parse({"-r",
                             "300.5",
                             "--pages",
                             "1-3,7,9-,last",
                             "--password-file",
                             "-",
                             "--password-map",
                             "map",
                             "--no-input",
                             "--temp-dir",
                             "/x",
                             "-q",
                             "-v",
                             "30",
                             "-o",
                             "p-%d.tif",
                             "-f",
                             "PNG",
                             "--on-exists",
                             "overwrite",
                             "--dry-run",
                             "--from-list",
                             "list",
                             "-0",
                             "-j",
                             "3",
                             "--fail-fast",
                             "--warning-exit-0",
                             "in.pdf",
                             "more.pdf"})
                          .commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->inputs, QStringList({"in.pdf", "more.pdf"}));
    EXPECT_EQ(line->listFile, "list");
    EXPECT_TRUE(line->isListNulSeparated);
    EXPECT_EQ(line->format, "png");
    EXPECT_EQ(line->onExists, OnExists::Overwrite);
    EXPECT_TRUE(line->dryRun);
    EXPECT_EQ(line->resolution, 300.5);
    EXPECT_EQ(line->pages, "1-3,7,9-,last");
    EXPECT_EQ(line->passwordFile, "-");
    EXPECT_EQ(line->passwordMap, "map");
    EXPECT_TRUE(line->noInput);
    EXPECT_EQ(line->jobs, 3);
    EXPECT_TRUE(line->failFast);
    EXPECT_TRUE(line->warningsAreFine);
    EXPECT_EQ(line->tempDir, "/x");
    EXPECT_TRUE(line->quiet);
    EXPECT_EQ(line->verbosity, 30);
}

struct Directed
{
    std::vector<const char*> arguments;
    const char* output;
};

TEST(CommandLine, NamesResultsInAFolderAfterTheirInputs)
{
    for (const Directed& row : {Directed{{"a.pdf", "-d", "out"}, "out/%s-%d.png"},
                                Directed{{"a.pdf", "-d", "out", "-f", "JPG"}, "out/%s-%d.jpg"},
                                Directed{{"a.pdf", "-d", "out", "-f", "txt"}, "out/%s.txt"},
                                Directed{{"a.pdf", "-d", "50%", "-o", "p%d.png"}, "50%%/p%d.png"}})
        EXPECT_EQ(Parse(row.arguments).commandLine.value().output, row.output);
}

TEST(CommandLine, TakesEveryOptionOfLookLimitsAndReporting)
{
    const auto line = Parse({"a.pdf", "-d", "o", "--size", "1920x1080", "--gray", "--quality", "80",
                             "--compression", "small", "--timeout", "2.5", "--memory-limit", "512",
                             "--json", "--progress", "json"})
                          .commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->size, QSize(1920, 1080));
    EXPECT_TRUE(line->gray);
    EXPECT_EQ(line->quality, 80);
    EXPECT_EQ(line->compression, "small");
    EXPECT_EQ(line->timeout, 2.5);
    EXPECT_EQ(line->memoryLimit, 512);
    EXPECT_TRUE(line->json);
    EXPECT_EQ(line->progress, ProgressStyle::Json);
    EXPECT_TRUE(Parse({"a.pdf", "--inspect"}).commandLine->inspect);
}

TEST(CommandLine, TakesEachWayToGiveAPassword)
{
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--password", ""}).commandLine->password, std::string());
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--password-fd", "3"}).commandLine->passwordDescriptor, 3);
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--password-env", "X"}).commandLine->passwordVariable,
              "X");
    EXPECT_TRUE(Parse({"a.pdf", "-d", "o", "--ask-password"}).commandLine->askPassword);
}

TEST(CommandLine, ReadsNumbersInDecimal)
{
    const auto line =
        Parse({"a.pdf", "-d", "o", "-r", "0300.50", "--quality", "010", "-j", "010", "--timeout",
               "010", "--memory-limit", "01024", "--password-fd", "010", "-v", "010"})
            .commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->resolution, 300.5);
    EXPECT_EQ(line->quality, 10);
    EXPECT_EQ(line->jobs, 10);
    EXPECT_EQ(line->timeout, 10);
    EXPECT_EQ(line->memoryLimit, 1024);
    EXPECT_EQ(line->passwordDescriptor, 10);
    EXPECT_EQ(line->verbosity, 10);
}

TEST(CommandLine, TakesTheNumbersThatItAllowsAndRefusesWhatIsNone)
{
    for (const char* const text : {"5", "+5", "05", "08", " 5", "5 ", "5.0"})
        EXPECT_EQ(Parse({"a.pdf", "-d", "o", "-j", text}).commandLine.value().jobs,
                  QString(text).toDouble())
            << text;
    for (const char* const option :
         {"-r", "--quality", "-j", "--timeout", "--memory-limit", "--password-fd", "-v"}) {
        for (const char* const text :
             {"inf", "nan", "1e20", "-1e20", "0x10", "0b1", "1,5", "5 5", "-1", ""})
            EXPECT_THAT(Parse({"a.pdf", "-d", "o", option, text}).text,
                        HasSubstr("'" + std::string(text) + "' is not a "))
                << option;
    }
}

TEST(CommandLine, TakesFileNamesThatLookLikeOptionsBehindTwoDashes)
{
    const auto line = Parse({"-o", "out.png", "--", "-in.pdf"}).commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->inputs, QStringList("-in.pdf"));
}

TEST(CommandLine, TakesNamesInBracketsAsTheyAre)
{
    const auto line = Parse({"[a]", "-d", "[d,e]", "[b,c].pdf", "[b,c]", "[]", "--password=[f,g]",
                             "--from-list", "[l]", "--", "[-]"})
                          .commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->inputs, QStringList({"[a]", "[b,c].pdf", "[b,c]", "[]", "[-]"}));
    EXPECT_EQ(line->output, "[d,e]/%s-%d.png");
    EXPECT_EQ(line->password, "[f,g]");
    EXPECT_EQ(line->listFile, "[l]");
    EXPECT_THAT(Parse({"report", "[a,b]", "[j]"}).commandLine.value().summary.value().journals,
                testing::ElementsAre("[a,b]", "[j]"));
}

TEST(CommandLine, TakesJournalsBehindTheWordReport)
{
    const auto line = Parse({"report", "a.journal", "--json", "--follow", "report"}).commandLine;
    ASSERT_TRUE(line);
    ASSERT_TRUE(line->summary);
    EXPECT_THAT(line->summary->journals, testing::ElementsAre("a.journal", "report"));
    EXPECT_TRUE(line->summary->json);
    EXPECT_TRUE(line->summary->follow);
    EXPECT_FALSE(line->json);
    EXPECT_THAT(Parse({"report", "--help"}).text, HasSubstr("pdfconvert report JOURNAL..."));
}

TEST(CommandLine, TakesTheWordReportForAFileAnywhereElse)
{
    EXPECT_EQ(Parse({"./report", "-o", "a.png"}).commandLine.value().inputs,
              QStringList("./report"));
    EXPECT_EQ(Parse({"-o", "a.png", "report"}).commandLine.value().inputs, QStringList("report"));
    EXPECT_FALSE(Parse({"-o", "a.png", "report"}).commandLine.value().summary);
}

TEST(CommandLine, PrintsHelpAndIsDone)
{
    const auto help = Parse({"--help"});
    EXPECT_EQ(help.code, ExitCode::Done);
    for (const char* word : {"INPUT", "--output", "--pages", "--password-file", "--temp-dir",
                             "Output:", "Passwords:", "Examples", "Exit codes", "130"})
        EXPECT_THAT(help.text, HasSubstr(word));
}

TEST(CommandLine, AsksForTheVersionWithoutAnInput)
{
    const auto line = Parse({"--version"}).commandLine;
    ASSERT_TRUE(line);
    EXPECT_TRUE(line->version);
}

TEST(CommandLine, ShowsNoPasswordThatIsNotValidUtf8)
{
    for (const std::vector<const char*>& arguments :
         {std::vector<const char*>{"in.pdf", "-o", "a.png", "--password", "unseen\xff"},
          std::vector<const char*>{"in.pdf", "-o", "a.png", "--password=unseen\xff"}}) {
        const auto result = Parse(arguments);
        EXPECT_EQ(result.code, ExitCode::Usage);
        EXPECT_THAT(result.text, HasSubstr("the password is not valid UTF-8"));
        EXPECT_THAT(result.text, testing::Not(HasSubstr("unseen")));
    }
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

TEST(CommandLine, TakesNoEmptyValueForAnOptionThatIsNotGiven)
{
    for (const char* const option :
         {"--from-list", "--output", "--directory", "--on-exists", "--pages", "--password-file",
          "--password-env", "--password-map", "--journal", "--temp-dir", "--progress"}) {
        const ParseResult refused = Parse({"a.pdf", option, ""});
        EXPECT_EQ(refused.code, ExitCode::Usage);
        EXPECT_THAT(refused.text, HasSubstr(std::string(option) + ": the value is empty"));
    }
}

TEST(CommandLine, TakesNothingForAValueThatIsMissingBehindAnEqualsSign)
{
    EXPECT_THAT(Parse({"--journal=", "a.pdf", "-d", "d"}).text,
                HasSubstr("--journal: the value is empty"));
    const auto line =
        Parse({"--password=", "a.pdf", "-d", "d", "--", "--journal=", "-d="}).commandLine;
    ASSERT_TRUE(line);
    EXPECT_EQ(line->password, std::string());
    EXPECT_EQ(line->inputs, QStringList({"a.pdf", "--journal=", "-d="}));
}

TEST(CommandLine, RepeatsNoPasswordOfAnOptionThatIsMisspelt)
{
    for (const char* const option : {"--passwrd=hush", "--password-=hush"}) {
        const ParseResult refused = Parse({"in.pdf", "-d", "out", option});
        EXPECT_THAT(refused.text, HasSubstr("there is no option --passw"));
        EXPECT_THAT(refused.text, testing::Not(HasSubstr("hush")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandLineRefuses,
    testing::Values(
        Refused{{}, "INPUT"}, Refused{{"in.pdf"}, "--output"}, Refused{{"-d", "out"}, "INPUT"},
        Refused{{"-", "-", "-d", "out"}, "standard input"},
        Refused{{"-", "--from-list", "-", "-d", "out"}, "standard input"},
        Refused{{"-", "--password-fd", "0", "-d", "out"}, "standard input"},
        Refused{{"in.pdf", "-0", "-d", "out"}, "--from-list"},
        Refused{{"in.pdf", "--shard", "1/2", "-d", "out"}, "--from-list"},
        Refused{{"in.pdf", "--from-list", "x", "--shard", "1/2", "-d", "out"}, "no INPUT"},
        Refused{{"--from-list", "x", "--shard", "0/2", "-d", "out"}, "1/8 to 8/8"},
        Refused{{"in.pdf", "--retry-failed", "-d", "out"}, "--journal"},
        Refused{{"in.pdf", "--journal", "j", "--dry-run", "-d", "out"}, "--dry-run"},
        Refused{{"in.pdf", "--journal", "j", "--inspect"}, "--inspect"},
        Refused{{"in.pdf", "--journal", "j", "--fail-fast", "-d", "out"}, "--fail-fast"},
        Refused{{"-", "--journal", "j", "-d", "out"}, "standard input"},
        Refused{{"in.pdf", "--journal", "j", "-o", "-", "-f", "png"}, "standard input or output"},
        Refused{{"in.pdf", "-o", "-"}, "-f"},
        Refused{{"in.pdf", "-d", "out", "-o", "-", "-f", "png"}, "--directory"},
        Refused{{"in.pdf", "-d", "out", "-o", "/a.png"}, "--directory"},
        Refused{{"in.pdf", "-d", "out", "-f", "gif"}, "gif not in {png,jpg"},
        Refused{{"in.pdf", "-d", "out", "--on-exists", "cry"}, "cry"},
        Refused{{"in.pdf", "-d", "out", "-j", "0"}, "'0' is not a number"},
        Refused{{"in.pdf", "-d", "out", "-j", "2.5"}, "'2.5' is not a number"},
        Refused{{"in.pdf", "-d", "out", "--no-input", "--ask-password"}, "excludes"},
        Refused{{"in.pdf", "-o", "a.gif"}, "a.gif"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "0"}, "'0' is not a resolution"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "nan"}, "'nan' is not a resolution"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "5000"}, "resolution"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "12x"}, "resolution"},
        Refused{{"in.pdf", "-o", "a.png", "--pages", "3-1"}, "runs backwards"},
        Refused{{"in.pdf", "-o", "a.pdf", "--pages", "3"}, "--pages"},
        Refused{{"in.pdf", "-o", "a.png", "--nonsense"}, "--nonsense"},
        Refused{{"--version", "--json"}, "--version does nothing else"},
        Refused{{"--clean-temp", "--json"}, "--clean-temp does nothing else"},
        Refused{{"--clean-temp", "in.pdf", "-o", "a.png"}, "--clean-temp does nothing else"},
        Refused{{"--clean-temp", "--from-list", "x", "-d", "o"}, "--clean-temp does nothing else"},
        Refused{{"--clean-temp", "--version"}, "does nothing else"},
        Refused{{"report"}, "there is no JOURNAL"}, Refused{{"report", "--follow"}, "JOURNAL"},
        Refused{{"report", "a.journal", "-o", "a.png"}, "Try 'pdfconvert report --help'"},
        Refused{{"report", "b\xff.journal"}, "'b\\xff.journal' is not valid UTF-8"},
        Refused{{"in.pdf", "-o", "a.png", "--password-file", "a", "--password-env", "b"},
                "excludes"},
        Refused{{"\xef\xbb\xbf.pdf", "-o", "a.png"}, "begins with a byte order mark"},
        Refused{{"b\xff.pdf", "-o", "a.png"}, "'b\\xff.pdf' is not valid UTF-8"}));

} // namespace
} // namespace Korvel::App
