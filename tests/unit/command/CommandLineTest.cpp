#include "CommandLine.h"

#include "OptionList.h"

#include <gmock/gmock.h>

#include <QString>

namespace Korvel::App {
namespace {

using testing::HasSubstr;

using Paths = std::vector<std::string>;

ParseResult Parse(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "pdfconvert");
    return ParseCommandLine(int(arguments.size()), arguments.data());
}

TEST(CommandLine, NeedsOnlyAnInputAndAnOutput)
{
    const auto options = Parse({"in.pdf", "-o", "out.png"}).options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->input.paths, Paths({"in.pdf"}));
    EXPECT_EQ(options->output.path, "out.png");
    EXPECT_EQ(options->pages.resolution, 150);
    EXPECT_EQ(options->console.verbosity, 0);
    EXPECT_FALSE(options->console.quiet);
}

TEST(CommandLine, TakesEveryOption)
{
    const auto options = Parse({"-r",
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
                             .options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->input.paths, Paths({"in.pdf", "more.pdf"}));
    EXPECT_EQ(options->input.list, "list");
    EXPECT_TRUE(options->input.isListNulSeparated);
    EXPECT_EQ(options->output.format, "png");
    EXPECT_EQ(options->output.onExists, OnExists::Overwrite);
    EXPECT_TRUE(options->run.isDry);
    EXPECT_EQ(options->pages.resolution, 300.5);
    EXPECT_EQ(options->pages.ranges, "1-3,7,9-,last");
    EXPECT_EQ(options->passwords.file, "-");
    EXPECT_EQ(options->passwords.map, "map");
    EXPECT_TRUE(options->passwords.neverAsks);
    EXPECT_EQ(options->run.jobs, 3);
    EXPECT_TRUE(options->run.failsFast);
    EXPECT_TRUE(options->run.warningsAreFine);
    EXPECT_EQ(options->run.tempFolder, "/x");
    EXPECT_TRUE(options->console.quiet);
    EXPECT_EQ(options->console.verbosity, 30);
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
        EXPECT_EQ(Parse(row.arguments).options.value().output.path, row.output);
}

TEST(CommandLine, TakesEveryOptionOfLookLimitsAndReporting)
{
    const auto options = Parse({"a.pdf", "-d", "o", "--size", "1920x1080", "--gray",
                                "--compression", "small", "--timeout", "2.5", "--memory-limit",
                                "512", "--max-result", "2048", "--json", "--progress", "json"})
                             .options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->pages.size, QSize(1920, 1080));
    EXPECT_TRUE(options->pages.gray);
    EXPECT_EQ(options->pages.compression, "small");
    EXPECT_EQ(options->run.timeout, 2.5);
    EXPECT_EQ(options->run.memoryLimit, 512);
    EXPECT_EQ(options->run.largestResult, 2048);
    EXPECT_TRUE(options->console.json);
    EXPECT_EQ(options->console.progress, ProgressStyle::Json);
    EXPECT_TRUE(Parse({"a.pdf", "--inspect"}).options->run.inspects);
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--max-result", "0"}).options->run.largestResult, 0);
    EXPECT_EQ(Parse({"a.pdf", "-d", "o"}).options->run.largestResult, 1024);
}

TEST(CommandLine, TakesEveryOptionOfWhatPicturesShow)
{
    const auto pages = [](std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), {"a.pdf", "-d", "o"});
        return Parse(arguments).options.value().pages;
    };
    EXPECT_EQ(pages({"--width", "800"}).size, QSize(800, 0));
    EXPECT_EQ(pages({"--height", "600"}).size, QSize(0, 600));
    EXPECT_EQ(pages({"--box", "trim"}).box, "trim");
    EXPECT_EQ(pages({"--rotate", "270"}).rotation, "270");
    EXPECT_TRUE(pages({"--transparent"}).transparent);
    EXPECT_TRUE(pages({"--mono"}).mono);
    EXPECT_TRUE(pages({"--mono", "--dither"}).dithers);
    EXPECT_FALSE(pages({}).size.isValid());
    EXPECT_FALSE(pages({}).part);
}

TEST(CommandLine, TakesPartsOfPagesInEachUnit)
{
    const auto inPoints = [](const char* text, const char* resolution = "150") {
        const auto pages =
            Parse({"a.pdf", "-d", "o", "--crop", text, "-r", resolution}).options.value().pages;
        return pages.part.value().InPoints(pages.resolution);
    };
    EXPECT_EQ(inPoints("1,2.5,30,40"), QRectF(1, 2.5, 30, 40));
    EXPECT_EQ(inPoints("1,2,30,40pt"), QRectF(1, 2, 30, 40));
    EXPECT_EQ(inPoints("25.4,0,254,50.8mm"), QRectF(72, 0, 720, 144));
    EXPECT_EQ(inPoints("25.4mm,0mm,254mm,50.8mm"), QRectF(72, 0, 720, 144));
    EXPECT_EQ(inPoints("300,150,600,900px", "300"), QRectF(72, 36, 144, 216));
    EXPECT_EQ(inPoints("300,150,600,900px", "600"), QRectF(36, 18, 72, 108));
}

TEST(CommandLine, TakesEachWayToGiveAPassword)
{
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--password", ""}).options->passwords.password,
              std::string());
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--password-fd", "3"}).options->passwords.descriptor, 3);
    EXPECT_EQ(Parse({"a.pdf", "-d", "o", "--password-env", "X"}).options->passwords.variable, "X");
    EXPECT_TRUE(Parse({"a.pdf", "-d", "o", "--ask-password"}).options->passwords.asksFirst);
}

TEST(CommandLine, ReadsNumbersInDecimal)
{
    const auto options =
        Parse({"a.pdf", "-o", "%d.jpg", "-r", "0300.50", "--quality", "010", "-j", "010",
               "--timeout", "010", "--memory-limit", "01024", "--password-fd", "010", "-v", "010"})
            .options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->pages.resolution, 300.5);
    EXPECT_EQ(options->pages.quality, 10);
    EXPECT_EQ(options->run.jobs, 10);
    EXPECT_EQ(options->run.timeout, 10);
    EXPECT_EQ(options->run.memoryLimit, 1024);
    EXPECT_EQ(options->passwords.descriptor, 10);
    EXPECT_EQ(options->console.verbosity, 10);
}

TEST(CommandLine, TakesTheNumbersThatItAllowsAndRefusesWhatIsNone)
{
    for (const char* const text : {"5", "+5", "05", "08", " 5", "5 ", "5.0"})
        EXPECT_EQ(Parse({"a.pdf", "-d", "o", "-j", text}).options.value().run.jobs,
                  QString(text).toDouble())
            << text;
    for (const char* const option : {"-r", "--quality", "-j", "--timeout", "--memory-limit",
                                     "--max-result", "--password-fd", "-v"}) {
        for (const char* const text :
             {"inf", "nan", "1e20", "-1e20", "0x10", "0b1", "1,5", "5 5", "-1", ""})
            EXPECT_THAT(Parse({"a.pdf", "-d", "o", option, text}).text,
                        HasSubstr("'" + std::string(text) + "' is not a "))
                << option;
    }
}

TEST(CommandLine, TakesFileNamesThatLookLikeOptionsBehindTwoDashes)
{
    const auto options = Parse({"-o", "out.png", "--", "-in.pdf"}).options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->input.paths, Paths({"-in.pdf"}));
}

TEST(CommandLine, TakesNamesInBracketsAsTheyAre)
{
    const auto options = Parse({"[a]", "-d", "[d,e]", "[b,c].pdf", "[b,c]", "[]",
                                "--password=[f,g]", "--from-list", "[l]", "--", "[-]"})
                             .options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->input.paths, Paths({"[a]", "[b,c].pdf", "[b,c]", "[]", "[-]"}));
    EXPECT_EQ(options->output.path, "[d,e]/%s-%d.png");
    EXPECT_EQ(options->passwords.password, "[f,g]");
    EXPECT_EQ(options->input.list, "[l]");
    EXPECT_THAT(Parse({"report", "[a,b]", "[j]"}).options.value().report.journals,
                testing::ElementsAre("[a,b]", "[j]"));
}

TEST(CommandLine, TakesJournalsBehindTheWordReport)
{
    const auto options = Parse({"report", "a.journal", "--json", "--follow", "report"}).options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->command, Options::Command::Report);
    EXPECT_THAT(options->report.journals, testing::ElementsAre("a.journal", "report"));
    EXPECT_TRUE(options->report.json);
    EXPECT_TRUE(options->report.follows);
    EXPECT_FALSE(options->console.json);
    EXPECT_THAT(Parse({"report", "--help"}).text, HasSubstr("pdfconvert report JOURNAL..."));
}

TEST(CommandLine, TakesTheWordReportForAFileAnywhereElse)
{
    EXPECT_EQ(Parse({"./report", "-o", "a.png"}).options.value().input.paths, Paths({"./report"}));
    EXPECT_EQ(Parse({"-o", "a.png", "report"}).options.value().input.paths, Paths({"report"}));
    EXPECT_EQ(Parse({"-o", "a.png", "report"}).options.value().command, Options::Command::Convert);
}

TEST(CommandLine, PrintsHelpAndIsDone)
{
    const auto help = Parse({"--help"});
    EXPECT_EQ(help.code, ExitCode::Done);
    for (const char* word : {"INPUT", "--output", "--pages", "--password-file", "--temp-dir",
                             "Output:", "Passwords:", "Examples", "Exit codes", "130"})
        EXPECT_THAT(help.text, HasSubstr(word));
}

TEST(CommandLine, UnderstandsEveryOptionThatItsHelpShows)
{
    for (const Option& option : OptionList()) {
        for (const std::string& name : option.names)
            EXPECT_THAT(Parse({name.c_str()}).text, testing::Not(HasSubstr("there is no option")))
                << name;
        EXPECT_THAT(Parse({"--help"}).text, HasSubstr("  " + Joined(option.names, ",")));
    }
    for (const Option& option : ReportOptionList()) {
        for (const std::string& name : option.names)
            EXPECT_THAT(Parse({"report", "j", name.c_str()}).text,
                        testing::Not(HasSubstr("there is no option")))
                << name;
        EXPECT_THAT(Parse({"report", "--help"}).text, HasSubstr("  " + Joined(option.names, ",")));
    }
}

struct Chosen
{
    const char* word;
    OnExists value;
};

TEST(CommandLine, TakesEachWordForWhatItMeans)
{
    for (const Chosen& row :
         {Chosen{"number", OnExists::Number}, Chosen{"fail", OnExists::Fail},
          Chosen{"skip", OnExists::Skip}, Chosen{"overwrite", OnExists::Overwrite}})
        EXPECT_EQ(
            Parse({"a.pdf", "-d", "o", "--on-exists", row.word}).options.value().output.onExists,
            row.value)
            << row.word;
    const auto progress = [](const char* word) {
        return Parse({"a.pdf", "-d", "o", "--progress", word}).options.value().console.progress;
    };
    EXPECT_EQ(progress("auto"), ProgressStyle::Auto);
    EXPECT_EQ(progress("bar"), ProgressStyle::Bar);
    EXPECT_EQ(progress("plain"), ProgressStyle::Plain);
    EXPECT_EQ(progress("json"), ProgressStyle::Json);
    EXPECT_EQ(progress("none"), ProgressStyle::None);
}

TEST(CommandLine, AsksForTheVersionWithoutAnInput)
{
    const auto options = Parse({"--version"}).options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->command, Options::Command::Version);
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
    EXPECT_FALSE(result.options);
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
    const auto options =
        Parse({"--password=", "a.pdf", "-d", "d", "--", "--journal=", "-d="}).options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->passwords.password, std::string());
    EXPECT_EQ(options->input.paths, Paths({"a.pdf", "--journal=", "-d="}));
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
        Refused{{"in.pdf", "-d", "out", "-f", "gif"}, "--format: 'gif' is none of png, jpg"},
        Refused{{"in.pdf", "-d", "out", "--on-exists", "cry"}, "cry"},
        Refused{{"in.pdf", "-d", "out", "-j", "0"}, "'0' is not a number"},
        Refused{{"in.pdf", "-d", "out", "-j", "2.5"}, "'2.5' is not a number"},
        Refused{{"in.pdf", "-d", "out", "--no-input", "--ask-password"},
                "--ask-password does not go with --no-input"},
        Refused{{"in.pdf", "-d"}, "--directory needs a value"},
        Refused{{"in.pdf", "-d", "out", "-j", "1", "-j", "2"}, "--jobs is given more than once"},
        Refused{{"in.pdf", "-d", "out", "--on-exists"}, "--on-exists needs a value"},
        Refused{{"in.pdf", "-d", "out", "--gray=maybe"}, "--gray takes no value"},
        Refused{{"in.pdf", "-d", "out", "-q=3"}, "takes no value"},
        Refused{{"in.pdf", "-d", "out", "--progress", "loud"}, "'loud' is none of auto, bar"},
        Refused{{"in.pdf", "-o", "a.gif"}, "a.gif"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "0"}, "'0' is not a resolution"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "nan"}, "'nan' is not a resolution"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "5000"}, "resolution"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "12x"}, "resolution"},
        Refused{{"in.pdf", "-o", "a.png", "--pages", "3-1"}, "runs backwards"},
        Refused{{"in.pdf", "-o", "a.png", "--linearize"}, "--linearize changes nothing of png"},
        Refused{{"in.pdf", "-o", "a.txt", "-r", "20"}, "--resolution changes nothing of txt"},
        Refused{{"in.pdf", "-o", "a.pdf", "--size", "9x9"}, "--size changes nothing of pdf"},
        Refused{{"in.pdf", "-d", "out", "-f", "txt", "--gray"}, "--gray changes nothing of txt"},
        Refused{{"in.pdf", "-o", "a.png", "--quality", "90"}, "--quality changes nothing of png"},
        Refused{{"in.pdf", "-o", "a.bmp", "--quality", "90"}, "--quality changes nothing of bmp"},
        Refused{{"in.pdf", "-o", "a.jpg", "--compression", "fast"}, "changes nothing of jpg"},
        Refused{{"in.pdf", "-o", "a.txt", "--box", "trim"}, "--box changes nothing of txt"},
        Refused{{"in.pdf", "-o", "a.pdf", "--width", "9"}, "--width changes nothing of pdf"},
        Refused{{"in.pdf", "-o", "a.txt", "--mono"}, "--mono changes nothing of txt"},
        Refused{{"in.pdf", "-o", "a.png", "--box", "page"}, "'page' is none of crop, media"},
        Refused{{"in.pdf", "-o", "a.png", "--rotate", "45"}, "'45' is none of 90, 180, 270"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1,2,3"}, "'1,2,3' is no part of a page"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1,2,0,4"}, "is no part of a page"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1,2,3,-4"}, "is no part of a page"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1,2,3,4in"}, "is no part of a page"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1mm,2,3,4mm"}, "is no part of a page"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1mm,2,3,4"}, "is no part of a page"},
        Refused{{"in.pdf", "-o", "a.png", "--crop", "1,2,3,4px", "--width", "9"},
                "--crop in pixels goes with -r only"},
        Refused{{"in.pdf", "-o", "a.png", "--width", "0"}, "'0' is not a number of pixels"},
        Refused{{"in.pdf", "-o", "a.png", "--width", "65001"}, "is not a number of pixels"},
        Refused{{"in.pdf", "-o", "a.png", "--width", "9", "--height", "9"},
                "--width does not go with --height"},
        Refused{{"in.pdf", "-o", "a.png", "--size", "9x9", "--height", "9"}, "does not go with"},
        Refused{{"in.pdf", "-o", "a.png", "-r", "9", "--height", "9"}, "does not go with"},
        Refused{{"in.pdf", "-o", "a.png", "--gray", "--mono"}, "--gray does not go with --mono"},
        Refused{{"in.pdf", "-o", "a.png", "--transparent", "--mono"}, "does not go with"},
        Refused{{"in.pdf", "-o", "a.png", "--dither"}, "--dither goes with --mono only"},
        Refused{{"in.pdf", "-o", "a.jpeg", "--mono"}, "no jpeg of black and white alone"},
        Refused{{"in.pdf", "-o", "a.bmp", "--transparent"}, "a bmp cannot be transparent"},
        Refused{{"in.pdf", "--inspect", "--mono"}, "--mono does not go with --inspect"},
        Refused{{"in.pdf", "--inspect", "-o", "a.png"}, "--output does not go with --inspect"},
        Refused{{"in.pdf", "--inspect", "-d", "out"}, "--directory does not go with --inspect"},
        Refused{{"in.pdf", "--inspect", "--pages", "1"}, "--pages does not go with --inspect"},
        Refused{{"in.pdf", "--inspect", "--dry-run"}, "--dry-run does not go with --inspect"},
        Refused{{"in.pdf", "-o", "a.png", "--nonsense"}, "--nonsense"},
        Refused{{"--version", "--json"}, "--version does nothing else"},
        Refused{{"--clean-temp", "--json"}, "--clean-temp does nothing else"},
        Refused{{"--clean-temp", "in.pdf", "-o", "a.png"}, "--clean-temp does nothing else"},
        Refused{{"--clean-temp", "--from-list", "x", "-d", "o"}, "--clean-temp does nothing else"},
        Refused{{"--clean-temp", "--version"}, "does nothing else"},
        Refused{{"report"}, "there is no JOURNAL"}, Refused{{"report", "--follow"}, "JOURNAL"},
        Refused{{"report", "a.journal", "--verify", "--follow"}, "does not go with --verify"},
        Refused{{"report", "a.journal", "-o", "a.png"}, "Try 'pdfconvert report --help'"},
        Refused{{"report", "b\xff.journal"}, "'b\\xff.journal' is not valid UTF-8"},
        Refused{{"in.pdf", "-o", "a.png", "--password-file", "a", "--password-env", "b"},
                "does not go with"},
        Refused{{"\xef\xbb\xbf.pdf", "-o", "a.png"}, "begins with a byte order mark"},
        Refused{{"b\xff.pdf", "-o", "a.png"}, "'b\\xff.pdf' is not valid UTF-8"}));

} // namespace
} // namespace Korvel::App
